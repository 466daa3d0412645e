#include "phone/core/phone.h"

#include <host/device_root.h>
#include <host/property_store.h>
#include <host/service_registry.h>

#include <cmath>

#include "phone/core/phone_impl.h"
#include "phone/core/replays.h"
#include "phone/hub/sensor_kinds.h"

namespace phone {
namespace {

std::atomic<bool> g_slot_taken{false};

constexpr char kInstance[] = "default";

std::shared_ptr<const Faults> parse_faults(const PhoneOptions& options, const Profile& profile) {
  std::vector<std::string> texts = profile.faults;
  texts.insert(texts.end(), options.faults.begin(), options.faults.end());
  return std::make_shared<const Faults>(Faults::parse(texts));
}

void check(const PhoneOptions& options) {
  if (!(options.speed > 0)) throw PhoneError("the speed must be above 0");
  (void)Faults::parse(options.faults);  // a mistake in them is found before a directory is made
}

}  // namespace

ProcessSlot::ProcessSlot() {
  if (g_slot_taken.exchange(true)) throw PhoneError("this process has a phone already");
}

ProcessSlot::~ProcessSlot() { g_slot_taken = false; }

ProcessState::ProcessState(const std::string& directory) : root_before_(host::device_root()) {
  bool readable = false;
  problem_ = host::open_properties(directory, &readable);
  if (!readable) {
    host::open_properties("");
    throw PhoneError(problem_);
  }
  host::set_device_root(directory);
}

ProcessState::~ProcessState() {
  host::set_device_root(root_before_);
  host::open_properties("");
}

std::unique_ptr<Phone> Phone::open(const PhoneOptions& options) {
  check(options);
  return std::make_unique<PhoneImpl>(options);
}

PhoneImpl::PhoneImpl(const PhoneOptions& options)
    : folder_(options),
      faults_(parse_faults(options, *folder_.profile())),
      process_(folder_.path()),
      file_faults_(folder_.path()),
      panel_(folder_.path(), folder_.profile()->max_brightness, folder_.profile()->brightness),
      remarks_(folder_.remarks()),
      hub_(this, folder_.profile()->hub),
      registry_(&hub_, folder_.path(), folder_.durable()) {
  if (!process_.problem().empty()) remark(process_.problem());
  if (const Fault* const clamped = faults_->find(FaultId::brightness_clamped)) {
    panel_.clamp(static_cast<int>(clamped->amount));
  }
  panel_.lay_out();
  panel_.settle();
  file_faults_.apply(*faults_, folder_.seed());
  property_faults_.apply(*faults_);
  set_first_world();
  const std::string problem = registry_.load();
  if (!problem.empty()) throw PhoneError(problem);
  hub_.on_change([this] { return save_registry(); });
  set_service_faults(*faults_, &service_faults_);
  stage_ = std::make_shared<Stage>(options.speed, faults_, folder_.profile(), make_sensors(options));
  register_services();
  host::on_device_path([this] { panel_.settle(); });
}

// First nobody can come in any more, then everybody leaves.
PhoneImpl::~PhoneImpl() {
  host::on_device_path(nullptr);
  for (const char* const descriptor : {SensorManager::descriptor, TestService::descriptor}) {
    host::remove_service(descriptor, kInstance);
    host::declare_service(descriptor, kInstance, false);  // who waits for it finds none
  }
  sensor_manager_->disconnect();
  stage_->close();
  if (faulty_link_ != nullptr) faulty_link_->on_lost(nullptr);
  test_service_->disconnect();
  hub_.shut_down();
  hub_.on_change(nullptr);
}

void PhoneImpl::set_first_world() {
  for (const auto& [key, value] : folder_.profile()->world) phone::set_world(&world_, key, value);
  for (const Fault* fault : faults_->each(FaultId::wrong_fixture)) {
    const size_t equals = fault->text.find('=');
    (void)disturb(fault->text.substr(0, equals), fault->text.substr(equals + 1));
  }
}

std::vector<std::unique_ptr<Sensor>> PhoneImpl::make_sensors(const PhoneOptions& options) {
  Replays replays = open_replays(options.replays);
  for (const std::string& text : replays.remarks) remark(text);
  std::vector<std::unique_ptr<Sensor>> sensors;
  for (const SensorEntry& entry : folder_.profile()->sensors) {
    Sensor::Config config{.entry = &entry,
                          .surroundings = this,
                          .faults = faults_.get(),
                          .seed = folder_.seed(),
                          .opening = folder_.opening(),
                          .falls_silent = std::isinf(options.speed),
                          .source = nullptr};
    const auto source = replays.sources.find(entry.type);
    if (source != replays.sources.end()) {
      config.source = std::move(source->second);
      replays.sources.erase(source);
    }
    sensors.push_back(std::make_unique<Sensor>(std::move(config)));
  }
  if (!replays.sources.empty()) {
    const int type = replays.sources.begin()->first;
    throw OptionError("a recording for " + sensor_name(type) + ", which this phone does not have");
  }
  return sensors;
}

void PhoneImpl::register_services() {
  sensor_manager_ = new SensorManager(folder_.profile(), faults_, stage_);
  test_service_ = new TestService(&hub_, &service_faults_);
  host::declare_service(SensorManager::descriptor, kInstance, faults_->find(FaultId::sensors_dead) != nullptr);
  host::declare_service(TestService::descriptor, kInstance, faults_->find(FaultId::hub_dead) != nullptr);
  const bool no_sensors = faults_->find(FaultId::sensors_absent) != nullptr;
  if (!no_sensors && !faults_->is_over({FaultId::sensors_dead}, 0)) sensor_manager_->registerAsService(kInstance);
  if (faults_->find(FaultId::hub_absent) != nullptr || faults_->is_over({FaultId::hub_dead}, 0)) return;
  if (needs_faulty_link(*faults_)) {
    faulty_link_ = new FaultyHubLink(test_service_, faults_);
    faulty_link_->registerAsService(kInstance);
  } else {
    test_service_->registerAsService(kInstance);
  }
}

bool PhoneImpl::save_registry() {
  const std::string problem = registry_.save();
  if (!problem.empty()) remark(problem);
  return problem.empty();
}

void PhoneImpl::remark(const std::string& text) {
  const std::lock_guard<std::mutex> lock(mutex_);
  remarks_.push_back(text);
}

std::vector<std::string> PhoneImpl::remarks() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return remarks_;
}

World PhoneImpl::world() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return world_;
}

void PhoneImpl::set_world(const World& world) {
  panel_.settle();
  const std::lock_guard<std::mutex> lock(mutex_);
  world_ = world;
}

std::vector<float> PhoneImpl::truth(int sensor_type, const World& world) const {
  const Sensor* const sensor = stage_->find_type(sensor_type);
  if (sensor == nullptr || sensor->has_source()) return {};
  const Values values = phone::truth(sensor->entry(), {.world = world});
  return {values.begin(), values.begin() + sensor->entry().values};
}

void PhoneImpl::on_hub_message(std::function<void(const HubExchange&)> listener) {
  if (faulty_link_ != nullptr) faulty_link_->on_lost(listener);
  test_service_->on_exchange(std::move(listener));
}

void PhoneImpl::reboot() {
  folder_.require_writable();
  host::reboot_properties();
  property_faults_.apply(*faults_);
  panel_.reset();
  hub_.reboot();
  stage_->reboot();
}

void PhoneImpl::factory_reset() {
  folder_.require_writable();
  folder_.restore_files();  // first, since it may refuse
  hub_.factory_reset();
}

std::string PhoneImpl::disturb(const std::string& key, const std::string& value) {
  World scratch;
  const std::string problem = value.empty() ? "" : phone::set_world(&scratch, key, value);
  if (!problem.empty()) return problem;
  panel_.settle();
  const std::lock_guard<std::mutex> lock(mutex_);
  value.empty() ? (void)disturbed_.erase(key) : (void)(disturbed_[key] = value);
  return "";
}

World PhoneImpl::real_world() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  World out = world_;
  for (const auto& [key, value] : disturbed_) phone::set_world(&out, key, value);
  return out;
}

Scene PhoneImpl::scene(bool with_panel) {
  Scene scene{.world = real_world()};
  if (!with_panel) return scene;
  scene.brightness = panel_.brightness();
  scene.panel = static_cast<float>(scene.brightness) / static_cast<float>(panel_.max_brightness());
  return scene;
}

float PhoneImpl::raw(int sensor_type, int channel) {
  const KindRow* const asked = kind_row(sensor_type);
  const Sensor* sensor = stage_->find_type(sensor_type);
  if (const LightChip* const chip = light_chip(sensor_type); sensor == nullptr && chip != nullptr) {
    // The same part, where only one of its sensors is listed.
    sensor = stage_->find_type(sensor_type == chip->type ? chip->stream : chip->type);
  }
  if (asked == nullptr || sensor == nullptr || channel < 0) return 0;
  const Values values = raw_values(sensor->entry(), sensor->errors(), scene(true));
  const auto word = static_cast<size_t>(channel + first_channel_word(asked->kind));
  return word < values.size() ? values[word] : 0;
}

bool PhoneImpl::dark_box() { return real_world().dark_box; }

}  // namespace phone
