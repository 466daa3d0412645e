#include "report/markup.h"

#include <algorithm>
#include <utility>

#include "files/words.h"

namespace factory {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// What XML 1.0 has as a character. A carriage return is left out: readers turn it into a line feed, or lose it.
bool is_character(uint32_t c) {
  if (c < 0x20) return c == '\t' || c == '\n';
  return c != 0x7F && !(c >= 0x80 && c <= 0x9F) && c != 0xFFFE && c != 0xFFFF;
}

constexpr std::pair<char, std::string_view> kEntities[] = {
    {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\'', "&#39;"}};

std::string escape(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    uint32_t character = 0;
    const size_t length = utf8_length(text, &character);
    const bool good = length > 0 && is_character(character);
    const auto* const special =
        std::find_if(std::begin(kEntities), std::end(kEntities), [&](const auto& row) { return row.first == text[0]; });
    out += !good ? kReplacement : special != std::end(kEntities) ? special->second : text.substr(0, length);
    text.remove_prefix(good ? length : 1);
  }
  return out;
}

}  // namespace

Markup::Markup(std::string_view text) : markup_(escape(text)) {}

Markup Markup::own(std::string_view markup) {
  Markup out;
  out.markup_ = markup;
  return out;
}

Markup element(std::string_view name, std::initializer_list<Markup::Attribute> attributes, const Markup& content) {
  std::string text = "<" + std::string(name);
  for (const Markup::Attribute& attribute : attributes) {
    text.append(" ").append(attribute.name).append("=\"");
    // An XML reader turns a bare line feed in an attribute into a blank.
    for (const char c : escape(attribute.value)) {
      if (c == '\n') {
        text += "&#10;";
      } else {
        text += c;
      }
    }
    text.append("\"");
  }
  return Markup::own(text.append(">").append(content.str()).append("</").append(name).append(">"));
}

}  // namespace factory
