// The page: verdict first, then why, the facts, the steps in short, the steps in full.
#include <algorithm>
#include <cctype>
#include <map>
#include <vector>

#include "files/replace_file.h"
#include "files/time_text.h"
#include "report/assets.h"
#include "report/chart_data.h"
#include "report/html.h"
#include "report/report.h"
#include "report/words.h"

namespace factory {
namespace {

using record::Outcome;

// By Outcome. The words are CSS classes, too.
constexpr const char* kSigns[record::kOutcomes] = {"\u2713", "\u2248", "\u2717", "\u2013", "\u25AA", "\u26A0\uFE0E"};

const char* sign_of(Outcome outcome) { return kSigns[static_cast<int>(outcome)]; }

std::string upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

std::string step_id(const record::Step& step) { return "step-" + std::to_string(step.index); }

Markup link_to(const record::Step& step) {
  return Markup::element("a", {{"href", "#" + step_id(step)}}, Markup::text(step_name(step)));
}

bool went_wrong(const record::Step& step) {
  return step.outcome == Outcome::failed || step.outcome == Outcome::aborted || step.outcome == Outcome::error;
}

std::string tally(const record::Run& run) {
  std::string out = std::to_string(run.steps.size()) + (run.steps.size() == 1 ? " step" : " steps");
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
  Markup word =
      Markup::element("span", {{"class", "sign"}, {"aria-hidden", "true"}}, Markup::own(sign_of(run.outcome)));
  word += Markup::element("span", {{"id", "verdict"}}, Markup::text(upper(verdict)));
  if (run.marginal()) word += Markup::element("span", {{"class", "marginal-tag"}}, Markup::text("\u2248 marginal"));
  Markup content = Markup::element("h1", word);
  Markup what = run.serial.empty() ? Markup::text("Phone without a serial number")
                                   : Markup::text("Phone ") + Markup::element("bdi", Markup::text(run.serial));
  if (!run.plan.name.empty()) what += Markup::text(" \u00B7 ") + Markup::element("bdi", Markup::text(run.plan.name));
  content += Markup::element("p", {{"class", "what"}}, what);
  if (run.outcome == Outcome::error)
    content += Markup::element("p", Markup::text("The phone could not be judged: this says nothing about it."));
  content += Markup::element("p", Markup::text(tally(run) + " \u00B7 " + duration(run.seconds)));
  return Markup::element("header", {{"class", "banner " + verdict}}, Markup::element("div", content));
}

Markup card(const char* title, const Markup& content, const std::string& css_class = "") {
  if (content.empty()) return {};
  return Markup::element("section", {{"class", "card " + css_class}},
                         Markup::element("h2", Markup::text(title)) + content);
}

// What the reader came for when the phone is not good.
Markup why(const record::Run& run) {
  static const record::Attempt kNone;
  Markup items;
  for (const record::Step& step : run.steps) {
    if (!went_wrong(step)) continue;
    const record::Attempt& last = step.attempts.empty() ? kNone : step.attempts.back();
    Markup item = Markup::element("h3", verdict_badge(step.outcome) + link_to(step));
    item += text_list(last.reasons, "reasons");
    if (const Markup hints = text_list(last.hints, "hints"); !hints.empty())
      item += Markup::element("p", {{"class", "try"}}, Markup::text("What to try")) + hints;
    items += Markup::element("li", item);
  }
  return items.empty() ? items
                       : card("Why", Markup::element("ul", {{"class", "failures"}}, items),
                              std::string("why ") + outcome_name(run.outcome));
}

class Facts {
 public:
  void add(const char* name, const std::string& value, const char* css_class = "") {
    if (value.empty()) return;
    rows_ += Markup::element("div", {{"class", css_class}},
                             Markup::element("dt", Markup::text(name)) + Markup::element("dd", Markup::text(value)));
  }
  void add_all(const std::map<std::string, std::string>& texts) {
    for (const auto& [name, value] : texts) add(name.c_str(), value, value.size() > 30 ? "code wide" : "code");
  }
  Markup markup() const { return rows_.empty() ? rows_ : Markup::element("dl", {{"class", "facts"}}, rows_); }

 private:
  Markup rows_;
};

std::string time_for_people(std::string time) {
  if (time.size() > 10 && time[10] == 'T') time[10] = ' ';
  if (!time.empty() && time.back() == 'Z') time.replace(time.size() - 1, 1, " UTC");
  return time;
}

Markup facts(const record::Run& run) {
  Facts facts;
  facts.add("Serial number", run.serial);
  facts.add("Lot", run.lot);
  facts.add("Repeats run", run.retest_of);
  facts.add("Station", run.station);
  facts.add("Operator", run.operator_name);
  facts.add("Started", time_for_people(iso_time(run.started)));
  facts.add("Ended", time_for_people(iso_time(run.ended())));
  facts.add("Duration", duration(run.seconds));
  facts.add("Plan", run.plan.name);
  facts.add("Plan version", run.plan.version);
  facts.add("Plan file", run.plan.file);
  facts.add("Plan hash (SHA-256)", run.plan.sha256, "code wide");
  facts.add("Application", run.application.version);
  facts.add("Its build", run.application.build_id, "code");
  facts.add("Library", run.library.version);
  facts.add("Its build", run.library.build_id, "code");
  facts.add("Profile", run.phone.fact("profile"));
  facts.add("Seed", run.phone.fact("seed"));
  facts.add("Directory", run.phone.fact("directory"));
  Facts properties;
  properties.add_all(run.phone.properties);
  return facts.markup() + properties.markup();
}

Markup summary(const record::Run& run) {
  HtmlTable table("steps", {"Step", "Verdict", "Kind", "Sensor", "Attempts", "Time"});
  for (const record::Step& step : run.steps) {
    Markup name = Markup::text(std::to_string(step.index) + ". ") + link_to(step);
    if (!step.group.empty()) name += Markup::element("small", Markup::text(step.group));
    table.add({name, verdict_badge(step.outcome), Markup::text(step.kind), Markup::text(step.tag),
               Markup::text(std::to_string(step.attempts.size())),
               Markup::text(step.attempts.empty() ? "" : duration(seconds_of(step)))});
  }
  return table.empty() ? Markup() : table.markup();
}

// An attempt that another followed is folded: the last one decided.
Markup earlier_attempt(const record::Step& step, const record::Attempt& attempt) {
  Markup line = Markup::text("Attempt " + std::to_string(attempt.number)) + verdict_badge(attempt.outcome);
  line += Markup::element("small", Markup::text(duration(attempt.seconds)));
  if (!attempt.reasons.empty())
    line += Markup::element("span", {{"class", "reason"}}, Markup::text(attempt.reasons[0].text));
  return Markup::element("details", {{"class", "attempt"}},
                         Markup::element("summary", line) + attempt_markup(step, attempt));
}

Markup step_in_full(const record::Step& step) {
  Markup title = Markup::text(std::to_string(step.index) + ". " + step_name(step)) + verdict_badge(step.outcome);
  std::string about = step.kind;
  if (!step.tag.empty()) about += " \u00B7 sensor " + step.tag + (step.sensor.empty() ? "" : " (" + step.sensor + ")");
  if (step.param) about += " \u00B7 parameter " + std::to_string(*step.param);
  if (!step.group.empty()) about += " \u00B7 group " + step.group;
  Markup content = Markup::element("h3", title) + Markup::element("p", {{"class", "about"}}, Markup::text(about));
  const std::vector<record::Attempt>& attempts = step.attempts;
  for (size_t i = 0; i + 1 < attempts.size(); ++i) content += earlier_attempt(step, attempts[i]);
  if (attempts.empty()) content += Markup::element("p", Markup::text("Not run."));
  if (attempts.size() > 1) {
    content += Markup::element("p", {{"class", "deciding"}},
                               Markup::text("Attempt " + std::to_string(attempts.back().number) + ", which decided:"));
  }
  if (!attempts.empty()) content += attempt_markup(step, attempts.back());
  return Markup::element(
      "article", {{"id", step_id(step)}, {"class", std::string("card ") + outcome_name(step.outcome)}}, content);
}

Markup head(const record::Run& run) {
  std::string title = upper(outcome_name(run.outcome));
  for (const std::string& part : {run.serial, run.plan.name})
    if (!part.empty()) title += " \u00B7 " + part;
  // The page itself forbids its reader's browser every connection.
  return Markup::own(
             "<head><meta charset=\"utf-8\">\n"
             "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; img-src data:; "
             "style-src 'unsafe-inline'; script-src 'unsafe-inline'\">\n"
             "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
             "<meta name=\"color-scheme\" content=\"light dark\">\n"
             "<link rel=\"icon\" href=\"data:,\">\n") +
         Markup::element("title", Markup::text(title)) + Markup::own("\n<style>\n") + Markup::own(assets::report_css) +
         Markup::own("</style></head>\n");
}

Markup scripts(const record::Run& run) {
  return Markup::own("\n<script type=\"application/json\" id=\"windows\">") + Markup::own(chart_data(run)) +
         Markup::own("</script>\n<script>") + Markup::own(assets::chart_js) + Markup::own("</script>\n<script>\n") +
         Markup::own(assets::report_js) + Markup::own("</script>\n");
}

}  // namespace

Markup verdict_badge(Outcome outcome) {
  const std::string word = outcome_name(outcome);
  return Markup::element("span", {{"class", "badge " + word}}, Markup::text(sign_of(outcome) + (" " + word)));
}

HtmlTable::HtmlTable(std::string css_class, std::vector<std::string> columns)
    : css_class_(std::move(css_class)), columns_(std::move(columns)) {}

void HtmlTable::add(const std::vector<Markup>& cells) {
  Markup row;
  for (size_t i = 0; i < cells.size(); ++i) row += Markup::element("td", {{"data-column", columns_[i]}}, cells[i]);
  rows_ += Markup::element("tr", row);
}

Markup HtmlTable::markup() const {
  Markup names;
  for (const std::string& name : columns_) names += Markup::element("th", {{"scope", "col"}}, Markup::text(name));
  return Markup::element("table", {{"class", css_class_}},
                         Markup::element("thead", Markup::element("tr", names)) + Markup::element("tbody", rows_));
}

void write_html_report(const record::Run& run, const std::string& file, const Aside& aside) {
  Markup steps;
  for (const record::Step& step : run.steps) steps += step_in_full(step);
  Markup body = why(run);
  body += card(aside.title.c_str(), text_list(aside.lines, "remarks"));
  body += card("Remarks", text_list(run.remarks, "remarks"));
  body += card("Steps", summary(run));
  body += card("Run", facts(run));
  if (!steps.empty()) {
    body += Markup::own(
        "<div class=\"details-title\"><h2>Every step</h2><button type=\"button\" id=\"unfold\">Unfold "
        "all</button></div>");
    body += steps;
  }
  const Markup page = head(run) + Markup::element("body", banner(run) + Markup::element("main", body) + scripts(run));
  replace_file(file, "<!DOCTYPE html>\n<html lang=\"en\">" + page.str() + "</html>\n");
}

}  // namespace factory
