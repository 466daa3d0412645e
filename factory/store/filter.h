// Which runs a question is about.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "record/record.h"

namespace factory::store {

class Database;

// Phones that are measured again and again to watch the stations, by a pattern of their serial numbers.
struct MarkedPhones {
  std::string kind;     // "golden", "known bad"
  std::string pattern;  // with * ? [...], as a shell has it
  std::vector<std::string> serials;
  std::vector<long long> keys;  // of these, in the store
};

struct Filter {
  std::optional<long long> since_ms = {}, until_ms = {};  // from, and up to but without; since 1970, UTC
  // Empty: any. Compared as they were given to the run.
  std::string station = {}, operator_name = {}, plan = {}, profile = {}, plan_version = {}, lot = {}, version = {};
  std::string measurement = {}, step = {}, axis = {};  // of what was measured
  std::optional<record::Outcome> verdict = {};         // of the run
  std::vector<MarkedPhones> marked = {};               // are left out
  std::optional<size_t> only = {};                     // but for those: by their place among the marked ones
};

// "2026-11-24", "2026-11-24T22:04", "...:05", with or without a Z; UTC. Throws AppError.
long long parse_time_ms(const std::string& option, const std::string& text);

// "FROM..UNTIL", two of these. Throws AppError.
std::pair<long long, long long> parse_period(const std::string& option, const std::string& text);

// UTC, ISO 8601 with milliseconds; and the date alone, of a day since 1970.
std::string time_text(long long ms);
std::string date_text(int day);

// Conditions in SQL, " AND ...", in which the filter's texts have their names: Query::with() gives them.
std::string on_runs(const Filter& filter);          // about the runs `r` of set-ups `p`
std::string on_measurements(const Filter& filter);  // about measurements `m` of set-ups `p` and series `s`

struct FilterText {
  const char* name;
  const char* condition;
  std::string Filter::*text;
  const char* option = nullptr;  // that asks for it, of what a set-up has
};
constexpr FilterText kFilterTexts[] = {
    {"station", "p.station = :station", &Filter::station, "--station"},
    {"operator", "p.operator = :operator", &Filter::operator_name, "--operator"},
    {"plan", "p.plan = :plan", &Filter::plan, "--plan"},
    {"plan_version", "p.plan_version = :plan_version", &Filter::plan_version, "--plan-version"},
    {"lot", "p.lot = :lot", &Filter::lot, "--lot"},
    {"profile", "p.profile = :profile", &Filter::profile, "--profile"},
    {"version", "p.application = :version", &Filter::version, "--app-version"},
    {"measurement", "s.name = :measurement", &Filter::measurement},
    {"step", "s.plan_step IN (SELECT id FROM plan_step WHERE name = :step)", &Filter::step},
    {"axis", "s.axis = :axis", &Filter::axis}};

// A measurement as it may be asked for: as a record has it, "residual" or "residual x", as tables and pages have it,
// "calibrate Acc: residual x", or as studies have it, with its plan before, "inertial, calibrate Acc: residual x".
struct MeasurementName {
  std::string plan, step, name, axis;

  std::string with_axis() const { return name + (axis.empty() ? "" : " " + axis); }
  std::string in_step() const { return step + ": " + with_axis(); }
  std::string in_plan() const { return plan + ", " + in_step(); }
  // What of it the text says: no more than the name, or also the following; nothing where it means another one.
  std::optional<MeasurementName> as_meant(const std::string& text) const;
};

// Throws AppError(kUsage) where a text is none that the store knows, with the nearest that it does, or no phone is
// marked by a pattern. Finds the marked phones.
void require_known(Database* database, Filter* filter);

}  // namespace factory::store
