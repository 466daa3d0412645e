#include "files/words.h"

#include <algorithm>
#include <cctype>
#include <numeric>

namespace factory {
namespace {

// How many letters are to be put in, left out, replaced or swapped with their neighbour.
size_t distance(const std::string& a, const std::string& b) {
  std::vector<size_t> before_last;
  std::vector<size_t> last;
  std::vector<size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 1; i <= a.size(); ++i) {
    before_last = last;
    last = row;
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        row[j] = std::min(row[j], before_last[j - 2] + 1);
    }
  }
  return row[b.size()];
}

// Of what a word is part of, "calibrate Acc: offset x", the part that comes nearest.
size_t distance_to_part(const std::string& typed, const std::string& whole) {
  size_t out = distance(typed, whole);
  for (size_t at = 0; at < whole.size(); at = std::min(whole.find(' ', at), whole.size()) + 1) {
    for (size_t end = at; end < whole.size(); ++end) {
      end = std::min(whole.find(' ', end), whole.size());
      out = std::min(out, distance(typed, whole.substr(at, end - at)));
    }
  }
  return out;
}

// Lead byte, the bytes that follow it, and the smallest character that may be written that long.
struct Utf8Form {
  unsigned char mask, lead;
  size_t length;
  uint32_t smallest;
};
constexpr Utf8Form kForms[] = {
    {0x80, 0x00, 1, 0}, {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}};

}  // namespace

size_t utf8_length(std::string_view text, uint32_t* character) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  for (const Utf8Form& form : kForms) {
    if (text.size() < form.length || (byte(0) & form.mask) != form.lead) continue;
    uint32_t c = byte(0) & static_cast<unsigned char>(~form.mask);
    for (size_t i = 1; i < form.length; ++i) {
      if ((byte(i) & 0xC0) != 0x80) return 0;
      c = c << 6 | (byte(i) & 0x3FU);
    }
    const bool surrogate = c >= 0xD800 && c <= 0xDFFF;
    if (character != nullptr) *character = c;
    return c >= form.smallest && c <= 0x10FFFF && !surrogate ? form.length : 0;
  }
  return 0;
}

std::string joined(const std::vector<std::string>& words, const std::string& between) {
  std::string out;
  for (const std::string& word : words) out += (&word == &words[0] ? "" : between) + word;
  return out;
}

std::string trimmed(const std::string& text) {
  constexpr const char* kBlanks = " \t\r\n\v\f";
  const size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
  return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

std::string lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

std::string or_nearest(const std::string& typed, const std::vector<std::string>& known, const std::string& lists) {
  constexpr size_t kLettersMax = 64;  // nothing that is known has as many
  constexpr size_t kOfferedMax = 4;
  std::vector<std::string> near;
  if (!typed.empty() && typed.size() <= kLettersMax) {
    size_t least = std::max<size_t>(1, typed.size() / 3);
    for (const std::string& word : known) {
      const size_t off = distance_to_part(lower(typed), lower(word));
      if (off < least) near.clear();
      if (off <= least && off < word.size()) {
        least = off;
        near.push_back(word);
      }
    }
    if (!near.empty() && near.size() <= kOfferedMax) {
      const std::string last = near.back();
      near.pop_back();
      return "; did you mean " + (near.empty() ? "" : joined(near, ", ") + " or ") + last + "?";
    }
  }
  if (known.empty()) return "; none is known";
  constexpr size_t kRoom = 100;
  const std::vector<std::string>& first = near.empty() ? known : near;
  std::string out = first.front();
  size_t shown = 1;
  while (shown < first.size() && out.size() + first[shown].size() < kRoom) out += ", " + first[shown++];
  const size_t more = known.size() - shown;
  return (known.size() == 1 ? "; known is " : "; known are ") + out +
         (more == 0 ? "" : " and " + std::to_string(more) + " more" + (lists.empty() ? "" : "; " + lists));
}

}  // namespace factory
