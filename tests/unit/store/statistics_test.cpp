// Every statistic against one that is worked out here, from the values themselves.
#include "quality/statistics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <soci/sqlite3/soci-sqlite3.h>

#include <array>
#include <cmath>
#include <functional>
#include <random>

#include "files/app_error.h"
#include "quality/comparison.h"
#include "quality/control_chart.h"
#include "records.h"
#include "store/run_id.h"

namespace factory::store {
namespace {

using record::Outcome;
using ::testing::_;
using ::testing::DoubleNear;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::FieldsAre;
using ::testing::Pointwise;

constexpr long long kDayMs = 86400000;
constexpr long long kMidnight = 20000 * kDayMs;

// In long double and in two passes.
struct Expected {
  explicit Expected(const std::vector<double>& values) {
    long double sum = 0;
    for (const double v : values) sum += v;
    const long double m = sum / static_cast<long double>(values.size());
    long double squares = 0;
    for (const double v : values) squares += (v - m) * (v - m);
    mean = static_cast<double>(m);
    sigma = static_cast<double>(std::sqrt(squares / static_cast<long double>(values.size() - 1)));
  }
  double mean, sigma;
};

class StatisticsTest : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override { store_ = std::make_unique<Store>(fresh_place(GetParam(), folder_)); }
  void put(const record::Run& run) { ASSERT_TRUE(store_->put(run, false)); }
  void put(const MadeRun& run) { put(record_of(run)); }
  Statistics ask(const Filter& filter = {}, const Choices& choices = {}) {
    return statistics(&store_->database(), filter, choices);
  }

  Folder folder_;
  std::unique_ptr<Store> store_;
};
INSTANTIATE_TEST_SUITE_P(, StatisticsTest, testing::ValuesIn(kinds()), [](const auto& kind) { return kind.param; });

TEST_P(StatisticsTest, MomentsKeepTheirDigits) {
  struct Case {
    const char* name;
    double centre, sigma, first;
  };
  // The first value is what the sums are taken about: also when it lies far off, or a million sigmas.
  const Case cases[] = {{"usual", 0.5, 0.1, 0.5},
                        {"far from zero", 1013.25, 1e-5, 1013.25},
                        {"first far off", 5e6, 1e-3, 0},
                        {"first an outlier", 1, 1e-4, 1e9}};
  std::mt19937 random(7);
  for (const Case& c : cases) {
    std::vector<double> values;
    std::normal_distribution<double> spread(c.centre, c.sigma);
    for (int i = 0; i < 60; ++i) {
      values.push_back(i == 0 ? c.first : spread(random));
      // The stray first value lies on a day of its own, which the second pass is for.
      put(MadeRun{.started_ms = kMidnight + (i == 0 ? 0 : kDayMs * (1 + i % 3)) + i,
                  .attempts = {{{c.name, values.back(), 0, 1e10}}}});
    }
    const Filter filter = {.since_ms = kMidnight + (c.first == c.centre ? 0 : kDayMs), .measurement = c.name};
    if (c.first != c.centre) values.erase(values.begin());
    const std::vector<Characteristic> found = ask(filter).characteristics;
    ASSERT_EQ(found.size(), 1U) << c.name;
    const Expected wanted(values);
    const Moments& m = found[0].all;
    EXPECT_EQ(m.count, static_cast<long long>(values.size()));
    EXPECT_NEAR(m.mean, wanted.mean, 1e-12 * std::abs(wanted.mean)) << c.name;
    EXPECT_NEAR(*m.sigma(), wanted.sigma, 1e-7 * wanted.sigma) << c.name;
    EXPECT_EQ(m.least, *std::min_element(values.begin(), values.end())) << c.name;
    EXPECT_EQ(m.most, *std::max_element(values.begin(), values.end())) << c.name;
  }
}

// Of runs in the order of their ids.
Yield counted(const std::vector<record::Run>& runs, const std::function<bool(const record::Run&)>& wanted) {
  std::map<std::string, std::vector<bool>> phones;
  Yield out;
  for (const record::Run& run : runs) {
    if (!wanted(run)) continue;
    out.errors += run.outcome == Outcome::error ? 1 : 0;
    out.aborted += run.outcome == Outcome::aborted ? 1 : 0;
    if (run.outcome == Outcome::aborted || run.outcome == Outcome::error) continue;
    phones[run.plan.name + "/" + (run.serial.empty() ? run.id : run.serial)].push_back(run.outcome == Outcome::passed);
    ++out.runs;
  }
  for (const auto& [phone, passed] : phones) {
    ++out.units;
    out.passed += passed.back() ? 1 : 0;
    const auto at = std::find(passed.begin(), passed.end(), true) - passed.begin();
    const bool ever = at < static_cast<long>(passed.size());
    out.first_passed += ever && at == 0 ? 1 : 0;
    out.second_passed += ever && at <= 1 ? 1 : 0;
    out.third_passed += ever && at <= 2 ? 1 : 0;
  }
  return out;
}

auto figures(const Yield& y) {
  return std::tuple(y.units, y.passed, y.first_passed, y.second_passed, y.third_passed, y.runs, y.errors, y.aborted);
}

TEST_P(StatisticsTest, YieldsAreThoseOfACount) {
  std::mt19937 random(5);
  std::vector<record::Run> runs;
  for (int i = 0; i < 250; ++i) {
    MadeRun run;
    // Half of the phones come once; the others come again, also to another station and in another plan.
    const int phone = i % 2 == 0 ? 1000 + i : static_cast<int>(random() % 40);
    run.serial = phone == 0 ? "" : std::to_string(phone);
    run.started_ms = kMidnight + static_cast<long long>(random() % 400) * 3600000 + i;
    if (i % 50 == 0) run.started_ms = kMidnight + i / 10 * kDayMs;  // exactly where a day begins
    run.plan = random() % 3 == 0 ? "final" : "first";
    run.station = std::string(1, static_cast<char>('a' + random() % 3));
    run.verdict =
        std::array{Outcome::passed, Outcome::passed, Outcome::failed, Outcome::aborted, Outcome::error}[random() % 5];
    run.profile = random() % 2 == 0 ? "other" : "reference";
    run.version = random() % 2 == 0 ? "1" : "2";
    runs.push_back(record_of(run));
    put(runs.back());
  }
  std::sort(runs.begin(), runs.end(), [](const auto& a, const auto& b) { return a.id < b.id; });
  const auto time_of = [](const record::Run& run) { return time_of_id_ms(run.id); };
  const Filter filters[] = {{},
                            {.station = "b"},
                            {.plan = "final"},
                            {.since_ms = time_of(runs[70])},
                            {.until_ms = time_of(runs[150])},
                            {.station = "b", .plan = "final", .profile = "other"},
                            {.since_ms = time_of(runs[70]), .until_ms = time_of(runs[150]), .version = "2"},
                            {.since_ms = kMidnight + 5 * kDayMs, .until_ms = kMidnight + 10 * kDayMs}};
  for (const Filter& filter : filters) {
    SCOPED_TRACE(&filter - filters);
    const auto passes = [&](const record::Run& run) {
      return (filter.station.empty() || run.station == filter.station) &&
             (filter.plan.empty() || run.plan.name == filter.plan) &&
             (filter.profile.empty() || run.phone.fact("profile") == filter.profile) &&
             (filter.version.empty() || run.application.version == filter.version) &&
             (!filter.since_ms || time_of(run) >= *filter.since_ms) &&
             (!filter.until_ms || time_of(run) < *filter.until_ms);
    };
    const Statistics found = ask(filter);
    EXPECT_EQ(figures(found.yield), figures(counted(runs, passes)));
    const auto those = [&](Outcome verdict) {
      return std::count_if(runs.begin(), runs.end(),
                           [&](const auto& run) { return passes(run) && run.outcome == verdict; });
    };
    const RunCounts& r = found.runs;
    EXPECT_EQ(
        std::tuple(r.passed, r.failed, r.errors, r.aborted),
        std::tuple(those(Outcome::passed), those(Outcome::failed), those(Outcome::error), those(Outcome::aborted)));
    long long values = 0;  // none of those that did not judge
    for (const Characteristic& each : found.characteristics) values += each.all.count;
    EXPECT_EQ(values, r.passed + r.failed);
    const auto expect_part = [&](const Yield& yield, const auto& part, auto part_of) {
      const auto in_it = [&](const auto& run) { return passes(run) && part_of(run) == part; };
      EXPECT_EQ(figures(yield), figures(counted(runs, in_it))) << part;
    };
    for (const auto& [plan, yield] : found.by_plan) expect_part(yield, plan, [](auto& run) { return run.plan.name; });
    for (const auto& [station, yield] : found.by_station)
      expect_part(yield, station, [](auto& run) { return run.station; });
    for (const auto& [day, its] : found.by_day)
      expect_part(its.yield, day, [](auto& run) { return day_of_id(run.id); });
    EXPECT_EQ(found.by_station.size(), filter.station.empty() ? 3U : 1U);
  }
}

TEST_P(StatisticsTest, ParetoCountsFirstFailures) {
  const std::pair<const char*, int> failing[] = {{"noise", 3}, {"residual", 5}, {"", 1}};
  for (const auto& [name, count] : failing) {
    std::vector<MadeValue> values = {{"fine", 0, -1, 1}};
    if (*name != '\0') values.insert(values.end(), {{name, 9, -1, 1}, {"later", 9, 0, 1}});
    for (int i = 0; i < count; ++i) put(MadeRun{.verdict = Outcome::failed, .attempts = {values}});
  }
  EXPECT_THAT(ask().failures,
              ElementsAre(FieldsAre("Acc", "residual x", 5), FieldsAre("Acc", "noise x", 3), FieldsAre("Acc", "", 1)));
}

// A phone that passed at its second attempt; one that failed and then passed; one that passed and then failed; and one
// whose first attempt judged nothing.
TEST_P(StatisticsTest, ViewsSayWhoseValuesCount) {
  int minutes = 0;
  const auto put_run = [&](const char* serial, Outcome verdict, std::vector<double> attempts, bool error = false) {
    MadeRun run{.serial = serial, .started_ms = kMidnight + ++minutes * 60000, .verdict = verdict, .attempts = {}};
    for (const double value : attempts) run.attempts.push_back({{"residual", value, -1, 1}});
    record::Run made = record_of(run);
    if (error) made.steps[0].attempts[0].outcome = Outcome::error;
    put(made);
  };
  put_run("A", Outcome::passed, {100, 0.5});
  put_run("B", Outcome::failed, {40, 20});
  put_run("B", Outcome::passed, {0.25});
  put_run("C", Outcome::passed, {0.125});
  put_run("C", Outcome::failed, {3});
  put_run("D", Outcome::passed, {7, 0.75}, true);
  const std::tuple<Attempts, std::vector<double>, long long> cases[] = {
      {Attempts::first, {100, 40, 0.25, 0.125, 3}, 3},
      {Attempts::last, {0.5, 20, 0.25, 0.125, 3, 0.75}, 2},
      {Attempts::passing, {0.5, 0.25, 0.75}, 0}};
  for (const auto& [attempts, values, failed] : cases) {
    SCOPED_TRACE(static_cast<int>(attempts));
    const Characteristic found = ask({}, {.attempts = attempts}).characteristics.at(0);
    EXPECT_EQ(found.all.count, static_cast<long long>(values.size()));
    EXPECT_NEAR(found.all.mean, Expected(values).mean, 1e-12);
    EXPECT_EQ(found.failed, failed);
  }
  // C's later failure is not asked for.
  EXPECT_EQ(ask({.until_ms = kMidnight + 5 * 60000}, {.attempts = Attempts::passing}).characteristics[0].all.count, 3);
}

TEST_P(StatisticsTest, OutliersPointToTheirRunsAndCanBeLeftOut) {
  std::mt19937 random(4);
  std::normal_distribution<double> spread(0, 1);
  std::vector<double> kept;
  for (int i = 0; i < 200; ++i) {
    const double value = i == 17 ? 397 : i == 60 ? -15 : std::clamp(spread(random), -3.0, 3.0);
    put(MadeRun{.serial = "S" + std::to_string(i),
                .started_ms = kMidnight + i % 5 * kDayMs + i,
                .attempts = {{{"residual", value, -10, 10}}}});
    if (i != 17 && i != 60) kept.push_back(value);
  }
  const Statistics with = ask();
  const Statistics without = ask({}, {.without_outliers = true});
  for (const Statistics& s : {with, without}) {
    const Characteristic& c = s.characteristics.at(0);
    EXPECT_EQ(c.outlier_count, 2);
    ASSERT_THAT(c.outliers, ElementsAre(Field(&Outlier::serial, "S17"), Field(&Outlier::serial, "S60")));
    EXPECT_EQ(c.outliers[1].run_id.size(), 36U);
    EXPECT_NEAR(c.outliers[0].distance, (397 - c.middle.median) / c.middle.sigma, 1e-9);
    EXPECT_NEAR(c.middle.sigma, 1, 0.15);
  }
  EXPECT_EQ(with.characteristics[0].all.count, 200);
  EXPECT_LT(with.characteristics[0].line.capability.ppk->value, 0.2);
  EXPECT_FALSE(with.characteristics[0].is_normal());
  const Expected wanted(kept);
  const Characteristic& c = without.characteristics[0];
  EXPECT_EQ(c.all.count, 198);
  EXPECT_EQ(c.looked_at, 198);
  EXPECT_NEAR(*c.all.sigma(), wanted.sigma, 1e-9);
  EXPECT_NEAR(c.line.capability.ppk->value, (10 - std::abs(wanted.mean)) / 3 / wanted.sigma, 1e-9);
  EXPECT_TRUE(c.is_normal()) << c.normality->p;
}

// Thirty days of ten values: one measurement moves by three sigmas after the 26th, one never; a duration is no property
// of phones. Of the values about every third is fetched, but every outlier is counted.
TEST_P(StatisticsTest, ChangesAreFoundAmongManyCharts) {
  std::mt19937 random(8);
  std::normal_distribution<double> spread(0, 1);
  for (int i = 0; i < 300; ++i) {
    const double late = i >= 260 ? 3 : 0;
    record::Run made = record_of({.station = i % 2 == 0 ? "north" : "south",
                                  .started_ms = kMidnight + i / 10 * kDayMs + i,
                                  .attempts = {{{"steady", i % 100 == 50 ? 50 : spread(random), -99, 99},
                                                {"moved", late + spread(random), -99, 99},
                                                {"duration", 1.5, 0, 2}}}});
    made.steps[0].attempts[0].measurements[2].unit = "s";
    put(made);
  }
  const Statistics found = ask({}, {.without_outliers = true, .single_values = 100});
  ASSERT_EQ(found.characteristics.size(), 2U);
  const Characteristic& steady = found.characteristics[0];
  EXPECT_FALSE(steady.line.changed);
  EXPECT_EQ(steady.outlier_count, 3);
  EXPECT_EQ(steady.all.count, 297);
  EXPECT_GT(steady.looked_at, 60);
  EXPECT_LT(steady.looked_at, 150);
  const Characteristic& moved = found.characteristics[1];
  EXPECT_TRUE(moved.line.changed);
  EXPECT_TRUE(moved.stations.at("north").changed);
  EXPECT_EQ(moved.line.chart.baseline, kBaseline);
  EXPECT_EQ(moved.line.chart.points[25].rule, 0);
  ASSERT_EQ(found.durations.size(), 1U);
  EXPECT_EQ(found.durations[0].all.count, 300);
  EXPECT_EQ(found.durations[0].all.mean, 1.5);
}

// A plan's version draws limits closer; what is looked at again later in the plan has limits of its own, and so has
// another kind of phones.
TEST_P(StatisticsTest, LimitsAreThoseOfTheirTime) {
  for (int i = 0; i < 60; ++i) {
    const bool other = i % 10 == 9;
    const double reach = other ? 9 : i < 33 ? 2 : 1;
    record::Run made = record_of({.started_ms = kMidnight + i / 10 * kDayMs + i,
                                  .profile = other ? "other" : "reference",
                                  .attempts = {{{"residual", 1.5 - i % 3, -reach, reach}}}});
    made.steps.push_back(made.steps[0]);
    made.steps[1].index = 2;
    made.steps[1].attempts[0].measurements[0].high = 5;
    put(made);
  }
  const std::vector<Characteristic> found = ask().characteristics;
  ASSERT_EQ(found.size(), 4U);
  const Characteristic& c = found[0];
  EXPECT_NEAR(c.line.capability.pp->value * 6 * *c.all.sigma(), 2, 1e-9);
  EXPECT_THAT(c.limits_then, ElementsAre(FieldsAre(Limits(-2, 2), 30, _, _, "2024-10-04", "2024-10-07"),
                                         FieldsAre(Limits(-1, 1), 24, _, _, "2024-10-07", _)));
  // Of the day on which they changed, most values.
  EXPECT_EQ(c.line.limits_in(20002), Limits(-2, 2));
  EXPECT_EQ(c.line.limits_in(20003), Limits(-1, 1));
  EXPECT_EQ(c.stations.at("north").limits_in(20002), Limits(-2, 2));
  EXPECT_EQ(c.failed, 8);  // by the closer limits, since they hold
  std::vector<std::tuple<double, double, long long>> others;
  for (const Characteristic& each : found) others.emplace_back(*each.low, *each.high, each.all.count);
  EXPECT_THAT(others,
              ElementsAre(FieldsAre(-1, 1, 54), FieldsAre(-1, 5, 54), FieldsAre(-9, 9, 6), FieldsAre(-9, 5, 6)));
}

Days days_of(const std::vector<double>& means) {
  Days out;
  // Four values a day with a scatter of one within the day: a mean has half of it.
  for (size_t i = 0; i < means.size(); ++i) out[static_cast<int>(i)] = {4, means[i], 3, means[i] - 1, means[i] + 1};
  return out;
}

Days one_a_day(const std::vector<double>& values) {
  Days out;
  for (const double value : values) out[static_cast<int>(out.size())] = {1, value, 0, value, value};
  return out;
}

// One day of values with such a mean and deviation.
Days one_day(long long count, double mean, double sigma) {
  return {{0, {count, mean, sigma * sigma * static_cast<double>(count - 1), mean, mean}}};
}

TEST(CapabilityTest, WorkedExamples) {
  // Montgomery, Introduction to Statistical Quality Control, 6th edition, examples 8.4 and 8.5: 2.29 from 1.57 to 3.01;
  // 1.33 from 0.88 to 1.78. The book goes on from the rounded 2.29.
  const Capability pp = capability(one_day(20, 50, 1.75), 38, 62);
  EXPECT_THAT(*pp.pp, FieldsAre(DoubleNear(2.29, 0.005), DoubleNear(1.57, 0.0051), DoubleNear(3.01, 0.005)));
  const Capability ppk = capability(one_day(20, 0, 1), {}, 3 * 1.33);
  EXPECT_FALSE(ppk.pp || ppk.cp);
  EXPECT_THAT(*ppk.ppk, FieldsAre(DoubleNear(1.33, 1e-12), DoubleNear(0.88, 0.005), DoubleNear(1.78, 0.005)));
  // By hand: two days of ten about 9 and 11, each with a deviation of 1. Within: sqrt(18 / 18) = 1. Overall: sqrt((18 +
  // 20 x 1) / 19) = sqrt(2). Limits 4 and 13: the nearer one is 3 off.
  const Capability two = capability({{0, {10, 9, 9, 8, 10}}, {1, {10, 11, 9, 10, 12}}}, 4, 13);
  EXPECT_NEAR(two.pp->value, 9 / 6.0 / std::sqrt(2), 1e-12);
  EXPECT_NEAR(two.ppk->value, 1 / std::sqrt(2), 1e-12);
  EXPECT_NEAR(two.cp->value, 1.5, 1e-12);
  EXPECT_NEAR(two.cpk->value, 1, 1e-12);
  EXPECT_EQ(two.within.freedom, 18);
  // Tables of chi-square with 18 degrees of freedom: 8.231 and 31.526.
  EXPECT_NEAR(two.cp->low, 1.5 * std::sqrt(8.231 / 18), 1e-4);
  EXPECT_NEAR(two.cp->high, 1.5 * std::sqrt(31.526 / 18), 1e-4);
  // Neither limits nor scatter.
  EXPECT_FALSE(capability(one_day(20, 0, 1), {}, {}).ppk);
  EXPECT_FALSE(capability(one_day(20, 0, 0), -1, 1).ppk);
  EXPECT_FALSE(capability(one_a_day({1}), -1, 1).ppk);
}

Moments moments_of(const std::vector<double>& values) {
  Moments out;
  for (const double value : values) out.add({1, value, 0, value, value});
  return out;
}

// SciPy 1.10.1 of the same values: ttest_ind without equal variances, and the distributions' quantiles.
TEST(ComparisonTest, HasItsDigits) {
  Contrast c;
  c.sides = {moments_of({1.2, 0.9, 1.4, 1.1, 1.3}), moments_of({1.6, 1.1, 2.0, 1.5, 1.9, 1.2, 2.2})};
  contrast(&c);
  const std::vector<double> found = {
      c.difference->value, c.difference->low, c.difference->high, c.ratio->value, c.ratio->low, c.ratio->high, c.size};
  EXPECT_THAT(found, Pointwise(DoubleNear(1e-9), {0.4628571429, 0.0604137146, 0.8653005711, 2.1404963400, 0.7058038966,
                                                  5.3414546128, 1.3559927941}));
  EXPECT_TRUE(c.differs());
}

TEST(ComparisonTest, SaysNothingOfWhatItCannotKnow) {
  const std::tuple<std::vector<double>, std::vector<double>, bool, bool> kRows[] = {{{1}, {1, 2}, false, false},
                                                                                    {{}, {1, 2}, false, false},
                                                                                    {{1, 1}, {2, 2}, false, false},
                                                                                    {{1, 1}, {1, 2}, true, false},
                                                                                    {{1, 2}, {1, 2}, true, true}};
  for (const auto& [a, b, difference, ratio] : kRows) {
    Contrast c;
    c.sides = {moments_of(a), moments_of(b)};
    contrast(&c);
    EXPECT_EQ(c.difference.has_value(), difference);
    EXPECT_EQ(c.ratio.has_value(), ratio);
    EXPECT_FALSE(c.differs());
  }
}

// The sides are those that were asked for, with all values of each, whose limits are another version's.
TEST_P(StatisticsTest, ComparesTwoStations) {
  for (int i = 0; i < 60; ++i) {
    const bool south = i % 3 == 0;
    put(MadeRun{.station = south ? "south" : "north",
                .started_ms = kMidnight + i,
                .attempts = {{{"residual", (south ? 12.5 : 10) + i % 2, i < 30 ? 0.0 : 1.0, 20}}}});
  }
  const Comparison found = compare(&store_->database(), {}, {"station=north", "station=south"}, {});
  ASSERT_EQ(found.contrasts.size(), 1U);
  const Contrast& c = found.contrasts[0];
  EXPECT_EQ(std::tuple(c.sides[0].count, c.sides[0].mean), std::tuple(40, 10.5));
  EXPECT_EQ(std::tuple(c.sides[1].count, c.sides[1].mean), std::tuple(20, 13));
  EXPECT_EQ(c.difference->value, 2.5);
  EXPECT_TRUE(c.differs());
}

// NIST/SEMATECH e-Handbook of Statistical Methods, 6.3.2.2: ten flow rates, mean moving range 1.8778.
TEST(CapabilityTest, SingleValuesScatterByTheirSteps) {
  const Days flow = one_a_day({49.6, 47.6, 49.9, 51.3, 47.8, 51.2, 52.6, 52.4, 53.6, 52.1});
  const Capability k = capability(flow, {}, 55.8041);
  EXPECT_TRUE(k.within.moving_range);
  EXPECT_NEAR(k.within.sigma, 1.8778 / 1.128, 1e-3);
  EXPECT_NEAR(k.cpk->value, 1, 1e-3);
}

// By hand: a slope of 1.5, distances of 1/6, 1/3 and 1/6 from the line, Student's quantile of one degree 12.7062.
TEST(CapabilityTest, ADayMovesTheMean) {
  const Index drift = drift_a_day(days_of({1, 2, 4}), 1).value();
  EXPECT_NEAR(drift.value, 1.5, 1e-12);
  EXPECT_NEAR(drift.high - drift.value, 12.7062047 * std::sqrt(4.0 / 6 / 8), 1e-6);
  EXPECT_NEAR(drift.value - drift.low, drift.high - drift.value, 1e-9);
  EXPECT_NEAR(drift_a_day(days_of({1, 2, 4}), 3)->value, 4.5, 1e-12);
  EXPECT_FALSE(drift_a_day(days_of({1, 2}), 1) || drift_a_day(days_of({1, 2, 4}), 0));
}

// Of none, all and some; by hand from the formula with 1.96 squared = 3.8415.
TEST(CapabilityTest, SharesHaveTheirIntervals) {
  EXPECT_NEAR(share_of(0, 10).high, 3.8414588 / 13.8414588, 1e-7);
  EXPECT_EQ(share_of(0, 10).low, 0);
  EXPECT_NEAR(share_of(10, 10).low, 10 / 13.8414588, 1e-7);
  EXPECT_EQ(share_of(10, 10).high, 1);
  EXPECT_NEAR(share_of(50, 100).low, 0.5 - 1.9599640 * std::sqrt(0.0025 + 3.8414588 / 40000) / 1.038414588, 1e-7);
}

TEST(CapabilityTest, OneWildValueMovesNoMedian) {
  const Robust r = robust({1, 2, 3, 4, 5, 6, 397});
  EXPECT_EQ(r.median, 4);
  EXPECT_NEAR(r.sigma, 1.4826 * 2, 1e-9);
  const Robust coarse = robust({2, 2, 2, 2, 2, 3, 9});
  EXPECT_NEAR(coarse.sigma, 1.2533 * 8 / 7, 1e-9);
  EXPECT_EQ(robust({2, 2, 2}).sigma, 0);
}

TEST(CapabilityTest, NormalityHasItsTabledDigits) {
  // D'Agostino and Stephens, table 4.7: upper tail of the corrected statistic.
  const double tabled[][2] = {{0.470, 0.25}, {0.561, 0.15},  {0.631, 0.10},
                              {0.752, 0.05}, {0.873, 0.025}, {1.035, 0.01}};
  for (const auto& [a2, p] : tabled) EXPECT_NEAR(anderson_darling_p(a2) / p, 1, 0.03) << a2;
  EXPECT_LT(anderson_darling_p(1e6), 1e-20);
  // Weights of eleven men (Shapiro and Wilk, Biometrika 52, 1965).
  const auto men = normality({148, 154, 158, 160, 161, 162, 166, 170, 182, 195, 236});
  EXPECT_NEAR(men->a2 / (1 + 0.75 / 11 + 2.25 / 121), 0.9468, 5e-4);
  EXPECT_LT(men->p, 0.02);
  // Of two thousand values one is 44.7 deviations off: the share above it is below the least number there is. What is
  // expected is by scipy.stats.norm.logcdf and logsf.
  std::vector<double> wild(1999);
  for (size_t i = 0; i < wild.size(); ++i) wild[i] = static_cast<double>(i);
  wild.push_back(1e9);
  EXPECT_NEAR(normality(wild)->a2, 772.5474421044, 1e-7);
  EXPECT_FALSE(normality({1, 2, 3, 4, 5, 6, 7}));
  EXPECT_FALSE(normality(std::vector<double>(20, 1.5)));
}

TEST(CapabilityTest, HistogramHasEveryValue) {
  const Histogram h = histogram({-400, 0, 1, 1, 2, 3, 4, 4}, {1.5, 1});
  EXPECT_EQ(h.from, -4.5);
  EXPECT_EQ(h.to, 4);
  EXPECT_EQ(h.bins, (std::vector<long long>{1, 0, 1, 3, 3}));
  EXPECT_TRUE(histogram({2, 2}, {2, 0}).bins.empty());
  EXPECT_TRUE(histogram({}, {}).bins.empty());
}

TEST(CapabilityTest, PercentilesStandInWhereValuesAreNotNormal) {
  std::vector<double> values(741);
  EXPECT_FALSE(percentiles({values.begin() + 1, values.end()}));
  for (size_t i = 0; i < values.size(); ++i) values[i] = static_cast<double>(i);
  // 0.135 % of 740 steps is one step of 0.999.
  const Percentiles at = *percentiles(values);
  EXPECT_NEAR(at.low, 0.999, 1e-9);
  EXPECT_EQ(at.middle, 370);
  EXPECT_NEAR(at.high, 739.001, 1e-9);
  EXPECT_NEAR(*percentile_pp(at, 0, 740), 740 / 738.002, 1e-9);
  EXPECT_NEAR(*percentile_ppk(at, {}, 500), 130 / 369.001, 1e-9);
  EXPECT_NEAR(*percentile_ppk(at, 0, 500), 130 / 369.001, 1e-9);
  EXPECT_FALSE(percentile_pp(at, {}, 500));
  EXPECT_FALSE(percentile_ppk(at, {}, {}));
}

TEST(ControlChartTest, RulesSoundWhenTheyAreMet) {
  // Means about zero, in half units a sigma of a mean; rules by day.
  const std::tuple<const char*, std::vector<double>, std::vector<int>> cases[] = {
      {"in order", {0.3, -0.3, 0.2, -0.2}, {0, 0, 0, 0}},
      {"beyond three sigma", {1.6, -0.4, -0.4, -0.4, -0.4}, {1, 0, 0, 0, 0}},
      {"two of three beyond two", {1.1, 0, 1.1, -0.55, -0.55, 0, -1.1}, {0, 0, 2, 0, 0, 0, 0}},
      {"opposite sides", {1.1, -1.1, 0, 1.1, -1.1}, {0, 0, 0, 0, 0}},
      {"four of five beyond one", {0.6, 0.6, 0, 0.6, 0.6, -0.6, -0.9, -0.9}, {0, 0, 0, 0, 3, 0, 0, 0}},
      {"eight on one side", {0.1, 0.1, 0.1, 0.1, 0.1, 0.1, 0.1, 0.1, -0.4, -0.4}, {0, 0, 0, 0, 0, 0, 0, 4, 0, 0}},
      {"exactly on the line", {1.5, -1.5}, {0, 0}},
  };
  for (const auto& [what, means, wanted] : cases) {
    const ControlChart chart = control_chart(days_of(means), Rules::western_electric);
    EXPECT_NEAR(chart.within.sigma, 1, 1e-12) << what;
    EXPECT_NEAR(chart.centre, 0, 0.051) << what;
    std::vector<int> rules;
    for (const ChartPoint& point : chart.points) rules.push_back(point.rule);
    EXPECT_EQ(rules, wanted) << what;
  }
  EXPECT_EQ(control_chart({}, Rules::western_electric).points.size(), 0U);
}

// About a baseline of mean 0 whose means have a deviation of a half.
TEST(ControlChartTest, NelsonsRulesAboutABaseline) {
  // The rule is of the last point; of all before it: none.
  const std::pair<int, std::vector<double>> kRows[] = {
      {11, {0.3, -1.6}},
      {12, {0.1, 0.3, 0.1, 0.3, 0.1, 0.1, 0.3, 0.1, 0.2}},
      {13, {-0.4, -0.3, -0.1, 0.1, 0.2, 0.3}},
      {13, {0.4, 0.3, 0.1, -0.1, -0.2, -0.3}},
      {14, {0.6, -0.3, 0.6, -0.3, 0.6, -0.3, 0.6, -0.3, 0.6, -0.3, 0.6, -0.3, 0.6, -0.3}},
      {15, {1.1, 0, 1.1}},
      {16, {0.6, 0.6, 0, 0.6, 0.6}},
      {17, {0.1, 0.2, 0.1, -0.1, -0.1, 0.1, 0.3, -0.2, -0.2, -0.1, 0.2, 0.3, 0.3, -0.2, -0.1}},
      {18, {0.6, 0.6, -0.6, 0.6, -0.6, -0.6, 0.6, 0.6}},
      {0, {0.4, 0.3, 0.1, -0.1, -0.2, 0.1, 0.5, 0.6, -0.5}},
      {0, {1.5, -1.5}},
  };
  Days baseline;
  for (const auto& [day, values] : days_of({0.2, -0.2})) baseline[day - 100] = values;
  for (const auto& [rule, means] : kRows) {
    const ControlChart chart = control_chart(days_of(means), Rules::nelson, baseline);
    EXPECT_TRUE(chart.frozen);
    EXPECT_EQ(chart.baseline, 2U);
    EXPECT_EQ(chart.centre, 0);
    EXPECT_EQ(chart.points.back().rule, rule);
    for (size_t i = 0; i + 1 < chart.points.size(); ++i) EXPECT_EQ(chart.points[i].rule, 0) << rule << " at " << i;
  }
}

// By hand: a mean of 2 after a baseline of eight values about 0.5, of which the average remembers nothing: 0.2 of the
// way, and 0.04 (1 / 4 + 1 / 8) of one value's variance.
TEST(ControlChartTest, AverageAboutABaselineOfOtherDays) {
  const ControlChart chart = control_chart(days_of({2}), Rules::ewma, {{-7, {4, 0, 3, 0, 0}}, {-6, {4, 1, 3, 0, 0}}});
  EXPECT_EQ(chart.centre, 0.5);
  EXPECT_NEAR(chart.points[0].shown, 0.8, 1e-12);
  EXPECT_NEAR(chart.points[0].unit, std::sqrt(0.04 * 3 / 8), 1e-12);
}

// In Berlin, where a night of October has 25 hours. 2026-10-25T00:30Z is 02:30, and so is an hour later.
TEST(SubgroupsTest, AreOfLocalTime) {
  const char* const before = getenv("TZ");
  const std::string zone = before == nullptr ? "" : before;
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  const auto quarter = [](const char* time) {
    return static_cast<int>(parse_time_ms("", time) / Subgroups::kQuarterMs);
  };
  const std::vector<int> shifts = parse_shifts("22:00,06:00,14:00");
  const std::tuple<SubgroupBy, const char*, const char*> kRows[] = {
      {SubgroupBy::day, "2026-10-24T21:59", "2026-10-24"},
      {SubgroupBy::day, "2026-10-24T22:00", "2026-10-25"},
      {SubgroupBy::day, "2026-10-25T22:59", "2026-10-25"},
      {SubgroupBy::hour, "2026-10-25T00:30", "2026-10-25 02:00"},
      {SubgroupBy::hour, "2026-10-25T01:30", "2026-10-25 02:00"},
      {SubgroupBy::hour, "2026-10-25T02:30", "2026-10-25 03:00"},
      {SubgroupBy::shift, "2026-10-25T00:30", "2026-10-24 22:00"},
      {SubgroupBy::shift, "2026-10-25T04:59", "2026-10-24 22:00"},
      {SubgroupBy::shift, "2026-10-25T05:00", "2026-10-25 06:00"},
      {SubgroupBy::shift, "2026-10-25T21:00", "2026-10-25 22:00"}};
  for (const auto& [by, time, label] : kRows) {
    const Subgroups subgroups(by, shifts);
    EXPECT_EQ(subgroups.label(subgroups.of_time(quarter(time))), label) << time;
  }
  before == nullptr ? unsetenv("TZ") : setenv("TZ", zone.c_str(), 1);
  tzset();
  EXPECT_EQ(Subgroups().label(Subgroups().of_time(20000)), "2024-10-04");
  for (const char* wrong : {"", "6", "24:00", "06:60", "06:00,", "06:00,06:00", "06:00 14:00"})
    EXPECT_THROW(parse_shifts(wrong), AppError) << wrong;
}

// By hand: two runs of one phone and one of another; two looks at once, one of which ends later, and a calibration that
// begins within them.
TEST_P(StatisticsTest, SecondsOfAPhoneCountOnce) {
  for (int i = 0; i < 3; ++i) {
    const long long start_ms = kMidnight + i * 60000LL;
    record::Run made = record_of({.serial = i == 2 ? "B" : "A", .started_ms = start_ms});
    made.seconds = 10;
    const record::Step first = made.steps[0];
    made.steps.clear();
    const std::tuple<const char*, int, double> kSteps[] = {
        {"fixture", 0, 1}, {"verify", 1000, 3}, {"verify", 2000, 3}, {"calibrate", 4500, 2}, {"check", 7000, 0.25}};
    for (const auto& [kind, from_ms, seconds] : kSteps) {
      record::Step& step = made.steps.emplace_back(first);
      step.index = static_cast<int>(made.steps.size());
      step.kind = kind;
      step.attempts[0].seconds = seconds;
      step.attempts[0].started = record::Clock::time_point(std::chrono::milliseconds(start_ms + from_ms));
    }
    put(made);
  }
  const auto days = ask({}, {.times = true}).times;
  ASSERT_EQ(days.size(), 1U);
  const DayTimes& day = days.at(20000);
  EXPECT_EQ(day.phones, 2);
  EXPECT_EQ(day.runs, 3);
  EXPECT_EQ(day.seconds, 30);
  EXPECT_THAT(day.parts, testing::ElementsAre(6, 10.5, 3, 0.75));
}

// Golden phones and those that have to fail are in no figure but their own, nor what another verdict came to.
TEST_P(StatisticsTest, MarkedPhonesAreLeftOut) {
  for (int i = 0; i < 20; ++i) {
    for (const char* serial : {"G-1", "G-2", "bad", "P"}) {
      const bool marked = *serial != 'P';
      const double value = !marked ? 1 : *serial == 'G' ? 5.0 + i : 9;
      put(MadeRun{.serial = serial + (marked ? "" : std::to_string(i)),
                  .started_ms = kMidnight + i * kDayMs + (marked ? 1000 : 0),
                  .verdict = *serial == 'b' || i == 3 ? Outcome::failed : Outcome::passed,
                  .attempts = {{{"v", value, -99, 99}}}});
    }
  }
  Filter filter = {.marked = {{"golden", "G-?", {}, {}}, {"known bad", "[a-c]*", {}, {}}}};
  require_known(&store_->database(), &filter);
  const Statistics found = ask(filter);
  EXPECT_EQ(found.yield.units, 20);
  EXPECT_EQ(found.runs.failed, 1);
  EXPECT_EQ(found.characteristics.at(0).all.count, 20);
  EXPECT_EQ(found.characteristics.at(0).all.most, 1);
  ASSERT_EQ(found.marked.size(), 2U);
  EXPECT_EQ(found.marked[0].phones.serials, (std::vector<std::string>{"G-1", "G-2"}));
  EXPECT_EQ(found.marked[0].runs.passed, 38);
  EXPECT_EQ(found.marked[0].characteristics.at(0).line.chart.points.size(), 20U);
  EXPECT_NEAR(found.marked[0].characteristics.at(0).line.a_day.value().value, 1, 1e-9);
  EXPECT_EQ(found.marked[1].runs.failed, 20);
  EXPECT_EQ(found.marked[1].characteristics.at(0).all.mean, 9);
  filter.verdict = record::Outcome::failed;
  const Statistics failed = ask(filter);
  EXPECT_EQ(failed.characteristics.at(0).all.count, 1);
  EXPECT_EQ(failed.marked[0].characteristics.at(0).all.count, 2);
  filter.marked[0].pattern = "g*";
  EXPECT_THROW(require_known(&store_->database(), &filter), AppError);
}

// Two values in each of 30 hours of two lots; the last ten are off, which a baseline of the first ten says of each.
TEST_P(StatisticsTest, ChartsAreOfHoursAndLotsAndBaselines) {
  std::mt19937 random(5);
  std::normal_distribution<double> spread(0, 1);
  for (int i = 0; i < 60; ++i) {
    record::Run made = record_of(
        {.started_ms = kMidnight + i * 1800000LL, .attempts = {{{"v", spread(random) + (i >= 40 ? 5 : 0), -99, 99}}}});
    made.lot = i < 30 ? "late name, first" : "early name, last";
    put(made);
  }
  Choices choices;
  choices.subgroups = Subgroups(SubgroupBy::hour, parse_shifts("06:00"));
  const ControlChart hours = ask({}, choices).characteristics.at(0).line.chart;
  ASSERT_EQ(hours.points.size(), 30U);
  EXPECT_EQ(hours.points[3].values.count, 2);
  EXPECT_FALSE(hours.frozen);
  choices.baseline_ms = {kMidnight, kMidnight + 10 * 3600000LL};
  const ControlChart frozen = ask({.since_ms = kMidnight + 15 * 3600000LL}, choices).characteristics.at(0).line.chart;
  EXPECT_TRUE(frozen.frozen);
  EXPECT_EQ(frozen.baseline, 10U);
  ASSERT_EQ(frozen.points.size(), 15U);
  EXPECT_EQ(frozen.centre, ask({.until_ms = choices.baseline_ms->second}, choices).characteristics.at(0).all.mean);
  EXPECT_TRUE(frozen.points.front().rule == 0 && frozen.points.back().rule > 0);
  choices.subgroups = Subgroups(SubgroupBy::lot, {});
  const ControlChart lots = ask({}, choices).characteristics.at(0).line.chart;
  ASSERT_EQ(lots.points.size(), 2U);
  EXPECT_EQ(lots.points[0].when, "late name, first");
  EXPECT_EQ(lots.points[1].values.count, 30);
}

// By hand: days of four about 1, then 2: centre 1.5 of eight values, within 1. z: 1.4, 1.52. Two weights of 0.2 and
// 0.16 on means of a variance of 1/4, less the centre's share: 0.04 / 4 - 0.04 / 8 and 0.0656 / 4 - 0.36^2 / 8.
TEST(ControlChartTest, AverageMovesByAFifth) {
  const ControlChart chart = control_chart(days_of({1, 2}), Rules::ewma);
  EXPECT_EQ(chart.centre, 1.5);
  EXPECT_NEAR(chart.points[0].shown, 1.4, 1e-12);
  EXPECT_NEAR(chart.points[1].shown, 1.52, 1e-12);
  EXPECT_NEAR(chart.points[0].unit, std::sqrt(0.005), 1e-12);
  EXPECT_NEAR(chart.points[1].unit, std::sqrt(0.0164 - 0.0162), 1e-12);
  // Without scatter, without days, of one day: no alarm, and no p.
  for (const Days& days : {Days{}, days_of({1}), one_a_day({2, 2, 2})}) {
    const ControlChart none = control_chart(days, Rules::ewma);
    EXPECT_TRUE(none.in_control());
    EXPECT_FALSE(none.p);
  }
}

// Two thousand processes for each size of a subgroup: 100 days without a change, and 25 ahead of one by a standard
// deviation of single values, which ten days are given to find. The shares of docs/formats/store.md are those of ten
// thousand.
TEST(ControlChartTest, CriesWhenItShouldAndOnlyThen) {
  constexpr int kProcesses = 2000;
  for (const int n : {1, 2, 3, 5, 10, 50}) {
    std::mt19937_64 random(static_cast<unsigned>(n));
    std::normal_distribution<double> spread(0, 1 / std::sqrt(n));
    std::gamma_distribution<double> squares((std::max(2, n) - 1) / 2.0, 2);
    const auto days = [&](int from, int to, double mean, Days* out) {
      for (int day = from; day < to; ++day)
        out->insert_or_assign(day, Moments{n, mean + spread(random), n == 1 ? 0 : squares(random), 0, 0});
    };
    int cried = 0;
    int classic = 0;
    int nelson = 0;
    int found = 0;
    for (int i = 0; i < kProcesses; ++i) {
      Days steady;
      days(0, 100, 0, &steady);
      cried += control_chart(steady, Rules::ewma).in_control() ? 0 : 1;
      if (i < 1000) classic += control_chart(steady, Rules::western_electric).in_control() ? 0 : 1;
      if (i < 1000) nelson += control_chart(steady, Rules::nelson).in_control() ? 0 : 1;
      Days shifted;
      days(0, 25, 0, &shifted);
      days(25, 35, 1, &shifted);
      const ControlChart chart = control_chart(shifted, Rules::ewma);
      found += std::any_of(chart.points.begin() + 25, chart.points.end(), [](const auto& p) { return p.rule > 0; });
    }
    printf("n = %2d: cried %.1f %%, Western Electric %.0f %%, Nelson %.0f %%, found %.1f %%\n", n,
           100.0 * cried / kProcesses, classic / 10.0, nelson / 10.0, 100.0 * found / kProcesses);
    EXPECT_LT(cried, kProcesses / 20) << n;
    EXPECT_GT(found, n < 5 ? 0 : kProcesses * 9 / 10) << n;
  }
}

// Benjamini and Hochberg's own example (1995, section 4.1): of fifteen, the four least.
TEST(ControlChartTest, ManyChartsShareTheirFalseAlarms) {
  const std::vector<double> p = {0.0278, 0.0001, 0.0201, 0.0004, 0.0298, 0.0019, 0.0344, 0.0095,
                                 0.0459, 0.3240, 0.4262, 0.5719, 0.6528, 0.7590, 1.0000};
  EXPECT_EQ(false_discovery_cut(p), 0.0095);
  EXPECT_LT(false_discovery_cut({0.2, 0.06}), 0);
  EXPECT_LT(false_discovery_cut({}), 0);
}

// Between the question for the series and that for their values: the run counts the next time.
TEST(StatisticsFileTest, ARunThatIsStoredMeanwhileWaits) {
  Folder folder;
  const Uri uri = fresh_place("sqlite", folder);
  Store writer(uri);
  ASSERT_TRUE(writer.put(record_of({}), false));
  Database reader(uri, Database::Access::reading);
  const auto store_another = [](unsigned, void* store, void*, void* statement) {
    if (std::string_view(static_cast<const char*>(statement)).find("COUNT(m.value)") != std::string_view::npos)
      static_cast<Store*>(store)->put(record_of({.plan = "another"}), false);
    return 0;
  };
  auto* const backend = static_cast<soci::sqlite3_session_backend*>(reader.sql().get_backend());
  sqlite_api::sqlite3_trace_v2(backend->conn_, SQLITE_TRACE_STMT, store_another, &writer);
  EXPECT_EQ(statistics(&reader, {}).characteristics.size(), 1U);
  EXPECT_EQ(statistics(&writer.database(), {}).characteristics.size(), 2U);
}

}  // namespace
}  // namespace factory::store
