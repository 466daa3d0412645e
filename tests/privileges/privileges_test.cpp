// What the library may touch: its documented files and no others, whatever its inputs say.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "traced_run.h"

namespace {

namespace fs = std::filesystem;

// Every operation of the library that writes a file, and those that read one.
const std::vector<std::string> kWriters = {"call",
                                           "save_prox_ct1",
                                           "12",
                                           "+",
                                           "save_prox_ct2",
                                           "-3",
                                           "+",
                                           "save_prox_delta",
                                           "4",
                                           "+",
                                           "setScale",
                                           "0.5",
                                           "+",
                                           "WirteScaleToFileJson",
                                           "0.9",
                                           "/mnt/vendor/nvcfg/sensor/lightSensorCali.json",
                                           "+",
                                           "SetBrightness",
                                           "100"};
const std::vector<std::string> kReaders = {
    "call", "load_prox_ct1",  "+", "load_prox_ct2",      "+", "load_prox_delta",      "+", "getScale",
    "+",    "getChannelCail", "+", "getChannelCail_ori", "+", "get_judge_calibrated", "+", "GetCalibrated"};
constexpr const char* kMayChange[] = {
    "/mnt/vendor/persist/sensors/PSensor_ct1.txt",   "/mnt/vendor/persist/sensors/PSensor_ct2.txt",
    "/mnt/vendor/persist/sensors/PSensor3cm_ct.txt", "/mnt/vendor/persist/sensors/scale.txt",
    "/mnt/vendor/nvcfg/sensor/lightSensorCali.json", "/sys/class/leds/lcd-backlight/brightness"};

class Privileges : public testing::Test {
 protected:
  Privileges() {
    char name[] = "/tmp/privileges-XXXXXX";
    folder_ = mkdtemp(name);
    run({"report", "--seed", "7"});
  }
  ~Privileges() override { fs::remove_all(folder_); }

  FileHistory run(std::vector<std::string> words) {
    words.insert(words.begin(),
                 {words[0] == "call" ? LIBRARY_CALLS : SENSORCAL, "--phone", folder_ + "/phone", "--speed", "max"});
    return TracedRun{.command = words, .folder = "/", .exit_code = nullptr}.run();
  }
  std::string device(const std::string& path) const { return folder_ + "/phone" + path; }
  void write(const std::string& path, const std::string& content) const { std::ofstream(device(path)) << content; }

  // What was changed outside the phone, and inside its device folders outside the documented files.
  std::set<std::string> undocumented(const FileHistory& history) const {
    std::set<std::string> out;
    for (const std::string& path : history.changed) {
      if (path.compare(0, 5, "/dev/") == 0 || path.compare(0, 6, "/proc/") == 0) continue;
      if (path.compare(0, folder_.size() + 7, folder_ + "/phone/") != 0) {
        out.insert(path);
        continue;
      }
      const std::string inside = path.substr(folder_.size() + 6);
      const bool on_device = inside.compare(0, 5, "/mnt/") == 0 || inside.compare(0, 5, "/sys/") == 0 ||
                             inside.compare(0, 8, "/vendor/") == 0;
      const bool documented = std::find(std::begin(kMayChange), std::end(kMayChange), inside) != std::end(kMayChange);
      if (on_device && !documented) out.insert(path);
    }
    return out;
  }

  std::string folder_;
};

TEST_F(Privileges, NoFileOfTheLibraryIsLeftToAChild) {
  for (const auto& words : {kWriters, kReaders}) {
    std::set<std::string> inherited;
    const FileHistory history = run(words);
    for (const std::string& path : history.inherited) {
      for (const char* folder : {"/mnt/", "/sys/", "/vendor/"}) {
        if (path.compare(0, device(folder).size(), device(folder)) == 0) inherited.insert(path);
      }
    }
    EXPECT_EQ(inherited, std::set<std::string>());
    EXPECT_EQ(undocumented(history), std::set<std::string>());
  }
}

TEST_F(Privileges, NewFilesObeyTheUmaskAndAreNeverExecutable) {
  const mode_t before = umask(027);
  run(kWriters);
  umask(before);
  for (const char* path : {kMayChange[0], kMayChange[1], kMayChange[2], kMayChange[3]}) {
    struct stat status {};
    ASSERT_EQ(stat(device(path).c_str(), &status), 0) << path;
    EXPECT_EQ(status.st_mode & 07777, 0640U) << path;
  }
}

TEST_F(Privileges, HostileContentsNameNoOtherFile) {
  const std::string up = "../../../../../../../../" + folder_.substr(1) + "/outside";
  const std::string keys = R"({"als": {"channel_scale": {"ver": ")" + up + R"("}, ")" + up + R"(": ")" + up +
                           R"("}, "../x": {}, "/etc/x": 1})";
  write("/mnt/vendor/nvcfg/sensor/lightSensorCali.json", keys);
  write("/mnt/vendor/persist/sensors/PSensor_ct1.txt", "offset=" + up + "\n");
  write("/mnt/vendor/persist/sensors/cail.txt", up + "\t" + up + "\n");
  write("/vendor/etc/sensors/judge_calibrated.json",
        "Acc " + up + "." + up + " " + up + " 0 sim_imu\nLux " + up + " /" + up + " 0 sim_als\n");
  std::ofstream(device("/build.prop"), std::ios::app)
      << "ro.build.product=" << up << "\nro.product.product.name=/" << up
      << "\npersist.vendor.sensor.cali_sensor=" << up << "\npersist.vendor.goodix.cct_support=" << up
      << "\npersist.vendor.display.under.cct=" << up << "\n";
  for (const auto& words : {kWriters, kReaders, std::vector<std::string>{"report"}, std::vector<std::string>{"judge"},
                            std::vector<std::string>{"calibrate", "Acc", "Lux", "--world", "lux=200"}}) {
    EXPECT_EQ(undocumented(run(words)), std::set<std::string>()) << words[0];
  }
  EXPECT_FALSE(fs::exists(folder_ + "/outside"));
}

}  // namespace
