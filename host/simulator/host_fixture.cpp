// The fixture of a simulated phone.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <mutex>

#include "files/words.h"
#include "phone/core/phone.h"
#include "phone/faults/faults.h"
#include "phone/fixture.h"
#include "simulator/drawn_phone.h"
#include "simulator/recording.h"
#include "simulator/simulated_phone.h"

namespace factory {
namespace {

double parse_speed(const std::string& text) {
  if (text == "max") return std::numeric_limits<double>::infinity();
  char* end = nullptr;
  const double speed = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0' || !(speed > 0) || std::isinf(speed)) {
    throw AppError(kUsage, "--speed " + text + ": give a number above 0, or max");
  }
  return speed;
}

std::string phone_directory(const Options& options) {
  if (!options.phone.empty()) return options.phone;
  const char* from_environment = std::getenv("SENSORCAL_PHONE");
  if (from_environment == nullptr) return "phone";
  if (*from_environment == '\0')
    throw AppError(kUsage, "SENSORCAL_PHONE is set, and empty: give it a value, unset it, or give --phone");
  return from_environment;
}

class HostFixture : public Fixture {
 public:
  HostFixture(std::unique_ptr<phone::Phone> phone, std::optional<uint64_t> station)
      : phone_(std::move(phone)), station_(station), meant_(phone_->world()) {
    if (station_) phone_->set_world(as_built(meant_, *station_));
  }

  phone::Phone& phone() { return *phone_; }
  std::string device_root() const override { return phone_->directory(); }
  std::vector<std::pair<std::string, std::string>> facts() const override {
    return {
        {"phone", phone_->directory()}, {"profile", phone_->profile_name()}, {"seed", std::to_string(phone_->seed())}};
  }
  std::vector<std::string> remarks() const override { return phone_->remarks(); }
  std::map<std::string, std::string> world() const override { return phone::describe(meant_world()); }
  std::string set_world(const std::string& key, const std::string& value) override {
    phone::World world = meant_world();
    const std::string problem = phone::set_world(&world, key, value);
    if (problem.empty()) mean(world);
    return problem;
  }
  void on_hub_message(std::function<void(const HubMessage&)> listener) override {
    if (!listener) return phone_->on_hub_message({});
    phone_->on_hub_message([listener](const phone::HubExchange& exchange) {
      HubMessage message;
      message.time_ns = exchange.time_ns;
      std::copy(std::begin(exchange.request), std::end(exchange.request), message.request);
      std::copy(std::begin(exchange.reply), std::end(exchange.reply), message.reply);
      message.answered = exchange.answered;
      message.note = exchange.note;
      listener(message);
    });
  }

 private:
  phone::World meant_world() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return meant_;
  }
  void mean(const phone::World& world) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      meant_ = world;
    }
    phone_->set_world(station_ ? as_built(world, *station_) : world);
  }

  const std::unique_ptr<phone::Phone> phone_;
  const std::optional<uint64_t> station_;
  mutable std::mutex mutex_;
  phone::World meant_;  // what the fixture says; guarded by mutex_
};

}  // namespace

phone::Phone& phone_of(Fixture& fixture) { return dynamic_cast<HostFixture&>(fixture).phone(); }

bool phones_are_simulated() { return true; }

std::unique_ptr<phone::Phone> open_simulated(const Options& options) {
  phone::PhoneOptions wanted;
  wanted.directory = std::filesystem::absolute(phone_directory(options)).lexically_normal();
  if (!options.profile.empty()) wanted.profile = options.profile;
  wanted.seed = options.seed;
  wanted.speed = parse_speed(options.speed);
  wanted.replays = options.replay;
  wanted.faults = options.fault;
  wanted.looks = !options.makes_phone;
  std::error_code unreachable;  // is the phone's to tell
  const bool existed = std::filesystem::exists(wanted.directory + "/profile.json", unreachable);
  if (!existed && !options.makes_phone && options.profile.empty() && !options.seed) {
    throw AppError(kUsage,
                   wanted.directory + ": there is no phone; give --profile or --seed to make one, or calibrate");
  }
  std::unique_ptr<phone::Phone> opened;
  try {
    opened = phone::Phone::open(wanted);
  } catch (const phone::OptionError& error) {
    throw AppError(kUsage,
                   error.what() + (error.known.empty() ? "" : or_nearest(error.word, error.known, error.lists)));
  } catch (const phone::PhoneError& error) {
    throw AppError(kUnreachable, error.what());
  }
  // A phone keeps what it was made with: asking for something else must not pass unnoticed.
  if (existed && options.seed && *options.seed != opened->seed()) {
    throw AppError(kUsage, "--seed " + std::to_string(*options.seed) + ": " + wanted.directory +
                               " was made with seed " + std::to_string(opened->seed()) +
                               "; give another --phone for a new one");
  }
  if (existed && !options.profile.empty() && options.profile != opened->profile_name()) {
    throw AppError(kUsage, "--profile " + options.profile + ": " + wanted.directory + " was made from " +
                               opened->profile_name() + "; give another --phone for a new one");
  }
  return opened;
}

std::unique_ptr<Fixture> open_fixture(const Options& options) {
  if (!options.recording.empty()) return replay_fixture(options.recording);
  return std::make_unique<HostFixture>(open_simulated(options), options.station);
}

std::vector<std::string> known_profiles() { return phone::shipped_profiles(); }

std::vector<std::string> known_faults() {
  std::vector<std::string> out;
  for (const phone::FaultInfo& fault : phone::fault_list()) {
    out.push_back(usage(fault) + "  " + fault.what);
  }
  return out;
}

}  // namespace factory
