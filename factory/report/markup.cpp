#include "report/markup.h"

#include <cstdint>

namespace factory {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// Lead byte, the bytes that follow it, and the smallest character that may be written that long.
struct Utf8Form {
  unsigned char mask, lead;
  size_t length;
  uint32_t smallest;
};
constexpr Utf8Form kForms[] = {
    {0x80, 0x00, 1, 0}, {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}};

// What XML 1.0 has as a character. A carriage return is left out: readers turn it into a line feed, or lose it.
bool is_character(uint32_t c) {
  if (c < 0x20) return c == '\t' || c == '\n';
  const bool surrogate = c >= 0xD800 && c <= 0xDFFF;
  return c != 0x7F && !(c >= 0x80 && c <= 0x9F) && !surrogate && c != 0xFFFE && c != 0xFFFF && c <= 0x10FFFF;
}

// Length of the character that the text begins with; 0 when there is none.
size_t character_length(std::string_view text) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  for (const Utf8Form& form : kForms) {
    if ((byte(0) & form.mask) != form.lead) continue;
    if (text.size() < form.length) return 0;
    uint32_t c = byte(0) & static_cast<unsigned char>(~form.mask);
    for (size_t i = 1; i < form.length; ++i) {
      if ((byte(i) & 0xC0) != 0x80) return 0;
      c = c << 6 | (byte(i) & 0x3FU);
    }
    return c >= form.smallest && is_character(c) ? form.length : 0;
  }
  return 0;
}

std::string_view entity(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&#39;";
    default:
      return {};
  }
}

std::string escape(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const size_t length = character_length(text);
    const std::string_view special = entity(text[0]);
    out += length == 0 ? kReplacement : special.empty() ? text.substr(0, length) : special;
    text.remove_prefix(length == 0 ? 1 : length);
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
