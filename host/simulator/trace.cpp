#include "simulator/trace.h"

#include <fstream>

#include "files/json_text.h"
#include "simulator/recording.h"
#include "simulator/trace_words.h"

namespace factory::trace {
namespace {

void take_line(const Json::Value& line, Recorded* out) {
  if (line.isMember("event")) {
    out->events[line["enabling"].asInt()].push_back(event_from(line["event"]));
    return;
  }
  const std::string name = line["ask"].asString();
  const Json::Value& answer = line["answer"];
  check_answer(name, answer);
  // The line of one that ends at once may come ahead of that of its beginning.
  const bool begins = name == kEnable && answer["result"] == 0;
  const int enabling = begins || name == kDisable ? answer["enabling"].asInt() : 0;
  if (enabling != 0 && (out->on[enabling] += begins ? 1 : -1) == 0) out->on.erase(enabling);
  out->answers[key(line["attempt"].asString(), name, line["of"])].push_back(answer);
}

void take_head(const Json::Value& line, Recorded* out) {
  if (line["format"] != kRecordingFormat)
    throw Json::RuntimeError("not of the format " + std::string(kRecordingFormat));
  (void)texts_from(line["unwritable"]);
  for (const std::string& name : line["properties"].getMemberNames()) (void)line["properties"][name].asString();
  out->head = line;
}

constexpr char kSum[] = ",\"sum\":\"";
constexpr size_t kSumDigits = 16;

// FNV-1a, of 64 bits: a byte that changes always changes it.
std::string sum_of(const std::string& text) {
  uint64_t sum = 0xcbf29ce484222325;
  for (const char byte : text) sum = (sum ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
  char out[kSumDigits + 1];
  snprintf(out, sizeof out, "%016llx", static_cast<unsigned long long>(sum));
  return out;
}

bool is_sealed(const std::string& line) {
  constexpr size_t kTail = sizeof kSum - 1 + kSumDigits + 2;  // with the last quote and brace
  return line.size() > kTail && sealed(line.substr(0, line.size() - kTail) + "}") == line;
}

}  // namespace

std::string sealed(std::string line) {
  line.pop_back();
  return line + kSum + sum_of(line) + "\"}";
}

std::string attempt_key(int step, int attempt) { return std::to_string(step) + "." + std::to_string(attempt); }

std::string key(const std::string& attempt, const std::string& name, const Json::Value& of) {
  return (name == kDisable ? "" : attempt) + " " + name + " " + json_line(of);
}

// A run that was killed leaves a last line without its end.
Recorded read_trace(std::istream& in, const std::string& file, bool sums) {
  Recorded out;
  std::string text;
  for (int number = 1; std::getline(in, text); ++number) {
    std::string problem;
    try {
      Json::Value line;
      if (!parse_json(text, &line, &problem) || !line.isObject()) throw Json::RuntimeError("no JSON object");
      if (sums && !is_sealed(text)) throw Json::RuntimeError("its bytes are not those of its sum");
      if (line["n"] != number) throw Json::RuntimeError("its number is " + json_line(line["n"]));
      number == 1 ? take_head(line, &out) : take_line(line, &out);
      continue;
    } catch (const Json::Exception& error) {
      problem = error.what();
    }
    if (!in.eof() || number == 1)
      throw AppError(kUsage, file + ":" + std::to_string(number) + ": the recording is damaged: " + problem);
    out.cut = "its last line, " + std::to_string(number) + ", is not complete";
  }
  if (out.head.isNull()) throw AppError(kUsage, file + ": empty");
  return out;
}

Recorded read_trace(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw AppError(kUsage, file + ": cannot be read");
  return read_trace(in, file, true);
}

}  // namespace factory::trace
