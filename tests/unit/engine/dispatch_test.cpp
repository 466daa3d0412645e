#include "bench_phone.h"

namespace test {
namespace {

using ::testing::ElementsAre;

TEST(DispatchTest, RowsThatSendOneCommand) {
  struct Case {
    int type, param, code;
    std::vector<int32_t> request, reply;
    int result;
    const char* line;
  };
  const Case kCases[] = {
      {8, 4, 8, {}, {7}, 7, "SENSOR_SELFTEST type=8 ret = 7"},
      {33171015, 4, 8, {}, {0}, 0, "SENSOR_SELFTEST type=33171015 ret = 0"},
      {1, 12, 15, {12}, {0, 5}, 5, "setAlsHighLuxCali_api type=1 ret = 5"},
      {5, 15, 15, {15}, {9, 0}, 0, "setAlsHighLuxCali_api type=5 ret = 0"},
      {5, 18, 15, {18}, {0, -2}, -2, "setAlsHighLuxCali_api type=5 ret = -2"},
      {33171016, -1, 11, {bits(-1.0F)}, {3}, 3, "setSarCal_api type=33171016 ret = 3"},
      {33171016, 7, 11, {}, {4}, 4, "setSarCal_api type=33171016 ret = 4"},
      {33171040, 5, 12, {}, {0}, 0, "tof calibration para=5, ret = 0"},
      {33171040, 6, 13, {}, {-1}, -1, "tof calibration para=6, ret = -1"},
  };
  for (const Case& c : kCases) {
    BenchPhone phone;
    phone.hub->reply(c.code, c.reply);
    LogCapture log;
    EXPECT_EQ(phone.cal->sensor_calibrate(c.type, c.param), c.result) << c.line;
    EXPECT_THAT(phone.hub->sent(), ElementsAre(message(c.type, c.code, c.request))) << c.line;
    const Lines lines = library_lines(log);
    EXPECT_EQ(lines.front(),
              "I [sensor_calibrate] type = " + std::to_string(c.type) + ", param = " + std::to_string(c.param));
    EXPECT_EQ(lines.back(), std::string("I sensor_calibrate: ") + c.line);
  }
}

TEST(DispatchTest, TimeOfFlightStepsAskTheChip) {
  BenchPhone phone;
  LogCapture log;
  EXPECT_EQ(phone.cal->sensor_calibrate(8, 7), -1);  // "prox" is no time-of-flight part
  EXPECT_EQ(library_lines(log).back(), "I sensor_calibrate: tof sensor not support for this phone para = 7 ret = -1");
  EXPECT_EQ(phone.hub->sent().size(), 0U);

  phone.sensors->list = {sensor(8, 1, "vl53l0_tof"), sensor(33171040, 2, "other")};
  for (const auto& [param, code] : {std::pair(5, 12), {6, 13}, {7, 14}}) {
    phone.hub->reply(code, {param - 1});
    phone.hub->forget();
    EXPECT_EQ(phone.cal->sensor_calibrate(8, param), param - 1);
    EXPECT_THAT(phone.hub->sent(), ElementsAre(message(8, code)));
    EXPECT_EQ(library_lines(log).back(), "I sensor_calibrate: tof proxmity calibration para=" + std::to_string(param) +
                                             ", ret = " + std::to_string(param - 1));
  }
  EXPECT_EQ(phone.cal->sensor_calibrate(33171040, 5), -1);
  EXPECT_EQ(library_lines(log).back(), "I sensor_calibrate: tof sensor not support for this phone para = 5 ret = -1");

  // A probe that fails counts as a match.
  phone.sensors->list.clear();
  EXPECT_EQ(phone.cal->sensor_calibrate(8, 7), 6);

  log.clear();
  EXPECT_EQ(phone.cal->sensor_calibrate(33171040, 7), -1);
  EXPECT_THAT(library_lines(log), ElementsAre("I [sensor_calibrate] type = 33171040, param = 7"));
}

TEST(DispatchTest, FlowsAreReachedWithTheirOwnResults) {
  BenchPhone phone(std::vector<SensorInfo>{});
  LogCapture log;
  EXPECT_EQ(phone.cal->sensor_calibrate(1, 0), -1);
  EXPECT_EQ(library_lines(log).back(), "E continue_reporting_sensor_calibrate fail ret=-1");
  log.clear();
  EXPECT_EQ(phone.cal->sensor_calibrate(2, 0), 0);  // no flow of its own
  EXPECT_THAT(library_lines(log), ElementsAre("I [sensor_calibrate] type = 2, param = 0",
                                              "I continue_reporting_sensor_calibrate: enter type=2, param = 0"));
  EXPECT_EQ(phone.cal->sensor_calibrate(8, 0), -1);
  EXPECT_EQ(library_lines(log).back(), "E onchange_reporting_sensor_calibrate fail ret=-1");
  EXPECT_EQ(phone.cal->env_info[0].hw_cali, 1);  // no default sensor: the failed probe is non-zero
  for (const int param : {13, 14}) {
    log.clear();
    EXPECT_EQ(phone.cal->sensor_calibrate(33171007, param), -1);
    EXPECT_EQ(library_lines(log).back(), "I sensor_calibrate: lcdbacklight_lux_calibrate type=33171007 ret = -1");
  }
  EXPECT_EQ(phone.cal->sensor_calibrate(8, 10), -1);
  EXPECT_EQ(library_lines(log).back(), "I sensor_calibrate: qvx AMBIENT_UNDER_OLED_WHITE type=8 ret = -1");
}

TEST(DispatchTest, TheChipsNameChoosesTheProximityProcedureAnewEachTime) {
  BenchPhone phone;
  phone.queue->script(108, swinging(33171005, 20, {200}, 1));
  const SensorInfo stream = sensor(33171005, 108, "prox stream");
  for (const auto& [name, hardware] : {std::pair("tmd2725", 1), {"prox", 0}, {"tmd2725 rev b", 1}}) {
    phone.sensors->list = {stream, sensor(8, 120, name)};
    LogCapture log;
    EXPECT_EQ(phone.cal->sensor_calibrate(8, 1), 0);
    EXPECT_EQ(phone.cal->env_info[0].hw_cali, hardware) << name;
    EXPECT_EQ(library_lines(log).back(), hardware != 0 ? "D using hw calibration procedure for psensor!"
                                                       : "D onchange_reporting_sensor_calibrate, using normal "
                                                         "calibration procedure for psensor! para=1");
  }
}

TEST(DispatchTest, LightChannelsTakeTwoTypes) {
  BenchPhone phone;
  phone.hub->reply(23, {0, 0, bits(2.9F)});
  LogCapture log;
  EXPECT_EQ(phone.cal->sensor_calibrate(2, 0, 1.0F), -1);
  EXPECT_THAT(library_lines(log), ElementsAre("E enter sensor_calibrate, type=2, channel=0, target=1.000000"));
  for (const int type : {5, 33171055}) EXPECT_EQ(phone.cal->sensor_calibrate(type, 3, 1.5F), 2);
  EXPECT_THAT(phone.hub->sent(),
              ElementsAre(message(5, 23, {bits(3.0F), bits(1.5F)}), message(33171055, 23, {bits(3.0F), bits(1.5F)})));
  EXPECT_EQ(library_lines(log).back(), "E sensor_calibrate: setAlsChannelDataCali_api type=33171055 ret = 2");
}

TEST(DispatchTest, ReferencePressure) {
  {
    BenchPhone phone(std::vector<SensorInfo>{});
    LogCapture log;
    EXPECT_EQ(phone.cal->sensor_setconfig(6, 0, 1000.0F), -1.0);
    EXPECT_EQ(phone.cal->env_info[9].reference, 0);
    EXPECT_EQ(library_lines(log), Lines{});
  }
  BenchPhone phone;
  EXPECT_EQ(phone.cal->sensor_setconfig(5, 0, 1000.0F), -1.0);
  phone.queue->script(117, swinging(6, 13, {1012.0F}, 0.5F));
  phone.hub->reply(22, {bits(1.0F)});
  LogCapture log;
  EXPECT_EQ(phone.cal->sensor_setconfig(6, 0, 1000.0F), 0.0);
  EXPECT_THAT(phone.hub->sent(), ElementsAre(message(6, 22), message(6, 21, {bits(13.0F)})));
  EXPECT_THAT(library_lines(log), ElementsAre("I continue_reporting_sensor_calibrate: enter type=6, param = 0",
                                              "I continue_reporting_sensor_calibrate: enter line=2261",
                                              "I calibrate sensor(type=6) successfully, offset=13.000000"));
  phone.queue->enable_result = Result::NO_INIT;
  EXPECT_EQ(phone.cal->sensor_setconfig(6, 0, 1001.0F), -1.0);
  EXPECT_EQ(library_lines(log).back(), "E continue_reporting_sensor_calibrate fail ret=-1");
}

TEST(DispatchTest, SarRegisters) {
  BenchPhone phone;
  phone.hub->reply(43, {9, 1});
  phone.hub->reply(44, {9, 2});
  int adr[2] = {0x10, -3};
  LogCapture log;
  EXPECT_EQ(phone.cal->sensor_set_sar_reg(33171015, adr), 1);
  EXPECT_EQ(phone.cal->sensor_set_sarsec_reg(33171016, adr), 2);
  EXPECT_THAT(phone.hub->sent(), ElementsAre(message(33171015, 43, {16, -3}), message(33171016, 44, {16, -3})));
  EXPECT_THAT(library_lines(log),
              ElementsAre("E sensor_set_sar_reg adr[0]=16, adr[1]=-3", "E sensor_set_sarsec_reg adr[0]=16, adr[1]=-3"));
}

}  // namespace
}  // namespace test
