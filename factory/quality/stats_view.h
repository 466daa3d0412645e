// Statistics as JSON, for a terminal and as a page. docs/formats/store.md has the JSON.
#pragma once

#include <json/json.h>

#include <string>

#include "quality/statistics.h"

namespace factory::store {

Json::Value to_json(const Statistics& statistics);
Json::Value to_json(const std::optional<Index>& index);  // null, or value, low and high

// `question`: what was asked, in words.
std::string to_text(const Statistics& statistics, const std::string& question);
void write_page(const Statistics& statistics, const std::string& question, const std::string& file);

// Any text on one line of a terminal: without what a terminal obeys, and not longer than `most` characters.
std::string shown(const std::string& text, size_t most = 48);
// The same with a blank before it; nothing of nothing.
std::string in_unit(const std::string& unit);

// The texts of a document as a JSON file may hold them.
Json::Value valid(const Json::Value& value);

// 0.9731 as "97.31 %"; "-" of nothing.
std::string percent(long long part, long long whole);

// The shares of phones that yields have, by attempt; their interval as "96.10 to 98.20".
struct YieldShare {
  const char* name;
  long long Yield::*passed;
};
constexpr YieldShare kYieldShares[] = {{"first pass", &Yield::first_passed},
                                       {"by the 2nd", &Yield::second_passed},
                                       {"by the 3rd", &Yield::third_passed},
                                       {"last", &Yield::passed}};
std::string percents_text(long long part, long long whole);

// "Acc: residual x", and "-0.02 to 0.02 m/s^2".
std::string name_of(const Characteristic& c);
std::string limits_of(const Limits& limits, const std::string& unit);
std::string limits_of(const Characteristic& c);
// Where limits changed, those that were in force, the newest last; of more than eight the newest eight. None where
// each run has its own.
std::vector<LimitsThen> latest_limits(const Characteristic& c);
std::string to_text(const LimitsThen& then,
                    const std::string& unit);   // "-0.02 to 0.02 m/s^2: 300 values, 2026-01-01 to ..."
const char* state_of(const Process& process);   // "steady", "signal", "out of control", or "-": too little to judge
const char* state_of(const Characteristic& c);  // of all stations together, or "out of control" where one is
std::string index_text(const std::optional<Index>& index);     // "1.33"
std::string interval_text(const std::optional<Index>& index);  // "0.88 to 1.78"
std::string index_text(const std::optional<double>& index);
std::optional<double> percentile_ppk(const Characteristic& c);

// "0.0012 (0.0001 to 0.0023) m/s^2 a day"; empty where there is none.
std::string drift_text(const Characteristic& c, const Process& process);

// What a phone's seconds went to, a row a day, and the names of the columns before.
std::vector<std::vector<std::string>> times_of(const Statistics& s);

// "golden phones GOLD-*: 2 phones, 40 passed, 0 failed, 0 errors"
std::string runs_of(const Marked& marked);

// "1, 1 not usable", and its second part alone: values that are no numbers are in no figure but this one.
std::string failed_of(const Characteristic& c);
std::string not_usable(const Characteristic& c);

// Why the phones of stations are more than all; empty where they are not.
std::string stations_remark(const Statistics& s);

// What the figures are of, and what they are: sentences.
std::string basis_of(const Statistics& s);
std::string rules_of(const Statistics& s);

// Days that meet one rule, one after the other.
struct Alarm {
  const ChartPoint* first;
  const ChartPoint* last;
};
std::vector<Alarm> alarms_of(const ControlChart& chart);
std::string to_text(const Alarm& alarm);
std::string short_number(std::optional<double> value);
std::string name_of(const Failure& failure);

}  // namespace factory::store
