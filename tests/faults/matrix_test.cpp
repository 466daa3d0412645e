// The fault matrix: every fault of docs/faults.md with every sort of calibration and the report, each in a process of
// its own on a phone that was calibrated before. The page's tables are the rules. The suite takes each fault once, and
// every eighth pair besides, of those that wait for nothing; with FAULT_MATRIX set (scripts/fault_matrix) all of them
// are tried.
#include <gmock/gmock.h>
#include <stepped_clock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <set>
#include <sstream>

#include "hub_numbers.h"
#include "kinds.h"
#include "phone/faults/faults.h"
#include "verdicts.h"
#include "whole_phone.h"

namespace fault_matrix {
namespace {

namespace fs = std::filesystem;
using std::chrono::steady_clock;
using Texts = std::vector<std::string>;
using test::content;
using Files = std::map<std::string, std::string>;

Texts split(const std::string& text, const std::string& separator = "|") {
  Texts parts;
  for (size_t start = 0; start < text.size();) {
    const size_t end = std::min(text.find(separator, start), text.size());
    parts.push_back(text.substr(start, end - start));
    start = end + separator.size();
  }
  return parts;
}

bool begins(const std::string& text, const std::string& start) { return text.rfind(start, 0) == 0; }
bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// A row of the page's last table.
struct Row {
  std::set<std::string> faults;  // of the rows above where it names none
  std::string kinds, result, hub, files, note;
};

struct Page {
  Page() {
    bool matrix = false;
    for (const std::string& line : split(text, "\n")) {
      matrix = matrix || begins(line, "| fault | kinds |");
      if (!begins(line, "| ") || begins(line, "|---")) continue;
      Texts cells = split(line.substr(2, line.size() - 4), " | ");
      if (!matrix && cells.size() == 4) waits[cells[0]] = std::atof(cells[3].c_str());
      if (!matrix || cells[0] == "fault") continue;
      cells.resize(6);
      const Texts quoted = split(cells[0], "`");
      std::set<std::string> faults;
      for (size_t i = 1; i < quoted.size(); i += 2) faults.insert(quoted[i]);
      if (faults.empty()) faults = rows.back().faults;
      all_faults.insert(faults.begin(), faults.end());
      rows.push_back({faults, cells[1], cells[2], cells[3], cells[4], cells[5]});
    }
  }

  const std::string text = content(PROJECT_DIR "/docs/faults.md");
  std::map<std::string, double> waits;  // by sort
  std::vector<Row> rows;
  std::set<std::string> all_faults;
};

const Page& page() {
  static const Page page;
  return page;
}

constexpr double kGraceMs = 1000;

bool waits_for_sensor(const Kind& kind) { return *kind.sensor != '\0'; }

// The row that says what comes of it; none: the kind ends as without the fault.
const Row* find_row(const std::string& fault, const Kind& kind) {
  for (const Row& row : page().rows) {
    if (row.faults.count(fault) == 0) continue;
    const bool rest = begins(row.kinds, "all ") && (!has(row.kinds, "wait for a sensor") || waits_for_sensor(kind)) &&
                      (!has(row.kinds, "calibrations") || kind.call != Call::report);
    const auto named = [&](const std::string& name) { return has("; " + row.kinds + ";", "; " + name + ";"); };
    if (rest || named(kind.sort) || named(kind.name)) return &row;
  }
  return nullptr;
}

constexpr char kByHand[] = "no-property:persist.vendor.goodix.cct_support";

bool applies(const std::string& fault, const Kind& kind) {
  if ((has(fault, "{sensor}") || has(fault, "{other}") || has(fault, "{calls}")) && !waits_for_sensor(kind))
    return false;
  static const bool clock_can_be_stepped = test::clock_can_be_stepped();
  if (begins(fault, "clock-step") && !clock_can_be_stepped) return false;
  // With it missing the hub's run of scales is the library's own, which is another sort.
  if (fault == kByHand && begins(kind.sort, "channel scales, by")) return false;
  return !(has(fault, "{get}") && kind.get_code < 0) && !(has(fault, "{set}") && kind.set_code < 0);
}

// As a phone takes it.
std::string fault_text(std::string text, const Kind& kind) {
  const std::pair<const char*, std::string> values[] = {
      {"{sensor}", kind.sensor},
      {"{other}", kind.other},
      {"{much}", kind.much},
      {"{get}", std::to_string(kind.get_code)},
      {"{set}", std::to_string(kind.set_code)},
      {"{word}", std::to_string(kind.result_word)},
      {"{below}", kind.float_result ? "-5.0" : "-5"},
      {"{above}", kind.float_result ? "5.0" : "5"},
      {"{calls}", kind.type == sensor_type::proximity ? "4" : "3"},  // which asks what chip it has
  };
  for (const auto& [key, value] : values) {
    for (size_t at = text.find(key); at != std::string::npos; at = text.find(key)) {
      text.replace(at, std::string(key).size(), value);
    }
  }
  return text;
}

phone::PhoneOptions options(const Kind& kind, const std::string& directory) {
  phone::PhoneOptions out = phone_test::options({}, kind.profile, directory);
  out.seed = 8;  // no error of this phone is so small that it passes for none
  return out;
}

// A phone, the library on it, and what crosses the test service.
class Bench : public scenario::WholePhone {
 public:
  explicit Bench(const phone::PhoneOptions& wanted) : WholePhone(wanted) {
    phone->on_hub_message([this](const phone::HubExchange& exchange) {
      ++messages;
      if (exchange.request[1] == watched_code && exchange.answered) ++changes;
    });
  }
  ~Bench() { phone->on_hub_message({}); }

  // The world that the kind needs.
  void arrange(const Kind& kind) {
    phone::World world = phone->world();
    world.dark_box = false;
    phone::set_world(&world, "target", "none");
    const Texts pair = split(kind.world, "=");
    phone::set_world(&world, pair[0], pair[1]);
    phone->set_world(world);
  }
  void darken_panel() { cal->lcdbacklight_calibrate_write_backlight("/sys/class/leds/lcd-backlight/brightness", 0); }

  // The result as the page words it.
  std::string run(const Kind& kind) {
    int address_and_value[] = {3, 7};
    switch (kind.call) {
      case Call::calibrate:
        return std::to_string(cal->sensor_calibrate(kind.type, kind.param));
      case Call::pressure:
        return std::to_string(static_cast<int>(cal->sensor_setconfig(kind.type, 0, 1013.25F)));
      case Call::sar_register:
        return std::to_string(cal->sensor_set_sar_reg(kind.type, address_and_value));
      case Call::dark:
        return std::to_string(measure_dark());
      case Call::golden_truth:
        return std::to_string(set_golden(kind.type));
      case Call::report:
        return "`\"" + cal->GetCalibrated() + "\"`";
    }
    return "";
  }

  // Switches off what is still on. Returns whether there was any.
  bool anything_on() {
    bool on = false;
    for (const auto& info : cal->sensor_list) {
      if (cal->event_queue == nullptr) break;
      const auto disabled = cal->event_queue->disableSensor(info.sensorHandle);
      on |= disabled.isOk() && disabled == phone_test::Result::OK;
    }
    return on;
  }

  // All numbers that the hub holds.
  test::Numbers numbers() const { return test::numbers_in(phone->hub_state()); }

  std::atomic<int> messages{0};
  std::atomic<int> changes{0};  // messages of the watched code that came through
  std::atomic<int> watched_code{-1};
};

// The files of the persist and configuration partitions, by their path on the device.
Files device_files(const std::string& directory) {
  Files out;
  std::error_code ignored;
  for (auto it = fs::recursive_directory_iterator(directory + "/mnt", ignored);
       it != fs::recursive_directory_iterator(); it.increment(ignored)) {
    if (!it->is_regular_file(ignored)) continue;  // a link of a fault counts as what it leads to
    out[it->path().string().substr(directory.size())] = content(it->path());
  }
  return out;
}

// The numbers of a text that are results: of a JSON file those in the line of "scale_data".
std::vector<double> results_in(std::string text) {
  const size_t scale = text.find("scale_data");
  if (scale != std::string::npos) text = text.substr(scale, text.find('\n', scale) - scale);
  for (char& c : text) c = (c >= '0' && c <= '9') || c == '-' || c == '.' ? c : ' ';
  std::istringstream words(text);
  std::vector<double> out;
  for (double number = 0; words >> number;) out.push_back(number);
  return out;
}

bool same_results(const std::string& path, const std::string& good, const std::string& found) {
  const std::vector<double> a = results_in(good);
  const std::vector<double> b = results_in(found);
  const double limit = has(path, ".json") ? 0.02 : 4;
  return a.empty() ? !b.empty()  // the first result
                   : std::equal(a.begin(), a.end(), b.begin(), b.end(),
                                [limit](double x, double y) { return std::fabs(x - y) <= limit; });
}

// How the values that the kind owns changed, as the page words it. What it does not own must not change: `strangers`.
// `near(path, is)`: whether what is there now is as good as it was.
template <typename Value, typename Near>
std::string compare(const char* owns, const std::map<std::string, Value>& before,
                    const std::map<std::string, Value>& after, const Near& near, std::string* strangers) {
  const Texts own = split(owns);
  std::string state = "as before";
  std::map<std::string, Value> all = before;
  all.insert(after.begin(), after.end());
  for (const auto& entry : all) {
    const std::string& path = entry.first;
    const auto was = before.find(path);
    const auto is = after.find(path);
    if (was != before.end() && is != after.end() && (was->second == is->second || was->second != was->second)) continue;
    if (std::none_of(own.begin(), own.end(), [&](const auto& start) { return begins(path, start); })) {
      *strangers += " " + path;
    }
    if (is == after.end() || !near(path, is->second)) {
      state = "**wrong**";
    } else if (state == "as before") {
      state = "new";
    }
  }
  return state;
}

// Whether events still come in, though the run is over.
bool hears_on(const test::LogCapture& log) {
  const size_t before = log.others().size();
  for (int tries = 0; tries < 100; ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    if (log.others().size() > before + 2) return true;
  }
  return false;
}

std::string good_result(const Kind& kind) { return kind.call == Call::report ? "`\"11111111111\"`" : "0"; }

// What must come of a kind under a fault.
struct Expected {
  Expected(const std::string& fault, const Kind& kind) {
    const Row* const row = find_row(fault, kind);
    if (row == nullptr || begins(row->kinds, "none notices")) {
      result = good_result(kind);
    } else {
      result = row->result.substr(0, row->result.find(' '));
      hub = row->hub;
      files = row->files;
      note = row->note;
      must_wait = has(row->result, "after its wait");
      may_wait = must_wait || has(row->result, "within its wait");
    }
    // What a kind does not have cannot change, and no row needs to say so.
    if (hub.empty() || *kind.owns == '\0') hub = *kind.owns == '\0' ? "as before" : "new";
    if (files.empty() || *kind.files == '\0') files = *kind.files == '\0' ? "as before" : "new";
    if (may_wait) wait_ms = page().waits.at(kind.sort) * 1000;
    const std::string log = "log: `";
    if (begins(note, log)) says = note.substr(log.size(), note.size() - log.size() - 1);
  }
  std::string result, hub, files, note, says;
  bool must_wait = false;
  bool may_wait = false;
  double wait_ms = 0;
};

// One kind on one phone with one fault.
void try_fault(const std::string& fault, const Kind& kind, const std::string& directory) {
  const Expected expected(fault, kind);
  const bool stays_on = has(expected.note, "stays on");
  const Files prepared = device_files(directory);
  phone::PhoneOptions wanted = options(kind, directory);
  wanted.faults = {fault_text(fault, kind)};
  // At unlimited speed a sensor that stays on would fall silent before anybody looks.
  if (stays_on) wanted.speed = 50;
  // There, samples would race a wait that ends at once.
  if (begins(fault, "clock-step:3")) wanted.speed = 1;
  {
    const test::LogCapture log;
    Bench bench(wanted);
    EXPECT_EQ(bench.cal->initCheck(), fault == "sensors-absent" || fault == "hub-absent" ? -19 : 0);
    bench.arrange(kind);
    bench.messages = 0;
    bench.watched_code = kind.set_code;
    const test::Numbers hub_before = bench.numbers();
    const Files files_before = device_files(directory);

    const auto start = steady_clock::now();
    EXPECT_EQ(bench.run(kind), expected.result);
    const double took_ms = std::chrono::duration<double, std::milli>(steady_clock::now() - start).count();

    // What goes on in the hub (its own colour run) ends before it is looked at.
    if (has(kind.sort, "by the hub itself")) std::this_thread::sleep_for(std::chrono::milliseconds(900));
    EXPECT_EQ(stays_on && hears_on(log), stays_on);
    EXPECT_FALSE(bench.anything_on());
    std::string strangers;
    const auto near_number = [&](const std::string& path, double is) {
      const auto was = hub_before.find(path);
      return was != hub_before.end() && std::fabs(was->second - is) <= test::wander(path, was->second);
    };
    const auto near_file = [&](const std::string& path, const std::string& is) {
      return prepared.count(path) != 0 && same_results(path, prepared.at(path), is);
    };
    const std::string hub = compare(kind.owns, hub_before, bench.numbers(), near_number, &strangers);
    const std::string files = compare(kind.files, files_before, device_files(directory), near_file, &strangers);

    // Two good calibrations may agree to the last bit.
    EXPECT_TRUE(hub == expected.hub || (expected.hub == "new" && hub == "as before")) << hub << " is the hub";
    EXPECT_TRUE(files == expected.files || (expected.files == "new" && files == "as before")) << files << " are files";
    // A value that agrees may also be one that nobody has touched.
    EXPECT_TRUE(expected.hub != "new" || fault == kByHand || bench.changes > 0) << "nothing was sent to the hub";
    EXPECT_TRUE(expected.says.empty() || log.contains(expected.says)) << "never said: " << expected.says;
    EXPECT_EQ(strangers, "") << "what is not its own was touched";
    const double hub_ms = begins(fault, "hub-slow:") ? bench.messages * std::atof(fault.c_str() + 9) : 0;
    const double polls_ms = static_cast<double>(log.count("countdown_times=")) * 150;
    EXPECT_LE(took_ms, std::max(expected.wait_ms, polls_ms) + hub_ms + kGraceMs);
    EXPECT_GE(took_ms, expected.must_wait ? expected.wait_ms - 20 : 0);
  }
  if (!begins(fault, "persist-")) return;
  // What stands in for the files is gone with the phone.
  for (const auto& [path, bytes] : device_files(directory)) {
    if (!begins(path, "/mnt/vendor/persist/")) continue;
    EXPECT_TRUE(prepared.count(path) != 0 && prepared.at(path) == bytes) << path << " changed behind the fault";
  }
}

// Makes the phone of a kind, as the factory would before the kind's turn, and runs the kind once.
void make_phone(const Kind& kind, const std::string& directory) {
  Bench bench(options(kind, directory));
  bench.darken_panel();
  Texts names = split(kind.before);
  names.push_back(kind.name);
  for (const std::string& name : names) {
    const Kind* const each = std::ranges::find(kKinds, name, &Kind::name);
    ASSERT_NE(each, std::end(kKinds)) << "no kind is called " << name;
    bench.arrange(*each);
    ASSERT_EQ(bench.run(*each), good_result(*each)) << name;
    if (begins(each->sort, "panel") && !begins(kind.sort, "panel")) bench.darken_panel();
  }
}

struct Cell {
  const Kind* kind;
  std::string fault;  // empty: its kind's phone is made
  bool waits = false;
};

void try_cell(const Cell& cell, const std::string& folder) noexcept {
  SCOPED_TRACE(fault_text(cell.fault, *cell.kind) + " with " + cell.kind->name);
  const std::string made = folder + "/kind-" + std::to_string(cell.kind - kKinds);
  if (cell.fault.empty()) return make_phone(*cell.kind, made);
  // A file that the kind's phone does not have cannot be spoilt.
  const bool spoils = begins(cell.fault, "truncated:") || begins(cell.fault, "garbled:");
  if (spoils && !fs::exists(made + cell.fault.substr(cell.fault.find('/')))) return;
  const std::string copy = folder + "/cell-" + std::to_string(getpid());
  fs::copy(made, copy, fs::copy_options::recursive);
  try_fault(cell.fault, *cell.kind, copy);
  fs::remove_all(copy);
}

// Each in a process of its own, many of those that only wait at once. This process must have one thread only. Returns
// those that failed; they have said why.
std::string try_all(const std::vector<Cell>& cells, const std::string& folder) {
  std::string failed;
  for (const auto& [waits, most] : {std::pair{true, 100U}, {false, 8U}}) {
    std::map<pid_t, const Cell*> children;
    const auto take_one = [&] {
      int status = 0;
      const auto child = children.extract(waitpid(-1, &status, 0));
      if (status == 0) return;
      failed += child.mapped()->fault + " with " + child.mapped()->kind->name + " (" + std::to_string(status) + ")\n";
    };
    for (const Cell& cell : cells) {
      if (cell.waits != waits) continue;
      if (children.size() == most) take_one();
      const pid_t child = fork();
      if (child == 0) {
        alarm(60);
        try_cell(cell, folder);
        // As the application would end: what the library leaves to its unloading is part of the trial.
        exit(::testing::Test::HasFailure() ? 1 : 0);
      }
      children[child] = &cell;
    }
    while (!children.empty()) take_one();
  }
  return failed;
}

TEST(FaultMatrix, EndsAsThePageSays) {
  const bool whole = getenv("FAULT_MATRIX") != nullptr;
  std::vector<Cell> phones, cells;
  for (const Kind& kind : kKinds) {
    if (*kind.sort != '\0') phones.push_back({&kind, "", false});
  }
  size_t number = 0;
  for (const std::string& fault : page().all_faults) {
    bool tried = false;
    for (const Cell& phone : phones) {
      if (!applies(fault, *phone.kind)) continue;
      const bool waits = Expected(fault, *phone.kind).may_wait;
      if (!whole && (waits || (number++ % 8 != 0 && std::exchange(tried, true)))) continue;
      cells.push_back({phone.kind, fault, waits});
    }
  }
  ASSERT_GT(cells.size(), 200U);
  const test::Folder folder;
  ASSERT_EQ(try_all(phones, folder.path()), "");
  EXPECT_EQ(try_all(cells, folder.path()), "");
  std::cout << cells.size() << " pairs\n";
}

// Nothing of the phone's faults is missing from the page, and its rows name what there is.
TEST(FaultMatrix, ThePageIsWhole) {
  using ::testing::HasSubstr;
  std::string tried =
      "\nsensors-dead:\nhub-dead:\nwrong-fixture:";  // under which nobody comes back, or that the library does not know
  std::set<std::string> sorts;
  for (const Kind& kind : kKinds) sorts.insert({kind.sort, kind.name});
  for (const Row& row : page().rows) {
    for (const std::string& fault : row.faults) tried += "\n" + fault + ":";
    for (const std::string& sort : split(row.kinds, "; ")) {
      EXPECT_TRUE(begins(sort, "all ") || sort == "none notices" || sorts.count(sort) == 1) << sort;
    }
  }
  for (const Kind& kind : kKinds) EXPECT_TRUE(*kind.sort == '\0' || page().waits.count(kind.sort) != 0) << kind.sort;
  for (const phone::FaultInfo& info : phone::fault_list()) {
    const auto verdict = std::ranges::find(kVerdicts, std::string_view(info.name), &VerdictRow::name);
    ASSERT_NE(verdict, std::end(kVerdicts)) << info.name;
    const std::string told = verdict->verdict == std::string_view("failed") ? "failure" : verdict->verdict;
    EXPECT_THAT(page().text, HasSubstr("| `" + usage(info) + "` | " + info.what + " | " + told + " | "));
    EXPECT_THAT(tried, HasSubstr("\n" + std::string(info.name) + ":"));
  }
}

}  // namespace
}  // namespace fault_matrix
