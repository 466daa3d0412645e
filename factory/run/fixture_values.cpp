#include "run/fixture_values.h"

#include <cstdio>

#include "files/units.h"
#include "phone/fixture_settings.h"

namespace factory::plan {
namespace {

std::string read_number(const NumberSetting& row, const std::string& text, std::string* setting) {
  *setting = text;
  if (*row.word != '\0' && text == row.word) return "";
  Amount amount;
  std::string wrong = read_amount(text, row.unit, false, &amount);
  if (wrong.empty() && !(amount.value >= row.low && amount.value <= row.high)) wrong = out_of_limits(row);
  if (!wrong.empty()) return wrong + or_word(row);
  char number[40];
  snprintf(number, sizeof number, "%.9g", amount.value);
  *setting = number;
  return "";
}

}  // namespace

std::string read_fixture_value(const std::string& key, const std::string& text, std::string* setting) {
  if (const NumberSetting* row = find_number_setting(key)) return read_number(*row, text, setting);
  *setting = text;
  return setting_problem(key, text);
}

}  // namespace factory::plan
