// One run of each kind in real time, on a phone whose sensors start without delay, against the time that the samples
// themselves take. Prints one JSON object; an argument names the one kind to run.
#include <SensorCalibration.h>
#include <SensorType.h>
#include <android/log.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>

#include "phone/core/phone.h"

namespace {

using namespace sensor_type;  // NOLINT(google-build-using-namespace): the table below is nothing but these names

struct Kind {
  const char* name;
  int type;
  int param;
  int period_ms;
  int events;  // settling and samples
};

constexpr Kind kKinds[] = {
    {"Acc", accelerometer, 0, 20, 53},
    {"Acc2", accelerometer_second, 0, 20, 53},
    {"Gyr", gyroscope, 0, 20, 53},
    {"Gyr2", gyroscope_second, 0, 20, 53},
    {"Bar", pressure, 0, 50, 13},
    {"Lux", light, 0, 100, 10},
    {"Lux_F", lux_f, 0, 100, 10},
    {"Lux_B", lux_b, 0, 100, 10},
    {"Lux_B_strm", lux_b_stream, 0, 100, 10},
    {"Lux_sec", lux_sec, 0, 100, 10},
    {"Lux_sec_strm", lux_sec_stream, 0, 100, 10},
    {"Lux_pri2", lux_pri2, 0, 100, 10},
    {"Lux_pri2_strm", lux_pri2_stream, 0, 100, 10},
    {"CCT_F_strm", cct_f_stream, 0, 100, 10},
    {"CCT_B_strm", cct_b_stream, 0, 100, 10},
    {"Lux_strm", light_stream, 0, 100, 10},
    {"Prx", proximity, 2, 100, 20},
};

// The reference phone without start-up times.
std::string profile_without_delay(const std::string& folder) {
  Json::Value profile;
  std::ifstream(PROFILES_DIR "/reference.json") >> profile;
  for (const std::string& name : profile["chips"].getMemberNames()) profile["chips"][name]["startup_ms"] = 0;
  const std::string path = folder + "/prompt.json";
  std::ofstream(path) << profile;
  return path;
}

long switches() {
  rusage used{};
  getrusage(RUSAGE_SELF, &used);
  return used.ru_nvcsw + used.ru_nivcsw;
}

void prepare(phone::Phone& phone, SensorCalibration& cal) {
  phone::World world = phone.world();
  phone::set_world(&world, "target", "3");
  phone.set_world(world);
  for (const int type : {cct_f_stream, cct_b_stream, light_stream}) {
    float golden[7];
    const std::vector<float> truth = phone.truth(type);
    std::copy(truth.end() - 7, truth.end(), golden);
    cal.cal_api->setLuxChannelRawGolden_api(type, golden, 7);
  }
}

double calibrate(SensorCalibration& cal, const Kind& kind) {
  const auto start = std::chrono::steady_clock::now();
  const int result = kind.type == pressure ? static_cast<int>(cal.sensor_setconfig(pressure, 0, 1013.25F))
                                           : cal.sensor_calibrate(kind.type, kind.param);
  const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
  if (result != 0) {
    fprintf(stderr, "bench: %s: calibration failed: %d\n", kind.name, result);
    exit(1);
  }
  return spent.count();
}

}  // namespace

int main(int argc, char** argv) {
  __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
  std::string folder = (std::filesystem::temp_directory_path() / "sensor-cal-bench-XXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) return 1;
  const auto phone = phone::Phone::open({.directory = folder + "/phone",
                                         .profile = profile_without_delay(folder),
                                         .seed = 7,
                                         .replays = {},
                                         .faults = {}});
  auto cal = std::make_unique<SensorCalibration>();
  prepare(*phone, *cal);
  const long before = switches();
  int events = 0;
  printf("{\"kinds\": [");
  for (const Kind& kind : kKinds) {
    if (argc == 2 && strcmp(argv[1], kind.name) != 0) continue;
    const double wall_s = calibrate(*cal, kind);
    printf("%s{\"kind\": \"%s\", \"ours\": %.6f, \"theirs\": %.6f}", events == 0 ? "" : ", ", kind.name, wall_s,
           kind.period_ms * kind.events * 1e-3);
    events += kind.events;
  }
  printf("], \"switches_per_event\": %.2f}\n", static_cast<double>(switches() - before) / events);
  cal->sensor_cal_deinit();
  cal.reset();
  std::filesystem::remove_all(folder);
  return 0;
}
