#include "station/slot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

#include "cli/terminal.h"
#include "files/json_text.h"
#include "files/numbers.h"
#include "record/exit_code.h"
#include "record/record_json.h"
#include "station/ledger.h"
#include "store/stored_text.h"

namespace factory::station {
namespace {

using record::Outcome;

// What runners print beside events: a tool of the line that starts, a warning. More is no runner.
constexpr int kNonsenseMax = 20;
constexpr size_t kTextMax = 500;
constexpr size_t kStepsMax = 20000;  // of which is known what was told
constexpr Json::ArrayIndex kListMax = 16;
constexpr double kAskew = 2;  // seconds that two steady clocks may differ by over a run
// What a record has to agree to where it says it.
constexpr struct {
  std::string record::Order::*part;
  const char* name;
} kOrdered[] = {{&record::Order::serial, "serial number"},
                {&record::Order::station, "station"},
                {&record::Order::operator_name, "operator"},
                {&record::Order::retest_of, "a retest of"}};
constexpr const char* kPhases[] = {"idle", "starting", "running", "over"};

std::string text_of(const Json::Value& value) {
  return value.isString() ? visible(value.asString().substr(0, kTextMax)) : std::string();
}

int number_of(const Json::Value& value) { return value.isInt() ? value.asInt() : 0; }

// The first elements of a list, each as `become` makes it: whatever a runner says, the state stays small.
template <typename Become>
Json::Value first_ones(const Json::Value& list, Become become) {
  Json::Value out(Json::arrayValue);
  for (Json::ArrayIndex i = 0; list.isArray() && i < std::min(list.size(), kListMax); ++i) out.append(become(list[i]));
  return out;
}

Json::Value texts_of(const Json::Value& list) { return first_ones(list, text_of); }

// Reasons or hints.
Json::Value said(const Json::Value& list) {
  return first_ones(list, [](const Json::Value& one) {
    return json_object({{"code", one.isObject() ? text_of(one["code"]) : ""},
                        {"arguments", one.isObject() ? texts_of(one["arguments"]) : Json::Value(Json::arrayValue)},
                        {"text", text_of(one.isObject() ? one["text"] : one)}});
  });
}

Json::Value settings_of(const Json::Value& from) {
  Json::Value out(Json::objectValue);
  if (!from.isObject()) return out;
  for (const std::string& key : from.getMemberNames()) {
    if (out.size() < kListMax && key.size() < kTextMax) out[visible(key)] = text_of(from[key]);
  }
  return out;
}

Json::Value number_or_null(const Json::Value& value) { return value.isNumeric() ? value : Json::Value(); }

Json::Value or_null(const std::string& text) { return text.empty() ? Json::Value() : Json::Value(text); }

double seconds_between(Slot::Clock::time_point from, Slot::Clock::time_point to) {
  return std::chrono::duration<double>(to - from).count();
}

}  // namespace

void Slot::begin(const Ordered& ordered) {
  *this = Slot(*settings_);
  phase_ = Phase::starting;
  ordered_ = ordered;
  began_ = step_began_ = Clock::now();
  started_ = record::Clock::now();
}

std::string Slot::prompt_code() const {
  if (!prompt_) return "";
  return settings_->name + "-" + std::to_string(ordered_.run) + "-" + std::to_string(prompt_->number);
}

bool Slot::was_prompt_code(const std::string& text) const {
  const std::string begin = settings_->name + "-";
  const std::string rest = text.starts_with(begin) ? text.substr(begin.size()) : "";
  const size_t dash = rest.find('-');
  if (dash == std::string::npos || dash == 0 || dash + 1 == rest.size()) return false;
  return std::all_of(rest.begin(), rest.end(), [](char c) { return c == '-' || (c >= '0' && c <= '9'); }) &&
         std::count(rest.begin(), rest.end(), '-') == 1;
}

Slot::Heard Slot::hear(const std::string& line) {
  using Hears = Heard (Slot::*)(const Json::Value&);
  static constexpr struct {
    const char* event;
    Hears hears;
  } kEvents[] = {{"begun", &Slot::hear_begun},   {"begins", &Slot::hear_step},    {"sample", &Slot::hear_sample},
                 {"warns", &Slot::hear_warning}, {"prompt", &Slot::hear_prompt},  {"answer", &Slot::hear_answer},
                 {"ended", &Slot::hear_ended},   {"refused", &Slot::hear_refusal}};
  if (told_code_ != kUntold) refusal_ = {"record-misfit", {}, "it went on after its record"};
  Json::Value event;
  const bool is_event = parse_json(line, &event) && event.isObject() && event["event"].isString();
  if (!is_event) return ++nonsense_ > kNonsenseMax ? Heard::nonsense : Heard::nothing;
  const std::string name = event["event"].asString();
  if (name == "record") return hear_record(event, line);
  const auto* const found =
      std::find_if(std::begin(kEvents), std::end(kEvents), [&](const auto& row) { return name == row.event; });
  return found == std::end(kEvents) ? Heard::nothing : (this->*found->hears)(event);
}

Slot::Heard Slot::hear_begun(const Json::Value& event) {
  steps_ = number_of(event["steps"]);
  phase_ = Phase::running;
  return Heard::change;
}

Slot::Heard Slot::hear_step(const Json::Value& event) {
  step_ = number_of(event["step"]);
  attempt_ = number_of(event["attempt"]);
  if (steps_told_.size() < kStepsMax)
    steps_told_[step_] = {text_of(event["name"]), text_of(event["kind"]), text_of(event["tag"])};
  step_began_ = Clock::now();
  warns_.clear();
  prompt_.reset();
  return Heard::change;
}

Slot::Named Slot::told_of(int step) const {
  const auto found = steps_told_.find(step);
  return found == steps_told_.end() ? Named() : found->second;
}

Slot::Heard Slot::hear_warning(const Json::Value& event) {
  warns_ = text_of(event["text"]);
  return Heard::change;
}

Slot::Heard Slot::hear_prompt(const Json::Value& event) {
  prompt_ = Prompt{number_of(event["prompt"]), settings_of(event["settings"]), texts_of(event["instructions"])};
  return Heard::change;
}

Slot::Heard Slot::hear_answer(const Json::Value& event) {
  if (number_of(event["prompt"]) == prompt_number()) prompt_.reset();
  return Heard::change;
}

Slot::Heard Slot::hear_ended(const Json::Value& event) {
  const std::string verdict = text_of(event["verdict"]);
  const int step = number_of(event["step"]);
  if (step == step_) prompt_.reset();  // it may end after the next one began
  if (verdicts_.size() < kStepsMax) verdicts_[step] = verdict;
  const bool passes = verdict == "passed" || verdict == "marginal" || verdict == "skipped";
  const bool again = failing_.isObject() && number_of(failing_["step"]) == step;  // asking null makes an object of it
  if (passes && again) failing_ = Json::Value();
  if (passes || !(failing_.isNull() || again)) return Heard::change;
  show_failing(step, told_of(step).name, event["reasons"], event["hints"]);
  return Heard::change;
}

Slot::Heard Slot::hear_sample(const Json::Value& event) {
  live_ = json_object({{"slot", settings_->name},
                       {"run", ordered_.run},
                       {"step", number_of(event["step"])},
                       {"tag", text_of(event["tag"])},
                       {"values", first_ones(event["values"], number_or_null)},
                       {"units", or_null(text_of(event["unit"]))},
                       {"restarts", number_of(event["restarts"])}});
  return Heard::sample;
}

Json::Value Slot::live(const Pace& pace) const {
  Json::Value out = live_;
  if (out.isNull()) return out;
  out["limits"] = Json::Value();
  for (const double limit : pace.limits(ordered_.plan->sha256, live_["step"].asInt()))
    out["limits"].append(json_list(std::array{-limit, limit}));
  return out;
}

Slot::Heard Slot::hear_refusal(const Json::Value& event) {
  const std::string text = text_of(event["text"]);
  refusal_ = {"runner-refuses", {text}, text};
  return Heard::nothing;
}

// The record's own bytes are read: written anew, a number might become another.
Slot::Heard Slot::hear_record(const Json::Value& event, const std::string& line) {
  const Json::Value& part = event["record"];
  told_code_ = event["exit_code"].isInt() ? event["exit_code"].asInt() : -1;
  try {
    const auto start = static_cast<size_t>(part.getOffsetStart());
    heard_ = record::read_run(line.substr(start, static_cast<size_t>(part.getOffsetLimit()) - start));
  } catch (const record::FormatError& error) {
    refusal_ = {"record-unreadable", {}, std::string("its record cannot be read: ") + error.what()};
  }
  prompt_.reset();
  return Heard::change;
}

// Why a phone has not passed though its record says so; empty: it has, or the record does not say so.
std::string Slot::pass_problem() const {
  if (!passes(heard_->outcome)) return "";
  const auto count = static_cast<int>(heard_->steps.size());
  if (count == 0 || count != steps_)
    return "the record says passed with " + std::to_string(count) + " steps of " + std::to_string(steps_);
  int number = 0;
  for (const record::Step& step : heard_->steps) {
    const auto shown = [](const std::string& text) { return visible(text.substr(0, kTextMax)); };
    const Named begun = told_of(++number);
    const std::string what =
        "the record says passed, and step " + std::to_string(number) + ", " + shown(step.name) + ", is ";
    if (step.index != number || begun.name != shown(step.name))
      return what + "number " + std::to_string(step.index) + " in it and was told as \"" + begun.name + "\"";
    if (begun.kind != shown(step.kind) || begun.tag != shown(step.tag)) {
      return what + "\"" + shown(step.kind + " " + step.tag) + "\" in it and was told as \"" + begun.kind + " " +
             begun.tag + "\"";
    }
    const auto told = verdicts_.find(number);
    const std::string said = told == verdicts_.end() ? "not told" : told->second;
    if (!passes(step.outcome) || said != outcome_name(step.outcome))
      return what + outcome_name(step.outcome) + " in it and was " + said;
  }
  const std::string denied = denial_of_pass(*heard_);
  return denied.empty() ? "" : "the record says passed, and " + visible(denied.substr(0, kTextMax));
}

// Whether the record is of this run, and no other's that was kept somewhere, whatever clocks say.
bool Slot::is_own() const {
  const std::string& serial = heard_->serial;
  return heard_->id == ordered_.id && (serial.empty() || serial == ordered_.order.serial);
}

// Why the record is not that of this run; without words: it is.
record::Text Slot::misfit(const RunnerEnd& end) const {
  if (!refusal_.text.empty()) return refusal_;
  if (!end.why.text.empty()) return end.why;
  const std::string code = std::to_string(end.code);
  if (!heard_) return {"record-missing", {code}, "the runner ended without a record, with exit code " + code};
  const auto misfits = [](const std::string& words) { return record::Text("record-misfit", {}, words); };
  if (heard_->id.empty())
    return {"record-old", {}, "the record has no id: the runner's sensorcal may be older than the station's"};
  if (heard_->id != ordered_.id)
    return {"record-other", {}, "the record is of another run, " + visible(heard_->id) + ", than this one"};
  for (const auto& [part, name] : kOrdered) {
    const std::string& is = (*heard_).*part;
    const std::string& wanted = ordered_.order.*part;
    if (!is.empty() && !wanted.empty() && is != wanted)
      return misfits(std::string("the record is of ") + name + " " + visible(is) + ", not of " + wanted);
  }
  if (heard_->plan.bytes != ordered_.plan->bytes)
    return misfits("the record is of another plan than " + ordered_.plan->file);
  const double took = seconds_between(began_, Clock::now());
  if (!(heard_->seconds <= took + kAskew)) {
    return misfits("the record is of " + plain(std::round(heard_->seconds)) + " s, and the run took " +
                   plain(std::round(took)) + " s");
  }
  const bool fits = end.code == told_code_ && (end.code == record::exit_code(heard_->outcome, true) ||
                                               end.code == record::exit_code(heard_->outcome, false));
  if (!fits) {
    return misfits(std::string("the record says ") + outcome_name(heard_->outcome) + " with exit code " +
                   std::to_string(told_code_) + ", the runner ended with " + code);
  }
  return misfits(pass_problem());
}

const record::Run& Slot::end(const RunnerEnd& end) {
  if (const record::Text why = misfit(end); !why.text.empty()) {
    make_error(end, why);
  } else {
    record_ = std::move(*heard_);
    set_clock();
    show_failing();
    compare_error();
  }
  heard_.reset();
  for (const auto& [part, name] : kOrdered) {
    if (!(ordered_.order.*part).empty()) record_.*part = ordered_.order.*part;
  }
  record_.retest_of = ordered_.order.retest_of;
  // A golden phone's lot outweighs the line's, and no other phone has it.
  if (ordered_.golden || record_.lot == kGoldenLot) record_.lot = ordered_.golden ? kGoldenLot : "";
  // Of the same bytes the names are the same.
  if (record_.plan.bytes == ordered_.plan->bytes) record_.plan = plan();
  record_.id = ordered_.id;
  prompt_.reset();
  live_ = Json::Value();
  ended_ = Clock::now();
  return record_;
}

void Slot::show() {
  phase_ = Phase::over;
  held_ = false;
}

record::Plan Slot::plan() const {
  const PlanChoice& plan = *ordered_.plan;
  return {plan.name, plan.version, plan.file, plan.sha256, plan.bytes};
}

record::Run Slot::trace() const {
  record::Run out;
  static_cast<record::Order&>(out) = ordered_.order;
  out.id = ordered_.id;
  out.started = started_;
  out.plan = plan();
  out.outcome = Outcome::error;
  out.remarks = {"the station ended before this run did: nothing is known of it"};
  return out;
}

// A phone on a line may have any time of day: the station's counts, and orders its runs.
void Slot::set_clock() {
  using std::chrono::seconds;
  const auto off = started_ - record_.started;
  if (off > -seconds(60) && off < seconds(60)) return;
  record_.started += off;
  for (record::Step& step : record_.steps) {
    for (record::Attempt& attempt : step.attempts) attempt.started += off;
  }
  record_.remarks.push_back("the phone's clock was " +
                            std::to_string(std::abs(std::chrono::duration_cast<seconds>(off).count())) + " s " +
                            (off.count() > 0 ? "slow" : "fast") + ": times of day are the station's");
}

// What the runner's record holds is kept where it is of this phone: it may say what happened.
void Slot::make_error(const RunnerEnd& end, const record::Text& why) {
  const bool said_already = end.last_words.find(why.text) != std::string::npos;  // by a runner that refused
  last_words_ = said_already ? "" : end.last_words;
  problem_ = why;
  if (!last_words_.empty()) problem_.text += ". Its last words: " + last_words_;
  if (heard_ && is_own()) {
    record_ = std::move(*heard_);
    set_clock();
  } else {
    record_ = trace();
    record_.remarks.clear();
    record_.seconds = seconds_between(began_, Clock::now());
  }
  record_.outcome = Outcome::error;
  record_.remarks.push_back("the station could not trust the run: " + problem_.text);
}

void Slot::show_failing(int step, const std::string& name, const Json::Value& reasons, const Json::Value& hints) {
  failing_ = json_object({{"step", step}, {"name", name}, {"reasons", said(reasons)}, {"hints", said(hints)}});
}

void Slot::compare_error() {
  if (ordered_.error.empty() || error_of(record_) != ordered_.error) return;
  const record::Text same("the same error as in the run before: the phone itself may be at fault");
  record_.remarks.push_back(same);
  if (failing_) failing_["hints"].insert(0, said(record::to_json(std::vector{same}))[0]);
}

// By the record, which outweighs what was told on the way.
void Slot::show_failing() {
  failing_ = Json::Value();
  for (const record::Step& step : record_.steps) {
    if (passes(step.outcome) || step.outcome == Outcome::skipped || step.attempts.empty()) continue;
    if (step.outcome != record_.outcome) continue;
    const record::Attempt& last = step.attempts.back();
    return show_failing(step.index, step.name, record::to_json(last.reasons), record::to_json(last.hints));
  }
}

Json::Value Slot::to_json(const Pace& pace) const {
  const Named told = told_of(step_);
  const Clock::time_point now = busy() ? Clock::now() : ended_;
  const auto left = phase_ == Phase::running
                        ? pace.left(ordered_.plan->sha256, step_, seconds_between(step_began_, now))
                        : std::nullopt;
  Json::Value out =
      json_object({{"slot", settings_->name},
                   {"phase", kPhases[static_cast<size_t>(phase_)]},
                   {"run", ordered_.run},
                   {"serial", ordered_.order.serial},
                   {"retest", ordered_.retest},
                   {"step", step_},
                   {"steps", steps_},
                   {"name", told.name},
                   {"kind", told.kind},
                   {"tag", told.tag},
                   {"attempt", attempt_},
                   {"left_seconds", left},
                   {"elapsed_seconds", phase_ == Phase::idle ? 0.0 : seconds_between(began_, now)},
                   {"prompt", Json::Value()},
                   {"warns", or_null(warns_)},
                   {"verdict", phase_ == Phase::over ? Json::Value(outcome_name(record_.outcome)) : Json::Value()},
                   {"failing", failing_},
                   {"problem", Json::Value()}});
  if (prompt_) {
    out["prompt"] = json_object({{"prompt", prompt_->number},
                                 {"code", prompt_code()},
                                 {"settings", prompt_->settings},
                                 {"instructions", prompt_->instructions}});
  }
  if (held_) {
    out["phase"] = kPhases[static_cast<size_t>(Phase::over)];
    out["verdict"] = outcome_name(Outcome::error);
    out["failing"] = Json::Value();
    const record::Text why("run-unkept", {},
                           "this computer's disk does not take the run: its verdict does not count yet");
    out["problem"] = said(record::to_json(std::vector{why}))[0];
    out["problem"]["last_words"] = Json::Value();
  } else if (!problem_.text.empty()) {
    out["problem"] = said(record::to_json(std::vector{problem_}))[0];
    out["problem"]["last_words"] = or_null(last_words_);
  }
  return out;
}

}  // namespace factory::station
