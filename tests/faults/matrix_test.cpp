// A cross-section of the fault matrix, and that the matrix, its page and the phone know the same faults.
#include "matrix.h"

#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

#include "phone/faults/faults.h"
#include "snapshot.h"
#include "verdicts.h"

namespace fault_matrix {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

// scripts/fault_matrix measures the caller's return on quiet cells, to 100 ms. Beside other tests on two cores a cell
// may take several times that.
constexpr Limits kBesideOthers = {.working = 2, .waiting = 2, .grace_ms = 1000};

std::string page() {
  std::ostringstream out;
  out << std::ifstream(PROJECT_DIR "/docs/faults.md").rdbuf();
  return out.str();
}

TEST(FaultMatrix, CrossSection) {
  const std::vector<Cell> cells = cross_section();
  const std::vector<Outcome> outcomes = run_cells(cells, kBesideOthers);
  for (size_t i = 0; i < cells.size(); ++i) {
    EXPECT_THAT(outcomes[i].deviations, IsEmpty()) << cells[i].fault->text << " with " << cells[i].kind->name;
  }
}

// What is expected of another fault must not pass for these.
TEST(FaultMatrix, ADeviationIsSeen) {
  const struct {
    FaultRow fault;
    const char* kind;
    const char* complaint;
  } rows[] = {
      {{"queue-never", FaultClass::harmless}, "Acc", "result -1 instead of 0"},
      {{"sensors-absent", FaultClass::no_list}, "Acc", "initCheck() says -19"},
      {{"nan:{sensor}", FaultClass::harmless}, "Acc", "hub: a wrong value"},
      {{"hub-fail:{set}", FaultClass::harmless}, "Acc2", "nothing was sent to the hub"},
      {{"hub-fail:{set}", FaultClass::harmless}, "Prx 0, by the chip", "files: a wrong value"},
      {{"enable-refused:{sensor}", FaultClass::no_queue}, "Bar", "never said: "},
      {{"hub-slow:500", FaultClass::harmless}, "Tof 5", "back after "},
      {{"property:persist.vendor.sensor.cali_sensor=0", FaultClass::harmless}, "report", "report \"111\" instead"},
      {{"sensors-vanish:{calls}", FaultClass::stays_on}, "Gyr", "the sensor went off"},
  };
  for (const auto& row : rows) {
    const Limits strict = {.working = 1, .waiting = 1, .grace_ms = 300};
    const std::vector<Outcome> outcomes = run_cells({{find_kind(row.kind), &row.fault}}, strict);
    std::string all;
    for (const std::string& text : outcomes.at(0).deviations) all += text + "\n";
    EXPECT_THAT(all, HasSubstr(row.complaint)) << row.fault.text;
  }
}

TEST(FaultMatrix, AnotherSensorsValuesAreStrangers) {
  const Kind& acc = *find_kind("Acc");
  std::string strangers;
  EXPECT_EQ(compare_hub(acc, {{"Acc/offset/0", 0.1}, {"Gyr/offset/0", 0.1}},
                        {{"Acc/offset/0", 0.101}, {"Gyr/offset/0", 0.1}}, &strangers),
            State::good);
  EXPECT_EQ(strangers, "");
  EXPECT_EQ(compare_hub(acc, {{"Acc/offset/0", 0.1}, {"Acc2/offset/0", 0.1}}, {{"Acc/offset/0", 0.2}}, &strangers),
            State::wrong);
  EXPECT_EQ(strangers, " Acc2/offset/0");
  EXPECT_EQ(compare_files(acc, {}, {}, {{"/mnt/x", ""}}, &strangers), State::wrong);
  EXPECT_EQ(strangers, " Acc2/offset/0 /mnt/x");
}

TEST(FaultMatrix, HasEveryFault) {
  std::string tried;
  for (const FaultRow& row : fault_rows()) {
    if (row.real == Real::none) tried += "\n" + std::string(row.text) + ":";
  }
  for (const char* const name : kElsewhere) tried += "\n" + std::string(name) + ":";
  for (const phone::FaultInfo& info : phone::fault_list()) {
    EXPECT_THAT(tried, HasSubstr("\n" + std::string(info.name) + ":"));
  }
  for (const Cell& cell : every_cell()) {
    if (cell.fault->real == Real::none) phone::Faults::parse({fault_text(*cell.fault, *cell.kind)});
  }
}

TEST(FaultMatrix, ThePageHasEveryFaultAndKind) {
  const std::string text = page();
  for (const phone::FaultInfo& info : phone::fault_list()) {
    EXPECT_THAT(text, HasSubstr("| `" + std::string(info.name)));
    EXPECT_THAT(text, HasSubstr(info.what));
    EXPECT_EQ(1, std::count_if(std::begin(kVerdicts), std::end(kVerdicts),
                               [&](const VerdictRow& row) { return row.fault == std::string_view(info.name); }));
  }
  for (const VerdictRow& row : kVerdicts) EXPECT_THAT(text, HasSubstr(row.why));
  for (const FaultRow& row : fault_rows()) EXPECT_THAT(text, HasSubstr(row.text));
  for (const Kind& kind : kind_list()) EXPECT_THAT(text, HasSubstr(kind.name));
  for (const GroupInfo& info : group_list()) EXPECT_THAT(text, HasSubstr("| " + std::string(info.title) + " |"));
}

}  // namespace
}  // namespace fault_matrix
