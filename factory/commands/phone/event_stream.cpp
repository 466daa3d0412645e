#include "commands/phone/event_stream.h"

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <iostream>
#include <utility>

#include "record/record_json.h"

namespace factory {
namespace {

using std::chrono::milliseconds;
using Answer = Asker::Answer;

constexpr int kLookMs = 50;
constexpr milliseconds kBetweenSamples{100};
constexpr std::pair<const char*, Answer> kAnswers[] = {
    {"done", Answer::done}, {"skip", Answer::skip}, {"abort", Answer::abort}};

Json::Value texts(const std::vector<record::Text>& from) {
  return json_list(from, [](const record::Text& text) {
    return json_object({{"code", text.code}, {"text", text.text}, {"arguments", json_list(text.arguments)}});
  });
}

}  // namespace

EventStream::~EventStream() {
  done_ = true;
  if (listener_.joinable()) listener_.join();
  if (looker_.joinable()) looker_.join();
}

void EventStream::say(const char* event, std::initializer_list<JsonMember> fields) { tell(event, json_object(fields)); }

void EventStream::tell(const char* event, Json::Value fields) {
  fields["event"] = event;
  const std::lock_guard<std::mutex> lock(out_);
  std::cout << json_line(fields) << std::endl;
}

// False: standard input is at its end, or nobody wants more of it.
bool EventStream::read_line(std::string* line) {
  constexpr size_t kMost = size_t{64} << 20U;  // as a plan's file
  for (;;) {
    if (const size_t end = unread_.find('\n', searched_); end != std::string::npos) {
      *line = unread_.substr(0, end);
      unread_.erase(0, end + 1);
      searched_ = 0;
      return true;
    }
    searched_ = unread_.size();
    if (unread_.size() > kMost) throw AppError(kUsage, "standard input: a line is longer than 64 MB");
    pollfd wanted{STDIN_FILENO, POLLIN, 0};
    if (done_) return false;
    if (poll(&wanted, 1, kLookMs) <= 0) continue;
    char part[4096];
    const ssize_t count = read(STDIN_FILENO, part, sizeof part);
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (count <= 0) return false;
    unread_.append(part, static_cast<size_t>(count));
  }
}

plan::Plan EventStream::take_plan() {
  const std::string wanted = R"( Wanted is {"file": NAME, "plan": TEXT} in the first line.)";
  std::string line;
  if (!read_line(&line)) throw AppError(kUsage, "standard input: there is no plan." + wanted);
  Json::Value value;
  std::string problem;
  if (!parse_json(line, &value, &problem)) throw AppError(kUsage, "standard input: " + problem + wanted);
  if (!value.isObject() || !value["plan"].isString() || !value["file"].isString())
    throw AppError(kUsage, "standard input: no plan." + wanted);
  if (const Json::Value id = value["id"]; !id.isNull()) {
    if (!id.isString() || !record::is_run_id(id.asString()))
      throw AppError(kUsage, "standard input: \"id\" is no id of a run");
    id_ = id.asString();
  }
  return plan::load_plan(value["file"].asString(), value["plan"].asString());
}

void EventStream::begin(const plan::Plan& plan, const LogTap& tap) {
  steps_ = plan.step_count();
  say("begun", {{"schema", "sensorcal.run-events/1"}, {"plan", plan.name}, {"steps", steps_}});
  listener_ = std::thread([this] { listen(); });
  looker_ = std::thread([this, &tap] { look(tap); });
}

void EventStream::listen() {
  std::string line;
  try {
    while (read_line(&line)) take_answer(line);
  } catch (const AppError& error) {
    say("problem", {{"text", error.what()}});
  }
  if (!done_) kill(getpid(), SIGINT);
}

void EventStream::take_answer(const std::string& line) {
  Json::Value value;
  std::string problem;
  const bool is_answer = parse_json(line, &value, &problem) && value.isObject() && value["prompt"].isInt();
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& [name, answer] : kAnswers) {
      if (!is_answer || value["answer"] != name || !waits_ || value["prompt"].asInt() != prompt_) continue;
      waits_ = false;
      answer_ = answer;
      answered_.notify_all();
      return;
    }
  }
  say("problem", {{"text", "no answer to the prompt that waits: " + line.substr(0, 200)}});
}

// Answers that came before the question are none to it.
Answer EventStream::ask(const Fixture::Settings& settings, const std::vector<std::string>& instructions,
                        const std::atomic<bool>& interrupted) {
  Json::Value out;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    waits_ = true;
    out["prompt"] = ++prompt_;
    out["step"] = step_;
  }
  for (const auto& [key, value] : settings) out["settings"][key] = value;
  out["instructions"] = json_list(instructions);
  tell("prompt", out);
  Answer answer = Answer::interrupted;
  int prompt = 0;
  {
    std::unique_lock<std::mutex> lock(mutex_);
    while (waits_ && !interrupted) answered_.wait_for(lock, milliseconds(kLookMs));
    if (!std::exchange(waits_, false)) answer = answer_;
    prompt = prompt_;
  }
  for (const auto& [name, value] : kAnswers) {
    if (value == answer) say("answer", {{"prompt", prompt}, {"answer", name}});
  }
  return answer;
}

void EventStream::begins(const record::Step& step, int attempt) {
  Json::Value out = json_object({{"step", step.index}, {"name", step.name}, {"kind", step.kind}, {"attempt", attempt}});
  if (!step.tag.empty()) out["tag"] = step.tag;
  tell("begins", out);
  const std::lock_guard<std::mutex> lock(mutex_);
  step_ = step.index;
  tag_ = step.tag;
  taking_ = {};
}

void EventStream::takes(const record::Step& /*step*/, const plan::Taking& taking) {
  const std::lock_guard<std::mutex> lock(mutex_);
  taking_ = taking;
}

void EventStream::warns(const record::Step& step, const std::string& text) {
  say("warns", {{"step", step.index}, {"text", text}});
}

void EventStream::ended(const record::Step& step, const record::Attempt& attempt) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (step_ == step.index) step_ = 0;  // the next one may have begun
  }
  say("ended", {{"step", step.index},
                {"attempt", attempt.number},
                {"verdict", outcome_name(attempt.outcome)},
                {"reasons", texts(attempt.reasons)},
                {"hints", texts(attempt.hints)}});
}

// What a library run took last, where it took anything since.
void EventStream::look(const LogTap& tap) {
  int told = 0;
  for (; !done_; std::this_thread::sleep_for(kBetweenSamples)) {
    const LogTap::Counts counts = tap.counts();
    Json::Value out;
    std::vector<double> taken;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (step_ == 0 || counts.events == told || counts.events == 0) continue;
      out["step"] = step_;
      out["tag"] = tag_;
      taken = taking_(counts.latest);
      if (!taking_.unit.empty()) out["unit"] = taking_.unit;
    }
    told = counts.events;
    out["events"] = counts.events;
    out["restarts"] = counts.restarts;
    out["values"] = json_list(taken, [](double value) { return json_number(value); });
    tell("sample", out);
  }
}

void EventStream::refused(const AppError& error) {
  done_ = true;
  say("refused", {{"exit_code", error.code}, {"text", error.what()}});
}

void EventStream::told(record::Run run, int code) {
  done_ = true;
  run.id = id_;
  say("record", {{"exit_code", code}, {"record", to_json(run)}});
}

}  // namespace factory
