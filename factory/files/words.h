// Words: put together, in one case, and what a mistyped one was meant to be.
#pragma once

#include <string>
#include <vector>

namespace factory {

std::string joined(const std::vector<std::string>& words, const std::string& between);

// Of the letters of ASCII.
std::string lower(std::string text);
std::string upper(std::string text);

// "; did you mean Acc or Acc2?", or "; known are Acc, Gyr" where no word comes near: the end of a sentence that says
// what is unknown.
std::string or_nearest(const std::string& typed, const std::vector<std::string>& known);

}  // namespace factory
