// The page: verdict first, then why, the steps in short, the time, the facts, the steps in full.
#include <algorithm>
#include <vector>

#include "files/time_text.h"
#include "files/words.h"
#include "record/record_json.h"
#include "report/html.h"
#include "report/report.h"
#include "report/words.h"

namespace factory {
namespace {

using record::Outcome;

// By Outcome. The words are CSS classes, too.
constexpr const char* kSigns[record::kOutcomes] = {"\u2713", "\u2248", "\u2717", "\u2013", "\u25AA", "\u26A0\uFE0E"};

const char* sign_of(Outcome outcome) { return kSigns[static_cast<int>(outcome)]; }

std::string step_id(const record::Step& step) { return "step-" + std::to_string(step.index); }

Markup link_to(const record::Step& step) { return element("a", {{"href", "#" + step_id(step)}}, step_name(step)); }

bool went_wrong(const record::Step& step) {
  return step.outcome == Outcome::failed || step.outcome == Outcome::aborted || step.outcome == Outcome::error;
}

std::string tally(const record::Run& run) {
  std::string out = counted(run.steps.size(), "step");
  for (int i = 0; i < record::kOutcomes; ++i) {
    const auto outcome = static_cast<Outcome>(i);
    const auto count = std::count_if(run.steps.begin(), run.steps.end(),
                                     [&](const record::Step& step) { return step.outcome == outcome; });
    if (count > 0) out += ", " + std::to_string(count) + " " + outcome_name(outcome);
  }
  return out;
}

Markup banner(const record::Run& run) {
  const std::string verdict = outcome_name(run.outcome);
  Markup word = element("span", {{"class", "sign"}, {"aria-hidden", "true"}}, Markup::own(sign_of(run.outcome)));
  word += element("span", {{"id", "verdict"}}, upper(verdict));
  if (run.marginal()) word += element("span", {{"class", "marginal-tag"}}, "\u2248 marginal");
  Markup content = element("h1", word);
  Markup what =
      run.serial.empty() ? Markup("Phone without a serial number") : Markup("Phone ") + element("bdi", run.serial);
  if (!run.plan.name.empty()) what += Markup(" \u00B7 ") + element("bdi", run.plan.name);
  content += element("p", {{"class", "what"}}, what);
  if (run.outcome == Outcome::error)
    content += element("p", "The phone could not be judged: this says nothing about it.");
  content += element("p", tally(run) + " \u00B7 " + duration(run.seconds));
  return element("header", {{"class", "banner " + verdict}}, element("div", content));
}

Markup card(const char* title, const Markup& content, const std::string& css_class = "") {
  if (content.empty()) return {};
  return element("section", {{"class", "card " + css_class}}, element("h2", title) + content);
}

// What the reader came for when the phone is not good.
Markup why(const record::Run& run) {
  static const record::Attempt kNone;
  Markup items;
  for (const record::Step& step : run.steps) {
    if (!went_wrong(step)) continue;
    const record::Attempt& last = step.attempts.empty() ? kNone : step.attempts.back();
    Markup item = element("h3", verdict_badge(step.outcome) + link_to(step));
    item += text_list(last.reasons, "reasons");
    if (const Markup hints = text_list(last.hints, "hints"); !hints.empty())
      item += element("p", {{"class", "try"}}, "What to try") + hints;
    items += element("li", item);
  }
  return items.empty() ? items
                       : card("Why", element("ul", {{"class", "failures"}}, items),
                              std::string("why ") + outcome_name(run.outcome));
}

struct Fact {
  std::string name, value;
  const char* css_class = "";
};

Markup list_of(const std::vector<Fact>& facts) {
  Markup rows;
  for (const Fact& fact : facts) {
    if (fact.value.empty()) continue;
    rows += element("div", {{"class", fact.css_class}}, element("dt", fact.name) + element("dd", fact.value));
  }
  return rows.empty() ? rows : element("dl", {{"class", "facts"}}, rows);
}

std::string time_for_people(record::Clock::time_point time) {
  std::string out = iso_time(time);
  out.replace(out.find('T'), 1, " ");
  return out.replace(out.find('Z'), 1, " UTC");
}

Markup facts(const record::Run& run) {
  std::vector<Fact> properties;
  for (const auto& [name, value] : run.phone.properties)
    properties.push_back({name, value, value.size() > 30 ? "code wide" : "code"});
  return list_of({{"Serial number", run.serial},
                  {"Lot", run.lot},
                  {"Repeats run", run.retest_of},
                  {"Station", run.station},
                  {"Operator", run.operator_name},
                  {"Started", time_for_people(run.started)},
                  {"Ended", time_for_people(run.ended())},
                  {"Duration", duration(run.seconds)},
                  {"Plan", run.plan.name},
                  {"Plan version", run.plan.version},
                  {"Plan file", run.plan.file},
                  {"Plan hash (SHA-256)", run.plan.sha256, "code wide"},
                  {"Application", run.application.version},
                  {"Its build", run.application.build_id, "code"},
                  {"Library", run.library.version},
                  {"Its build", run.library.build_id, "code"},
                  {"Profile", run.phone.fact("profile")},
                  {"Seed", run.phone.fact("seed")},
                  {"Directory", run.phone.fact("directory")}}) +
         list_of(properties);
}

Markup summary(const record::Run& run) {
  HtmlTable table("steps", {"Step", "Verdict", "Kind", "Sensor", "Attempts", "Time"});
  for (const record::Step& step : run.steps) {
    Markup name = Markup(std::to_string(step.index) + ". ") + link_to(step);
    if (!step.group.empty()) name += element("small", step.group);
    table.add({name, verdict_badge(step.outcome), step.kind, step.tag, std::to_string(step.attempts.size()),
               step.attempts.empty() ? "" : duration(seconds_of(step))});
  }
  return table.empty() ? Markup() : table.markup();
}

// An attempt that another followed is folded: the last one decided.
Markup earlier_attempt(const record::Step& step, const record::Attempt& attempt) {
  Markup line = Markup("Attempt " + std::to_string(attempt.number)) + verdict_badge(attempt.outcome);
  line += element("small", duration(attempt.seconds));
  if (!attempt.reasons.empty()) line += element("span", {{"class", "reason"}}, attempt.reasons[0].text);
  return element("details", {{"class", "attempt"}}, element("summary", line) + attempt_markup(step, attempt));
}

Markup step_in_full(const record::Step& step) {
  Markup title = Markup(std::to_string(step.index) + ". " + step_name(step)) + verdict_badge(step.outcome);
  std::string about = step.kind;
  if (!step.tag.empty()) about += " \u00B7 sensor " + step.tag + (step.sensor.empty() ? "" : " (" + step.sensor + ")");
  if (step.param) about += " \u00B7 parameter " + std::to_string(*step.param);
  if (!step.group.empty()) about += " \u00B7 group " + step.group;
  Markup content = element("h3", title) + element("p", {{"class", "about"}}, about);
  const std::vector<record::Attempt>& attempts = step.attempts;
  for (size_t i = 0; i + 1 < attempts.size(); ++i) content += earlier_attempt(step, attempts[i]);
  if (attempts.empty()) content += element("p", "Not run.");
  if (attempts.size() > 1) {
    content +=
        element("p", {{"class", "deciding"}}, "Attempt " + std::to_string(attempts.back().number) + ", which decided:");
  }
  if (!attempts.empty()) content += attempt_markup(step, attempts.back());
  return element("article", {{"id", step_id(step)}, {"class", std::string("card ") + outcome_name(step.outcome)}},
                 content);
}

std::string title_of(const record::Run& run) {
  std::string title = upper(outcome_name(run.outcome));
  for (const std::string& part : {run.serial, run.plan.name})
    if (!part.empty()) title += " \u00B7 " + part;
  return title;
}

// The sample windows, by window_id().
Json::Value windows_of(const record::Run& run) {
  Json::Value windows(Json::objectValue);
  for (const record::Step& step : run.steps) {
    for (const record::Attempt& attempt : step.attempts) {
      if (has_samples(attempt)) windows[window_id(step, attempt)] = to_json(*attempt.window);
    }
  }
  return windows;
}

}  // namespace

Markup verdict_badge(Outcome outcome) {
  const std::string word = outcome_name(outcome);
  return element("span", {{"class", "badge " + word}}, sign_of(outcome) + (" " + word));
}

void write_html_report(const record::Run& run, const std::string& file, const record::Aside& aside) {
  Markup steps;
  for (const record::Step& step : run.steps) steps += step_in_full(step);
  Markup body = why(run);
  body += card(aside.title.c_str(), text_list(aside.lines, "remarks"));
  body += card("Remarks", text_list(run.remarks, "remarks"));
  body += card("Steps", summary(run));
  body += card("Time", time_line(run));
  body += card("Run", facts(run));
  if (!steps.empty()) {
    body += Markup::own(
        "<div class=\"details-title\"><h2>Every step</h2><button type=\"button\" id=\"unfold\">Unfold "
        "all</button></div>");
    body += steps;
  }
  write_page(file, title_of(run), "", banner(run), body, {"windows", windows_of(run), assets::report_js});
}

}  // namespace factory
