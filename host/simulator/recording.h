// Recordings of runs: a folder described in docs/formats/run-recording.md.
#pragma once

#include <json/json.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "phone/fixture.h"
#include "record/record.h"

namespace factory {

inline constexpr char kRecordingFormat[] = "sensorcal.recording/5";
inline constexpr char kTraceFile[] = "/trace.jsonl";

// All of these throw AppError.

// The folder must be missing or empty.
void make_recording(const std::string& folder);
void write_head(const std::string& folder, const RunHead& head);
void write_record(const std::string& folder, const record::Run& record);

// Refuses what is no recording, or one of another version.
RunHead read_head(const std::string& folder);
// The record of the recorded run; nothing where the recording was cut off before its end.
std::optional<record::Run> recorded_record(const std::string& folder);

// The recorded phone, with none behind it. A run that leaves the recording ends the process with kDiffers.
std::unique_ptr<Fixture> replay_fixture(const std::string& folder);

// What differs between two records, a line each with its place. Not compared is what a replay does not promise: times,
// the log, and which program ran.
std::vector<std::string> differences(const record::Run& recorded, const record::Run& replayed);

}  // namespace factory
