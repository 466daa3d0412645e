#include "phone/held_values.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "files/json_text.h"
#include "files/whole_file.h"

namespace factory {
namespace {

constexpr int kScales = 5;
constexpr int kGolden = 7;

// As a whole; in place only where the folder takes no new file.
void write_bytes(const std::string& path, const std::string& bytes) {
  try {
    return replace_file(path, bytes);
  } catch (const AppError&) {
    // Written over only where the folder takes no new file: where there is no room the old one would be lost too.
    if (access(std::filesystem::absolute(path).parent_path().c_str(), W_OK) == 0) return;
  }
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

bool same(const std::vector<double>& a, const std::vector<double>& b) {
  const auto equal = [](double x, double y) { return x == y || (std::isnan(x) && std::isnan(y)); };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), equal);
}

bool is_json(const std::optional<std::string>& text) {
  Json::Value ignored;
  return text && parse_json(*text, &ignored);
}

}  // namespace

LightFile light_file() {
  const std::optional<std::string> text = read_file(LightFile::kPath, SIZE_MAX);
  return {text.has_value(), is_json(text), access(LightFile::kCopy, F_OK) == 0};
}

void repair_light_file() {
  const LightFile state = light_file();
  if (!state.copied) return;
  const std::optional<std::string> copy = read_file(LightFile::kCopy, SIZE_MAX);
  if (!state.whole && copy) replace_file(LightFile::kPath, *copy);
  unlink(LightFile::kCopy);
}

void HeldValues::want(const StoredValue& value, int count) {
  if (value.read != nullptr) wanted_.push_back({&value, value.count == 0 ? count : value.count});
}

HeldValues::HeldValues(int type, int param, bool writes_golden) : type_(type) {
  const StepRow* step = step_of(type, param);
  if (step == nullptr) return;
  const unsigned changes = step->changes | (writes_golden ? Stored::golden : 0U);
  for (const StoredValue& value : stored_values()) {
    if (value.in != Stored::any && (value.in & changes) != 0 && value.applies(type))
      want(value, value.in == Stored::golden ? kGolden : kScales);
  }
  if (step->leaves != nullptr) irreversible_.emplace_back(step->leaves);
  if ((changes & (Stored::channel_scales | Stored::golden)) != 0) files_ = {LightFile::kPath};
  if (step->changes == Stored::golden && !property("persist.vendor.goodix.cct_support").empty())
    irreversible_.emplace_back("what the hub's own colour run keeps besides scales and golden values");
}

HeldValues::HeldValues(int type, const std::string& value, int count) : type_(type) {
  if (const StoredValue* stored = stored_value(type, value)) want(*stored, count);
  if (wanted_.empty()) irreversible_.push_back("the " + value + " of " + name_of(type));
}

std::vector<HeldValue> HeldValues::now(Session& session) const {
  const Watchdog::Operation operation(session.watchdog());
  std::vector<HeldValue> out;
  for (const auto& [value, count] : wanted_) {
    const Reading reading = value->read(*session.cal().cal_api, type_, count);
    // Another result than 0: golden values that were never set, a file that is not there.
    out.push_back({value->name, value->unit(type_), reading.result != 0 ? std::vector<double>() : reading.values});
  }
  return out;
}

std::vector<size_t> HeldValues::changed(Session& session) const {
  std::vector<size_t> out;
  const std::vector<HeldValue> held = now(session);
  for (size_t i = 0; i < before_.size(); ++i) {
    if (!same(held[i].values, before_[i].values)) out.push_back(i);
  }
  return out;
}

// Whoever comes to an end by himself leaves the file as a whole.
HeldValues::~HeldValues() {
  if (!file_bytes_.empty()) unlink(LightFile::kCopy);
}

std::optional<record::Reason> HeldValues::note(Session& session) {
  const LightFile light = files_.empty() ? LightFile() : light_file();
  if (light.copied && !light.whole) {
    return record::Reason{
        record::Why::stored_unreadable,
        "/" + std::string(LightFile::kPath) + " was cut off while it was written; nothing was changed",
        "`sensorcal files --repair` puts back what it held before"};
  }
  HubWatch hub(session);
  if (hub.answered()) before_ = now(session);
  const std::string problem = hub.problem();
  if (!problem.empty()) {
    before_.clear();  // zeros that nobody sent
    return record::Reason{record::Why::hub_silent, problem + "; nothing was changed", kLookAtServices};
  }
  for (const HeldValue& value : before_) {
    if (value.name == "golden" && value.values.empty())
      irreversible_.emplace_back("golden values, which were never set");
  }
  for (const std::string& file : files_) file_bytes_[file] = read_file(file, SIZE_MAX);
  // Without room for the copy the step goes on: it is only for one that is killed.
  if (light.whole) write_bytes(LightFile::kCopy, *file_bytes_[LightFile::kPath]);
  return {};
}

std::string HeldValues::put_back_value(Session& session, size_t which) const {
  const StoredValue& value = *wanted_[which].value;
  const HeldValue& before = before_[which];
  if (before.values.empty()) {
    if (value.file == nullptr) return before.name + " was not set before, and the hub cannot forget it";
    return unlink(value.file) == 0 ? "" : before.name + ": the new file cannot be taken away";
  }
  if (value.write == nullptr) return before.name + " can only be read";
  const int result = value.write(*session.cal().cal_api, type_, before.values);
  return result < 0 ? before.name + " was refused with " + std::to_string(result) : "";
}

// What was read back of the hub during the attempt was not what had been written: nothing that it tells is known to be
// so, nor was what it told before.
bool HeldValues::misled(const record::Attempt& attempt) const {
  return std::any_of(attempt.reasons.begin(), attempt.reasons.end(), [this](const record::Text& reason) {
    if (reason.code != record::Why::stored_differs.code && reason.code != record::Why::stored_unreadable.code)
      return false;
    const StoredValue* value = stored_value(type_, reason.arguments.at(0));
    return value != nullptr && value->file == nullptr;
  });
}

// What counts is what reads back, not what the hub answers to a write.
void HeldValues::put_back(Session& session, record::Attempt* attempt) const {
  std::vector<std::string> problems;
  HubWatch hub(session);
  std::map<size_t, std::string> refusals;
  if (hub.answered()) {
    for (const size_t i : changed(session)) refusals[i] = put_back_value(session, i);
  }
  bool needed = !refusals.empty();
  for (const auto& [path, bytes] : file_bytes_) {
    if (read_file(path, SIZE_MAX) == bytes) continue;
    needed = true;
    if (bytes) {
      write_bytes(path, *bytes);
    } else {
      unlink(path.c_str());
    }
    if (read_file(path, SIZE_MAX) != bytes) problems.push_back("/" + path + " could not be put back");
  }
  if (hub.answered()) {
    for (const size_t i : changed(session)) {
      const std::string& refusal = refusals[i];
      problems.push_back(refusal.empty() ? before_[i].name + " does not read as it was before" : refusal);
    }
  }
  // Without an answer the reads above are worth nothing.
  const std::string problem = hub.problem();
  if (!problem.empty()) problems.push_back(problem);
  for (std::string& what : problems) what.insert(0, "the old values are not all back: ");
  if (misled(*attempt))
    problems.emplace_back("whether the old values are back is not known: the hub does not tell what was written to it");
  attempt->put_back = needed && problems.empty();
  attempt->kept = !problems.empty();
  for (const std::string& what : problems)
    attempt->fail({record::Why::old_values_lost, what, "calibrate again, or write them by hand"});
}

}  // namespace factory
