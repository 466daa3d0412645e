#include "simulator/tape.h"

#include <fstream>
#include <memory>
#include <sstream>

#include "files/app_error.h"
#include "files/json_text.h"

namespace factory::tape {
namespace {

bool parse(const std::string& line, Json::Value* out) { return parse_json(line, out) && out->isObject(); }

}  // namespace

std::string queue_name(int queue) { return "queue " + std::to_string(queue); }

std::string to_line(const Entry& entry) {
  Json::Value line;
  line["by"] = entry.by;
  line["do"] = entry.what;
  if (!entry.with.isNull()) line["with"] = entry.with;
  return json_line(line) + "\n";
}

// A run that was killed leaves a last line without its end.
Tape read_tape(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw AppError(kUsage, file + ": cannot be read");
  Tape tape;
  std::string line;
  for (size_t number = 1; std::getline(in, line); ++number) {
    const bool whole = !in.eof();
    Json::Value value;
    const bool good = parse(line, &value) && (number == 1 || (value["by"].isString() && value["do"].isString()));
    if (!good && !whole && number > 1) {
      tape.cut = "its last line, " + std::to_string(number) + ", is not complete";
      break;
    }
    if (!good) throw AppError(kUsage, file + ":" + std::to_string(number) + ": not a line of a recording");
    if (number == 1) {
      tape.head = value;
    } else {
      tape.entries.push_back({value["by"].asString(), value["do"].asString(), value["with"]});
    }
  }
  if (tape.head.isNull()) throw AppError(kUsage, file + ": empty");
  if (tape.cut.empty() && (tape.entries.empty() || tape.entries.back().what != kEnd))
    tape.cut = "it has no end: the recorded run was killed, or is still under way";
  return tape;
}

}  // namespace factory::tape
