// `sensorcal call`: every exported operation by its name, with its arguments as they stand.
#include <iostream>
#include <memory>

#include "cli/terminal.h"
#include "commands/commands.h"
#include "commands/operation.h"
#include "files/json_text.h"
#include "phone/session.h"

namespace factory {
namespace {

using namespace operation;  // NOLINT(google-build-using-namespace): the table below is nothing but these names

constexpr char kThen[] = "+";  // between two calls of one command

// Chooses one of several operations of one name.
template <class C, class R, class... A>
using Method = R (C::*)(A...);

const std::vector<Operation>& operations() {
  static const std::vector<Operation> kOperations = {
      op("initCheck", &Cal::initCheck),
      op("cal_wait_finish", &Cal::cal_wait_finish, "RECORD"),
      op("sensor_calibrate", Method<Cal, int, int, int>(&Cal::sensor_calibrate), "TYPE PARAM"),
      op("sensor_calibrate_channel", Method<Cal, int, int, int, float>(&Cal::sensor_calibrate), "TYPE CHANNEL TARGET"),
      op("sensor_setconfig", &Cal::sensor_setconfig, "TYPE PARAM VALUE"),
      op("sensor_set_sar_reg", &Cal::sensor_set_sar_reg, "TYPE REGISTER,VALUE"),
      op("sensor_set_sarsec_reg", &Cal::sensor_set_sarsec_reg, "TYPE REGISTER,VALUE"),
      op("get_all_sensors_info", &Cal::get_all_sensors_info),
      op("sensor_lookup_list_check", &Cal::sensor_lookup_list_check, "NAME TYPE"),
      op("tof_sensor_lookup_list_check", &Cal::tof_sensor_lookup_list_check, "NAME TYPE"),
      op("test_is_rgb_sensor", &Cal::test_is_rgb_sensor),
      op("test_is_ps_tof_sensor", &Cal::test_is_ps_tof_sensor),
      op("test_is_tof_sensor", &Cal::test_is_tof_sensor),
      op("test_is_pshwcali_sensor", &Cal::test_is_pshwcali_sensor),
      op("continue_reporting_sensor_calibrate", &Cal::continue_reporting_sensor_calibrate, "TYPE PARAM"),
      op("onchange_reporting_sensor_calibrate", &Cal::onchange_reporting_sensor_calibrate, "TYPE PARAM"),
      op("sensor_hw_crosstalk_calibration", &Cal::sensor_hw_crosstalk_calibration, "TYPE"),
      op("SetBrightness", &Cal::SetBrightness, "BRIGHTNESS"),
      op("lcdbacklight_calibrate_write_backlight", &Cal::lcdbacklight_calibrate_write_backlight, "PATH VALUE"),
      op("lcdbacklight_calibrate_read_backlight", &Cal::lcdbacklight_calibrate_read_backlight, "PATH VALUE"),
      op("lcdbacklight_lux_calibrate", &Cal::lcdbacklight_lux_calibrate, "TYPE LEVEL"),
      op("lcdbacklight_high_calibrate", &Cal::lcdbacklight_high_calibrate, "TYPE"),
      op("lcdbacklight_low_calibrate", &Cal::lcdbacklight_low_calibrate, "TYPE"),
      op("lcdbacklightcct_high_calibrate", &Cal::lcdbacklightcct_high_calibrate, "TYPE"),
      op("lcdbacklightcct_low_calibrate", &Cal::lcdbacklightcct_low_calibrate, "TYPE"),
      op("underoled_lux_calibrate", &Cal::underoled_lux_calibrate, "TYPE STEP"),
      op("get_judge_calibrated", &Cal::get_judge_calibrated),
      op("ParseStr", &Cal::ParseStr, "TYPE MODE INDEX"),
      op("GetSensorJsonData", &Cal::GetSensorJsonData, "KEY,KEY.. TYPE MODE"),
      op("GetCalibrated", &Cal::GetCalibrated),
      op("sensor_getconfig", Method<Cal, double, int, int>(&Cal::sensor_getconfig), "TYPE AXIS"),
      op("sensor_getconfig_array", Method<Cal, int, int, float*, int>(&Cal::sensor_getconfig), "TYPE VALUES LENGTH"),
      op("collectData", &Cal::collectData),
      op("WirteScaleToFileJson", &Cal::WirteScaleToFileJson, "SCALES PATH"),

      op("api_initCheck", &Api::initCheck),
      op("getAMGOffset_api", &Api::getAMGOffset_api, "TYPE OFFSETS"),
      op("setAMGOffset_api", &Api::setAMGOffset_api, "TYPE OFFSETS"),
      op("reset_gyro_cal_api", &Api::reset_gyro_cal_api, "TYPE"),
      op("getAMGversion_api", &Api::getAMGversion_api, "TYPE VERSION JUDGE LCD"),
      op("getLuxDark_api", &Api::getLuxDark_api, "DARK INDEX"),
      op("getLuxScale_api", &Api::getLuxScale_api, "SCALE RGB TYPE"),
      op("setLuxScale_api", &Api::setLuxScale_api, "SCALE RGB TYPE"),
      op("setAlsHighLuxCali_api", &Api::setAlsHighLuxCali_api, "TYPE STEP"),
      op("setAlsChannelDataCali_api", &Api::setAlsChannelDataCali_api, "TYPE CHANNEL TARGET"),
      op("postScreenChannelData_api", &Api::postScreenChannelData_api, "TYPE CHANNEL TARGET"),
      op("setAlsBacklightLuxCali_api", &Api::setAlsBacklightLuxCali_api, "TYPE LEVEL BRIGHTNESS LUX"),
      op("setCctChannelBacklight_api", &Api::setCctChannelBacklight_api, "TYPE LEVEL BRIGHTNESS CHANNELS"),
      op("getLuxChannelRawGolden_api", &Api::getLuxChannelRawGolden_api, "TYPE CHANNELS LENGTH"),
      op("setLuxChannelRawGolden_api", &Api::setLuxChannelRawGolden_api, "TYPE CHANNELS LENGTH"),
      op("getLuxChannelScale_api", &Api::getLuxChannelScale_api, "TYPE SCALES LENGTH"),
      op("setLuxChannelScale_api", &Api::setLuxChannelScale_api, "TYPE SCALES LENGTH"),
      op("setCCTCaliCmd_api", &Api::setCCTCaliCmd_api, "TYPE COMMAND"),
      op("getCCTCaliRet_api", &Api::getCCTCaliRet_api, "TYPE COMMAND"),
      op("getBarOffset_api", &Api::getBarOffset_api, "OFFSET"),
      op("setBarOffset_api", &Api::setBarOffset_api, "OFFSET"),
      op("getPrxOffset_api", &Api::getPrxOffset_api, "OFFSET VALUE HARDWARE"),
      op("setPrxOffset_api", &Api::setPrxOffset_api, "OFFSET VALUE HARDWARE"),
      op("setPrxThreshold_api", &Api::setPrxThreshold_api, "NEAR FAR CROSSTALK"),
      op("setPrxFroceCal_api", &Api::setPrxFroceCal_api, "TYPE CROSSTALK SECOND"),
      op("getProDelta_api", &Api::getProDelta_api, "DELTA VALUE HARDWARE"),
      op("saveProDelta_api", &Api::saveProDelta_api, "DELTA VALUE HARDWARE"),
      op("getSAROffset_api", Method<Api, int, int, float*>(&Api::getSAROffset_api), "TYPE OFFSETS"),
      op("getSAROffset_api_array", Method<Api, int, int, float*, int>(&Api::getSAROffset_api), "TYPE OFFSETS LENGTH"),
      op("setSarCal_api", &Api::setSarCal_api, "TYPE"),
      op("setSarSoftCal_api", &Api::setSarSoftCal_api, "TYPE"),
      op("setSARreg", &Api::setSARreg, "TYPE REGISTER,VALUE"),
      op("setSARSECreg", &Api::setSARSECreg, "TYPE REGISTER,VALUE"),
      op("setTofPrxCal_api", &Api::setTofPrxCal_api, "TYPE STEP"),
      op("getTofOffset_api", &Api::getTofOffset_api, "OFFSET AXIS"),
      op("setSelftest_api", &Api::setSelftest_api, "TYPE"),
      op("load_prox_ct1", &Api::load_prox_ct1, "VALUE"),
      op("load_prox_ct2", &Api::load_prox_ct2, "VALUE"),
      op("load_prox_delta", &Api::load_prox_delta, "VALUE"),
      op("save_prox_ct1", &Api::save_prox_ct1, "VALUE"),
      op("save_prox_ct2", &Api::save_prox_ct2, "VALUE"),
      op("save_prox_delta", &Api::save_prox_delta, "VALUE"),
      op("remove_prox_delta", &Api::remove_prox_delta),

      op("getScale", &persistCalibrate::getScale),
      op("setScale", &persistCalibrate::setScale, "VALUE"),
      op("getChannelCail", &persistCalibrate::getChannelCail),
      op("getChannelCail_ori", &persistCalibrate::getChannelCail_ori),

      op("getSensorType", getSensorType, "TAG"),
      op("getSensorName", getSensorName, "TYPE"),
      op("writeStr", writeStr, "PATH VALUE"),
      op("stringToDouble", stringToDouble, "TEXT"),
  };
  return kOperations;
}

std::string joined(const std::vector<std::string>& parts) {
  std::string out;
  for (const std::string& part : parts) out += (out.empty() ? "" : " ") + part;
  return out;
}

int list(const Options& options) {
  Json::Value out(Json::arrayValue);
  std::vector<std::vector<std::string>> rows = {{"operation", "takes", "class"}};
  for (const Operation& operation : operations()) {
    Json::Value& entry = out.append(Json::Value());
    entry["name"] = operation.name;
    entry["class"] = operation.owner;
    entry["signature"] = operation.signature;
    entry["takes"] = to_json(operation.takes);
    rows.push_back({operation.name, joined(operation.takes), operation.owner});
  }
  std::cout << (options.json ? json_pretty(out) + "\n" : table(rows));
  return kPassed;
}

struct Call {
  std::string name;
  Bound run;
};

Call bind_call(const std::vector<std::string>& words) {
  if (words.empty()) throw AppError(kUsage, "an operation is missing beside +");
  for (const Operation& operation : operations()) {
    if (operation.name != words[0]) continue;
    if (words.size() - 1 != operation.takes.size()) {
      throw AppError(kUsage, words[0] + " takes " + (operation.takes.empty() ? "nothing" : joined(operation.takes)) +
                                 ": " + std::to_string(words.size() - 1) + " given");
    }
    std::vector<Argument> arguments;
    for (size_t i = 1; i < words.size(); ++i) arguments.push_back({operation.takes[i - 1], words[i]});
    return {operation.name, operation.bind(arguments)};
  }
  throw AppError(kUsage, "unknown operation " + words[0] + "; `sensorcal call` lists them");
}

void print_text(const Json::Value& call) {
  std::cout << call["name"].asString() << "  " << (call["result"].isNull() ? "done" : json_line(call["result"]))
            << "\n";
  const Json::Value& lists = call["lists"];
  for (const std::string& name : lists.getMemberNames())
    std::cout << "  " << name << "  " << json_line(lists[name]) << "\n";
}

int run(const Options& options, const std::vector<std::string>& words) {
  if (words.empty()) return list(options);
  std::vector<Call> calls;
  std::vector<std::string> part;
  for (const std::string& word : words) {
    if (word != kThen) {
      part.push_back(word);
      continue;
    }
    calls.push_back(bind_call(part));
    part.clear();
  }
  calls.push_back(bind_call(part));

  Session session(options);
  Context context{session, {}};
  Json::Value out(Json::arrayValue);
  for (const Call& call : calls) {
    if (session.interrupted()) break;
    Json::Value outcome = call.run(context);
    outcome["name"] = call.name;
    if (!options.json) print_text(outcome);
    out.append(outcome);
  }
  if (options.json) std::cout << json_pretty(out) << "\n";
  return session.interrupted() ? kInterrupted : kPassed;
}

}  // namespace

Runner set_up_call(ArgumentParser parser) {
  auto words = std::make_shared<std::vector<std::string>>();
  parser.add_option(
      "OPERATION", *words,
      "name and arguments; TYPE is a tag or a number, lists have commas and come back as the operation left "
      "them; + begins another call on the same object; without an operation all are listed");
  return [words](const Options& options) { return run(options, *words); };
}

}  // namespace factory
