// Every statistic against one that is worked out here, from the values themselves.
#include "quality/statistics.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <random>

#include "quality/control_chart.h"
#include "records.h"
#include "store/run_id.h"

namespace factory::store {
namespace {

using record::Outcome;

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
  void put(const MadeRun& run) { ASSERT_TRUE(store_->put(record_of(run), false)); }
  Statistics ask(const Filter& filter = {}) { return statistics(&store_->database(), filter); }

  Folder folder_;
  std::unique_ptr<Store> store_;
};
INSTANTIATE_TEST_SUITE_P(, StatisticsTest, testing::ValuesIn(kinds()), [](const auto& kind) { return kind.param; });

TEST_P(StatisticsTest, CapabilityKeepsItsDigits) {
  struct Case {
    const char* name;
    double centre, sigma, first;
    double low, high;
  };
  // The first value is what the sums are taken about: also when it lies far off, or a million sigmas.
  const Case cases[] = {{"usual", 0.5, 0.1, 0.5, 0, 1},
                        {"far from zero", 1013.25, 1e-5, 1013.25, 1013.249, 1013.251},
                        {"first far off", 5e6, 1e-3, 0, 4999999, 5000001},
                        {"first an outlier", 1, 1e-4, 1e9, 0.999, 1.001}};
  std::mt19937 random(7);
  for (const Case& c : cases) {
    std::vector<double> values;
    std::normal_distribution<double> spread(c.centre, c.sigma);
    for (int i = 0; i < 60; ++i) {
      MadeRun run;
      // The stray first value lies on a day of its own, which the second pass is for.
      run.started_ms = kMidnight + (i == 0 ? 0 : kDayMs * (1 + i % 3)) + i;
      const double value = i == 0 ? c.first : spread(random);
      run.attempts = {{{c.name, value, c.low, c.high}}};
      put(run);
      values.push_back(value);
    }
    Filter filter;
    filter.measurement = c.name;
    filter.since_ms = kMidnight + (c.first == c.centre ? 0 : kDayMs);
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
    const double nearer = std::min(c.high - wanted.mean, wanted.mean - c.low);
    EXPECT_NEAR(*cp(m, found[0].low, found[0].high) * 6 * wanted.sigma / (c.high - c.low), 1, 1e-6) << c.name;
    EXPECT_NEAR(*cpk(m, found[0].low, found[0].high) * 3 * wanted.sigma / nearer, 1, 1e-6) << c.name;
  }
}

// Whatever was measured by then.
TEST_P(StatisticsTest, AnAttemptThatDidNotJudgeHasNoValueInIt) {
  for (const Outcome verdict : {Outcome::passed, Outcome::failed, Outcome::error, Outcome::aborted}) {
    MadeRun run;
    run.verdict = verdict;
    put(run);
  }
  const std::vector<Characteristic> found = ask().characteristics;
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].all.count, 2);
}

// Of runs in the order of their ids.
Yield counted(const std::vector<record::Run>& runs, const std::function<bool(const record::Run&)>& wanted) {
  std::map<std::string, std::vector<bool>> phones;
  Yield out;
  for (const record::Run& run : runs) {
    if (run.outcome == Outcome::aborted || run.outcome == Outcome::error || !wanted(run)) continue;
    phones[run.plan.name + "/" + (run.serial.empty() ? run.id : run.serial)].push_back(run.outcome == Outcome::passed);
    ++out.runs;
  }
  for (const auto& [phone, passed] : phones) {
    ++out.units;
    out.passed += passed.back() ? 1 : 0;
    out.first_passed += passed.front() ? 1 : 0;
  }
  return out;
}

void expect_same(const Yield& found, const Yield& wanted) {
  EXPECT_EQ(found.units, wanted.units);
  EXPECT_EQ(found.passed, wanted.passed);
  EXPECT_EQ(found.first_passed, wanted.first_passed);
  EXPECT_EQ(found.runs, wanted.runs);
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
    ASSERT_TRUE(store_->put(runs.back(), false));
  }
  std::sort(runs.begin(), runs.end(), [](const auto& a, const auto& b) { return a.id < b.id; });
  const auto time_of = [](const record::Run& run) { return time_of_id_ms(run.id); };
  Filter filters[8];
  filters[1].station = filters[5].station = "b";
  filters[2].plan = filters[5].plan = "final";
  filters[3].since_ms = filters[6].since_ms = time_of(runs[70]);
  filters[4].until_ms = filters[6].until_ms = time_of(runs[150]);
  filters[5].profile = "other";
  filters[6].version = "2";
  filters[7].since_ms = kMidnight + 5 * kDayMs;
  filters[7].until_ms = kMidnight + 10 * kDayMs;
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
    expect_same(found.yield, counted(runs, passes));
    const auto those = [&](Outcome verdict) {
      return std::count_if(runs.begin(), runs.end(),
                           [&](const auto& run) { return passes(run) && run.outcome == verdict; });
    };
    EXPECT_EQ(found.runs.passed, those(Outcome::passed));
    EXPECT_EQ(found.runs.failed, those(Outcome::failed));
    EXPECT_EQ(found.runs.errors, those(Outcome::error));
    EXPECT_EQ(found.runs.aborted, those(Outcome::aborted));
    long long values = 0;
    for (const Characteristic& each : found.characteristics) values += each.all.count;
    EXPECT_EQ(values, those(Outcome::passed) + those(Outcome::failed));
    for (const auto& [plan, yield] : found.by_plan)
      expect_same(yield,
                  counted(runs, [&, &name = plan](const auto& run) { return passes(run) && run.plan.name == name; }));
    for (const auto& [station, yield] : found.by_station)
      expect_same(yield,
                  counted(runs, [&, &name = station](const auto& run) { return passes(run) && run.station == name; }));
    EXPECT_EQ(found.by_station.size(), filter.station.empty() ? 3U : 1U);
  }
}

TEST_P(StatisticsTest, ParetoCountsFirstFailures) {
  const std::pair<const char*, int> failing[] = {{"noise", 3}, {"residual", 5}, {"", 1}};
  for (const auto& [name, count] : failing) {
    for (int i = 0; i < count; ++i) {
      MadeRun run;
      run.verdict = Outcome::failed;
      run.attempts = {
          {{"fine", 0, -1, 1}, {*name == 0 ? "fine" : name, *name == 0 ? 0.0 : 9.0, -1, 1}, {"later", 9, 0, 1}}};
      if (*name == 0) run.attempts[0].pop_back();
      put(run);
    }
  }
  const std::vector<Failure> failures = ask().failures;
  ASSERT_EQ(failures.size(), 3U);
  EXPECT_EQ(failures[0].measurement, "residual x");
  EXPECT_EQ(failures[0].runs, 5);
  EXPECT_EQ(failures[1].measurement, "noise x");
  EXPECT_EQ(failures[2].measurement, "");
  EXPECT_EQ(failures[2].step, "Acc");
}

TEST_P(StatisticsTest, OnlyTheDecidingAttemptCounts) {
  MadeRun run;
  run.attempts = {{{"residual", 100, -1, 1}}, {{"residual", 0.5, -1, 1}}};
  put(run);
  const Characteristic c = ask().characteristics.at(0);
  EXPECT_EQ(c.all.count, 1);
  EXPECT_EQ(c.all.mean, 0.5);
  EXPECT_EQ(c.failed, 0);
  EXPECT_EQ(ask().runs.retried, 1);
  EXPECT_FALSE(cpk(c.all, c.low, c.high));
}

TEST_P(StatisticsTest, OutliersPointToTheirRuns) {
  std::mt19937 random(3);
  std::normal_distribution<double> spread(0, 1);
  std::vector<double> values;
  for (int i = 0; i < 200; ++i) {
    MadeRun run;
    run.serial = "S" + std::to_string(i);
    run.started_ms = kMidnight + i % 5 * kDayMs + i;
    const double value = i == 17 ? 20 : i == 60 ? -15 : std::max(-3.0, std::min(3.0, spread(random)));
    run.attempts = {{{"residual", value, -100, 100}}};
    put(run);
    values.push_back(value);
  }
  const Expected wanted(values);
  const std::vector<Outlier> outliers = ask().characteristics.at(0).outliers;
  ASSERT_EQ(outliers.size(), 2U);
  EXPECT_EQ(outliers[0].serial, "S17");
  EXPECT_NEAR(outliers[0].distance, (20 - wanted.mean) / wanted.sigma, 1e-9);
  EXPECT_EQ(outliers[1].serial, "S60");
  EXPECT_EQ(outliers[1].run_id.size(), 36U);
}

std::map<int, Moments> days_of(const std::vector<double>& means) {
  std::map<int, Moments> out;
  // Four values a day with a scatter of one within the day: a mean has half of it.
  for (size_t i = 0; i < means.size(); ++i) out[static_cast<int>(i)] = {4, means[i], 3, means[i] - 1, means[i] + 1};
  return out;
}

TEST(ControlChartTest, RulesSoundWhenTheyAreMet) {
  struct Case {
    const char* what;
    std::vector<double> means;  // about zero; in half units a sigma of a mean
    std::vector<int> rules;     // by day
  };
  const Case cases[] = {
      {"in order", {0.3, -0.3, 0.2, -0.2}, {0, 0, 0, 0}},
      {"beyond three sigma", {1.6, -0.4, -0.4, -0.4, -0.4}, {1, 0, 0, 0, 0}},
      {"two of three beyond two", {1.1, 0, 1.1, -0.55, -0.55, 0, -1.1}, {0, 0, 2, 0, 0, 0, 0}},
      {"opposite sides", {1.1, -1.1, 0, 1.1, -1.1}, {0, 0, 0, 0, 0}},
      {"four of five beyond one", {0.6, 0.6, 0, 0.6, 0.6, -0.6, -0.9, -0.9}, {0, 0, 0, 0, 3, 0, 0, 0}},
      {"eight on one side", {0.1, 0.1, 0.1, 0.1, 0.1, 0.1, 0.1, 0.1, -0.4, -0.4}, {0, 0, 0, 0, 0, 0, 0, 4, 0, 0}},
      {"exactly on the line", {1.5, -1.5}, {0, 0}},
  };
  for (const Case& c : cases) {
    const ControlChart chart = control_chart(days_of(c.means));
    EXPECT_NEAR(chart.sigma, 1, 1e-12) << c.what;
    EXPECT_NEAR(chart.centre, 0, 0.051) << c.what;
    std::vector<int> rules;
    for (const ChartPoint& point : chart.points) rules.push_back(point.rule);
    EXPECT_EQ(rules, c.rules) << c.what;
  }
}

TEST(ControlChartTest, SingleValuesScatterByTheirSteps) {
  std::map<int, Moments> days;
  const double values[] = {1, 3, 2, 4};
  for (int i = 0; i < 4; ++i) days[i] = {1, values[i], 0, values[i], values[i]};
  EXPECT_NEAR(control_chart(days).sigma, (2 + 1 + 2) / 3.0 / 1.128, 1e-3);
  EXPECT_EQ(control_chart({}).points.size(), 0U);
}

}  // namespace
}  // namespace factory::store
