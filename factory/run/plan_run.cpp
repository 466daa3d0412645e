#include "run/plan_run.h"

#include <algorithm>
#include <cmath>
#include <thread>

#include "files/words.h"
#include "phone/hub_message.h"
#include "run/identity.h"

namespace factory::plan {
namespace {

constexpr const char* kProperties[] = {
    "ro.build.product",
    "ro.product.product.name",
    "ro.build.fingerprint",
    "persist.vendor.sensor.cali_sensor",
    "persist.vendor.sensor.cct_need_lcdbacklight_cali",
    "persist.vendor.goodix.cct_support",
    "persist.vendor.display.under.cct",
    "persist.vendor.display.parse.algorithm",
};

void compare(const Attempt& before, Attempt* attempt) {
  if (attempt->outcome != Outcome::error || before.outcome != Outcome::error) return;
  const std::string& code = attempt->reasons.front().code;
  if (code != before.reasons.front().code || !record::phone_may_be_at_fault(code)) return;
  attempt->notes.emplace_back("the same error as in the attempt before: the phone itself may be at fault");
}

bool attempt_is_void(const Attempt& attempt) {
  return std::any_of(attempt.reasons.begin(), attempt.reasons.end(),
                     [](const record::Text& reason) { return reason.code == Why::clock_stepped.code; });
}

// Whether a look at a sensor, what is stored of it, or the report would show what the calibration did.
bool is_seen_by(const Step& calibration, const Step& look) {
  const Sensor* sensor = sensor_of(calibration.type);
  const StepRow* row = step_of(calibration.type, calibration.param);
  if (sensor == nullptr || row == nullptr || calibration.channel) return false;
  const bool in_chip = sensor->result == Result::none && row->leaves != nullptr;
  if (row->changes == 0 && !in_chip) return false;
  if (look.report) {
    const auto& wanted = look.positions;
    return sensor->position >= 0 &&
           (wanted.empty() || std::count(wanted.begin(), wanted.end(), label_of(*sensor)) != 0);
  }
  if (look.type != calibration.type) return false;
  return look.kind == StepKind::verify || in_chip || (stored_value(look.type, look.value)->in & row->changes) != 0;
}

// A step that did not run.
record::Step to_record(const Step& step, const std::string& group, size_t index) {
  record::Step out;
  out.index = static_cast<int>(index);
  out.name = step.name;
  out.kind = kind_name(step.kind);
  out.group = group;
  const bool sensor = step.kind != StepKind::fixture && step.kind != StepKind::probe && !step.report;
  if (sensor) out.tag = tag_of(step.type);
  if (sensor && sensor_of(step.type) != nullptr) out.sensor = sensor_of(step.type)->words;
  if (step.kind == StepKind::calibrate) out.param = step.param;
  return out;
}

record::Phone phone_of(Session& session) {
  record::Phone out;
  for (const auto& [name, value] : session.fixture().facts()) out.facts[name == "phone" ? "directory" : name] = value;
  for (const char* name : kProperties) {
    if (const std::string value = property(name); !value.empty()) out.properties[name] = value;
  }
  return out;
}

// Throws AppError(kUsage) where the plan names the phones that it is for, and this is none of them.
void require_phone(const Plan& plan) {
  if (plan.phones.empty()) return;
  // The library goes by one name here and by the other there: both must be meant.
  std::vector<std::string> names;
  for (const char* name : {"ro.product.product.name", "ro.build.product"}) {
    if (const std::string value = property(name); !value.empty()) names.push_back(value);
  }
  const auto other = std::find_if(names.begin(), names.end(), [&](const std::string& name) {
    return std::count(plan.phones.begin(), plan.phones.end(), name) == 0;
  });
  if (!names.empty() && other == names.end()) return;
  throw AppError(kUsage, plan.file + ": the plan is for " + joined(plan.phones, ", ") + ", and this phone is " +
                             (names.empty() ? "of no known product" : *other) + "; nothing was run");
}

}  // namespace

PlanRun::PlanRun(Session& session, const Plan& plan, const RunOrder& order, Observer& observer)
    : session_(session), plan_(plan), stop_on_failure_(order.stop_on_failure), observer_(observer) {
  require_phone(plan);
  session.fixture().run_begins({plan.file, plan.bytes, session.options().speed, order});
  run_.started = session.now();
  static_cast<record::Order&>(run_) = order;
  run_.plan = plan;
  run_.application = {SENSORCAL_VERSION, build_id("")};
  run_.library = {SENSORCAL_VERSION, build_id("libsensor_cal")};  // both are released together
  run_.world = session.fixture().world();
  for (const Block& block : plan.blocks) {
    for (const Step& step : block.steps) run_.steps.push_back(to_record(step, block.group, run_.steps.size() + 1));
  }
  session_.log().keep_all();
  session_.on_hub_message([this](const HubMessage& message) {
    constexpr size_t kMax = 5000;
    const std::lock_guard<std::mutex> lock(hub_mutex_);
    if (messages_.size() < kMax) messages_.push_back(message);
  });
}

PlanRun::~PlanRun() { session_.on_hub_message({}); }

// A look at a sensor whose calibration came to nothing finds an old value that was put back, or none, and shows nothing
// of the sensor.
void PlanRun::hold_against_calibrations(const Step& step, Attempt* attempt) {
  if ((step.kind != StepKind::verify && step.kind != StepKind::check) || !record::passes(attempt->outcome)) return;
  size_t index = 0;
  for (const Block& block : plan_.blocks) {
    for (const Step& other : block.steps) {
      const record::Step& before = run_.steps[index++];
      if (&other == &step) return;
      if (other.kind != StepKind::calibrate || record::passes(before.outcome) || !is_seen_by(other, step)) continue;
      attempt->fail({Why::not_calibrated,
                     before.name + ", step " + std::to_string(before.index) + ", did not pass: this is not its result",
                     "calibrate " + name_of(other.type),
                     {before.tag}});
    }
  }
}

void PlanRun::take_messages(Attempt* attempt) {
  const std::lock_guard<std::mutex> lock(hub_mutex_);
  for (const HubMessage& message : std::exchange(messages_, {})) attempt->hub.push_back(decoded(message));
}

PlanRun::Running::Running(PlanRun& plan_run, const Step& of, record::Step* whose, int number, Clock::time_point started)
    : step(of),
      result(whose),
      run(plan_run.session_, plan_run.under_way_, of, plan_run.looks_, &attempt,
          {[&plan_run, whose](const std::string& text) { plan_run.observer_.warns(*whose, text); },
           [&plan_run, whose](const Taking& taking) { plan_run.observer_.takes(*whose, taking); }}) {
  attempt.number = number;
  attempt.started = started;
}

// What is asked of the phone from here on is asked for this attempt.
void PlanRun::enter(const record::Step& step, int attempt) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    asked_ = &step;
  }
  session_.fixture().attempt_begins(step.index, attempt, step.name);
}

// Until one passes, or no further one can. With `may_leave` one whose fresh samples are still to come is left to
// go_on().
void PlanRun::run_step(const Step& step, record::Step* result, int attempts, bool may_leave) {
  bool voided = false;
  while (attempts-- > 0) {
    const int number = static_cast<int>(result->attempts.size()) + 1;
    enter(*result, number);
    const bool begun = !looks_.empty() && looks_.front().step == &step;
    const Clock::time_point started = begun ? looks_.front().started : session_.now();
    const auto running = [&] {
      const std::lock_guard<std::mutex> lock(mutex_);
      return running_.emplace(running_.end(), *this, step, result, number, started);
    }();
    observer_.begins(*result, running->attempt.number);
    running->run.begin();
    if (may_leave && running->run.looks()) {
      (void)running->run.go_on();
      const std::lock_guard<std::mutex> lock(mutex_);
      running->run.leave(&running->left);
      take_messages(&running->left);
      running->attempts_left = attempts;
      return;
    }
    end(running);
    if (begun) looks_.pop_front();
    // An attempt during which the clock was set is made once more.
    if (!voided && attempt_is_void(result->attempts.back())) {
      voided = true;
      ++attempts;
      continue;
    }
    if (record::passes(result->outcome) || session_.interrupted() || !worth_another(result->attempts.back())) break;
  }
  count(step, *result);
}

void PlanRun::end(std::list<Running>::iterator running) {
  Attempt& attempt = running->attempt;
  running->run.end();
  under_way_.stops(session_);  // not further where the watchdog ends the run
  hold_against_calibrations(running->step, &attempt);
  record::Step* const result = running->result;
  if (!result->attempts.empty()) compare(result->attempts.back(), &attempt);
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    take_messages(&attempt);
    session_.log().take_lines(&attempt);
    Attempt& left = running->left;
    attempt.hub.insert(attempt.hub.begin(), left.hub.begin(), left.hub.end());
    attempt.log.insert(attempt.log.begin(), left.log.begin(), left.log.end());
    attempt.log_dropped += left.log_dropped;
    keep(result, std::move(attempt), running->step.world);
    running_.erase(running);
  }
  observer_.ended(*result, result->attempts.back());
}

// Takes the fresh samples that came meanwhile. True: the one that is asked for has all of its own.
bool PlanRun::poll(const Running& asked) {
  bool over = false;
  for (Running& running : running_) {
    enter(*running.result, running.attempt.number);
    const bool is_over = running.run.go_on();
    const std::lock_guard<std::mutex> lock(mutex_);
    take_messages(&running.left);
    if (&running == &asked) over = is_over;
  }
  return over;
}

// Ends the calibrations that have all of their fresh samples, and waits for those that `next` may not run beside; null:
// for all. One that failed is repeated then, as often as it may be. Which of them are over by now is chance.
void PlanRun::go_on(const Step* next) {
  constexpr std::chrono::milliseconds kPause{5};
  if (running_.empty()) return;
  const record::Step& last = *running_.back().result;
  const int last_attempt = running_.back().attempt.number;
  // Whoever sets a fixture by hand may touch the phone.
  const bool touched = next != nullptr && next->kind == StepKind::fixture && session_.fixture().asks_operator();
  unsigned over = 0;
  for (auto running = running_.begin(); next != nullptr && running != running_.end(); ++running)
    over = over << 1 | (poll(*running) ? 1 : 0);
  enter(last, last_attempt);
  if (next != nullptr) over = static_cast<unsigned>(session_.fixture().by_chance(over));
  auto bit = running_.size();
  for (auto running = running_.begin(); running != running_.end();) {
    const auto now = running++;
    if (next != nullptr && (over >> --bit & 1) == 0 && !touched && runs_beside(*next, now->step)) continue;
    while (!poll(*now)) std::this_thread::sleep_for(kPause);
    const Step& step = now->step;
    record::Step* const result = now->result;
    const int left = now->attempts_left;
    enter(*result, now->attempt.number);
    end(now);
    const bool again = !record::passes(result->outcome) && !session_.interrupted() && left > 0;
    if (again && worth_another(result->attempts.back())) {
      run_step(step, result, left, false);
    } else {
      count(step, *result);
    }
  }
  enter(last, last_attempt);  // whichever came to its end last
}

void PlanRun::keep(record::Step* result, Attempt attempt, const Fixture::Settings& world) {
  const double before = std::chrono::duration<double>(attempt.started - run_.started).count();
  for (record::Span& span : attempt.spans) {
    span.from_s += before;
    span.to_s += before;
  }
  result->outcome = attempt.outcome;
  if (record::passes(attempt.outcome)) {
    for (const auto& [key, value] : world) run_.world[key] = value;
  }
  result->attempts.push_back(std::move(attempt));
}

// Begins the looks of the verifications behind this one that may go on beside its own. Each is asked for as a question
// of its own step, which is where a replay finds it. One that is refused beside the others is made in its turn.
void PlanRun::begin_looks(const Block& block, size_t first, size_t at) {
  if (!looks_.empty()) return;
  const size_t end = at + looks_together(block, at);
  for (size_t i = at + 1; i < end; ++i) {
    const record::Step& result = run_.steps[first + i];
    enter(result, static_cast<int>(result.attempts.size()) + 1);
    const std::optional<SampleRequest> request = request_of(session_, block.steps[i]);
    if (!request) continue;
    Look& look = looks_.emplace_back(session_, block.steps[i], *request);
    if (look.samples.problem()) {
      looks_.pop_back();
    } else {
      look.started = session_.at(look.samples.began());
    }
  }
}

void PlanRun::count(const Step& step, const record::Step& result) {
  if (record::passes(result.outcome)) return;
  if (session_.interrupted() || !worth_another(result.attempts.back())) round_ = Round::lost;
  if (round_ == Round::passed) round_ = Round::failed;
  if (session_.interrupted() || step.stop_on_failure || stop_on_failure_) stops_ = true;
}

PlanRun::Round PlanRun::run_round(const Block& block, size_t first) {
  round_ = Round::passed;
  stops_ = false;
  for (size_t i = 0; i < block.steps.size(); ++i) {
    const Step& step = block.steps[i];
    go_on(&step);
    if (stops_) break;
    begin_looks(block, first, i);
    // Whoever is last of these is waited for with the others.
    const bool may_leave = next_runs_beside(block, i) || (i > 0 && next_runs_beside(block, i - 1));
    run_step(step, &run_.steps[first + i], step.repeat, may_leave);
    if (stops_) break;
  }
  go_on(nullptr);
  looks_.clear();
  return round_;
}

bool PlanRun::run_block(const Block& block, size_t first) {
  for (int i = 0; i < block.repeat; ++i) {
    const Round round = run_round(block, first);
    if (round != Round::failed) return round == Round::passed;
  }
  return false;
}

// The record says why, and which steps did not run.
void PlanRun::refuse(Reason missing) {
  record::Step& first = run_.steps.front();
  Attempt attempt;
  attempt.started = session_.now();
  missing.text += "; nothing was run";
  missing.hint = "look whether the phone's sensor stack runs: start it or reboot the phone";
  attempt.fail(missing);
  observer_.begins(first, attempt.number);
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    keep(&first, std::move(attempt), {});
  }
  observer_.ended(first, first.attempts.back());
}

record::Run PlanRun::run() {
  if (const auto missing = session_.missing()) {
    refuse(*missing);
    return record(verdict());
  }
  size_t first = 0;
  for (const Block& block : plan_.blocks) {
    const bool passed = run_block(block, first);
    if (session_.interrupted() || (!passed && (block.stop_on_failure || stop_on_failure_))) break;
    first += block.steps.size();
  }
  // From here on Ctrl-C finds nothing to undo.
  if (!under_way_.stops(session_) && !session_.claim_end()) under_way_.stops(session_);
  return record(verdict());
}

// Aborted where a person ended it, else failed where a step failed, else an error where one could not judge.
Outcome PlanRun::verdict() const {
  const std::vector<record::Step>& steps = run_.steps;
  const auto is = [](Outcome outcome) { return [=](const record::Step& step) { return step.outcome == outcome; }; };
  if (under_way_.end_claimed || std::any_of(steps.begin(), steps.end(), is(Outcome::aborted))) return Outcome::aborted;
  // What failed before anything erred is known to be bad, whatever could not be judged later; what failed after an
  // error may have failed for that: a sensor whose calibration came to nothing does not verify.
  const auto first = std::find_if(steps.begin(), steps.end(), [](const record::Step& step) {
    return step.outcome == Outcome::failed || step.outcome == Outcome::error;
  });
  if (first != steps.end()) return first->outcome;
  return std::any_of(steps.begin(), steps.end(), is(Outcome::skipped)) ? Outcome::error : Outcome::passed;
}

// What is told of a run is told in milliseconds: pages made from the run and from its record are the same.
record::Run PlanRun::record(Outcome verdict) {
  using std::chrono::floor;
  using std::chrono::milliseconds;
  record::Run out = run_;
  out.outcome = verdict;
  out.started = floor<milliseconds>(out.started);
  out.seconds = std::chrono::duration<double>(floor<milliseconds>(session_.now()) - out.started).count();
  out.phone = phone_of(session_);
  out.remarks = session_.fixture().remarks();
  out.remarks.insert(out.remarks.end(), plan_.notes.begin(), plan_.notes.end());
  if (stop_on_failure_) out.remarks.emplace_back("the run was to end at its first failure, whatever the plan says");
  for (record::Step& step : out.steps) {
    for (Attempt& attempt : step.attempts) {
      attempt.started = floor<milliseconds>(attempt.started);
      attempt.seconds = std::round(attempt.seconds * 1000) / 1000;
    }
  }
  return out;
}

record::Run PlanRun::abort(const std::string& why) {
  // What hangs may hold it: nothing can be put back then.
  constexpr int kLooks = 200;
  constexpr std::chrono::milliseconds kPause{10};
  std::unique_lock<std::mutex> under_way(under_way_.mutex, std::try_to_lock);
  for (int i = 0; i < kLooks && !under_way.owns_lock(); ++i) {
    std::this_thread::sleep_for(kPause);
    (void)under_way.try_lock();
  }
  const bool free = under_way.owns_lock();
  const Outcome verdict = why.empty() ? Outcome::aborted : Outcome::error;
  const std::lock_guard<std::mutex> lock(mutex_);
  Attempt asked;
  take_messages(&asked);
  session_.log().start_run(&asked);  // from here on this thread is the one that calls
  for (auto running = running_.rbegin(); running != running_.rend(); ++running) {
    Attempt attempt;
    attempt.number = running->attempt.number;
    attempt.started = running->attempt.started;
    attempt.seconds = std::chrono::duration<double>(session_.now() - attempt.started).count();
    attempt.fail(why.empty() ? Reason{Why::interrupted, "interrupted"} : Reason{Why::call_hangs, why});
    if (!free) {
      attempt.fail(
          {Why::old_values_lost, "whether the old values are back is not known: read them before the phone goes on"});
    }
    for (const Attempt* came : {&running->left, &asked}) {
      if (came == &asked && running->result != asked_) continue;
      attempt.hub.insert(attempt.hub.end(), came->hub.begin(), came->hub.end());
      attempt.log.insert(attempt.log.end(), came->log.begin(), came->log.end());
      attempt.log_dropped += came->log_dropped;
    }
    if (free && under_way_.held.count(&running->attempt) != 0) {
      const HeldValues& held = *under_way_.held.at(&running->attempt);
      attempt.before = held.before();
      attempt.irreversible = held.irreversible();
      held.put_back(session_, &attempt);
      attempt.notes.emplace_back("what the hub does by itself may still go on and change values once more");
      if (attempt.reasons.size() == 1) attempt.after = held.now(session_);
    }
    take_messages(&attempt);
    session_.log().take_lines(&attempt);
    running->result->outcome = attempt.outcome = verdict;
    running->result->attempts.push_back(std::move(attempt));
  }
  return record(verdict);
}

}  // namespace factory::plan
