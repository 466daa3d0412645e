#include "station/station.h"

#include <algorithm>

#include "cli/terminal.h"
#include "files/app_error.h"
#include "files/json_text.h"
#include "files/words.h"
#include "store/run_id.h"

namespace factory::station {
namespace {

using record::Outcome;
using std::chrono::milliseconds;

constexpr size_t kScanMax = 200;  // bytes
constexpr milliseconds kBetweenStates{100};
constexpr milliseconds kBetweenKeeps{1000};  // while the disk is full
constexpr const char* kAnswers[] = {"done", "skip", "abort"};

Station::Done refused(const std::string& code, std::vector<std::string> arguments, const std::string& text) {
  return {"", "", {code, std::move(arguments), text}};
}

Json::Value said(const store::Alert& alert) {
  return json_object({{"code", "alert-" + alert.kind},
                      {"arguments", json_list(std::vector{visible(alert.about)})},
                      {"text", visible(alert.text)}});
}

std::string answer_line(int prompt, const std::string& answer) {
  return json_line(json_object({{"prompt", prompt}, {"answer", answer}}));
}

}  // namespace

Station::Station(const Settings& settings, std::shared_ptr<record::Sink> files) : settings_(settings) {
  for (const SlotSettings& slot : settings_.slots) {
    Place* place = places_.emplace_back(std::make_unique<Place>(slot)).get();
    place->runner = std::make_unique<Runner>([this, place](const std::string& line) { return hear(place, line); },
                                             [this, place](const RunnerEnd& end) { this->end(place, end); });
  }
  archive_.emplace(settings_, std::move(files), [this] { change(); });
  load();
}

Station::~Station() {
  close();
  for (const auto& place : places_) place->runner->stop();
  // Until the last word of its child a runner is still spoken to.
  for (const auto& place : places_) place->runner->leave();
  archive_.reset();
}

// What this station did before it was started anew.
void Station::load() {
  const auto since = shift_begin(settings_.shifts, record::Clock::now());
  for (const record::Run& run : archive_->runs_since(since)) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ledger_.add(entry_of(run, settings_.is_golden(run.serial)));
    pace_.learn(run.plan.sha256, run);
  }
}

Station::Place* Station::place_of(const std::string& slot) {
  if (slot.empty() && places_.size() == 1) return places_.front().get();
  const auto found = std::find_if(places_.begin(), places_.end(),
                                  [&](const auto& place) { return place->slot.settings().name == slot; });
  return found == places_.end() ? nullptr : found->get();
}

// A code that says by itself what is meant: an operator's, a slot's, a prompt's.
std::optional<Station::Done> Station::take_code(const std::string& text) {
  if (settings_.operators.count(text) != 0) {
    operator_code_ = text;
    change_locked();
    return Done{"signed-in", "", {}};
  }
  for (const auto& place : places_) {
    const std::string& name = place->slot.settings().name;
    if (text == place->slot.settings().code) return Done{"selected", name, {}};
    if (text == place->slot.prompt_code()) {
      give(place.get(), "done");
      return Done{"answered", name, {}};
    }
    if (place->slot.was_prompt_code(text))
      return refused("stale-prompt", {text}, "the prompt " + text + " does not wait any more");
  }
  return {};
}

// Why the slot cannot take the serial number now, whatever happened to the phone before; without a code: it can.
Refusal Station::refusal_of(const Place& place, const std::string& serial) const {
  const std::string& name = place.slot.settings().name;
  if (place.slot.prompts()) return {"prompt-waits", {name}, "slot " + name + " waits for an answer; a scan is none"};
  if (place.slot.busy() || place.asks)
    return {"slot-busy", {name, place.slot.ordered().order.serial}, "slot " + name + " is at work"};
  if (!settings_.serials.matches(serial))
    return {"not-a-serial", {serial}, "\"" + serial + "\" is no serial number of this line"};
  if (settings_.plan_of(serial) == nullptr)
    return {"not-a-serial", {serial}, "there is no plan for serial number " + serial};
  if (!settings_.operators.empty() && operator_code_.empty())
    return {"sign-in-first", {}, "sign in first: scan your code"};
  for (const auto& other : places_) {
    const bool there = (other->slot.busy() && other->slot.ordered().order.serial == serial) ||
                       (other->asks && other->serial_asked == serial);
    if (there) {
      const std::string& where = other->slot.settings().name;
      return {"same-phone-elsewhere", {serial, where}, serial + " runs in slot " + where};
    }
  }
  if (golden_due() && !settings_.is_golden(serial))
    return {"golden-first", {settings_.golden_serials.expression()}, "the shift begins with a golden phone"};
  return {};
}

Station::Done Station::scan(const std::string& slot, const std::string& typed) {
  const std::string text = trimmed(typed);
  if (text.empty()) return refused("empty", {}, "nothing was scanned");
  if (text.size() > kScanMax) return refused("too-long", {std::to_string(kScanMax)}, "that is no scan: too long");
  std::string serial;
  Place* place = nullptr;
  Before before;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (const auto done = take_code(text)) return *done;
    place = place_of(slot);
    if (place == nullptr) return refused("no-slot", {visible(slot)}, "select a slot first");
    try {
      serial = record::serial_number("scan", text);
    } catch (const AppError& error) {
      return refused("not-a-serial", {visible(text)}, error.what());
    }
    if (const Refusal refusal = refusal_of(*place, serial); !refusal.code.empty()) return {"", "", refusal};
    place->asks = true;
    place->serial_asked = serial;
  }
  const bool has_room = archive_->has_room();
  if (has_room) before.history = archive_->history(serial, &before.why);
  const std::lock_guard<std::mutex> lock(mutex_);
  place->asks = false;
  if (closed_) return refused("slot-busy", {place->slot.settings().name}, "the station ends");
  if (!has_room) return refused("disk-full", {}, "this computer's disk takes no runs");
  const PlanChoice* plan = settings_.plan_of(serial);
  const Permit given = permit(settings_, serial, plan->name, before, ledger_.of(serial, plan->name));
  if (given.refusal) return {"", "", *given.refusal};
  place->remark = given.remark;
  Ordered ordered;
  ordered.order.serial = serial;
  ordered.order.operator_name = operator_code_.empty() ? "" : settings_.operators.at(operator_code_);
  ordered.order.retest_of = given.retest_of;
  ordered.error = given.error;
  ordered.plan = plan;
  ordered.retest = given.retest;
  ordered.golden = settings_.is_golden(serial);
  begin(place, ordered);
  return {"started", place->slot.settings().name, {}};
}

void Station::begin(Place* place, Ordered ordered) {
  ordered.run = ++runs_;
  ordered.order.station = settings_.station;
  if (ordered.golden) ordered.order.lot = kGoldenLot;
  ordered.id = store::make_run_id(record::Clock::now());
  place->slot.begin(ordered);
  Values values = settings_.given;
  values["slot"] = place->slot.settings().name;
  values["serial"] = ordered.order.serial;
  values["operator"] = ordered.order.operator_name;
  Runner::Order order;
  order.command = filled(place->slot.settings().runner, values);
  order.folder = settings_.folder;
  order.first_line =
      json_line(json_object({{"file", ordered.plan->file}, {"plan", ordered.plan->bytes}, {"id", ordered.id}}));
  order.before = [this, run = place->slot.trace()] { archive_->begin(run); };
  order.silence = std::chrono::duration<double>(settings_.silence_s);
  place->runner->start(std::move(order));
  change_locked();
}

bool Station::hear(Place* place, const std::string& line) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const bool waited = place->slot.prompts();
  const Slot::Heard heard = place->slot.hear(line);
  if (place->slot.prompts() != waited) place->runner->patient(!waited);
  if (heard == Slot::Heard::sample) {
    ++place->live;
    news_.notify_all();
  } else if (heard == Slot::Heard::change) {
    change_locked();
  }
  return heard != Slot::Heard::nonsense;
}

// A verdict is shown when its run is on the disk: until then, however long, the slot has none and takes no phone.
void Station::keep(Place* place, const record::Run& run) {
  while (!archive_->keep(run)) {
    std::unique_lock<std::mutex> lock(mutex_);
    place->slot.hold();
    change_locked();
    if (news_.wait_for(lock, kBetweenKeeps, [this] { return closed_; })) return;
  }
}

void Station::end(Place* place, const RunnerEnd& ended) {
  record::Run run;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    run = place->slot.end(ended);
    if (!place->remark.empty()) run.remarks.push_back(place->remark);
  }
  keep(place, run);
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    place->slot.show();
    const Ordered& ordered = place->slot.ordered();
    ledger_.add(entry_of(run, ordered.golden));
    if (run.outcome == Outcome::passed) pace_.learn(ordered.plan->sha256, run);
    const bool again = run.outcome == Outcome::error && !place->slot.stopped() && !closed_ &&
                       ordered.at_once < settings_.retests_of_errors;
    if (again) {
      Ordered next = ordered;
      ++next.at_once;
      ++next.retest;
      next.order.retest_of = run.id;
      next.error = error_of(run);
      begin(place, next);
    }
    change_locked();
  }
}

Station::Done Station::answer(const std::string& slot, int run, int prompt, const std::string& answer) {
  const std::lock_guard<std::mutex> lock(mutex_);
  Place* place = place_of(slot);
  if (place == nullptr) return refused("no-slot", {visible(slot)}, "there is no such slot");
  if (std::find(std::begin(kAnswers), std::end(kAnswers), answer) == std::end(kAnswers))
    return refused("not-an-answer", {visible(answer)}, "wanted is done, skip or abort");
  if (!place->slot.prompts() || place->slot.ordered().run != run || place->slot.prompt_number() != prompt)
    return refused("stale-prompt", {std::to_string(prompt)}, "that prompt does not wait any more");
  give(place, answer);
  return {"answered", slot, {}};
}

void Station::give(Place* place, const std::string& answer) {
  place->runner->say(answer_line(place->slot.prompt_number(), answer));
  place->runner->patient(false);
  place->slot.answered();
  change_locked();
}

Station::Done Station::stop(const std::string& slot, int run) {
  const std::lock_guard<std::mutex> lock(mutex_);
  Place* place = place_of(slot);
  if (place == nullptr) return refused("no-slot", {visible(slot)}, "there is no such slot");
  if (!place->slot.busy() || place->slot.ordered().run != run)
    return refused("not-running", {slot}, "that run does not go on any more");
  place->slot.stop();
  place->runner->stop();
  return {"stopped", slot, {}};
}

bool Station::golden_due() const {
  return settings_.golden && !ledger_.golden_passed(shift_begin(settings_.shifts, record::Clock::now()));
}

std::string Station::make_state() {
  const Archive::Status status = archive_->status();
  Json::Value out = json_object({{"schema", "sensorcal.station-state/1"},
                                 {"station", settings_.station},
                                 {"language", settings_.language},
                                 {"version", SENSORCAL_VERSION},
                                 {"store", !settings_.store.empty()},
                                 {"operators", !settings_.operators.empty()},
                                 {"operator", Json::Value()},
                                 {"golden", Json::Value()},
                                 {"waiting", status.waiting},
                                 {"store_problem", Json::Value()},
                                 {"alerts", json_list(archive_->alerts(), said)},
                                 {"shift", ledger_.shift(shift_begin(settings_.shifts, record::Clock::now()))}});
  if (!operator_code_.empty())
    out["operator"] = json_object({{"code", operator_code_}, {"name", settings_.operators.at(operator_code_)}});
  if (settings_.golden)
    out["golden"] = json_object({{"due", golden_due()}, {"serials", settings_.golden_serials.expression()}});
  if (!status.problem.empty())
    out["store_problem"] = json_object({{"code", status.code}, {"text", visible(status.problem)}});
  out["slots"] = json_list(places_, [&](const auto& place) {
    Json::Value slot = place->slot.to_json(pace_);
    slot["remark"] = place->remark.empty() ? Json::Value() : Json::Value(visible(place->remark));
    return slot;
  });
  return json_line(out);
}

std::string Station::state() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return make_state();
}

void Station::change() {
  const std::lock_guard<std::mutex> lock(mutex_);
  change_locked();
}

void Station::change_locked() {
  ++version_;
  news_.notify_all();
}

bool Station::has_live(const Seen& seen) const {
  return std::any_of(places_.begin(), places_.end(), [&](const auto& place) {
    const auto found = seen.live.find(place->slot.settings().name);
    return place->live != (found == seen.live.end() ? 0 : found->second);
  });
}

Station::News Station::next(Seen* seen, milliseconds patience) {
  News out;
  std::unique_lock<std::mutex> lock(mutex_);
  const Clock::time_point last = Clock::now() + patience;
  const auto due = [&] { return seen->version == version_ ? last : seen->said + kBetweenStates; };
  while (!closed_ && Clock::now() < std::min(due(), last) && !has_live(*seen))
    news_.wait_until(lock, std::min(due(), last));
  if (closed_) return out;
  if (seen->version != version_ && Clock::now() >= due()) {
    if (made_version_ != version_ || Clock::now() - made_at_ > kBetweenStates) {
      made_ = make_state();
      made_at_ = Clock::now();
    }
    made_version_ = seen->version = version_;
    seen->said = Clock::now();
    out.emplace_back("state", made_);
  }
  for (const auto& place : places_) {
    long& live = seen->live[place->slot.settings().name];
    const Json::Value sample = live != place->live ? place->slot.live(pace_) : Json::Value();
    if (!sample.isNull()) out.emplace_back("live", json_line(sample));
    live = place->live;
  }
  return out;
}

void Station::look_at_clock() {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto shift = shift_begin(settings_.shifts, record::Clock::now());
  const int waiting = archive_->status().waiting;
  if (std::exchange(shift_, shift) != shift || std::exchange(waiting_, waiting) != waiting) change_locked();
}

void Station::close() {
  const std::lock_guard<std::mutex> lock(mutex_);
  closed_ = true;
  news_.notify_all();
}

bool Station::closed() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return closed_;
}

}  // namespace factory::station
