// Pieces of the page.
#pragma once

#include <json/json.h>

#include <string>
#include <string_view>
#include <vector>

#include "record/record.h"
#include "report/markup.h"

// Files that the build embeds (cmake/EmbedFiles.cmake).
namespace factory::assets {
extern const std::string_view report_css;
extern const std::string_view report_js;
extern const std::string_view chart_js;
}  // namespace factory::assets

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
  for (const std::string& text : texts) items += element("li", text);
  return items.empty() ? items : element("ul", {{"class", css_class}}, items);
}

// What a page's script draws from, by the id of its element.
struct PageData {
  const char* id;
  Json::Value data;
  std::string_view script;
};

// A page that needs no other file and no network. `css`: besides that of all pages.
void write_page(const std::string& file, const std::string& title, std::string_view css, const Markup& banner,
                const Markup& main, const PageData& data);

// Names the attempt's sample window in the page and in its data.
std::string window_id(const record::Step& step, const record::Attempt& attempt);

// A sign with its words, of a drawing's legend. `sign`: this program's own SVG, 16 units wide and high.
Markup legend_item(const std::string& css_class, std::string_view sign, const std::string& words);

// What was under way when, and what the run's seconds went to; empty for a run that tells neither.
Markup time_line(const record::Run& run);

// Everything that is known of one attempt.
Markup attempt_markup(const record::Step& step, const record::Attempt& attempt);

}  // namespace factory
