// HTML and XML in the making. Text can only get in escaped: the type tells text and markup apart.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace factory {

class Markup {
 public:
  struct Attribute {
    std::string_view name;
    std::string value;
  };

  Markup() = default;
  // A text of any bytes. Control characters and what is no UTF-8 become U+FFFD, so that the result is well-formed XML,
  // too.
  Markup(std::string_view text);  // NOLINT(google-explicit-constructor): whatever text gets in gets in escaped
  Markup(const std::string& text) : Markup(std::string_view(text)) {}  // NOLINT(google-explicit-constructor)
  Markup(const char* text) : Markup(std::string_view(text)) {}         // NOLINT(google-explicit-constructor)
  // This program's own markup; never for anything that came from outside.
  static Markup own(std::string_view markup);
  Markup& operator+=(const Markup& more) {
    markup_ += more.markup_;
    return *this;
  }
  friend Markup operator+(Markup a, const Markup& b) { return a += b; }

  bool empty() const { return markup_.empty(); }
  const std::string& str() const { return markup_; }

 private:
  std::string markup_;
};

Markup element(std::string_view name, std::initializer_list<Markup::Attribute> attributes, const Markup& content);
inline Markup element(std::string_view name, const Markup& content) { return element(name, {}, content); }

}  // namespace factory
