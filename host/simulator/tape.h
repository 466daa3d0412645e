// The tape of a recording: one sequence of everything that crossed between a run and its phone, a JSON object a line.
#pragma once

#include <android/frameworks/sensorservice/1.0/IEventQueueCallback.h>
#include <json/json.h>

#include <functional>
#include <string>
#include <vector>

#include "phone/chronicle.h"

namespace factory::tape {

using ::android::frameworks::sensorservice::V1_0::IEventQueueCallback;
using SensorEvent = ::android::hardware::sensors::V1_0::Event;

// Who acts. A queue's deliveries have a name of their own.
inline constexpr char kRunning[] = "run";      // the thread that opened the session
inline constexpr char kWatcher[] = "watcher";  // any other, but the deliveries
inline constexpr char kSignal[] = "signal";    // what comes from outside
std::string queue_name(int queue);

// What is done.
inline constexpr char kCall[] = "call";            // of a client, to the phone or its fixture
inline constexpr char kAnswer[] = "answer";        // and what it gets
inline constexpr char kEvent[] = "event";          // a delivery begins
inline constexpr char kDelivered[] = "delivered";  // and ends
inline constexpr char kClosed[] = "closed";        // an event queue
inline constexpr char kLine[] = "line";            // a log line, or a look at the lines, of a client
inline constexpr char kTime[] = "time";
inline constexpr char kLook[] = "look";  // the first one that finds Ctrl-C; its number
inline constexpr char kWait[] = "wait";  // a wait for samples is over
inline constexpr char kInterrupt[] = "interrupt";
inline constexpr char kWake[] = "wake";
inline constexpr char kClaim[] = "claim";
inline constexpr char kEnd[] = "end";

// A delivery begins only when its client is not about to do something: so long after the client's last act, or once it
// waits in a call. What the client does between two acts then never races with a delivery.
inline constexpr int kSettleMs = 2;
// How long a delivery is held back for a client that was woken.
inline constexpr int kRousedMs = 50;

struct Entry {
  std::string by;
  std::string what;
  Json::Value with;
};

std::string to_line(const Entry& entry);

struct Tape {
  Json::Value head;  // the first line
  std::vector<Entry> entries;
  std::string cut;  // why the last line is not one; empty when it is
};

// Throws AppError.
Tape read_tape(const std::string& file);

// The side of recorder and player that the stand-ins for the phone's services talk to.
class Deck : public Chronicle {
 public:
  // A call of a client: `real` makes it and gives the answer, where there is a phone. Null: the recording is over.
  virtual Json::Value call(const char* name, const Json::Value& request, const std::function<Json::Value()>& real) = 0;
  // Whether this thread is in `real` of a call.
  virtual bool inside_call() const = 0;
  // Around a delivery of a real event.
  virtual void event_begins(int queue, const SensorEvent& event) = 0;
  virtual void event_ends(int queue) = 0;
  // A queue was handed out, or is given back.
  virtual void queue_opens(int queue, const ::android::sp<IEventQueueCallback>& callback) = 0;
  virtual void queue_closes(int queue) = 0;
};

}  // namespace factory::tape
