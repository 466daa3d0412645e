#include "simulator/trace_player.h"

#include <host/device_root.h>
#include <host/property_store.h>
#include <unistd.h>

#include "files/json_text.h"
#include "simulator/interceptors.h"
#include "simulator/recording.h"
#include "simulator/trace_words.h"

namespace factory {
namespace trace {

Player::Player(const std::string& folder)
    : folder_(folder),
      recorded_(read_trace(folder + kTraceFile)),
      attempt_(attempt_key(0, 0)),
      where_("before its first step"),
      scratch_(folder + "/root", texts_from(recorded_.head["unwritable"])) {
  if (!recorded_record(folder) && recorded_.cut.empty())
    recorded_.cut = "it has no record: the run was killed, or is under way";
  host::open_properties("");
  const Json::Value& properties = recorded_.head["properties"];
  for (const std::string& name : properties.getMemberNames()) host::force_property(name, properties[name].asString());
  host::set_device_root(scratch_.path());
}

Player::~Player() {
  host::set_device_root("");
  host::open_properties("");
}

void Player::end(int code, const std::string& text) {
  scratch_.remove();
  (void)!::write(STDERR_FILENO, text.data(), text.size());
  _exit(code);
}

// Nothing is to be put back: there is no phone.
void Player::interrupted() { end(kInterrupted, "\ninterrupted\n"); }

void Player::leave(const std::string& why) {
  constexpr size_t kMax = 600;
  const std::string cut = recorded_.cut.empty() ? "" : "; the recording is cut off: " + recorded_.cut;
  end(kDiffers, "\nsensorcal: " + folder_ + ": the replay leaves its recording " + where_ + ": " + why.substr(0, kMax) +
                    cut + "\n");
}

void Player::attempt_begins(int step, int attempt, const std::string& name) {
  const std::lock_guard<std::mutex> lock(mutex_);
  attempt_ = attempt_key(step, attempt);
  where_ = "in step " + std::to_string(step) + " (" + name + "), attempt " + std::to_string(attempt);
}

Json::Value Player::ask(const std::string& name, const Json::Value& of, const std::function<Json::Value()>& /*real*/) {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::deque<Json::Value>& answers = recorded_.answers[key(attempt_, name, of)];
  if (!answers.empty()) {
    Json::Value answer = answers.front();
    // How often is looked for a service that does not come is chance.
    if (name != kFind || answers.size() > 1) answers.pop_front();
    return answer;
  }
  // Who switches off what is off already changes nothing.
  if (name == kDisable) return Json::Value(Json::objectValue);
  leave("it asks for what was not recorded there, " + name + (of.isNull() ? "" : " " + json_line(of)));
}

std::vector<SensorEvent> Player::events(int enabling) { return recorded_.events[enabling]; }

// After the last line of a recording that was cut off only time-outs could follow.
void Player::delivered(int enabling) {
  if (recorded_.cut.empty() || enabling != recorded_.last_enabling) return;
  const std::lock_guard<std::mutex> lock(mutex_);
  leave("nothing more was recorded");
}

}  // namespace trace

std::unique_ptr<Fixture> replay_fixture(const std::string& folder) {
  auto player = std::make_unique<trace::Player>(folder);
  const std::string root = player->device_root();
  return std::make_unique<trace::TracedFixture>(std::move(player), nullptr, root);
}

}  // namespace factory
