#include "station/pattern.h"

#include "files/app_error.h"

namespace factory::station {

Pattern::Pattern(const std::string& expression) : expression_(expression) {
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

bool Pattern::matches(const std::string& text) const {
  // It would end at a zero byte.
  if (text.empty() || text.find('\0') != std::string::npos) return false;
  return !compiled_ || regexec(compiled_.get(), text.c_str(), 0, nullptr, 0) == 0;
}

}  // namespace factory::station
