// What a mistyped word was meant to be.
#pragma once

#include <string>
#include <vector>

namespace factory {

// "; did you mean Acc or Acc2?", or "; known are Acc, Gyr" where no word comes near: the end of a sentence that says
// what is unknown.
std::string or_nearest(const std::string& typed, const std::vector<std::string>& known);

}  // namespace factory
