// Words and their letters, and what a mistyped word was meant to be.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace factory {

std::string joined(const std::vector<std::string>& words, const std::string& between);

// "1 run", "2 runs".
template <typename Count>
std::string counted(Count count, const std::string& of_one) {
  return std::to_string(count) + " " + of_one + (count == 1 ? "" : "s");
}

// Length of the UTF-8 character that a text begins with, and which it is; 0 where it begins with none. Surrogates and
// longer forms than needed are none.
size_t utf8_length(std::string_view text, uint32_t* character = nullptr);

// Without the blanks and line feeds around it.
std::string trimmed(const std::string& text);

// Of the letters of ASCII.
std::string lower(std::string text);
std::string upper(std::string text);

// "; did you mean Acc or Acc2?", or "; known are Acc, Gyr" where no word comes near: the end of a sentence that says
// what is unknown. Of many it has the first ones, and `lists`, which says what has them all.
std::string or_nearest(const std::string& typed, const std::vector<std::string>& known, const std::string& lists = "");

}  // namespace factory
