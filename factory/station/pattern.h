// Which texts a station takes: POSIX extended regular expressions.
#pragma once

#include <regex.h>

#include <memory>
#include <string>

namespace factory::station {

class Pattern {
 public:
  // Matches any text but the empty one.
  Pattern() = default;
  // Throws AppError(kUsage) with what is wrong with it.
  explicit Pattern(const std::string& expression);

  // The whole text.
  bool matches(const std::string& text) const;
  // It matches itself alone.
  bool is_one_text() const;
  const std::string& expression() const { return expression_; }

 private:
  std::string expression_ = ".+";
  std::shared_ptr<const regex_t> compiled_;  // none: any
};

}  // namespace factory::station
