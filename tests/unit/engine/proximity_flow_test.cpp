#include <host/device_root.h>
#include <stdlib.h>

#include "bench_phone.h"
#include "device_dir.h"

namespace test {
namespace {

using ::testing::ElementsAre;

class ProximityFlowTest : public ::testing::Test {
 protected:
  void SetUp() override { std::filesystem::create_directories(dir_.host_path(kFolder)); }
  std::string read(const std::string& name) const { return dir_.read(kFolder + name); }
  void write(const std::string& name, const std::string& text) const { dir_.write(kFolder + name, text); }

  // One run at an average raw count; the flow's lines are in lines_.
  int calibrate(int param, float raw, bool hardware) {
    phone_.cal->env_info[0].hw_cali = hardware;
    phone_.queue->script(108, swinging(33171005, 20, {raw}, 1));
    phone_.hub->forget();
    LogCapture log;
    const int result = phone_.cal->onchange_reporting_sensor_calibrate(8, param);
    lines_ = library_lines(log);
    pushes_.clear();
    for (const std::string& line : log.mine()) {
      if (line.find("enter setPrxOffset_api offset=") != std::string::npos) pushes_.push_back(line);
    }
    return result;
  }
  Lines last_lines(int count) const { return {lines_.end() - count, lines_.end()}; }

  static constexpr char kFolder[] = "/mnt/vendor/persist/sensors/";
  const DeviceDir dir_;
  BenchPhone phone_;
  Lines lines_;
  Lines pushes_;  // the command API's own line of each offset pushed
};

TEST_F(ProximityFlowTest, CommonPart) {
  EXPECT_EQ(calibrate(1, 200, false), 0);
  EXPECT_THAT(lines_, ElementsAre("I onchange_reporting_sensor_calibrate: enter type=8, para: 1", "E hwversion=\n",
                                  "D onchange_reporting_sensor_calibrate, using normal calibration "
                                  "procedure for psensor! para=1"));
  EXPECT_THAT(phone_.queue->enabled(), ElementsAre(Enabling{108, 100000, 0}));
  EXPECT_EQ(phone_.hub->sent().size(), 0U);
  for (const int param : {1, 7, 19}) {
    EXPECT_EQ(calibrate(param, 200, true), 0);
    EXPECT_EQ(lines_.back(), "D using hw calibration procedure for psensor!");
    EXPECT_EQ(phone_.hub->sent().size(), 0U) << param;  // no crosstalk measured either
  }

  EXPECT_EQ(phone_.cal->onchange_reporting_sensor_calibrate(5, 0), 0);
  phone_.cal->env_info[0].present = 0;
  EXPECT_EQ(calibrate(0, 200, false), -1);
  EXPECT_EQ(lines_.back(), "E onchange_reporting_sensor_calibrate: sensor not exist. type = 8");
  EXPECT_EQ(phone_.cal->onchange_reporting_sensor_calibrate(5, 0), 0);
}

TEST_F(ProximityFlowTest, OneProductAllowsStrongerReflections) {
  host::force_property("ro.build.product", "dov");
  EXPECT_EQ(calibrate(1, 15000, false), 0);
  EXPECT_EQ(lines_[2], "E product_name is dov\n");
  EXPECT_EQ(phone_.cal->env_info[0].bias_threshold[0], 20000.0F);
  host::force_property("ro.build.product", "dove");
  EXPECT_EQ(calibrate(1, 5000, false), 0);
  EXPECT_EQ(phone_.cal->env_info[0].bias_threshold[0], 10000.0F);
}

TEST_F(ProximityFlowTest, HardwareCrosstalkStepKeepsBothValuesInFiles) {
  phone_.hub->reply(7, {0x34, 0x12});
  EXPECT_EQ(calibrate(0, 150.6F, true), 0);
  EXPECT_THAT(phone_.hub->sent(), ElementsAre(message(8, 7)));
  EXPECT_THAT(pushes_, ElementsAre("D/libsensor_calapi: enter setPrxOffset_api offset=52, para=3, supporthwcal=1",
                                   "D/libsensor_calapi: enter setPrxOffset_api offset=150, para=0, supporthwcal=1"));
  EXPECT_EQ(read("PSensor_ct2.txt"), "offset=52\n");
  EXPECT_EQ(read("PSensor_ct1.txt"), "offset=150\n");
  EXPECT_EQ(lines_[1], "D first do crosstalk calibration before getting Psensor raw data!");
  EXPECT_EQ(lines_[2], "D sensor_hw_crosstalk_calibration get result: 52, 18!");
}

TEST_F(ProximityFlowTest, TwoProductsPackTheCrosstalkIntoOneValue) {
  struct Case {
    const char* product;
    int first, second, value, reads;
    bool packs;
  };
  const Case kCases[] = {{"raz", 0x34, 0x12, 0x1234, 1, true},
                         {"pok", 0x1FF, 1, 0x1FF, 2, true},
                         {"other", 0x34, 0x12, 0x34, 2, false},
                         {"raz", 1, -1, -255, 1, true}};
  for (const Case& c : kCases) {
    host::force_property("ro.build.product", c.product);
    phone_.hub->reply(7, {c.first, c.second});
    LogCapture log;
    EXPECT_EQ(phone_.cal->sensor_hw_crosstalk_calibration(8), 1);
    EXPECT_EQ(phone_.cal->env_info[0].ct_value, c.value);
    EXPECT_EQ(phone_.cal->env_info[0].ct_aux, c.second);
    EXPECT_EQ(static_cast<int>(log.count("hwversion=")), c.reads) << c.product;
    EXPECT_EQ(log.contains("E/libsensor_cal: product_name is "), c.packs) << c.product;
  }
}

TEST_F(ProximityFlowTest, HardwareThresholdStep) {
  struct Case {
    const char* product;
    const char* crosstalk;
    float raw;
    int near, far;  // far -1: refused
  };
  const Case kCases[] = {
      {"", "offset=100\n", 289.5F, 289, 200},                               // 189 / 1.89 + 100
      {"tessak", "offset=100\n", 360, 360, 200},                            // 260 / 2.6 + 100
      {"tessaki", "offset=100\n", 289, 289, 200}, {"", "", 289, 289, 152},  // no value in the file: crosstalk 0
      {"", "offset=100\n", 149.9F, 149, -1},      {"", "offset=100\n", 150, 150, 126},
      {"", "offset=100\n", 1000.5F, 1000, 576},   {"", "offset=100\n", 1001, 1001, -1},
      {"", "offset=400\n", 300, 300, -1},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.raw);
    host::force_property("ro.product.product.name", c.product);
    write("PSensor_ct1.txt", c.crosstalk);
    EXPECT_EQ(calibrate(2, c.raw, true), c.far < 0 ? -1 : 0);
    if (c.far < 0) {
      EXPECT_EQ(lines_.back(), "E offset_near invalid " + std::to_string(c.near));
      EXPECT_EQ(phone_.hub->sent().size(), 0U);
    } else {
      EXPECT_THAT(phone_.hub->sent(), ElementsAre(message(8, 5, {c.near, c.far, -1})));
    }
  }
  host::force_property("ro.product.product.name", "");
  write("PSensor_ct1.txt", "offset=100\n");
  calibrate(2, 289, true);
  EXPECT_THAT(last_lines(2), ElementsAre("E hwversion=\n",
                                         "I calibration factor=1.890000, offset_threshold=1000, "
                                         "offset_ct=100\n"));
}

TEST_F(ProximityFlowTest, NormalCrosstalkStep) {
  EXPECT_EQ(calibrate(0, 150.5F, false), 0);  // no saved delta
  EXPECT_THAT(phone_.hub->sent(), ElementsAre(message(8, 5, {-1, -1, 150})));
  EXPECT_THAT(last_lines(3), ElementsAre("I psensor crosstalk rawdata=150.500000 to regisrty\n",
                                         "I prxinfo.offset[0] = 150.500000\n", "D psensor crosstalk to file done\n"));
  write("PSensor3cm_ct.txt", "offset=227\n");
  EXPECT_EQ(calibrate(0, 150.5F, false), 0);
  EXPECT_THAT(phone_.hub->sent(), ElementsAre(message(8, 5, {377, 250, 150})));
  EXPECT_THAT(last_lines(2), ElementsAre("I getProDelta_api  delta\n", "D psensor crosstalk to file done\n"));
}

TEST_F(ProximityFlowTest, NormalRestoreStep) {
  EXPECT_EQ(calibrate(19, 150.5F, false), 0);
  EXPECT_EQ(phone_.hub->sent().size(), 0U);
  EXPECT_THAT(last_lines(5),
              ElementsAre("D psensor crosstalk rawdata=150.500000 to regisrty\n", "D psensor crosstalk rawdata \n",
                          "D morva ret = -5\n", "D Failed to read the delta data file\n",
                          "D psensor crosstalk to file done\n"));
  write("PSensor3cm_ct.txt", "offset=227\n");
  EXPECT_EQ(calibrate(19, 150.5F, false), 0);
  EXPECT_THAT(phone_.hub->sent(), ElementsAre(message(8, 5, {227, -1, 150})));
  EXPECT_THAT(last_lines(2),
              ElementsAre("D factory getProDelta_api  delta = 227\n", "D psensor crosstalk to file done\n"));
}

TEST_F(ProximityFlowTest, NormalThresholdStep) {
  struct Case {
    const char* product;
    int crosstalk;
    float raw;
    int near, far;
    bool refused;
  };
  const Case kCases[] = {
      {"", 100, 327, 327, 200, false},    {"", 100, 5000, 5000, 2258, false},
      {"", 100, 149.9F, 149, 0, true},    {"", 100, 150, 150, 122, false},
      {"", 300, 200, 200, 0, true},       {"dov", 100, 149.9F, 149, 0, true},
      {"dov", 100, 327, 327, 200, false}, {"dov", -60000, 15000, 15000, -26960, false},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.raw);
    const bool dov = std::string(c.product) == "dov";
    host::force_property("ro.build.product", c.product);
    phone_.hub->reply(6, {0, 0, c.crosstalk});
    EXPECT_EQ(calibrate(2, c.raw, false), c.refused ? -1 : 0);
    EXPECT_EQ(std::count(lines_.begin(), lines_.end(), "E Q47, psensor offset_near and far\n"), dov);
    if (c.refused) {
      EXPECT_EQ(lines_.back(), std::string("E ") + (dov ? "Q47 " : "") + "offset_near invalid near: " +
                                   std::to_string(c.near) + ", ct: " + std::to_string(c.crosstalk));
      EXPECT_EQ(phone_.hub->sent().size(), 1U);
    } else {
      EXPECT_EQ(phone_.hub->sent().back(), message(8, 5, {c.near, c.far, c.crosstalk}));
      EXPECT_EQ(read("PSensor3cm_ct.txt"), "offset=" + std::to_string(c.near - c.crosstalk) + "\n");
    }
  }
  host::force_property("ro.build.product", "");
  phone_.hub->reply(6, {0, 0, 100});
  calibrate(2, 327, false);
  EXPECT_THAT(last_lines(4),
              ElementsAre("E onchange_reporting_sensor_calibrate  calapi->getPrxOffset_api offset_ct = 100\n",
                          "E hwversion=\n", "I calibration factor=2.270000\n",
                          "E onchange_reporting_sensor_calibrate: offset_near 327, offset_far 200, "
                          "pdata_ct 100"));
  phone_.hub->reply(6, {0, 0, INT32_MIN});  // nothing overflows
  EXPECT_EQ(calibrate(2, 327, false), 0);
  dir_.remove(kFolder);
  phone_.hub->reply(6, {0, 0, 100});
  EXPECT_EQ(calibrate(2, 327, false), -1);  // the thresholds are in the hub, the delta cannot be saved
  EXPECT_EQ(lines_.back(), "E saveProDelta_api save delta failed!\n");
}

}  // namespace
}  // namespace test
