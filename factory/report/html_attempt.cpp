// One attempt: why, measurements, sample window, values before and after, hub messages, log.
#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

#include "report/chart_data.h"
#include "report/html.h"
#include "report/record_view.h"

namespace factory {
namespace {

Markup heading(std::string_view text) { return Markup::element("h4", Markup::text(text)); }

Markup titled_list(const Json::Value& attempt, const char* name, const char* title) {
  const Markup items = text_list(list(attempt, name), name);
  return items.empty() ? items : heading(title) + items;
}

// Where the value lies between its limits, as a mark on a scale whose middle two thirds are allowed.
Markup gauge(const Json::Value& measurement) {
  const std::optional<double> value = finite(member(measurement, "value"));
  const std::optional<double> high = finite(member(measurement, "high"));
  std::optional<double> low = finite(member(measurement, "low"));
  if (!low && value && high && *value >= 0 && *high > 0) low = 0;  // a magnitude
  if (!value || !low || !high || !(*high > *low)) return {};
  const double part = std::clamp((*value - *low) / (*high - *low), -0.22, 1.22);
  const std::string place = "left:" + std::to_string(static_cast<int>(std::lround((part + 0.25) / 1.5 * 100))) + "%";
  return Markup::element("span", {{"class", "gauge"}, {"aria-hidden", "true"}},
                         Markup::element("i", {{"style", place}}, {}));
}

Markup measurements(const Json::Value& attempt) {
  HtmlTable table("measurements", {"Measurement", "Axis", "Value", "Limits", "", "Verdict"});
  for (const Json::Value& measurement : list(attempt, "measurements")) {
    const std::string allowed = limits(measurement);
    table.add({Markup::text(text_of(measurement, "name")), Markup::text(text_of(measurement, "axis")),
               Markup::text(value_with_error(measurement)), Markup::text(allowed.empty() ? "none" : allowed),
               gauge(measurement), verdict_badge(text_of(measurement, "verdict"))});
  }
  return table.empty() ? Markup() : heading("Measurements") + table.markup();
}

struct LegendRow {
  const char* state;
  const char* sign;  // the shapes that the script gives the chart library for these states
  const char* words;
};
constexpr LegendRow kLegend[] = {
    {"accepted", "<circle cx='8' cy='8' r='3.5'/>", "accepted"},
    {"discarded", "<path d='M4 4 12 12M12 4 4 12'/>", "discarded"},
    {"settling", "<path d='M8 3.5 13 12H3Z'/>", "settling"},
};
constexpr char kRestartSign[] = "<path d='M8 0V16' stroke-dasharray='3 2'/>";
constexpr char kLimitSign[] = "<path d='M0 8H16' stroke-dasharray='6 2'/>";

Markup legend_item(const std::string& css_class, const char* sign, const std::string& words) {
  const Markup drawing = Markup::element(
      "svg", {{"class", css_class}, {"viewBox", "0 0 16 16"}, {"aria-hidden", "true"}}, Markup::own(sign));
  return Markup::element("li", drawing + Markup::text(words));
}

Markup legend(const Json::Value& window) {
  std::map<std::string, int> counts;
  int without_value = 0;
  for (const Json::Value& sample : list(window, "samples")) {
    ++counts[text_of(sample, "state")];
    const Json::Value& values = list(sample, "values");
    if (!std::all_of(values.begin(), values.end(), [](const Json::Value& v) { return finite(v).has_value(); }))
      ++without_value;
  }
  Markup items;
  for (const LegendRow& row : kLegend) {
    if (counts[row.state] > 0)
      items += legend_item(row.state, row.sign, std::to_string(counts[row.state]) + " " + row.words);
  }
  if (!list(window, "restarts").empty()) items += legend_item("restart", kRestartSign, "restart, with its cause");
  if (!list(window, "bias_limit").empty()) items += legend_item("limit", kLimitSign, "limit of the mean");
  if (without_value > 0) {
    items += Markup::element(
        "li", {{"class", "warning"}},
        Markup::text(std::to_string(without_value) + " with values that are no numbers, which cannot be shown"));
  }
  return Markup::element("ul", {{"class", "legend"}}, items);
}

Markup sample_window(const Json::Value& step, const Json::Value& attempt) {
  if (!has_samples(attempt)) return {};
  const Json::Value& window = attempt["window"];
  Markup restarts;
  for (const Json::Value& restart : list(window, "restarts")) {
    restarts +=
        Markup::element("li", Markup::text("at event " + text_of(restart, "event") + ": " + restart_in_words(restart)));
  }
  std::string title = "Samples";
  if (const std::string period = number_for_people(member(window, "period_ms")); !period.empty())
    title += ", one every " + period + " ms";
  Markup figure = Markup::element("figcaption", legend(window));
  figure += Markup::element("div", {{"class", "plots"}, {"data-window", window_id(step, attempt)}},
                            Markup::own("<noscript>The charts need JavaScript.</noscript>"));
  Markup out = heading(title) + Markup::element("figure", figure);
  const std::string causes = restarts_by_cause(attempt);
  if (causes.empty() && restarts.empty()) return out;
  out += Markup::element("p", Markup::text("The sample window started anew: " + causes + "."));
  const Markup causes_in_order = Markup::element("ul", {{"class", "restarts"}}, restarts);
  constexpr Json::ArrayIndex kMostAtOnce = 8;
  if (list(window, "restarts").size() <= kMostAtOnce) return out += causes_in_order;
  return out += Markup::element("details", Markup::element("summary", Markup::text("Each restart")) + causes_in_order);
}

// What became of the values that the hub holds.
std::string fate(const Json::Value& attempt) {
  if (text_of(attempt, "kept") == "true") return "The new values stay.";
  if (text_of(attempt, "put_back") == "true") return "The old values were put back and read back.";
  if (text_of(attempt, "undoable") == "false") return "This step cannot be undone: what it wrote is still there.";
  return list(attempt, "after").empty() ? "" : "The old values were not put back.";
}

Markup held_values(const Json::Value& attempt) {
  std::vector<std::string> order;
  std::map<std::string, Json::Value> rows;
  for (const char* side : {"before", "after"}) {
    for (const Json::Value& value : list(attempt, side)) {
      const std::string name = text_of(value, "name");
      if (rows.find(name) == rows.end()) order.push_back(name);
      rows[name]["unit"] = text_of(value, "unit");
      rows[name][side] = numbers_for_people(member(value, "values"));
    }
  }
  if (order.empty()) return {};
  HtmlTable table("held", {"Value in the hub", "Before", "After", "Unit"});
  for (const std::string& name : order) {
    const Json::Value& row = rows[name];
    table.add({Markup::text(name), Markup::text(text_of(row, "before")), Markup::text(text_of(row, "after")),
               Markup::text(text_of(row, "unit"))});
  }
  Markup out = heading("Values before and after") + table.markup();
  if (const std::string words = fate(attempt); !words.empty())
    out += Markup::element("p", {{"class", "fate"}}, Markup::text(words));
  return out;
}

Markup fold(const std::string& title, const Markup& content) {
  return Markup::element("details", Markup::element("summary", Markup::text(title)) + content);
}

std::string counted(Json::ArrayIndex count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string words(const Json::Value& list_of_words) {
  std::string out;
  for (const Json::Value& word : list_of_words) {
    out += out.empty() ? "" : " ";
    out += "w" + text_of(word, "word") + "=";
    out += member(word, "float").isNull() ? text_of(word, "int") : text_of(word, "float") + "f";
  }
  return out;
}

Markup hub_messages(const Json::Value& attempt) {
  const Json::Value& messages = list(attempt, "hub");
  if (messages.empty()) return {};
  HtmlTable table("hub", {"Time", "Sensor", "Command", "Request", "Reply"});
  for (const Json::Value& message : messages) {
    std::string reply = text_of(message, "answered") == "true" ? words(list(message, "reply")) : "no answer";
    if (const std::string note = text_of(message, "note"); !note.empty()) reply += " (" + note + ")";
    const std::string time = text_of(message, "time");
    table.add({Markup::text(time.size() > 11 ? time.substr(11, 12) : time), Markup::text(text_of(message, "tag")),
               Markup::text(text_of(message, "command")), Markup::text(words(list(message, "request"))),
               Markup::text(reply)});
  }
  return fold(counted(messages.size(), "hub message", "hub messages"), table.markup());
}

// As logcat writes a priority, which a record has as Android's number.
std::string priority_letter(const Json::Value& line) {
  constexpr std::string_view kLetters = "??VDIWEF";
  const std::string text = text_of(line, "priority");
  const bool number = text.size() == 1 && text[0] >= '2' && text[0] <= '7';
  return number ? std::string(1, kLetters[static_cast<size_t>(text[0] - '0')]) : text.substr(0, 1);
}

Markup log_lines(const Json::Value& attempt) {
  const Json::Value& lines = list(attempt, "log");
  if (lines.empty()) return {};
  Markup text;
  for (const Json::Value& line : lines) {
    const std::string priority = priority_letter(line);
    std::string words = text_of(line, "text");
    while (!words.empty() && words.back() == '\n') words.pop_back();
    const std::string place = text_of(line, "thread") == "events" ? " \u2502 " : " ";
    text += Markup::element("span", {{"class", "priority-" + priority}},
                            Markup::text(priority + " " + text_of(line, "tag") + ":" + place + words)) +
            Markup::own("\n");
  }
  std::string title = counted(lines.size(), "log line", "log lines");
  if (const std::string dropped = text_of(attempt, "log_dropped"); !dropped.empty())
    title += ", and " + dropped + " more that were not kept";
  return fold(title,
              Markup::element("p", Markup::text("Lines behind a bar (\u2502) come from the thread of the events.")) +
                  Markup::element("pre", text));
}

}  // namespace

Markup attempt_markup(const Json::Value& step, const Json::Value& attempt) {
  return titled_list(attempt, "reasons", "Why") + titled_list(attempt, "hints", "What to try") +
         titled_list(attempt, "notes", "Notes") + measurements(attempt) + sample_window(step, attempt) +
         held_values(attempt) + titled_list(attempt, "not_undoable", "What cannot be undone") + hub_messages(attempt) +
         log_lines(attempt);
}

}  // namespace factory
