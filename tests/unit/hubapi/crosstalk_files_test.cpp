#include <limits.h>

#include "device_dir.h"
#include "hub_test.h"

namespace test {
namespace {

namespace fs = std::filesystem;

constexpr char kFolder[] = "/mnt/vendor/persist/sensors/";

class CrosstalkFiles : public HubTest {
 protected:
  CrosstalkFiles() { fs::create_directories(file("").parent_path()); }

  fs::path file(const std::string& name) const { return device.host_path(kFolder + name); }
  void write(const std::string& name, const std::string& text) const { device.write(kFolder + name, text); }
  std::string read(const std::string& name) const { return device.read(kFolder + name); }

  const DeviceDir device;
};

constexpr char kCt1[] = "PSensor_ct1.txt";
constexpr char kCt2[] = "PSensor_ct2.txt";
constexpr char kDelta[] = "PSensor3cm_ct.txt";

TEST_F(CrosstalkFiles, TakesWhatTheScanTakes) {
  const std::pair<const char*, int> taken[] = {{"offset=-12", -12},
                                               {"offset= \t\n+34xyz", 34},
                                               {"offset=0x10", 0},
                                               {"offset=2147483647\n", INT_MAX},
                                               {"offset=2147483648\n", INT_MAX},
                                               {"offset=99999999999\n", INT_MAX},
                                               {"offset=-99999999999999999999999\n", INT_MIN}};
  for (const auto& [text, expected] : taken) {
    write(kCt1, text);
    int value = 77;
    EXPECT_EQ(api.load_prox_ct1(&value), 0) << text;
    EXPECT_EQ(value, expected) << text;
  }
  int value = 77;
  for (const char* text :
       {"", "offset=", "offset=abc\n", "offset=- 5\n", "offset=+-5\n", "offset =5\n", " offset=5\n", "Offset=5\n"}) {
    write(kCt1, text);
    EXPECT_EQ(api.load_prox_ct1(&value), -5) << text;
    EXPECT_EQ(value, 77) << text;
  }
}

TEST_F(CrosstalkFiles, AMissingFileAndAFullPartitionAreIoErrors) {
  int value = 77;
  EXPECT_EQ(api.load_prox_ct1(&value), -5);
  EXPECT_EQ(value, 77);
  fs::create_symlink("/dev/full", file(kCt2));
  EXPECT_EQ(api.save_prox_ct2(1), -5);
}

TEST_F(CrosstalkFiles, RemovesTheDeltaOnly) {
  api.save_prox_ct1(1);
  api.save_prox_delta(3);
  log.clear();
  EXPECT_EQ(api.remove_prox_delta(), 0);
  EXPECT_EQ(lines(), Lines{});
  EXPECT_FALSE(fs::exists(file(kDelta)));
  EXPECT_TRUE(fs::exists(file(kCt1)));
  EXPECT_EQ(api.remove_prox_delta(), 0);
  EXPECT_EQ(lines(), Lines{"E file is not exits\n"});
  log.clear();
  fs::create_directory(file(kDelta));
  EXPECT_EQ(api.remove_prox_delta(), -1);
  EXPECT_EQ(lines(), Lines{"E remove_prox_delta errno Is a directory"});
}

// The commands that work on these files instead of the hub, each with a good file and with a directory in its place.
TEST_F(CrosstalkFiles, BehindTheProximityCommands) {
  struct Row {
    const char* name;  // of the file; empty: none is touched
    bool reads;
    int (*call)(SensorCalibrationAPI&, int*);
    int failure;        // result with the directory
    int after_failure;  // the caller's value, 40 before, with the directory
    std::string enter;
    const char* error = "";
  };
  using Api = SensorCalibrationAPI;
  const std::string get = "D enter getPrxOffset_api para=", set = "D enter setPrxOffset_api offset=40, para=";
  const std::string delta = "D enter SensorCalibrationAPI::getProDelta_api offset=40, para=";
  const Row rows[] = {
      {kCt1, true, [](Api& a, int* v) { return a.getPrxOffset_api(v, 0, 1); }, 0, 0,
       get + "0, offset = 40, supporthwcal 1", "E enter getPrxOffset_api para=0, offset = 40 err -5"},
      {kCt2, true, [](Api& a, int* v) { return a.getPrxOffset_api(v, 3, 0); }, 0, 0,
       get + "3, offset = 40, supporthwcal 0", "E enter getPrxOffset_api para=3, offset = 40 err -5"},
      {kCt1, false, [](Api& a, int* v) { return a.setPrxOffset_api(*v, 0, 1); }, 0, 40, set + "0, supporthwcal=1",
       "E enter setPrxOffset_api para=0, offset = 40 err -5"},
      {kCt2, false, [](Api& a, int* v) { return a.setPrxOffset_api(*v, 3, 7); }, 0, 40, set + "3, supporthwcal=7",
       "E enter setPrxOffset_api para=3, offset = 40 err -5"},
      {kDelta, true, [](Api& a, int* v) { return a.getProDelta_api(v, 0, 0); }, -5, 40, delta + "0, supporthwcal=0",
       "E save ct enter setPrxOffset_api para=0, offset = 40 err -5"},
      {kDelta, true, [](Api& a, int* v) { return a.getProDelta_api(v, 19, 0); }, -5, 40, delta + "19, supporthwcal=0",
       "E save ct enter setPrxOffset_api para=19, offset = 40 err -5"},
      {"", true, [](Api& a, int* v) { return a.getProDelta_api(v, 0, 1); }, 0, 40, delta + "0, supporthwcal=1"},
      {"", true, [](Api& a, int* v) { return a.getProDelta_api(v, 2, 0); }, 0, 40, delta + "2, supporthwcal=0"},
      {kDelta, false, [](Api& a, int* v) { return a.saveProDelta_api(*v, 2, 0); }, -5, 40, delta + "2, supporthwcal=0",
       "E save ct enter setPrxOffset_api para=2, offset = 40 err -5"},
      {"", false, [](Api& a, int* v) { return a.saveProDelta_api(*v, 0, 0); }, 0, 40, delta + "0, supporthwcal=0"},
      {"", false, [](Api& a, int* v) { return a.saveProDelta_api(*v, 2, 1); }, 0, 40, delta + "2, supporthwcal=1"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.enter);
    const std::string name = row.name;
    for (const char* each : {kCt1, kCt2, kDelta}) {
      fs::remove_all(file(each));
      write(each, "offset=-12\n");
    }
    int value = 40;
    log.clear();
    EXPECT_EQ(row.call(api, &value), 0);
    EXPECT_EQ(lines(), Lines{row.enter});
    EXPECT_EQ(value, row.reads && !name.empty() ? -12 : 40);
    for (const std::string each : {kCt1, kCt2, kDelta}) {
      EXPECT_EQ(read(each), !row.reads && each == name ? "offset=40\n" : "offset=-12\n");
    }

    if (name.empty()) continue;
    fs::remove(file(name));
    fs::create_directory(file(name));
    value = 40;
    log.clear();
    EXPECT_EQ(row.call(api, &value), row.failure);
    EXPECT_EQ(lines(), (Lines{row.enter, row.error}));
    EXPECT_EQ(value, row.after_failure);
  }
  EXPECT_TRUE(hub->sent().empty());
}

}  // namespace
}  // namespace test
