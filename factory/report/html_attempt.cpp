// One attempt: why, measurements, sample window, values before and after, hub messages, log.
#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

#include "files/words.h"
#include "record/run_text.h"
#include "report/html.h"
#include "report/words.h"

namespace factory {
namespace {

Markup heading(std::string_view text) { return element("h4", text); }

template <typename T>
Markup titled_list(const std::vector<T>& texts, const char* css_class, const char* title) {
  const Markup items = text_list(texts, css_class);
  return items.empty() ? items : heading(title) + items;
}

// Where the value lies between its limits, as a mark on a scale whose middle two thirds are allowed.
Markup gauge(const record::Measurement& m) {
  const std::optional<double> high = m.high;
  std::optional<double> low = m.low;
  if (!low && high && m.value >= 0) low = 0;  // a magnitude
  if (!std::isfinite(m.value) || !low || !high || !std::isfinite(*high - *low) || !(*high > *low)) return {};
  const double part = std::clamp((m.value - *low) / (*high - *low), -0.22, 1.22);
  const std::string place = "left:" + std::to_string(static_cast<int>(std::lround((part + 0.25) / 1.5 * 100))) + "%";
  return element("span", {{"class", "gauge"}, {"aria-hidden", "true"}}, element("i", {{"style", place}}, {}));
}

Markup measurements(const record::Attempt& attempt) {
  HtmlTable table("measurements", {"Measurement", "Axis", "Value", "Limits", "", "Verdict"});
  for (const record::Measurement& m : attempt.measurements) {
    const std::string allowed = limits(m);
    table.add(
        {m.name, m.axis, value_with_error(m), allowed.empty() ? "none" : allowed, gauge(m), verdict_badge(m.outcome)});
  }
  return table.empty() ? Markup() : heading("Measurements") + table.markup();
}

struct LegendRow {
  record::SampleState state;
  const char* sign;  // the shapes that the script gives the chart library for these states
};
constexpr LegendRow kLegend[] = {
    {record::SampleState::accepted, "<circle cx='8' cy='8' r='3.5'/>"},
    {record::SampleState::discarded, "<path d='M4 4 12 12M12 4 4 12'/>"},
    {record::SampleState::settling, "<path d='M8 3.5 13 12H3Z'/>"},
};
constexpr char kRestartSign[] = "<path d='M8 0V16' stroke-dasharray='3 2'/>";
constexpr char kLimitSign[] = "<path d='M0 8H16' stroke-dasharray='6 2'/>";

Markup legend(const record::Window& window) {
  std::map<record::SampleState, int> counts;
  int without_value = 0;
  for (const record::Sample& sample : window.samples) {
    ++counts[sample.state];
    if (!std::all_of(sample.values.begin(), sample.values.end(), [](double v) { return std::isfinite(v); }))
      ++without_value;
  }
  Markup items;
  for (const LegendRow& row : kLegend) {
    const std::string state = state_name(row.state);
    if (counts[row.state] > 0) items += legend_item(state, row.sign, std::to_string(counts[row.state]) + " " + state);
  }
  if (!window.restarts.empty()) items += legend_item("restart", kRestartSign, "restart, with its cause");
  if (!window.bias_limit.empty()) items += legend_item("limit", kLimitSign, "limit of the mean");
  if (without_value > 0) {
    items += element("li", {{"class", "warning"}},
                     std::to_string(without_value) + " with values that are no numbers, which cannot be shown");
  }
  return element("ul", {{"class", "legend"}}, items);
}

Markup sample_window(const record::Step& step, const record::Attempt& attempt) {
  if (!has_samples(attempt)) return {};
  const record::Window& window = *attempt.window;
  Markup restarts;
  for (const record::Restart& restart : window.restarts) {
    restarts += element("li", "at event " + std::to_string(restart.event) + ": " + restart_in_words(restart));
  }
  std::string title = "Samples";
  if (window.period_ms > 0) title += ", one every " + std::to_string(window.period_ms) + " ms";
  Markup figure = element("figcaption", legend(window));
  figure += element("div", {{"class", "plots"}, {"data-window", window_id(step, attempt)}},
                    Markup::own("<noscript>The charts need JavaScript.</noscript>"));
  Markup out = heading(title) + element("figure", figure);
  const std::string causes = record::restarts_text(attempt);
  if (causes.empty() && restarts.empty()) return out;
  out += element("p", "The sample window started anew: " + causes + ".");
  const Markup causes_in_order = element("ul", {{"class", "restarts"}}, restarts);
  constexpr size_t kMaxAtOnce = 8;
  if (window.restarts.size() <= kMaxAtOnce) return out += causes_in_order;
  return out += element("details", element("summary", "Each restart") + causes_in_order);
}

// What became of the values that the hub holds.
std::string fate(const record::Attempt& attempt) {
  if (attempt.kept) return "The new values stay.";
  if (attempt.put_back) return "The old values were put back and read back.";
  if (!attempt.irreversible.empty()) return "This step cannot be undone: what it wrote is still there.";
  return attempt.after.empty() ? "" : "The old values were not put back.";
}

Markup held_values(const record::Attempt& attempt) {
  struct Row {
    std::string name, unit, before, after;
  };
  std::vector<Row> rows;
  const auto add = [&](const std::vector<record::HeldValue>& values, std::string Row::*side) {
    for (const record::HeldValue& value : values) {
      auto row = std::find_if(rows.begin(), rows.end(), [&](const Row& known) { return known.name == value.name; });
      if (row == rows.end()) row = rows.insert(row, {value.name, "", "", ""});
      row->unit = value.unit;
      (*row).*side = numbers_for_people(value.values);
    }
  };
  add(attempt.before, &Row::before);
  add(attempt.after, &Row::after);
  if (rows.empty()) return {};
  HtmlTable table("held", {"Value in the hub", "Before", "After", "Unit"});
  for (const Row& row : rows) table.add({row.name, row.before, row.after, row.unit});
  Markup out = heading("Values before and after") + table.markup();
  if (const std::string words = fate(attempt); !words.empty()) out += element("p", {{"class", "fate"}}, words);
  return out;
}

Markup fold(const std::string& title, const Markup& content) {
  return element("details", element("summary", title) + content);
}

Markup hub_messages(const record::Attempt& attempt) {
  if (attempt.hub.empty()) return {};
  HtmlTable table("hub", {"Time", "Sensor", "Command", "Request", "Reply"});
  for (const record::HubMessage& message : attempt.hub) {
    std::string reply = message.answered ? words(message.reply) : "no answer";
    if (!message.note.empty()) reply += " (" + message.note + ")";
    table.add({message.time.size() > 11 ? message.time.substr(11, 12) : message.time, message.tag, message.command,
               words(message.request), reply});
  }
  return fold(counted(attempt.hub.size(), "hub message"), table.markup());
}

// As logcat writes a priority, which a record has as Android's number.
std::string priority_letter(int priority) {
  constexpr std::string_view kLetters = "??VDIWEF";
  const bool known = priority >= 2 && priority < static_cast<int>(kLetters.size());
  return std::string(1, known ? kLetters[static_cast<size_t>(priority)] : '?');
}

Markup log_lines(const record::Attempt& attempt) {
  if (attempt.log.empty()) return {};
  Markup text;
  for (const record::LogLine& line : attempt.log) {
    const std::string priority = priority_letter(line.priority);
    std::string words = line.text;
    while (!words.empty() && words.back() == '\n') words.pop_back();
    const std::string place = line.event_thread ? " \u2502 " : " ";
    text += element("span", {{"class", "priority-" + priority}}, priority + " " + line.tag + ":" + place + words) +
            Markup::own("\n");
  }
  std::string title = counted(attempt.log.size(), "log line");
  if (attempt.log_dropped > 0) title += ", and " + std::to_string(attempt.log_dropped) + " more that were not kept";
  return fold(title,
              element("p", "Lines behind a bar (\u2502) come from the thread of the events.") + element("pre", text));
}

}  // namespace

Markup legend_item(const std::string& css_class, std::string_view sign, const std::string& words) {
  const Markup drawing =
      element("svg", {{"class", css_class}, {"viewBox", "0 0 16 16"}, {"aria-hidden", "true"}}, Markup::own(sign));
  return element("li", drawing + Markup(words));
}

std::string window_id(const record::Step& step, const record::Attempt& attempt) {
  return "window-" + std::to_string(step.index) + "-" + std::to_string(attempt.number);
}

Markup attempt_markup(const record::Step& step, const record::Attempt& attempt) {
  return titled_list(attempt.reasons, "reasons", "Why") + titled_list(attempt.hints, "hints", "What to try") +
         titled_list(attempt.notes, "notes", "Notes") + measurements(attempt) + sample_window(step, attempt) +
         held_values(attempt) + titled_list(attempt.irreversible, "not_undoable", "What cannot be undone") +
         hub_messages(attempt) + log_lines(attempt);
}

}  // namespace factory
