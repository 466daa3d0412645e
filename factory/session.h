// An opened phone with the calibration object on it: what every command that needs a phone works with.
#pragma once

#include <SensorCalibration.h>

#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "fixture.h"
#include "log_tap.h"
#include "options.h"

namespace factory {

class Session {
 public:
  // Opens the phone, listens to its log and hub, sets the world. Throws AppError.
  explicit Session(const Options& options);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // The calibration object; ready or not.
  SensorCalibration& cal() { return *cal_; }
  // Throws AppError(kUnreachable) where the object is not ready, saying what is missing.
  void require_ready() const;

  Fixture& fixture() { return *fixture_; }
  LogTap& log() { return log_; }
  const Options& options() const { return options_; }

  // The listed sensor of a type, null when there is none.
  const ::android::hardware::sensors::V1_0::SensorInfo* sensor(int type) const;

  // Set once Ctrl-C came: the run under way was woken, and the command is to come to its end.
  const std::atomic<bool>& interrupted() const { return interrupted_; }

 private:
  void watch_interrupts();
  void end_at_once();
  void keep(const HubMessage& message);

  const Options options_;
  LogTap log_;
  std::unique_ptr<Fixture> fixture_;
  std::mutex hub_mutex_;
  std::FILE* hub_log_ = nullptr;  // guarded by hub_mutex_
  std::unique_ptr<SensorCalibration> cal_;
  std::atomic<bool> interrupted_{false};
  std::atomic<bool> closing_{false};
  std::thread watcher_;
};

}  // namespace factory
