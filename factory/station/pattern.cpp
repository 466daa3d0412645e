#include "station/pattern.h"

#include <ctype.h>
#include <string.h>

#include <algorithm>

#include "files/app_error.h"
#include "files/numbers.h"

namespace factory::station {
namespace {

constexpr size_t kLengthMax = 200;
constexpr size_t kSizeMax = 2000;  // with repetitions written out

/**
 * Holds an expression to what POSIX knows and what is compiled and matched in no time: the C library takes for ever for
 * a repetition of what may match nothing, (a*)*, and as many times its memory for each bound within another. What is no
 * expression at all the library says itself.
 */
class Cost {
 public:
  explicit Cost(const std::string& text) : text_(text) { (void)alternatives(); }

 private:
  struct Part {
    bool may_be_empty = true;
    size_t size = 0;
  };
  char here() const { return at_ < text_.size() ? text_[at_] : '\0'; }

  Part alternatives() {
    Part out{false, 0};
    for (bool more = true; more; more = here() == '|' && ++at_ > 0) {
      const Part one = sequence();
      out = {out.may_be_empty || one.may_be_empty, out.size + one.size};
    }
    return out;
  }

  Part sequence() {
    Part out;
    while (at_ < text_.size() && here() != '|' && !(here() == ')' && depth_ > 0)) {
      Part one = atom();
      while (here() != '\0' && strchr("*+?{", here()) != nullptr) repeat(&one);
      out = {out.may_be_empty && one.may_be_empty, out.size + one.size};
      if (out.size > kSizeMax) throw AppError(kUsage, "its repetitions come to too much");
    }
    return out;
  }

  Part atom() {
    const char is = text_[at_++];
    // It would close the one around the whole, and what is behind it would match a part of a text.
    if (is == ')') throw AppError(kUsage, "no regular expression: a ) without its (");
    if (is == '(') {
      ++depth_;
      const Part out = alternatives();
      --depth_;
      ++at_;  // the closing one
      return out;
    }
    if (is == '[') {
      at_ += here() == '^' ? 1 : 0;
      at_ += here() == ']' ? 1 : 0;
      while (at_ < text_.size() && here() != ']') at_ = here() == '[' ? class_end() : at_ + 1;
      ++at_;
    } else if (is == '\\' && isalnum(static_cast<unsigned char>(here())) != 0) {
      throw AppError(kUsage, std::string("no regular expression of POSIX: it knows no \\") + here() +
                                 "; a digit is [0-9], a letter [A-Za-z]");
    } else if (is == '\\' && here() == '\0') {
      throw AppError(kUsage, "no regular expression: nothing is behind its last \\");
    } else if (is == '\\') {
      ++at_;
    }
    return {is == '^' || is == '$', 1};
  }

  // Behind [:alpha:], [.x.] or [=x=], or behind a bracket that is one of the characters.
  size_t class_end() const {
    const char kind = at_ + 1 < text_.size() ? text_[at_ + 1] : '\0';
    if (kind != ':' && kind != '.' && kind != '=') return at_ + 1;
    const size_t end = text_.find(std::string{kind, ']'}, at_ + 2);
    return end == std::string::npos ? text_.size() : end + 2;
  }

  void repeat(Part* part) {
    const char how = text_[at_++];
    if (how != '?' && part->may_be_empty)
      throw AppError(kUsage, "what may match nothing must not be repeated: it would be matched for ever");
    if (how != '{') {
      part->may_be_empty |= how != '+';
      return;
    }
    const size_t end = std::min(text_.find('}', at_), text_.size());
    const std::string bounds = text_.substr(at_, end - at_);
    const auto least = read_number<int>(bounds.substr(0, bounds.find(',')));
    const auto most = read_number<int>(bounds.substr(bounds.find(',') + 1));
    part->may_be_empty |= least.value_or(0) == 0;
    const auto times = static_cast<size_t>(std::max({least.value_or(1), most.value_or(1), 1}));
    part->size = std::min(part->size * times, kSizeMax + 1);  // one bound behind the other goes beyond any number
    at_ = end + 1;
  }

  const std::string& text_;
  size_t at_ = 0;
  int depth_ = 0;
};

}  // namespace

Pattern::Pattern(const std::string& expression) : expression_(expression) {
  if (expression.empty()) throw AppError(kUsage, "it matches nothing");
  if (expression.size() > kLengthMax) throw AppError(kUsage, "no more than 200 characters");
  (void)Cost(expression);
  const auto compiled = std::make_unique<regex_t>();
  if (const int error = regcomp(compiled.get(), ("^(" + expression + ")$").c_str(), REG_EXTENDED | REG_NOSUB)) {
    char why[200];
    regerror(error, compiled.get(), why, sizeof why);
    throw AppError(kUsage, "no regular expression: " + std::string(why));
  }
  compiled_ = std::shared_ptr<const regex_t>(new regex_t(*compiled), [](const regex_t* one) {
    auto* own = const_cast<regex_t*>(one);
    regfree(own);
    delete own;
  });
}

bool Pattern::is_one_text() const {
  return !expression_.empty() && expression_.find_first_of(".[]()*+?{}|^$\\") == std::string::npos;
}

bool Pattern::matches(const std::string& text) const {
  // It would end at a zero byte.
  if (text.empty() || text.find('\0') != std::string::npos) return false;
  return !compiled_ || regexec(compiled_.get(), text.c_str(), 0, nullptr, 0) == 0;
}

}  // namespace factory::station
