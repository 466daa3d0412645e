#include "records/json_nesting.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";
constexpr char kSpace[] = " \t\r\n";
constexpr std::string_view kMarks = "[]{},:";
constexpr std::string_view kScalarBytes = "+-.0123456789Eaeflnrstu";  // of numbers, true, false and null

// Tokens are named by their first byte, but for these.
constexpr char kScalar = '0';
constexpr char kBad = '?';
constexpr char kEnd = '\0';

class Walk {
 public:
  Walk(const std::string& text, size_t limit) : text_(text), limit_(limit) {
    if (text.compare(0, sizeof kByteOrderMark - 1, kByteOrderMark) == 0) at_ = sizeof kByteOrderMark - 1;
  }

  // To the end of the first value. False when a value is too deep or the text is no JSON as the reader takes it.
  bool reaches_end() {
    for (;;) {
      if (open_.size() >= limit_ || !begin_value()) return false;
      // Up to where the next value begins.
      while (value_ended_) {
        if (open_.empty()) return true;
        if (open_.back() == '[' ? !after_element() : !after_member()) return false;
      }
    }
  }

 private:
  // A scalar is a value at once; of a container comes either its end or its first value.
  bool begin_value() {
    const char token = next_but_comments();
    value_ended_ = token == '"' || token == kScalar;
    if (value_ended_) return true;
    if (token != '[' && token != '{') return false;
    open_ += token;
    return token == '[' ? element() : member();
  }

  void close() {
    open_.pop_back();
    value_ended_ = true;
  }

  // The array's end, also behind a comma but not behind a comment, or a value.
  bool element() {
    skip_space();
    value_ended_ = false;
    if (at_ < text_.size() && text_[at_] == ']') {
      ++at_;
      close();
    }
    return true;
  }

  bool after_element() {
    const char token = next_but_comments();
    if (token == ']') close();
    return token == ']' || (token == ',' && element());
  }

  // The object's end, or a name and its colon.
  bool member() {
    value_ended_ = false;
    const char token = next_but_comments();
    if (token == '}') close();
    return token == '}' || (token == '"' && next() == ':');
  }

  // Behind a comment the reader takes any token for the comma.
  bool after_member() {
    char token = next();
    const bool commented = token == '/';
    if (commented) token = next_but_comments();
    if (token == '}') close();
    return token == '}' || ((token == ',' || commented) && member());
  }

  char next_but_comments() {
    char token = next();
    while (token == '/') token = next();
    return token;
  }

  char next() {
    skip_space();
    if (at_ == text_.size()) return kEnd;
    const char c = text_[at_++];
    if (c == '"') return skip_text() ? c : kBad;
    if (c == '/') return skip_comment() ? c : kBad;
    if (kMarks.find(c) != kMarks.npos) return c;
    if (kScalarBytes.find(c) == kScalarBytes.npos) return kBad;
    go_to(text_.find_first_not_of(kScalarBytes, at_));
    return kScalar;
  }

  void skip_space() { go_to(text_.find_first_not_of(kSpace, at_)); }

  bool skip_text() {
    while (at_ < text_.size() && text_[at_] != '"') at_ += text_[at_] == '\\' ? 2 : 1;
    const bool closed = at_ < text_.size();
    go_to(at_ + 1);
    return closed;
  }

  bool skip_comment() {
    const char kind = at_ < text_.size() ? text_[at_++] : kEnd;
    if (kind == '/') {
      go_to(text_.find_first_of("\r\n", at_));
      return true;
    }
    if (kind != '*') return false;
    const size_t end = text_.find("*/", at_);
    go_to(end == std::string::npos ? end : end + 2);
    return end != std::string::npos;
  }

  void go_to(size_t position) { at_ = std::min(position, text_.size()); }

  const std::string& text_;
  const size_t limit_;
  size_t at_ = 0;
  std::string open_;  // the brackets that are open
  bool value_ended_ = false;
};

}  // namespace

bool json_nested_within(const std::string& text, size_t limit) {
  const auto opens = [](char c) { return c == '[' || c == '{'; };
  // Whatever the reader makes of a text, its depth needs brackets: most files are done here.
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), opens)) < limit || Walk(text, limit).reaches_end();
}
