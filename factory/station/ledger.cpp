#include "station/ledger.h"

#include <time.h>

#include <algorithm>
#include <map>
#include <set>

#include "files/json_text.h"
#include "record/why.h"
#include "store/stored_run.h"

namespace factory::station {
namespace {

using record::Outcome;

// More than a station makes in some days.
constexpr size_t kEntriesMax = 5000;
constexpr size_t kShown = 10;

std::string local_text(record::Clock::time_point time) {
  const time_t seconds = record::Clock::to_time_t(time);
  tm parts{};
  localtime_r(&seconds, &parts);
  char text[32];
  strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  return text;
}

bool judged(const Entry& entry) { return entry.outcome == Outcome::passed || entry.outcome == Outcome::failed; }

Json::Value shown(const Entry& entry) {
  return json_object({{"serial", entry.serial},
                      {"verdict", outcome_name(entry.outcome)},
                      {"seconds", entry.seconds},
                      {"at", local_text(entry.ended).substr(11)},
                      {"step", entry.step}});
}

}  // namespace

Entry entry_of(const record::Run& run, bool golden) {
  return {run.id,
          run.serial,
          run.plan.name,
          run.outcome,
          run.ended(),
          run.seconds,
          store::failed_on(run).step.value_or(""),
          error_of(run),
          !run.retest_of.empty(),
          golden};
}

std::string error_of(const record::Run& run) {
  const auto erred = std::find_if(run.steps.begin(), run.steps.end(), [](const record::Step& step) {
    return step.outcome == Outcome::error && !step.attempts.empty() && !step.attempts.back().reasons.empty();
  });
  if (run.outcome != Outcome::error || erred == run.steps.end()) return "";
  const std::string& code = erred->attempts.back().reasons.front().code;
  return record::phone_may_be_at_fault(code) ? code : "";
}

void Ledger::add(Entry entry) {
  const auto same = [&](const Entry& other) { return other.id == entry.id; };
  if (std::any_of(entries_.begin(), entries_.end(), same)) return;
  const auto later = [&](const Entry& other) { return entry.ended < other.ended; };
  entries_.insert(std::find_if(entries_.begin(), entries_.end(), later), std::move(entry));
  if (entries_.size() > kEntriesMax) entries_.pop_front();
}

std::vector<Entry> Ledger::of(const std::string& serial, const std::string& plan) const {
  std::vector<Entry> out;
  std::copy_if(entries_.begin(), entries_.end(), std::back_inserter(out), [&](const Entry& entry) {
    return entry.serial == serial && entry.plan == plan && entry.outcome != Outcome::aborted;
  });
  return out;
}

bool Ledger::golden_passed(record::Clock::time_point since) const {
  return std::any_of(entries_.begin(), entries_.end(), [&](const Entry& entry) {
    return entry.golden && entry.ended >= since && entry.outcome == Outcome::passed;
  });
}

Json::Value Ledger::shift(record::Clock::time_point since) const {
  std::map<std::string, bool> first;  // of each phone that was judged: whether it passed at once
  std::set<std::string> phones;
  int retests = 0;
  int errors = 0;
  double seconds = 0;
  Json::Value last(Json::arrayValue);
  for (const Entry& entry : entries_) {
    if (entry.ended < since || entry.golden) continue;
    phones.insert(entry.serial);
    retests += entry.retest ? 1 : 0;
    errors += entry.outcome == Outcome::error ? 1 : 0;
    seconds += entry.seconds;
    if (judged(entry)) first.emplace(entry.serial, entry.outcome == Outcome::passed);
  }
  for (auto entry = entries_.rbegin(); entry != entries_.rend() && last.size() < kShown; ++entry) {
    if (entry->ended >= since) last.append(shown(*entry));
  }
  const auto passed = std::count_if(first.begin(), first.end(), [](const auto& phone) { return phone.second; });
  const auto share = [](double part, size_t whole) {
    return whole == 0 ? Json::Value() : Json::Value(part / static_cast<double>(whole));
  };
  return json_object({{"since", local_text(since)},
                      {"phones", static_cast<int>(phones.size())},
                      {"first_pass", share(static_cast<double>(passed), first.size())},
                      {"retests", retests},
                      {"errors", errors},
                      {"seconds_per_phone", share(seconds, phones.size())},
                      {"last", last}});
}

record::Clock::time_point shift_begin(const std::vector<int>& minutes, record::Clock::time_point now) {
  const time_t seconds = record::Clock::to_time_t(now);
  tm parts{};
  localtime_r(&seconds, &parts);
  const int minute = parts.tm_hour * 60 + parts.tm_min;
  const auto next = std::upper_bound(minutes.begin(), minutes.end(), minute);
  parts.tm_mday -= next == minutes.begin() ? 1 : 0;  // the last one of yesterday
  const int begin = next == minutes.begin() ? minutes.back() : *std::prev(next);
  parts.tm_hour = begin / 60;
  parts.tm_min = begin % 60;
  parts.tm_sec = 0;
  parts.tm_isdst = -1;
  return record::Clock::from_time_t(mktime(&parts));
}

}  // namespace factory::station
