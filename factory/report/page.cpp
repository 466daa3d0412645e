// What all pages are made of.
#include "files/whole_file.h"
#include "report/html.h"

namespace factory {
namespace {

// May stand inside a <script> element: nothing beyond ASCII, and no "<", with which "</script>" in a name would end it.
std::string script_json(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["precision"] = 9;
  builder["emitUTF8"] = false;
  std::string out;
  for (const char c : Json::writeString(builder, value)) {
    if (c == '<') {
      out += "\\u003c";
    } else {
      out += c;
    }
  }
  return out;
}

}  // namespace

HtmlTable::HtmlTable(std::string css_class, std::vector<std::string> columns)
    : css_class_(std::move(css_class)), columns_(std::move(columns)) {}

void HtmlTable::add(const std::vector<Markup>& cells) {
  Markup row;
  for (size_t i = 0; i < cells.size(); ++i) row += element("td", {{"data-column", columns_[i]}}, cells[i]);
  rows_ += element("tr", row);
}

Markup HtmlTable::markup() const {
  Markup names;
  for (const std::string& name : columns_) names += element("th", {{"scope", "col"}}, name);
  return element("table", {{"class", css_class_}}, element("thead", element("tr", names)) + element("tbody", rows_));
}

void write_page(const std::string& file, const std::string& title, std::string_view css, const Markup& banner,
                const Markup& main, const PageData& data) {
  std::string page = "<!DOCTYPE html>\n<html lang=\"en\">";
  // The page itself forbids its reader's browser every connection.
  page +=
      "<head><meta charset=\"utf-8\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; img-src data:; "
      "style-src 'unsafe-inline'; script-src 'unsafe-inline'\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"color-scheme\" content=\"light dark\">\n"
      "<link rel=\"icon\" href=\"data:,\">\n";
  page += element("title", title).str() + "\n<style>\n";
  page.append(assets::report_css).append(css).append("</style></head>\n<body>");
  page += banner.str() + element("main", main).str() + "\n<script type=\"application/json\" id=\"" + data.id + "\">" +
          script_json(data.data);
  page.append("</script>\n<script>").append(assets::chart_js).append("</script>\n<script>\n").append(data.script);
  replace_file(file, page + "</script>\n</body></html>\n");
}

}  // namespace factory
