// The stand-in's types are no kinder than the ones that Android's interface compiler writes: what compiles and runs
// here does so on a phone.
#include <SensorCalibration.h>
#include <android/frameworks/sensorservice/1.0/ISensorManager.h>
#include <android/log.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hidl/HidlTransportSupport.h>
#include <host/rpc_threadpool.h>
#include <string.h>

#include <algorithm>
#include <new>
#include <type_traits>

namespace {

using namespace ::android::hardware::sensors::V1_0;
using ::android::hardware::hidl_array;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;
using ::android::hardware::Status;
using ::android::hardware::Void;
using ::android::hidl::base::V1_0::DebugInfo;
using ::vendor::corvane::sensor::kestsensorservice::V1_1::ssc_oem_test_msg;
using Result = ::android::frameworks::sensorservice::V1_0::Result;
using ::testing::ElementsAre;

template <typename... T>
constexpr bool kHoldWhatMemoryHeld = (std::is_trivially_default_constructible_v<T> && ...);
static_assert(kHoldWhatMemoryHeld<Vec3, Vec4, Uncal, MetaData, HeartRate, DynamicSensorInfo, AdditionalInfo,
                                  AdditionalInfo::U, EventPayload, Event, DebugInfo, ssc_oem_test_msg>);
static_assert(sizeof(AdditionalInfo) == 64 && sizeof(EventPayload) == 64 && sizeof(Event) == 80 &&
              offsetof(Event, u) == 16);

template <typename... T>
constexpr bool kScoped = (!std::is_convertible_v<T, long long> && ...);
static_assert(kScoped<SensorType, SensorFlagShift, SensorFlagBits, MetaDataEventType, SensorStatus, AdditionalInfoType,
                      RateLevel, Result, DebugInfo::Architecture>);
static_assert(static_cast<uint32_t>(SensorFlagBits::MASK_REPORTING_MODE) ==
              (SensorFlagBits::ON_CHANGE_MODE | SensorFlagBits::ONE_SHOT_MODE | SensorFlagBits::SPECIAL_REPORTING_MODE |
               uint32_t{8}));

static_assert(!std::is_aggregate_v<hidl_array<int32_t, 16>>, "its buffer is its own: no list in braces fills it");

template <typename... T>
constexpr bool kMoveOnly = ((!std::is_copy_constructible_v<T> && !std::is_copy_assignable_v<T> &&
                             std::is_nothrow_move_constructible_v<T> && std::is_nothrow_move_assignable_v<T>)&&...);
static_assert(kMoveOnly<Return<void>, Return<bool>, Return<Result>>);

// Keeps the compiler from knowing what memory holds.
void forget_contents() { asm volatile("" ::: "memory"); }

constexpr unsigned char kPattern = 0xA5;

// Makes a T where memory holds a pattern.
template <typename T>
class InPattern {
 public:
  InPattern() {
    memset(memory_, kPattern, sizeof memory_);
    forget_contents();
    made_ = new (memory_) T;
    forget_contents();
  }
  ~InPattern() { made_->~T(); }
  const T& operator*() const { return *made_; }

 private:
  alignas(T) unsigned char memory_[sizeof(T)];
  T* made_;
};

template <typename T>
bool untouched(const T& member) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(&member);
  return std::all_of(bytes, bytes + sizeof member, [](unsigned char byte) { return byte == kPattern; });
}

TEST(PlatformShapes, NoNumberOfASensorsEntryHasAFirstValue) {
  const InPattern<SensorInfo> made;
  const SensorInfo& i = *made;
  EXPECT_TRUE(untouched(i.sensorHandle) && untouched(i.version) && untouched(i.type) && untouched(i.maxRange) &&
              untouched(i.resolution) && untouched(i.power) && untouched(i.minDelay) &&
              untouched(i.fifoReservedEventCount) && untouched(i.fifoMaxEventCount) && untouched(i.maxDelay) &&
              untouched(i.flags));
  EXPECT_TRUE(i.name.empty());
}

// A run of a sensor that is not there enables this handle.
TEST(PlatformShapes, ARecordStartsAtZeroNevertheless) {
  const InPattern<_sensor_info> made;
  const SensorInfo& i = (*made).info;
  EXPECT_EQ(i.sensorHandle, 0);
  EXPECT_EQ(i.type, SensorType::META_DATA);
  EXPECT_EQ(i.maxRange, 0);
  EXPECT_EQ(i.flags, 0U);
}

Return<Result> failed() { return Status::fromStatusT(::android::DEAD_OBJECT); }
Return<void> failed_void() { return Status::fromExceptionCode(Status::EX_ILLEGAL_STATE, "why"); }

TEST(PlatformReturnDeathTest, AFailureThatNobodyReadEndsTheProcess) {
  constexpr char kUnread[] = "dropped unread: exception -129, status -32";
  EXPECT_DEATH(failed(), kUnread);
  EXPECT_DEATH(failed_void(), "dropped unread: exception -5: why");
  EXPECT_DEATH((void)failed().isDeadObject(), kUnread);
  EXPECT_DEATH((void)failed().description(), kUnread);
  EXPECT_DEATH(
      {
        Return<Result> overwritten = failed();
        overwritten = Result::OK;
      },
      kUnread);
  EXPECT_DEATH(
      {
        Return<Result> from = failed();
        const Return<Result> to = std::move(from);
        (void)from.isOk();  // NOLINT(bugprone-use-after-move): the duty went along
      },
      kUnread);
}

TEST(PlatformReturnDeathTest, TheValueOfAFailedCallEndsTheProcess) {
  EXPECT_DEATH((void)static_cast<Result>(failed()), "value of a failed HIDL call");
  EXPECT_DEATH(failed_void().assertOk(), "a failed HIDL call: exception -5");
}

TEST(PlatformReturn, AFailureThatWasReadIsHarmless) {
  EXPECT_FALSE(failed().isOk());
  EXPECT_FALSE(failed_void().isOk());
  EXPECT_EQ(failed().withDefault(Result::NO_INIT), Result::NO_INIT);
  Return<Result> read = failed();
  EXPECT_FALSE(read.isOk());
  EXPECT_TRUE(read.isDeadObject());
  const Return<Result> moved = std::move(read);
  EXPECT_FALSE(moved.isOk());
}

TEST(PlatformReturn, ASuccessMayBeDropped) {
  Void();
  Return<Result> good = Result::OK;
  EXPECT_EQ(static_cast<Result>(good), Result::OK);
  EXPECT_EQ(good.withDefault(Result::NO_INIT), Result::OK);
}

TEST(PlatformVector, KeepsItsOwnElementsAndOthersOnly) {
  int borrowed[] = {4, 5};
  hidl_vec<int> vector{1, 2, 3};
  const hidl_vec<int> copy = vector;
  vector.setToExternal(borrowed, 2);
  vector[0] = 6;
  EXPECT_EQ(borrowed[0], 6);
  vector.resize(3);  // becomes its own
  vector[0] = 7;
  vector[2] = 8;
  EXPECT_EQ(borrowed[0], 6);
  hidl_vec<int> moved = std::move(vector);
  vector = std::move(moved);
  EXPECT_THAT(vector, ElementsAre(7, 5, 8));
  EXPECT_THAT(copy, ElementsAre(1, 2, 3));
  vector.setToExternal(new int[1]{9}, 1, true);
  EXPECT_EQ(vector, hidl_vec<int>(std::vector<int>{9}));
}

TEST(PlatformLog, LeavesOutWhatIsBelowTheMinimum) {
  EXPECT_EQ(__android_log_is_loggable(ANDROID_LOG_INFO, "tag", ANDROID_LOG_INFO), 1);
  EXPECT_EQ(__android_log_is_loggable(ANDROID_LOG_DEBUG, "tag", ANDROID_LOG_INFO), 0);
  const int32_t before = __android_log_set_minimum_priority(ANDROID_LOG_WARN);
  EXPECT_EQ(__android_log_is_loggable(ANDROID_LOG_INFO, "tag", ANDROID_LOG_INFO), 0);
  EXPECT_EQ((__android_log_print)(ANDROID_LOG_INFO, "tag", "text"), 0);
  __android_log_set_minimum_priority(before);
}

TEST(PlatformThreads, ACallerThatJoinsIsOneOfThem) {
  for (const size_t threads : {size_t{0}, size_t{1}}) {
    ::android::hardware::configureRpcThreadpool(threads, true);
    EXPECT_EQ(host::rpc_threads(), 0U);
  }
}

}  // namespace
