// `sensorcal judge`: the verdict table as the library keeps it, the lines it drops, and the reference data behind it.
#include <fstream>

#include "cli/terminal.h"
#include "commands/phone/commands.h"
#include "files/json_text.h"
#include "files/words.h"
#include "phone/session.h"
#include "sensors/sensor.h"

namespace factory {
namespace {

constexpr char kTable[] = "/vendor/etc/sensors/judge_calibrated.json";

struct Row {
  int line = 0;
  std::string text;
  bool kept = false;
  std::string why;  // of a dropped line, or what hinders a kept one
  std::vector<std::string> keys;
  std::vector<std::string> versions;
  std::vector<std::string> data;
};

// The key path and the reference values that the library finds for a kept row.
void look_up(SensorCalibration& cal, size_t index, Row* row) {
  const std::vector<std::string>& fields = judge_calibrated[index];
  constexpr size_t kComplete = 5;
  if (fields.size() < kComplete) {
    row->why = "has " + std::to_string(fields.size()) + " fields, 5 are needed to be looked up";
    return;
  }
  const int type = getSensorType(fields[0].c_str());
  if (type < 0) {
    row->why = "its tag names no sensor";
    return;
  }
  const std::string mode_text = fields[3];
  const unsigned mode = mode_text == "1" ? 1 : mode_text == "2" ? 2 : 0;
  row->keys = cal.ParseStr(type, mode, static_cast<int>(index));
  if (row->keys.empty()) {
    row->why = "its mode must be 0, 1 or 2, and the first row of a tag decides for mode 0";
    return;
  }
  const auto lists = cal.GetSensorJsonData(row->keys, type, mode);
  if (lists.size() != 2) {
    row->why = "its reference file " + fields[2] + " cannot be opened";
    return;
  }
  row->versions = lists[0];
  row->data = lists[1];
  if (lists[0].empty() && lists[1].empty()) row->why = "its keys lead to no values in " + fields[2];
}

std::vector<Row> read_rows(SensorCalibration& cal, bool* readable) {
  cal.get_judge_calibrated();
  // The process stands in the device's "/".
  std::ifstream file(kTable + 1);
  *readable = file && (file.peek(), !file.bad());  // a folder opens, and cannot be read
  std::vector<Row> rows;
  size_t kept = 0;
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    Row row;
    row.line = number;
    row.text = line;
    row.kept = kept < judge_calibrated.size() && joined(judge_calibrated[kept], " ") == line;
    if (row.kept) {
      look_up(cal, kept++, &row);
    } else {
      const std::string chip = line.substr(line.rfind(' ') + 1);
      row.why = "no sensor of this phone has a name that begins with \"" + chip + "\"";
    }
    rows.push_back(row);
  }
  return rows;
}

Json::Value to_json(const Row& row) {
  Json::Value out = json_object({{"line", row.line}, {"text", row.text}, {"kept", row.kept}});
  if (!row.why.empty()) out["why"] = row.why;
  if (row.kept) {
    out["keys"] = json_list(row.keys);
    out["ver"] = json_list(row.versions);
    out["data"] = json_list(row.data);
  }
  return out;
}

std::string to_text(const std::vector<Row>& rows) {
  std::vector<std::vector<std::string>> cells = {{"line", "kept", "text", "key path", "ver", "data", ""}};
  for (const Row& row : rows) {
    cells.push_back({std::to_string(row.line), row.kept ? good("yes") : "no", row.text, joined(row.keys, "."),
                     joined(row.versions, " | "), joined(row.data, " | "), row.why});
  }
  return table(cells);
}

int run(const Options& options) {
  Session session(options);
  session.require_ready();
  bool readable = false;
  const std::vector<Row> rows = read_rows(session.cal(), &readable);
  if (!readable) throw AppError(kFailed, std::string("the verdict table ") + kTable + " cannot be read");
  print_result(options.json, "judge/1", json_object({{"lines", json_list(rows, to_json)}}), to_text(rows));
  return kPassed;
}

}  // namespace

Runner set_up_judge(ArgumentParser /*parser*/) { return run; }

}  // namespace factory
