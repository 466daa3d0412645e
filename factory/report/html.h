// Pieces of the page.
#pragma once

#include <string>
#include <vector>

#include "record/record.h"
#include "report/markup.h"

namespace factory {

// The word with its sign and colour.
Markup verdict_badge(record::Outcome verdict);

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
template <typename T>
Markup text_list(const std::vector<T>& texts, const char* css_class) {
  Markup items;
  for (const std::string& text : texts) items += Markup::element("li", Markup::text(text));
  return items.empty() ? items : Markup::element("ul", {{"class", css_class}}, items);
}

// Everything that is known of one attempt.
Markup attempt_markup(const record::Step& step, const record::Attempt& attempt);

}  // namespace factory
