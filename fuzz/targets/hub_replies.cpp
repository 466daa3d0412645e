// Every hub command with any arguments and any reply: one request at most, the outputs are the words of the reply that
// belong to them, and nothing beside them is written.
#include <algorithm>

#include "support/device_files.h"
#include "support/fake_phone.h"

namespace {

using fuzz::any_float;
using fuzz::any_int;
using fuzz::ssc_oem_test_msg;

constexpr int32_t kUntouched = 0x7a5a5a5a;
constexpr int kMax = 15;

// What one call is given and what it may write.
struct Call {
  SensorCalibrationAPI& api;
  int type;
  int a;
  int b;
  int c;
  int length;
  float value;
  int32_t out[kMax + 1];
  float* floats() { return reinterpret_cast<float*>(out); }
  float in[kMax];
};

// How the result follows from the reply.
enum class Gives { kZero, kWord0, kWord1, kWord2AsInt, kSign };

enum class Takes { kAnyType, kInertial, kSar, kGyroscope, kTofStep };

struct Row {
  int code;  // of the request; -1: by the arguments
  Takes takes;
  int refused;
  int first_word;  // of the outputs in the reply
  int outputs;     // how many; kMax: `length`
  Gives gives;
  int (*call)(Call& c);
};

const Row kRows[] = {
    {-1, Takes::kInertial, -1, 0, 3, Gives::kZero, [](Call& c) { return c.api.getAMGOffset_api(c.type, c.floats()); }},
    {-1, Takes::kInertial, -1, 0, 0, Gives::kWord0, [](Call& c) { return c.api.setAMGOffset_api(c.type, c.in); }},
    {33, Takes::kGyroscope, 0, 0, 0, Gives::kZero, [](Call& c) { return c.api.reset_gyro_cal_api(c.type); }},
    {4, Takes::kSar, -1, 0, 3, Gives::kZero, [](Call& c) { return c.api.getSAROffset_api(c.type, c.floats()); }},
    {4, Takes::kSar, -1, 1, kMax, Gives::kWord0,
     [](Call& c) { return c.api.getSAROffset_api(c.type, c.floats(), c.length); }},
    {38, Takes::kAnyType, 0, 0, 1, Gives::kZero, [](Call& c) { return c.api.getLuxDark_api(c.floats(), c.a); }},
    {10, Takes::kAnyType, 0, 0, 1, Gives::kZero,
     [](Call& c) { return c.api.getLuxScale_api(c.floats(), c.b > 0, c.type); }},
    {9, Takes::kAnyType, 0, 0, 0, Gives::kZero,
     [](Call& c) { return c.api.setLuxScale_api(c.value, c.b > 0, c.type); }},
    {21, Takes::kAnyType, 0, 0, 0, Gives::kZero, [](Call& c) { return c.api.setBarOffset_api(c.value); }},
    {22, Takes::kAnyType, 0, 0, 1, Gives::kZero, [](Call& c) { return c.api.getBarOffset_api(c.floats()); }},
    {5, Takes::kAnyType, 0, 0, 0, Gives::kZero, [](Call& c) { return c.api.setPrxThreshold_api(c.a, c.b, c.c); }},
    {7, Takes::kAnyType, 0, 0, 2, Gives::kZero,
     [](Call& c) { return c.api.setPrxFroceCal_api(c.type, c.out, c.out + 1); }},
    {8, Takes::kAnyType, 0, 0, 0, Gives::kWord0, [](Call& c) { return c.api.setSelftest_api(c.type); }},
    {11, Takes::kAnyType, 0, 0, 0, Gives::kWord0, [](Call& c) { return c.api.setSarCal_api(c.type); }},
    {11, Takes::kAnyType, 0, 0, 0, Gives::kWord0, [](Call& c) { return c.api.setSarSoftCal_api(c.type); }},
    {-1, Takes::kTofStep, -1, 0, 0, Gives::kWord0, [](Call& c) { return c.api.setTofPrxCal_api(c.type, c.a); }},
    {6, Takes::kAnyType, 0, 2, 1, Gives::kZero, [](Call& c) { return c.api.getTofOffset_api(c.out, 0); }},
    {15, Takes::kAnyType, 0, 0, 0, Gives::kWord1, [](Call& c) { return c.api.setAlsHighLuxCali_api(c.type, c.a); }},
    {23, Takes::kAnyType, 0, 0, 0, Gives::kWord2AsInt,
     [](Call& c) { return c.api.setAlsChannelDataCali_api(c.type, c.a, c.value); }},
    {200, Takes::kAnyType, 0, 0, 0, Gives::kWord2AsInt,
     [](Call& c) { return c.api.postScreenChannelData_api(c.type, c.a, c.value); }},
    {26, Takes::kAnyType, 0, 0, 0, Gives::kWord1,
     [](Call& c) { return c.api.setAlsBacklightLuxCali_api(c.type, c.a, c.b, c.c); }},
    {27, Takes::kAnyType, 0, 0, 0, Gives::kWord0,
     [](Call& c) { return c.api.setCctChannelBacklight_api(c.type, c.a, c.b, c.in); }},
    {29, Takes::kAnyType, 0, 1, kMax, Gives::kSign,
     [](Call& c) { return c.api.getLuxChannelRawGolden_api(c.type, c.floats(), c.length); }},
    {28, Takes::kAnyType, 0, 0, 0, Gives::kWord0,
     [](Call& c) { return c.api.setLuxChannelRawGolden_api(c.type, c.in, c.length); }},
    {31, Takes::kAnyType, 0, 1, kMax, Gives::kWord0,
     [](Call& c) { return c.api.getLuxChannelScale_api(c.type, c.floats(), c.length); }},
    {30, Takes::kAnyType, 0, 0, 0, Gives::kWord0,
     [](Call& c) { return c.api.setLuxChannelScale_api(c.type, c.in, c.length); }},
    {43, Takes::kAnyType, 0, 0, 0, Gives::kWord1,
     [](Call& c) {
       int para[] = {c.a, c.b};
       return c.api.setSARreg(c.type, para);
     }},
    {44, Takes::kAnyType, 0, 0, 0, Gives::kWord1,
     [](Call& c) {
       int para[] = {c.a, c.b};
       return c.api.setSARSECreg(c.type, para);
     }},
    {39, Takes::kAnyType, 0, 0, 0, Gives::kWord0, [](Call& c) { return c.api.setCCTCaliCmd_api(c.type, c.a); }},
    {40, Takes::kAnyType, 0, 0, 0, Gives::kWord0, [](Call& c) { return c.api.getCCTCaliRet_api(c.type, c.a); }},
    {-1, Takes::kAnyType, 0, 2, 1, Gives::kWord0,
     [](Call& c) {
       return c.api.getAMGversion_api(c.type, c.floats(), static_cast<unsigned>(c.a & 1),
                                      c.b == 0   ? "highlcd"
                                      : c.b == 1 ? "lowlcd"
                                                 : "");
     }},
    // Far and near threshold, the crosstalk without hardware.
    {6, Takes::kAnyType, 0, 1, 1, Gives::kZero, [](Call& c) { return c.api.getPrxOffset_api(c.out, 1, c.a); }},
    {6, Takes::kAnyType, 0, 0, 1, Gives::kZero, [](Call& c) { return c.api.getPrxOffset_api(c.out, 2, c.a); }},
    {6, Takes::kAnyType, 0, 2, 1, Gives::kZero, [](Call& c) { return c.api.getPrxOffset_api(c.out, 0, 0); }},
    {5, Takes::kAnyType, 0, 0, 0, Gives::kZero, [](Call& c) { return c.api.setPrxOffset_api(c.b, 1, c.a); }},
};

bool taken(Takes takes, const Call& c) {
  const bool gyroscope = c.type == 4 || c.type == 268369924;
  switch (takes) {
    case Takes::kAnyType:
      return true;
    case Takes::kInertial:
      return gyroscope || c.type == 1 || c.type == 268369921;
    case Takes::kGyroscope:
      return gyroscope;
    case Takes::kSar:
      return c.type == 33171015 || c.type == 33171016;
    case Takes::kTofStep:
      return c.a >= 5 && c.a <= 7;
  }
  return false;
}

int truncated(float value) {
  if (value != value) return 0;
  if (value >= 2147483648.0F) return INT32_MAX;
  return value < -2147483648.0F ? INT32_MIN : static_cast<int>(value);
}

int result_of(Gives gives, const ssc_oem_test_msg& reply) {
  switch (gives) {
    case Gives::kZero:
      return 0;
    case Gives::kWord0:
      return reply.data[0];
    case Gives::kWord1:
      return reply.data[1];
    case Gives::kWord2AsInt:
      return truncated(fuzz::float_of(reply.data[2]));
    case Gives::kSign:
      return reply.data[0] < 0 ? -1 : 0;
  }
  return 0;
}

void check_call(const Row& row, Call* call, fuzz::ScriptedHub* hub, const ssc_oem_test_msg& reply) {
  hub->sent.clear();
  for (int32_t& word : call->out) word = kUntouched;
  const int result = row.call(*call);
  if (!taken(row.takes, *call)) {
    HOLDS(result == row.refused && hub->sent.empty());
    for (const int32_t word : call->out) HOLDS(word == kUntouched);
    return;
  }
  HOLDS(hub->sent.size() == 1);
  HOLDS(row.code < 0 || hub->sent[0].msg_type == row.code);
  HOLDS(result == result_of(row.gives, reply));
  const int outputs = row.outputs == kMax ? std::clamp(call->length, 0, kMax) : row.outputs;
  for (int i = 0; i <= kMax; ++i) {
    HOLDS(call->out[i] == (i < outputs ? reply.data[static_cast<size_t>(row.first_word + i)] : kUntouched));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::ScriptedHub* const hub = [] {
    fuzz::device_root();
    const ::android::sp<fuzz::ScriptedHub> made = new fuzz::ScriptedHub;
    made->registerAsService("default");
    return made.get();
  }();
  fuzz::quiet_log(1);
  static SensorCalibrationAPI* const api = new SensorCalibrationAPI;
  fuzz::quiet_log(size);
  FuzzedDataProvider in(data, size);
  for (int calls = 0; calls < 8 && in.remaining_bytes() > 0; ++calls) {
    const Row& row = kRows[in.ConsumeIntegralInRange<size_t>(0, std::size(kRows) - 1)];
    Call call{*api, fuzz::any_type(&in), any_int(&in), any_int(&in), any_int(&in), 0, any_float(&in), {}, {}};
    call.length = in.ConsumeBool() ? in.ConsumeIntegralInRange<int>(-1, 16) : any_int(&in);
    for (float& value : call.in) value = static_cast<float>(in.ConsumeIntegral<int8_t>());
    ssc_oem_test_msg reply{};
    const bool answers = in.ConsumeIntegralInRange<int>(0, 9) != 0;
    if (answers) in.ConsumeData(&reply, sizeof reply);
    hub->answer = [&](const ssc_oem_test_msg&, ssc_oem_test_msg* out) {
      *out = reply;
      return answers;
    };
    check_call(row, &call, hub, reply);
  }
  return 0;
}
