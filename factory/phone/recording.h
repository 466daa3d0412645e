// Recordings of runs: a folder described in docs/formats/run-recording.md.
#pragma once

#include <json/json.h>

#include <memory>
#include <string>
#include <vector>

#include "phone/fixture.h"

namespace factory {

inline constexpr char kRecordingFormat[] = "sensorcal.recording/1";

// What a replay has to know before it opens the recording.
struct RecordedRun {
  std::string plan_file;  // as it was named
  std::string plan_bytes;
  std::string serial;
  std::string station;
  std::string operator_name;
  Json::Value options;  // for people
};

// Makes the folder, which must be missing or empty, and writes what is known beforehand. Throws AppError.
void begin_recording(const std::string& folder, const RecordedRun& run);
// Throws AppError for what is no recording, or one of another version.
RecordedRun read_recording(const std::string& folder);
// The record of the recorded run; null where the recording was cut off before its end.
Json::Value recorded_record(const std::string& folder);

// Puts a recorder in front of a phone that was opened, with begin_recording() done. Throws AppError.
std::unique_ptr<Fixture> record_fixture(std::unique_ptr<Fixture> phone, const std::string& folder);
// The recorded phone, with none behind it. A run that leaves the recording ends the process with kDiffers. Throws
// AppError.
std::unique_ptr<Fixture> replay_fixture(const std::string& folder);

// What differs between two records, a line each with its place; the application and its library may be others.
std::vector<std::string> differences(const Json::Value& recorded, const Json::Value& replayed);

}  // namespace factory
