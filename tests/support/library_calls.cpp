// Calls those operations of the library that write or read files, on the phone in a folder: a result a line.
//   library_calls --phone FOLDER --speed max call NAME [VALUE...] [+ NAME [VALUE...]]...
#include <SensorCalibration.h>
#include <persistCalibrate.h>

#include <cstdlib>
#include <iostream>

#include "phone/session.h"

namespace {

// `values` begin with the operation's name.
double call(SensorCalibration& cal, persistCalibrate& files, const std::vector<std::string>& values) {
  const std::string& name = values.at(0);
  SensorCalibrationAPI& api = *cal.cal_api;
  const auto number = [&] { return std::atoi(values.at(1).c_str()); };
  int loaded = 0;
  if (name == "save_prox_ct1") return api.save_prox_ct1(number());
  if (name == "save_prox_ct2") return api.save_prox_ct2(number());
  if (name == "save_prox_delta") return api.save_prox_delta(number());
  if (name == "load_prox_ct1") return api.load_prox_ct1(&loaded);
  if (name == "load_prox_ct2") return api.load_prox_ct2(&loaded);
  if (name == "load_prox_delta") return api.load_prox_delta(&loaded);
  if (name == "setScale") return files.setScale(std::atof(values.at(1).c_str())), 0;
  if (name == "getScale") return files.getScale();
  if (name == "getChannelCail") return static_cast<double>(files.getChannelCail().size());
  if (name == "getChannelCail_ori") return static_cast<double>(files.getChannelCail_ori().size());
  if (name == "SetBrightness") return cal.SetBrightness(number());
  if (name == "get_judge_calibrated") return cal.get_judge_calibrated(), 0;
  if (name == "GetCalibrated") return static_cast<double>(cal.GetCalibrated().size());
  if (name == "WirteScaleToFileJson") {
    float scales[4] = {1, 1, 1, static_cast<float>(std::atof(values.at(1).c_str()))};
    return cal.WirteScaleToFileJson(scales, values.at(2));
  }
  throw std::runtime_error("no operation " + name);
}

}  // namespace

int main(int argc, char** argv) try {
  factory::Options options;
  options.phone = argv[2];
  options.speed = argv[4];
  factory::Session session(options);
  persistCalibrate files;
  std::vector<std::string> values;
  for (int i = 6; i <= argc; ++i) {
    if (i < argc && std::string(argv[i]) != "+") {
      values.emplace_back(argv[i]);
    } else {
      std::cout << call(session.cal(), files, values) << "\n";
      values.clear();
    }
  }
  return 0;
} catch (const std::exception& error) {
  std::cerr << "library_calls: " << error.what() << "\n";
  return 3;
}
