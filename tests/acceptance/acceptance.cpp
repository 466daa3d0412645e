// What scripts/acceptance and scripts/soak look at phones with.
//   acceptance phones SEED COUNT [EVERY]     tries so many from this seed on in one process: a line of JSON each. With
//                                            EVERY, a multiple of ten, its memory and its descriptors count from the
//                                            first so many on, of which neither may grow; the moved ones are left out
//   acceptance read FOLDER [FAULT...]        what the hub of the phone in FOLDER holds, and how far fresh samples are
//   off
#include <malloc.h>
#include <unistd.h>

#include <fstream>
#include <iostream>

#include "files/json_text.h"
#include "folder.h"
#include "phones.h"
#include "residuals.h"

namespace {

constexpr long kLargestGrowthKib = 1024;

struct Held {
  long kib = 0;    // of memory
  long files = 0;  // open descriptors
  static Held now() {
    malloc_trim(0);  // what is free but kept is no growth
    long size = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    return {resident * (sysconf(_SC_PAGESIZE) / 1024),
            std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator())};
  }
};

int try_phones(uint64_t seed, uint64_t count, uint64_t every) {
  const test::Folder folder;
  Held first;
  Held most;
  for (uint64_t i = 0; i < count; ++i) {
    if (every != 0 && acceptance::is_moved(seed + i)) continue;
    std::cout << factory::json_line(acceptance::try_phone(seed + i, folder.file("phone"))) << std::endl;
    if (every == 0 || (i + 2) % every != 0) continue;  // the last but one of ten is never moved
    const Held held = Held::now();
    if (i + 2 == every) first = most = held;
    most = {std::max(most.kib, held.kib), std::max(most.files, held.files)};
  }
  if (every == 0) return 0;
  std::cerr << count << " phones; after the first " << every << " memory grew by " << most.kib - first.kib
            << " KiB (limit " << kLargestGrowthKib << "), descriptors by " << most.files - first.files
            << " (limit 0)\n";
  return most.kib - first.kib <= kLargestGrowthKib && most.files == first.files ? 0 : 1;
}

int read_phone(const std::string& folder, const std::vector<std::string>& faults) {
  Json::Value out = Json::arrayValue;
  for (const acceptance::Residual& residual : acceptance::measure_residuals(folder, faults)) {
    if (residual.stored) out.append(to_json(residual));
  }
  std::cout << factory::json_line(out) << std::endl;
  return 0;
}

}  // namespace

int main(int argc, char** argv) try {
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (words.size() >= 3 && words[0] == "phones") {
    return try_phones(std::stoull(words[1]), std::stoull(words[2]), words.size() > 3 ? std::stoull(words[3]) : 0);
  }
  if (words.size() >= 2 && words[0] == "read") return read_phone(words[1], {words.begin() + 2, words.end()});
  std::cerr << "usage: acceptance phones SEED COUNT [EVERY] | read FOLDER [FAULT...]\n";
  return 2;
} catch (const std::exception& error) {
  std::cerr << "acceptance: " << error.what() << "\n";
  return 2;
}
