#include "document.h"

#include <algorithm>
#include <map>
#include <set>

#include "phone/faults/faults.h"
#include "verdicts.h"

namespace fault_matrix {
namespace {

constexpr char kHead[] =
    R"(# Faults of the simulated phone

Asked for when a phone is opened (`PhoneOptions::faults`, or `faults` in a profile), as `NAME` or `NAME:ARGUMENTS`. They
last as long as the phone is open. SENSOR is a tag (`Acc`) or a type number; without one the fault is every sensor's, and
one of a sensor outranks it. RESULT is a number of the sensor service's results, 4 (permission denied) where it is left
out, and a number at the end of a description counts where the argument is left out. An unknown name is an error that
lists the valid ones; `fault_list()` in host/phone/faults/faults.h is this table. A fault of one sensor does not touch the
other types that its chip is listed under: a calibration of `Gyr` samples type 16, so `silent:16` stops it and `silent:Gyr` does
not (`sensorcal check` looks at type 4).

This page is written by `scripts/fault_matrix --write`, which tries them all.

The verdict is that of a run with a suitable step: a *failure* is the phone's fault, an *error* left it unjudged
([the causes](formats/run-record.md#codes-of-reasons)). Each was tried.

| fault | what | verdict | why |
|---|---|---|---|
)";

constexpr char kFiles[] =
    R"(
A file that cannot be written is a link: to a sealed copy in memory (it reads as before), to `/dev/full` (it reads as
empty, other than on a real full partition), or to nowhere. So the faults also hold for a process that may write
everything. The real files and properties come back when the phone is closed, or at its next opening when the process was
killed. The brightness node is described in [phone-panel.md](phone-panel.md).

## What is tried

Each kind of calibration on a phone that was calibrated before, in a world in which the kind succeeds, by a process of its
own, at unlimited speed. "Its wait" is the kind's time limit. Whatever the fault, the caller is back within that wait, what
the hub takes (`hub-slow`, and 150 ms for each look at a colour run of its own) and 100 ms; all sensors are off unless the
table says so; nothing but the kind's own values and files has changed; and all objects go without a trace. Under `sensors-dead` and
`hub-dead` the library does not come back, as on a phone whose manifest lists a service that never starts: these two are not
tried here. Nor is `wrong-fixture`, of which the library knows nothing: what a run of one step, or of a plan, sees of it is in
[trials.md](trials.md).

| kinds | which | phone | wait |
|---|---|---|---|
)";

constexpr char kMatrix[] =
    R"(
## What comes of them

Result 0 is success. "As before" is what the hub or the files held; "new" is the right result of this run; "**wrong**" is
something else that was stored. Files are the ones on the persist partition and the light sensor's. Kinds that a fault
does not list end as without it. In braces stands what belongs to the kind: its sensor (`{sensor}`) and another one
(`{other}`), the codes of the messages by which it reads (`{get}`) and changes (`{set}`) what the hub holds and the word of
the answer that is its result (`{word}`), -5 and 5 as integer or float (`{below}`, `{above}`), an amount beyond its limits
(`{much}`), and the calls until its sensor is on (`{calls}`). Faults "without permission" and "on a full partition" are
real ones, met by a user without privileges.

| fault | kinds | result | hub | files | what to know |
|---|---|---|---|---|---|
)";

std::string code(const std::string& text) { return "`" + text + "`"; }

std::string join(const std::vector<std::string>& parts, const char* between) {
  std::string out;
  for (const std::string& part : parts) out += (out.empty() ? "" : between) + part;
  return out;
}

std::string verdict_text(std::string_view verdict) { return verdict == "failed" ? "failure" : std::string(verdict); }

std::string state_text(State state) {
  return state == State::wrong ? "**wrong**" : state == State::good ? "new" : "as before";
}

// Without priority, tag and blanks at its ends.
std::string bare_text(std::string line) {
  const size_t tag = line.find("/libsensor_cal: ");
  if (tag == 1) line.erase(0, line.find(": ") + 1);
  line.erase(0, std::min(line.find_first_not_of(' '), line.size()));
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

std::string wait_text(const Kind& kind) {
  if (kind.timeout_s != 0) return std::to_string(kind.timeout_s) + " s";
  return (kind.group & (kHubChannels | kHubGolden)) != 0 ? "4.5 s" : "none";
}

// What a cell says in a row; equal ones share it.
struct Line {
  std::string result, hub, files, note;
  auto operator<=>(const Line&) const = default;
  bool plain = false;  // as without a fault
};

Line line_of(const Cell& cell, const Outcome& outcome) {
  const Expected expected = expected_of(*cell.fault, *cell.kind);
  const bool tried = outcome.skipped.empty();
  // A value that agrees to the last bit has been written all the same where that is expected.
  const auto seen = [tried](State wanted, State found) {
    return !tried || (wanted == State::good && found == State::same) ? wanted : found;
  };
  const State hub = seen(expected.hub, outcome.hub);
  const State files = seen(expected.files, outcome.files);
  const int result = tried ? outcome.result : expected.result;
  Line out;
  out.result = std::to_string(result) + (expected.wait_s == 0 ? ""
                                         : expected.may_wait  ? " within its wait"
                                                              : " after its wait");
  if (cell.kind->group == kReport) out.result = code("\"" + (tried ? outcome.verdict : expected.verdict) + "\"");
  out.hub = state_text(hub);
  out.files = state_text(files);
  const std::string says = expected.says;
  out.note = expected.note;
  if (out.note.empty() && !says.empty()) out.note = "log: " + code(bare_text(says));
  const State usual_hub = *cell.kind->owns == '\0' ? State::same : State::good;
  const State usual_files = *cell.kind->files == '\0' ? State::same : State::good;
  const std::string verdict = tried ? outcome.verdict : expected.verdict;
  const bool all_verdicts = cell.kind->group != kReport || verdict == "11111111111";
  out.plain = result == 0 && hub == usual_hub && files == usual_files && out.note.empty() && all_verdicts;
  return out;
}

// The kinds of a set by the titles of their groups, where a whole group is in it, else by their names.
std::string kinds_text(const std::vector<const Kind*>& kinds, const FaultRow& fault) {
  std::vector<std::string> out;
  for (const GroupInfo& info : group_list()) {
    std::vector<std::string> names;
    size_t all = 0;
    for (const Kind& kind : kind_list()) {
      if (kind.group != info.group || !applies(fault, kind)) continue;
      ++all;
      if (std::find(kinds.begin(), kinds.end(), &kind) != kinds.end()) names.emplace_back(kind.name);
    }
    if (names.empty()) continue;
    const bool whole = names.size() == all && *fault.only == '\0';
    out.push_back(whole ? info.title : join(names, ", "));
  }
  return join(out, "; ");
}

using Kinds = std::vector<const Kind*>;

bool waits(const Kind* kind) { return *kind->sensor != '\0'; }

// One row is written as what the others leave, and last: the longest one.
struct Rest {
  size_t row = 0;
  std::string kinds;  // empty: no row is long enough
};

// `plain`: the kinds that do not notice.
Rest find_rest(const FaultRow& fault, const std::vector<std::pair<Line, Kinds>>& rows, const Kinds& plain) {
  constexpr size_t kLong = 10;
  Rest out;
  for (size_t i = 0; i < rows.size(); ++i) {
    if (rows[i].second.size() > rows[out.row].second.size()) out.row = i;
  }
  if (rows.empty() || rows[out.row].second.size() < kLong) return out;
  const Kinds& kinds = rows[out.row].second;
  bool others = false;  // whether another row has kinds of that sort
  const bool all_wait = std::all_of(kinds.begin(), kinds.end(), waits);
  const auto is_sort = [&](const Kind* kind) { return !all_wait || waits(kind); };
  if (std::any_of(plain.begin(), plain.end(), is_sort)) return out;
  bool report = true;
  for (const Kind& kind : kind_list()) {
    if (applies(fault, kind) || !is_sort(&kind)) continue;
    if (kind.group != kReport) return out;
    report = false;
  }
  for (size_t i = 0; i < rows.size(); ++i) {
    if (i != out.row) others |= std::any_of(rows[i].second.begin(), rows[i].second.end(), is_sort);
  }
  out.kinds = std::string("all") + (others ? " other" : "") +
              (all_wait ? " kinds that wait for a sensor"
               : report ? " kinds"
                        : " calibrations");
  return out;
}

// The rows of one fault, behind its name.
std::vector<std::string> rows_of(const FaultRow& fault, const std::vector<std::pair<const Kind*, Line>>& lines) {
  std::vector<std::pair<Line, Kinds>> rows;
  Kinds plain;
  for (const auto& [kind, line] : lines) {
    const auto found =
        std::find_if(rows.begin(), rows.end(), [&wanted = line](const auto& row) { return row.first == wanted; });
    if (line.plain) {
      plain.push_back(kind);
    } else if (found == rows.end()) {
      rows.push_back({line, {kind}});
    } else {
      found->second.push_back(kind);
    }
  }
  const Rest rest = find_rest(fault, rows, plain);
  if (!rest.kinds.empty()) {
    std::rotate(rows.begin() + static_cast<long>(rest.row), rows.begin() + static_cast<long>(rest.row) + 1, rows.end());
  }
  std::vector<std::string> out;
  for (const auto& [line, kinds] : rows) {
    const bool is_rest = !rest.kinds.empty() && &kinds == &rows.back().second;
    out.push_back((is_rest ? rest.kinds : kinds_text(kinds, fault)) + " | " + line.result + " | " + line.hub + " | " +
                  line.files + " | " + line.note + " |");
  }
  if (out.empty()) out.emplace_back("none notices | | | | |");
  return out;
}

std::string fault_table() {
  std::string out;
  for (const phone::FaultInfo& info : phone::fault_list()) {
    const auto* row = std::find_if(std::begin(kVerdicts), std::end(kVerdicts),
                                   [&](const VerdictRow& known) { return known.fault == std::string_view(info.name); });
    out +=
        "| " + code(usage(info)) + " | " + info.what + " | " + verdict_text(row->verdict) + " | " + row->why + " |\n";
  }
  return out;
}

std::string kind_table() {
  std::string out;
  for (const GroupInfo& info : group_list()) {
    std::vector<std::string> names;
    std::vector<std::string> phones;
    std::string wait;
    for (const Kind& kind : kind_list()) {
      if (kind.group != info.group) continue;
      names.emplace_back(kind.name);
      if (std::find(phones.begin(), phones.end(), kind.profile) == phones.end()) phones.emplace_back(kind.profile);
      wait = wait_text(kind);
    }
    out +=
        std::string("| ") + info.title + " | " + join(names, "; ") + " | " + join(phones, ", ") + " | " + wait + " |\n";
  }
  return out;
}

}  // namespace

std::string document(const std::vector<Cell>& cells, const std::vector<Outcome>& outcomes) {
  std::map<const FaultRow*, std::vector<std::pair<const Kind*, Line>>> by_fault;
  for (size_t i = 0; i < cells.size(); ++i) {
    by_fault[cells[i].fault].emplace_back(cells[i].kind, line_of(cells[i], outcomes[i]));
  }
  // Faults with the same rows share them, in the place of the first.
  std::vector<std::pair<std::vector<std::string>, std::vector<std::string>>> blocks;  // names, rows
  for (const FaultRow& fault : fault_rows()) {
    if (by_fault.count(&fault) == 0) continue;
    const std::vector<std::string> rows = rows_of(fault, by_fault[&fault]);
    const std::string name = fault.real == Real::none ? code(fault.text) : fault.text;
    const auto same = std::find_if(blocks.begin(), blocks.end(), [&](const auto& b) { return b.second == rows; });
    if (same == blocks.end()) {
      blocks.push_back({{name}, rows});
    } else {
      same->first.push_back(name);
    }
  }
  std::string out = kHead + fault_table() + kFiles + kind_table() + kMatrix;
  for (const auto& [names, rows] : blocks) {
    for (size_t i = 0; i < rows.size(); ++i) out += "| " + (i == 0 ? join(names, ", ") : "") + " | " + rows[i] + "\n";
  }
  return out;
}

}  // namespace fault_matrix
