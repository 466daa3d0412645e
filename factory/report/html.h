// Pieces of the page.
#pragma once

#include <json/json.h>

#include <string>

#include "report/markup.h"

namespace factory {

// The word with its sign and colour: "passed", "marginal", "failed", "skipped", "aborted".
Markup verdict_badge(const std::string& verdict);

// A table that a narrow screen shows as a list of cards: every cell carries its column's name.
class HtmlTable {
 public:
  HtmlTable(std::string css_class, std::vector<std::string> columns);
  void add(const std::vector<Markup>& cells);
  bool empty() const { return rows_.empty(); }
  Markup markup() const;

 private:
  std::string css_class_;
  std::vector<std::string> columns_;
  Markup rows_;
};

// "<ul>" of texts; empty for none.
Markup text_list(const Json::Value& texts, const char* css_class);

// Everything that is known of one attempt.
Markup attempt_markup(const Json::Value& step, const Json::Value& attempt);

}  // namespace factory
