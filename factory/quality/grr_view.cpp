#include "quality/grr_view.h"

#include <algorithm>

#include "cli/terminal.h"
#include "files/json_text.h"
#include "files/numbers.h"
#include "quality/stats_view.h"

namespace factory::grr {
namespace {

using store::in_unit;
using store::short_number;
using store::shown;
using Rows = std::vector<std::vector<std::string>>;

Json::Value per_cent(const std::optional<double>& share) { return share ? json_number(100 * *share) : Json::Value(); }

Json::Value row_json(const AnovaRow& row) {
  return json_object({{"source", row.source},
                      {"degrees_of_freedom", row.degrees},
                      {"sum_of_squares", row.squares},
                      {"mean_square", row.mean_square},
                      {"f", row.f},
                      {"p", row.p}});
}

Json::Value study_json(const Study& study, const Analysis& a) {
  Json::Value out = json_object({{"name", study.subject.name},
                                 {"unit", study.subject.unit},
                                 {"low", study.subject.low},
                                 {"high", study.subject.high},
                                 {"left_out", json_list(study.left_out)},
                                 {"trials", study.trials},
                                 {"mean", a.mean},
                                 {"anova", json_list(a.full, row_json)},
                                 {"pooled", !a.pooled.empty()},
                                 {"anova_pooled", json_list(a.pooled, row_json)},
                                 {"distinct_categories", a.categories ? Json::Value(*a.categories) : Json::Value()},
                                 {"judged_by", a.by_tolerance ? "tolerance" : "study variation"},
                                 {"judgement", judgement_name(a.judgement)}});
  for (const char* name : {"phones", "stations", "operators"}) out[name] = Json::Value(Json::arrayValue);
  for (const Factor& factor : study.factors) out[factor.name] = json_list(factor.levels);
  out["components"] = json_list(a.components(), [&](const Component* c) {
    return json_object({{"source", c->source},
                        {"variance", c->variance},
                        {"contribution_percent", per_cent(c->contribution)},
                        {"sigma", c->sigma},
                        {"sigma_low", c->low},
                        {"sigma_high", c->high},
                        {"study_variation", 6 * c->sigma},
                        {"study_percent", per_cent(c->study)},
                        {"tolerance_percent", per_cent(c->tolerance)},
                        {"was_negative", std::count(a.negative.begin(), a.negative.end(), c->source) > 0}});
  });
  return out;
}

std::string p_text(const AnovaRow& row) {
  if (!row.p) return "-";
  return *row.p < 0.0005 ? "< 0.001" : fixed(*row.p, 3);
}

std::string anova_text(const std::vector<AnovaRow>& rows, const char* repeatability) {
  Rows out = {{"source", "df", "sum of squares", "mean square", "F", "p"}};
  for (const AnovaRow& row : rows) {
    const bool total = &row == &rows.back();
    const bool error = &row == &rows[rows.size() - 2];
    out.push_back({error ? repeatability : row.source, std::to_string(row.degrees), short_number(row.squares),
                   total ? "" : short_number(row.mean_square), total || error ? "" : short_number(row.f),
                   total || error ? "" : p_text(row)});
  }
  return table(out);
}

std::string components_text(const Study& study, const Analysis& a) {
  Rows out = {{"component", "variance", "% contribution", "sigma", "95 %", "6 sigma", "% study", "% tolerance"}};
  for (const Component* c : a.components()) {
    out.push_back({c->source, short_number(c->variance), percent_text(c->contribution), short_number(c->sigma),
                   interval_text(*c), short_number(6 * c->sigma), percent_text(c->study), percent_text(c->tolerance)});
  }
  const bool limits = study.subject.low || study.subject.high;
  if (!limits) {
    for (auto& row : out) row.pop_back();
  }
  return table(out);
}

std::string judged(Judgement judgement) {
  const std::string name = judgement_name(judgement);
  return judgement == Judgement::accepted ? good(name) : judgement == Judgement::rejected ? bad(name) : name;
}

std::string verdict_text(const Analysis& a) {
  std::string out = verdict_words(a);
  if (a.judgement == Judgement::none) return out + "\n";
  const std::string name = judgement_name(a.judgement);
  out = "distinct categories: " + (a.categories ? std::to_string(*a.categories) : "any number");
  if (a.categories && *a.categories < kWantedCategories) out += " (5 or more are wanted)";
  return out + "\n" + judged(a.judgement) + verdict_words(a).substr(name.size()) + "\n";
}

std::string whole_text(const Findings& findings, const Study& study, const Analysis& a) {
  std::string out = bold(shown(study.subject.name, 120)) + ": " + study.size() + ", mean " + short_number(a.mean) +
                    in_unit(study.subject.unit) + "\n\n";
  out += anova_text(a.full, "repeatability");
  if (!a.pooled.empty()) {
    out += "\nInteractions whose p is above " + short_number(findings.alpha) + " count as repeatability.\n" +
           anova_text(a.pooled, "repeatability, pooled");
  }
  out += "\n" + components_text(study, a);
  for (const std::string& source : a.negative)
    out += "The estimate for " + source + " came out below 0 and counts as 0.\n";
  return out + verdict_text(a);
}

std::string lines_text(const Findings& findings) {
  Rows out = {{"measurement", "% study", "% tolerance", "categories", "repeats", "stations", "phones", ""}};
  for (const auto& [study, a] : findings.studies) {
    out.push_back({shown(study.subject.name, 80), percent_text(a.grr.study), percent_text(a.grr.tolerance),
                   a.categories ? std::to_string(*a.categories) : "-", short_number(a.repeatability.sigma),
                   short_number(a.reproducibility.sigma), short_number(a.phones.sigma), judged(a.judgement)});
  }
  return table(out) + "repeats, stations, phones: sigma of repeatability, reproducibility and phone to phone\n";
}

}  // namespace

bool Findings::good() const {
  const auto one_trial = [](const auto& found) { return found.first.trials < 2; };
  return !std::all_of(studies.begin(), studies.end(), one_trial) &&
         std::none_of(studies.begin(), studies.end(),
                      [](const auto& found) { return found.second.judgement == Judgement::rejected; });
}

std::vector<std::string> Findings::remarks() const {
  std::vector<std::pair<std::string, std::vector<std::string>>> reasons;  // in the order in which they come
  const auto add = [&](const std::string& reason, const std::string& name) {
    auto at = std::find_if(reasons.begin(), reasons.end(), [&](const auto& known) { return known.first == reason; });
    if (at == reasons.end()) at = reasons.insert(at, {reason, {}});
    at->second.push_back(name);
  };
  for (const auto& [study, analysis] : studies) {
    for (const std::string& reason : study.left_out) add("left out: " + reason, study.subject.name);
  }
  for (const Skipped& none : skipped) add("no study: " + none.why, none.name);
  std::vector<std::string> out;
  for (const auto& [reason, names] : reasons)
    out.push_back((names.size() == 1 ? names[0] : std::to_string(names.size()) + " measurements") + ": " + reason);
  return out;
}

std::string percent_text(const std::optional<double>& share) { return share ? fixed(100 * *share, 2) : "-"; }

std::string interval_text(const Component& c) { return short_number(c.low) + " to " + short_number(c.high); }

std::string verdict_words(const Analysis& a) {
  if (a.total.variance <= 0) return "All values are alike: nothing to judge.";
  if (a.judgement == Judgement::none) return "Not judged: how well a station repeats itself takes two trials or more.";
  return std::string(judgement_name(a.judgement)) + ": " +
         percent_text(a.by_tolerance ? a.grr.tolerance : a.grr.study) + " % of the " +
         (a.by_tolerance ? "tolerance" : "study variation") + "; below 10 % is accepted, above 30 % rejected";
}

Json::Value to_json(const Turn& turn) {
  const auto if_any = [&](const Json::Value& value) { return turn.trial > 0 ? value : Json::Value(); };
  return store::valid(json_object({{"phone", if_any(turn.phone)},
                                   {"station", if_any(turn.station)},
                                   {"operator", if_any(turn.operator_name)},
                                   {"trial", if_any(turn.trial)},
                                   {"done", turn.done},
                                   {"wanted", turn.wanted}}));
}

std::string to_text(const Turn& turn) {
  const std::string so_far = std::to_string(turn.done) + " of " + std::to_string(turn.wanted) + " are done\n";
  if (turn.trial == 0) return "the study is complete: " + so_far;
  return "phone " + shown(turn.phone) + (turn.station.empty() ? "" : " at station " + shown(turn.station)) +
         (turn.operator_name.empty() ? "" : " by operator " + shown(turn.operator_name)) + ", trial " +
         std::to_string(turn.trial) + "; " + so_far;
}

Json::Value to_json(const Findings& findings) {
  Json::Value out;
  out["alpha"] = findings.alpha;
  out["studies"] = json_list(findings.studies, [](const auto& found) { return study_json(found.first, found.second); });
  out["skipped"] = json_list(findings.skipped, [](const Skipped& skipped) {
    return json_object({{"name", skipped.name}, {"why", skipped.why}});
  });
  return store::valid(out);
}

std::string to_text(const Findings& findings, bool full) {
  std::string out;
  const bool whole = full || findings.studies.size() == 1;
  if (!whole && !findings.studies.empty()) out = lines_text(findings);
  for (const auto& [study, analysis] : findings.studies) {
    if (whole) out += (out.empty() ? "" : "\n") + whole_text(findings, study, analysis);
  }
  for (const std::string& remark : findings.remarks())
    out += wrapped(shown(remark, 400), terminal_columns(), "    ") + "\n";
  return out;
}

}  // namespace factory::grr
