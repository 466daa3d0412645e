// The page: verdict first, then why, the facts, the steps in short, the steps in full.
#include <algorithm>
#include <cctype>
#include <vector>

#include "files/replace_file.h"
#include "report/assets.h"
#include "report/chart_data.h"
#include "report/html.h"
#include "report/record_view.h"
#include "report/report.h"

namespace factory {
namespace {

struct Sign {
  const char* verdict;
  const char* sign;
};
constexpr Sign kSigns[] = {
    {"passed", "\u2713"}, {"marginal", "\u2248"}, {"failed", "\u2717"}, {"skipped", "\u2013"}, {"aborted", "\u25AA"}};

// A verdict may become a CSS class only when it is a known one.
const Sign& sign_of(const std::string& verdict) {
  static constexpr Sign kUnknown = {"unknown", "?"};
  const auto* row =
      std::find_if(std::begin(kSigns), std::end(kSigns), [&](const Sign& s) { return verdict == s.verdict; });
  return row == std::end(kSigns) ? kUnknown : *row;
}

std::string upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

std::string step_id(const Json::Value& step) { return "step-" + text_of(step, "index"); }

Markup link_to(const Json::Value& step) {
  return Markup::element("a", {{"href", "#" + step_id(step)}}, Markup::text(step_name(step)));
}

bool went_wrong(const Json::Value& step) {
  const std::string verdict = text_of(step, "verdict");
  return verdict == "failed" || verdict == "aborted";
}

std::string tally(const Json::Value& record) {
  const Json::Value& steps = list(record, "steps");
  std::string out = std::to_string(steps.size()) + (steps.size() == 1 ? " step" : " steps");
  for (const Sign& row : kSigns) {
    const auto count = std::count_if(steps.begin(), steps.end(),
                                     [&](const Json::Value& step) { return text_of(step, "verdict") == row.verdict; });
    if (count > 0) out += ", " + std::to_string(count) + " " + row.verdict;
  }
  return out;
}

Markup banner(const Json::Value& record) {
  const std::string verdict = text_of(record, "verdict");
  const std::string serial = text_of(record, "serial");
  const std::string plan = text_of(member(record, "plan"), "name");
  Markup word =
      Markup::element("span", {{"class", "sign"}, {"aria-hidden", "true"}}, Markup::own(sign_of(verdict).sign));
  word += Markup::element("span", {{"id", "verdict"}}, Markup::text(upper(verdict)));
  if (text_of(record, "marginal") == "true")
    word += Markup::element("span", {{"class", "marginal-tag"}}, Markup::text("\u2248 marginal"));
  Markup content = Markup::element("h1", word);
  Markup what = serial.empty() ? Markup::text("Phone without a serial number")
                               : Markup::text("Phone ") + Markup::element("bdi", Markup::text(serial));
  if (!plan.empty()) what += Markup::text(" \u00B7 ") + Markup::element("bdi", Markup::text(plan));
  content += Markup::element("p", {{"class", "what"}}, what);
  content += Markup::element("p", Markup::text(tally(record) + " \u00B7 " + duration(member(record, "seconds"))));
  return Markup::element("header", {{"class", std::string("banner ") + sign_of(verdict).verdict}},
                         Markup::element("div", content));
}

Markup card(const char* title, const Markup& content, const char* css_class = "") {
  if (content.empty()) return {};
  return Markup::element("section", {{"class", std::string("card ") + css_class}},
                         Markup::element("h2", Markup::text(title)) + content);
}

// What the reader came for when the phone is not good.
Markup why(const Json::Value& record) {
  Markup items;
  for (const Json::Value& step : list(record, "steps")) {
    if (!went_wrong(step)) continue;
    Markup item = Markup::element("h3", verdict_badge(text_of(step, "verdict")) + link_to(step));
    item += text_list(list(last_attempt(step), "reasons"), "reasons");
    if (const Markup hints = text_list(list(last_attempt(step), "hints"), "hints"); !hints.empty())
      item += Markup::element("p", {{"class", "try"}}, Markup::text("What to try")) + hints;
    items += Markup::element("li", item);
  }
  return items.empty() ? items : card("Why", Markup::element("ul", {{"class", "failures"}}, items), "why");
}

class Facts {
 public:
  void add(const char* name, const std::string& value, const char* css_class = "") {
    if (value.empty()) return;
    rows_ += Markup::element("div", {{"class", css_class}},
                             Markup::element("dt", Markup::text(name)) + Markup::element("dd", Markup::text(value)));
  }
  // The members of an object that are no lists or objects themselves.
  void add_all(const Json::Value& object) {
    if (!object.isObject()) return;
    for (const std::string& name : object.getMemberNames()) {
      const std::string value = text_of(object, name.c_str());
      add(name.c_str(), value, value.size() > 30 ? "code wide" : "code");
    }
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

Markup facts(const Json::Value& record) {
  Facts run;
  run.add("Serial number", text_of(record, "serial"));
  run.add("Station", text_of(record, "station"));
  run.add("Operator", text_of(record, "operator"));
  run.add("Started", time_for_people(text_of(record, "started")));
  run.add("Ended", time_for_people(text_of(record, "ended")));
  run.add("Duration", duration(member(record, "seconds")));
  const Json::Value& plan = member(record, "plan");
  run.add("Plan", text_of(plan, "name"));
  run.add("Plan file", text_of(plan, "file"));
  run.add("Plan hash (SHA-256)", text_of(plan, "hash"), "code wide");
  const Json::Value& application = member(record, "application");
  run.add("Application", text_of(application, "version"));
  run.add("Its build", text_of(application, "build_id"), "code");
  const Json::Value& library = member(record, "library");
  run.add("Library", text_of(library, "version"));
  run.add("Its build", text_of(library, "build_id"), "code");
  const Json::Value& phone = member(record, "phone");
  run.add("Profile", text_of(phone, "profile"));
  run.add("Seed", text_of(phone, "seed"));
  run.add("Directory", text_of(phone, "directory"));
  Facts properties;
  properties.add_all(member(phone, "properties"));
  return run.markup() + properties.markup();
}

Markup summary(const Json::Value& record) {
  HtmlTable table("steps", {"Step", "Verdict", "Kind", "Sensor", "Attempts", "Time"});
  for (const Json::Value& step : list(record, "steps")) {
    const std::string group = text_of(step, "group");
    Markup name = Markup::text(text_of(step, "index") + ". ") + link_to(step);
    if (!group.empty()) name += Markup::element("small", Markup::text(group));
    double seconds = 0;
    for (const Json::Value& attempt : list(step, "attempts")) seconds += finite(member(attempt, "seconds")).value_or(0);
    const Json::ArrayIndex attempts = list(step, "attempts").size();
    table.add({name, verdict_badge(text_of(step, "verdict")), Markup::text(text_of(step, "kind")),
               Markup::text(text_of(step, "tag")), Markup::text(std::to_string(attempts)),
               Markup::text(attempts == 0 ? "" : duration(seconds))});
  }
  return table.empty() ? Markup() : table.markup();
}

// An attempt that another followed is folded: the last one decided.
Markup earlier_attempt(const Json::Value& step, const Json::Value& attempt) {
  const Json::Value& reasons = list(attempt, "reasons");
  Markup line = Markup::text("Attempt " + text_of(attempt, "number")) + verdict_badge(text_of(attempt, "verdict"));
  line += Markup::element("small", Markup::text(duration(member(attempt, "seconds"))));
  if (!reasons.empty()) line += Markup::element("span", {{"class", "reason"}}, Markup::text(text_of(reasons[0])));
  return Markup::element("details", {{"class", "attempt"}},
                         Markup::element("summary", line) + attempt_markup(step, attempt));
}

Markup step_in_full(const Json::Value& step) {
  Markup title =
      Markup::text(text_of(step, "index") + ". " + step_name(step)) + verdict_badge(text_of(step, "verdict"));
  std::string about = text_of(step, "kind");
  if (const std::string tag = text_of(step, "tag"); !tag.empty()) about += " \u00B7 sensor " + tag;
  if (const std::string param = text_of(step, "param"); !param.empty()) about += " \u00B7 parameter " + param;
  if (const std::string group = text_of(step, "group"); !group.empty()) about += " \u00B7 group " + group;
  Markup content = Markup::element("h3", title) + Markup::element("p", {{"class", "about"}}, Markup::text(about));
  const Json::Value& attempts = list(step, "attempts");
  for (Json::ArrayIndex i = 0; i + 1 < attempts.size(); ++i) content += earlier_attempt(step, attempts[i]);
  if (attempts.empty()) content += Markup::element("p", Markup::text("Not run."));
  if (attempts.size() > 1) {
    content += Markup::element("p", {{"class", "deciding"}},
                               Markup::text("Attempt " + text_of(last_attempt(step), "number") + ", which decided:"));
  }
  if (!attempts.empty()) content += attempt_markup(step, last_attempt(step));
  return Markup::element(
      "article", {{"id", step_id(step)}, {"class", "card " + std::string(sign_of(text_of(step, "verdict")).verdict)}},
      content);
}

Markup head(const Json::Value& record) {
  std::string title = upper(text_of(record, "verdict"));
  for (const std::string& part : {text_of(record, "serial"), text_of(member(record, "plan"), "name")})
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

Markup scripts(const Json::Value& record) {
  return Markup::own("\n<script type=\"application/json\" id=\"windows\">") + Markup::own(chart_data(record)) +
         Markup::own("</script>\n<script>") + Markup::own(assets::chart_js) + Markup::own("</script>\n<script>\n") +
         Markup::own(assets::report_js) + Markup::own("</script>\n");
}

}  // namespace

Markup verdict_badge(const std::string& verdict) {
  if (verdict.empty()) return {};
  const Sign& sign = sign_of(verdict);
  return Markup::element("span", {{"class", std::string("badge ") + sign.verdict}},
                         Markup::text(std::string(sign.sign) + " " + verdict));
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

Markup text_list(const Json::Value& texts, const char* css_class) {
  Markup items;
  for (const Json::Value& text : texts) items += Markup::element("li", Markup::text(text_of(text)));
  return items.empty() ? items : Markup::element("ul", {{"class", css_class}}, items);
}

void write_html_report(const Json::Value& record, const std::string& file) {
  Markup steps;
  for (const Json::Value& step : list(record, "steps")) steps += step_in_full(step);
  Markup body = why(record);
  body += card("Replay", text_list(list(record, "replay"), "remarks"));
  body += card("Remarks", text_list(list(record, "remarks"), "remarks"));
  body += card("Steps", summary(record));
  body += card("Run", facts(record));
  if (!steps.empty()) {
    body += Markup::own(
        "<div class=\"details-title\"><h2>Every step</h2><button type=\"button\" id=\"unfold\">Unfold "
        "all</button></div>");
    body += steps;
  }
  const Markup page =
      head(record) + Markup::element("body", banner(record) + Markup::element("main", body) + scripts(record));
  replace_file(file, "<!DOCTYPE html>\n<html lang=\"en\">" + page.str() + "</html>\n");
}

}  // namespace factory
