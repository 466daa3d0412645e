#include "phone/traces/recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "phone/core/phone.h"

namespace phone {
namespace {

using ::testing::ElementsAre;
using ::testing::FloatEq;
using ::testing::HasSubstr;
using ::testing::Pointwise;
using ::testing::ThrowsMessage;

// `options` as "TAG" or "TAG,key=value...".
Recording load(const std::string& options, const std::string& text) {
  const size_t comma = options.find(',');
  const std::string rest = comma == std::string::npos ? "" : options.substr(comma);
  std::istringstream in(text);
  return load_recording(in, parse_replay(options.substr(0, comma) + "=log.csv" + rest));
}

constexpr float kG = 9.80665F;
constexpr float kDegree = 0.017453292F;

template <typename... T>
std::vector<float> values(T... value) {
  return {static_cast<float>(value)...};
}

constexpr char kSeveral[] =
    "Time (s),Gyroscope X (deg/s),Gyroscope Y (deg/s),Gyroscope Z (deg/s),Accelerometer X (g),"
    "Accelerometer Y (g),Accelerometer Z (g),Magnetometer X (uT),Magnetometer Y (uT),Magnetometer Z (uT)\n"
    "0,1,2,3,4,5,6,7,8,9\n0.1,1,2,3,0.1,0.2,1,7,8,9\n";

const struct {
  const char* name;
  const char* options;
  const char* text;
  int64_t second_ns;          // time of the second sample
  std::vector<float> second;  // its values
} kFormats[] = {
    {"z_y_x_by_name_exact_ns", "Acc,unit=g,sign=-,time=ns",
     "time,seconds_elapsed,z,y,x\n1699734109763076400,0.0,-1,0,0\n1699734109773050407,0.01,-1,0.5,0.25\n", 9974007,
     values(-kG / 4, -kG / 2, kG)},
    {"quoted_header_exponents", "Gyr",
     "\"Time (s)\",\"Gyroscope x (rad/s)\",\"Gyroscope y (rad/s)\",\"Gyroscope z (rad/s)\"\n"
     "1.0E-2,1.0E-3,2,3\n2.5E+0,-1.5E-3,2E0,3\n",
     2490000000, values(-0.0015F, 2, 3)},
    {"several_sensors_acc", "Acc", kSeveral, 100000000, values(kG / 10, kG / 5, kG)},
    {"several_sensors_gyr", "Gyr", kSeveral, 100000000, values(kDegree, 2 * kDegree, 3 * kDegree)},
    {"raw_before_rotated_and_estimated", "Acc",
     "est_acceleration_x_gs,est_acceleration_y_gs,est_acceleration_z_gs,raw_rotated_acceleration_x_gs,"
     "raw_rotated_acceleration_y_gs,raw_rotated_acceleration_z_gs,raw_acceleration_x_gs,"
     "raw_acceleration_y_gs,raw_acceleration_z_gs,timestamp_seconds,update_timestamp_ns\n"
     "9,9,9,8,8,8,0,0,1,1.5,7\n9,9,9,8,8,8,0,1,0,1.75,8\n",
     250000000, values(0, kG, 0)},
    {"mdps", "Gyr,unit=mdps", "t (s),x,y,z\n0,0,0,0\n0.1,1000,2000,-500\n", 100000000,
     values(kDegree, 2 * kDegree, -kDegree / 2)},
    {"index_and_underscores", "Gyr2,rate=250", "sample_index,imu_gyr_x,imu_gyr_y,imu_gyr_z\n7,0,0,0\n9,1,2,3\n",
     8000000, values(1, 2, 3)},
    {"metadata_before_short_names", "Acc,rate=100,unit=0.5",
     "Fs,100\nLogging Type,0\nWaiting time,3\nax,ay,az,gx,gy,gz\n1,2,3,4,5,6\n2,4,6,8,10,12\n", 10000000,
     values(1, 2, 3)},
    {"pascals", "Bar", "timestamp_seconds,temperature_celsius,pressure_pascals\n1,20,101000\n1.5,20,101678.8\n",
     500000000, values(1016.788F)},
    {"pressure_without_unit", "Bar", "time,seconds_elapsed,relativeAltitude,pressure\n9,0,0,1000\n9,0.2,0,1001.5\n",
     200000000, values(1001.5F)},
    {"the_part_told", "Lux,time=s,start=1,length=3", "t (s),lux\n0,1\n1,2\n4,3\n3,5\n", 2000000000, values(5)},
    {"illuminance", "Lux", "\"Time (s)\",\"Illuminance (lx)\"\n0,3\n60.5,4\n", 60500000000, values(4)},
    {"milliseconds_beside_a_date", "Acc2",
     "Timestamp,Milliseconds,X,Y,Z\n2024-01-01 10:00:00,5,0,0,-9.8\n"
     "2024-01-01 10:00:00,25,1,2,-9.8\n",
     20000000, values(1, 2, -9.8F)},
    {"semicolons_decimal_comma_bom_crlf", "Acc",
     "\xEF\xBB\xBFTime (s);X (m/s\xC2\xB2);Y (m/s\xC2\xB2);Z "
     "(m/s\xC2\xB2)\r\n0,0;0,1;0,2;9,8\r\n0,5;-0,1;1e-1;+9,75\r\n",
     500000000, values(-0.1F, 0.1F, 9.75F)},
    {"tabs", "Acc", "t_us\tacc_x_mg\tacc_y_mg\tacc_z_mg\n100\t0\t0\t1000\n300\t500\t0\t1000\n", 200000,
     values(kG / 2, 0, kG)},
    {"headerless_as_told", "Acc,columns=t,_,x,y,z,time=ns", "557214677910,3,1,2,3\n557224676035,3,4,5,6\n", 9998125,
     values(4, 5, 6)},
    {"told_goes_over_the_header", "Acc,columns=t,z,y,x,time=s", "a,b,c,d\n# remark\n1,2,3,4\n2,5,6,7\n", 1000000000,
     values(7, 6, 5)},
    {"kinds_in_the_second_cell", "Gyr",
     "2020-05-01 13:27:25.976,Range,6\n2020-05-01 13:27:26.230,Accelerometer,0,-1,0\n"
     "2020-05-01 13:27:26.231,Gyroscope,1,2,3\n2020-05-01 23:59:59.980,Accelerometer,0,-1,0\n"
     "2020-05-02 00:00:00,Gyroscope,4,5,6\n",
     37953769000000, values(4, 5, 6)},
    {"kinds_by_prefix_raw_first", "Acc",
     "# UncalAccel,utcTimeMillis,elapsedRealtimeNanos,UncalAccelXMps2,UncalAccelYMps2,UncalAccelZMps2,BiasXMps2,"
     "BiasYMps2,BiasZMps2\r\n# "
     "\r\nAccel,5,50,9,9,9\r\nUncalAccel,1,10,1,2,3,7,7,7\r\nUncalGyro,1,11,0,0,0,7,7,7\r\n"
     "Accel,5,60,9,9,9\r\nUncalAccel,2,25,4,5,6,7,7,7\r\n",
     15, values(4, 5, 6)},
    {"kinds_by_prefix_without_names", "Gyr",
     "Gyro,1589494244844,19637939924074,1,2,3\nAccel,1589494244845,19637940404074,0,9,1\n"
     "Gyro,1589494244847,19637942316782,4,5,6\n",
     2392708, values(4, 5, 6)},
    {"channels_uncorrected", "CCT_B_strm,rate=10", "c_q,c_CH2,CH1,CH2,CH3\n9,9,1,2,3\n9,9,4,5,6\n", 100000000,
     values(4, 5, 6)},
    {"lux_and_channels", "Lux_B_strm,rate=10,columns=c1,v,c2", "1,2,3\n4,5,6\n", 100000000, values(5, 4, 6)},
    {"proximity_log_over_several_lines", "Prx,rate=4",
     "{SERIAL:\"\"}\n{\n\tPROXIMITY_DATA{PDATA:1},\n}\n{\n\tPROXIMITY_DATA{PDATA:255},\n}\n", 250000000, values(255)}};

TEST(Recording, FormatsAreTold) {
  for (const auto& format : kFormats) {
    SCOPED_TRACE(format.name);
    const Recording recording = load(format.options, format.text);
    ASSERT_GE(recording.samples.size(), 2u);
    EXPECT_EQ(recording.samples[0].time_ns, 0);
    EXPECT_EQ(recording.samples[1].time_ns, format.second_ns);
    const float* const second = recording.samples[1].v.data();
    EXPECT_THAT(std::vector(second, second + recording.axes), Pointwise(FloatEq(), format.second));
  }
}

TEST(Recording, ColourChannelsStandBehindTwoWords) {
  EXPECT_EQ(load("CCT_F_strm,rate=1", "ch1,ch2\n1,2\n").first_word, 2);
  EXPECT_EQ(load("Lux_B_strm,rate=1", "ch1,ch2\n1,2\n").first_word, 0);
}

TEST(Recording, WhatIsToldAgainstTheHeaderIsUsedAndNoted) {
  EXPECT_THAT(
      load("Gyr,unit=mdps,time=s", "t (ms),x (deg/s),y (deg/s),z (deg/s)\n0,0,0,0\n1,0,0,0\n").report.notes,
      ElementsAre("the header says ms, time=s is used as told", "the header says deg/s, unit=mdps is used as told"));
  EXPECT_THAT(load("Gyr,unit=mdps", "t (s),x,y,z\n0,0,0,0\n1,0,0,0\n").report.notes, ::testing::IsEmpty());
  EXPECT_THAT(load("Lux_B_strm,rate=1", "ch1,ch2\n1,2\n").report.notes, ElementsAre("no lux column: lux is 0"));
}

TEST(Recording, TellsHowToReadWhatItCannot) {
  const std::string header = "time,x,y,z\n";
  const struct {
    const char* options;
    std::string text;
    const char* says;
  } kCases[] = {
      {"Acc", "1,2,3,4\n2,3,4,5\n", "tell the columns"},
      {"Acc", "t (s),X (rad/s),Y (rad/s),Z (rad/s)\n1,2,3,4\n", "no columns for an accelerometer"},
      {"Acc", "t (s),Magnetometer x,Magnetometer y,Magnetometer z\n1,2,3,4\n", "no columns"},
      {"Acc", "x,y,z\n1,2,3\n", "rate=HZ"},
      {"Bar", "time (s),altitude,\n1,2,3\n", "no columns for a barometer"},
      {"Lux,columns=t,v", "1,5\n61,6\n", "give time="},
      {"Gyr", "1,Accelerometer,1,2,3\n2,Accelerometer,1,2,3\n3,Accelerometer,1,2,3\n", "none for a gyroscope"},
      {"Acc,time=s", header + "1,a,b,c\n", "line 2"},
      {"Acc,time=s,start=5", header + "1,1,2,3\n2,1,2,3\n", "start="},
      {"Acc,columns=t,x,y,z,time=s", "1;2;3\n", "no row fits"},
      {"Acc", std::string("\xFF\xFEt\0", 4), "log.csv: no UTF-8"},
      {"Acc", "\xFE\xFFtx", "UTF-8"},
      {"Acc", "", "log.csv: the file is empty"},
  };
  for (const auto& c : kCases) {
    EXPECT_THAT([&] { load(c.options, c.text); }, ThrowsMessage<PhoneError>(HasSubstr(c.says))) << c.text;
  }
}

TEST(Recording, BadRowsAreSkippedAndCounted) {
  const Recording recording =
      load("Acc",
           "t (s),x,y,z\n0,1,2,3\n1,,2,3\n2,1e999,2,3\n3,1e39,2,3\n4,nan,2,3\n5,1,2\nzzz,1,2,3\n"
           "9e30,1,2,3\n\n# remark\n8,1e-999,2,3\n");
  const RecordingReport& report = recording.report;
  EXPECT_EQ(report.rows_read, 9u);
  EXPECT_EQ(report.rows_skipped, 7u);
  std::vector<size_t> lines;
  for (const auto& row : report.skipped) lines.push_back(row.line);
  EXPECT_THAT(lines, ElementsAre(3, 4, 5, 6, 7));  // the first five
  ASSERT_EQ(recording.samples.size(), 2u);
  EXPECT_EQ(recording.samples[1].time_ns, 8000000000);
  EXPECT_EQ(recording.samples[1].v[0], 0);
}

TEST(Recording, SkippedRowsKeepTheirPlaceInEvenTiming) {
  EXPECT_EQ(load("Acc,rate=10", "x,y,z\n1,1,1\nbad,1,1\n2,2,2\n").samples[1].time_ns, 200000000);
}

TEST(Recording, TimingIsReportedAndNotMended) {
  const Recording recording =
      load("Gyr,columns=t,x,y,z,time=ms",
           "0,0,0,0\n10,1,0,0\n10,2,0,0\n20,2,0,0\n15,3,0,0\n25,4,0,0\n55,5,0,0\n84,6,0,0\n94,7,0,0\n");
  const RecordingReport& report = recording.report;
  EXPECT_EQ(report.duplicate_times, 1u);
  EXPECT_EQ(report.times_back, 1u);
  EXPECT_EQ(report.first_back_line, 5u);
  EXPECT_EQ(report.repeated_values, 1u);
  EXPECT_EQ(report.gaps, 1u);  // 30 ms is three times the median, 29 ms is not
  EXPECT_DOUBLE_EQ(report.longest_gap_s, 0.03);
  EXPECT_DOUBLE_EQ(report.longest_gap_at_s, 0.025);
  EXPECT_EQ(report.longest_gap_line, 7u);
  EXPECT_DOUBLE_EQ(report.rate_hz, 100);
  EXPECT_EQ(recording.samples[2].time_ns, recording.samples[1].time_ns);
  EXPECT_EQ(recording.samples[4].time_ns, 15000000);
}

TEST(Recording, AssumptionsAboutTimeAreReported) {
  const struct {
    const char* text;
    const char* unit;
  } kCases[] = {
      {"time,x,y,z\n1699734109763,1,2,3\n1699734109773,1,2,3\n", "ms"},
      {"time,x,y,z\n1699734109763076400,1,2,3\n1699734109773076400,1,2,3\n", "ns"},
      {"time,x,y,z\n10,1,2,3\n20,1,2,3\n", "ms"},
      {"time,x,y,z\n0.5,1,2,3\n0.51,1,2,3\n", "s"},
  };
  for (const auto& c : kCases) {
    const Recording recording = load("Acc", c.text);
    EXPECT_EQ(recording.samples[1].time_ns, 10000000) << c.text;
    EXPECT_EQ(recording.report.time_unit, c.unit);
    EXPECT_THAT(recording.report.notes, ::testing::Contains(HasSubstr("time unit not told")));
  }
}

// 200 samples of small noise around (x, y, z), in a fixed pattern.
std::string noisy(double x, double y, double z, double noise) {
  std::ostringstream text;
  text << "t (s),x,y,z\n";
  for (int i = 0; i < 200; ++i) {
    text << i * 0.01 << ',' << x + noise * (i * 7 % 11 - 5) << ',' << y + noise * (i * 5 % 13 - 6) << ','
         << z + noise * (i * 3 % 7 - 3) << '\n';
  }
  return text.str();
}

TEST(Recording, SlipsOfUnitAndSignAreSuspected) {
  const struct {
    const char* options;
    std::string text;
    std::vector<std::string> codes;
  } kCases[] = {
      {"Acc", noisy(0.1, 0.1, 9.8, 0.01), {}},
      {"Acc", noisy(0.1, -9.8, 0.3, 0.01), {"opposite_sign"}},
      {"Acc", noisy(0, 0, -9.8, 0.01), {"opposite_sign"}},
      {"Acc,sign=-", noisy(0, 0, -9.8, 0.01), {}},
      {"Acc2", noisy(0, 0, -9.8, 0.01), {}},
      {"Acc2", noisy(0, 0, 9.8, 0.01), {"opposite_sign"}},
      {"Acc", noisy(0, 0, 0.99, 0.001), {"looks_like_g"}},
      {"Acc", noisy(0, 0, -0.99, 0.001), {"looks_like_g", "opposite_sign"}},
      {"Acc,unit=g", noisy(0, 0, 0.99, 0.001), {}},
      {"Acc,unit=g", noisy(0, 0, 9.8, 0.01), {"looks_like_m_s2"}},
      {"Acc", noisy(0, 0, 16384, 20), {"implausible"}},
      {"Acc,unit=0.000598", noisy(0, 0, 16384, 20), {}},
      {"Acc", noisy(0, 0, 0, 0.3), {"gravity_removed"}},
      {"Acc", noisy(0, 0, 9.8, 0), {"constant"}},
      {"Gyr", noisy(0.01, 0.003, -0.002, 0.0004), {}},
      {"Gyr", noisy(0.02, 0.01, 0, 0.02), {"looks_like_degrees"}},
      {"Gyr", noisy(0, 100, 0, 20), {"looks_like_degrees"}},
      {"Gyr,unit=deg/s", noisy(0.02, 0.01, 0, 0.02), {}},
      {"Gyr,unit=deg/s", noisy(0.001, 0.001, 0, 0.0002), {"looks_like_radians"}},
      {"Bar", "t (s),pressure\n0,101325\n1,101326\n", {"looks_like_pa"}},
      {"Bar", "t (s),pressure\n0,101.3\n1,101.4\n", {"looks_like_kpa"}},
      {"Bar", "t (s),pressure\n0,1013\n1,1013.1\n", {}},
      {"Bar,unit=Pa", "t (s),pressure\n0,1013\n1,1013.1\n", {"looks_like_hpa"}},
      {"Acc",
       "t (s),Linear Acceleration x (m/s^2),Linear Acceleration y (m/s^2),Linear Acceleration z (m/s^2)\n"
       "0,0.1,0,0\n1,0.2,0,0\n",
       {"gravity_removed"}},
  };
  for (const auto& c : kCases) {
    std::vector<std::string> codes;
    for (const auto& slip : load(c.options, c.text).report.slips) codes.push_back(slip.code);
    EXPECT_EQ(codes, c.codes) << c.options << "\n" << c.text.substr(0, 80);
  }
}

TEST(Recording, ReportReachesPeopleAndPrograms) {
  const RecordingReport report = load("Acc,time=s", "time,x,y,z\n0,0,0,1\n1,0,0,0.98\nx,0,0,1\n1,0,0,0.99\n").report;
  const auto lines = report.lines();
  EXPECT_THAT(lines, ::testing::Each(::testing::StartsWith("log.csv: ")));
  EXPECT_THAT(lines, ::testing::Contains(HasSubstr("magnitude 0.99 looks like g: give unit=g")));
  EXPECT_THAT(lines, ::testing::Contains(HasSubstr("1 row of 4 skipped: line 4 ('x' is not a number)")));
  const Json::Value json = report.json();
  EXPECT_EQ(json["slips"][0]["code"].asString(), "looks_like_g");
  EXPECT_EQ(json["duplicate_times"].asInt(), 1);
  EXPECT_EQ(json["skipped"][0]["line"].asInt(), 4);
  EXPECT_NEAR(json["mean"][2].asDouble(), 0.99, 1e-7);
}

}  // namespace
}  // namespace phone
