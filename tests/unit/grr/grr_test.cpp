// The analysis of variance against figures that others came to, and what is no study.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <sstream>
#include <utility>

#include "files/app_error.h"
#include "quality/anova.h"

namespace factory::grr {
namespace {

Study study_of(const std::vector<Reading>& readings, const Subject& subject = {}) {
  Study study;
  EXPECT_EQ(make_study(subject, readings, {}, &study), "");
  EXPECT_TRUE(study.left_out.empty());
  return study;
}

struct Expected {
  int degrees;
  double squares, mean_square, f, p;
};

void expect_rows(const std::vector<AnovaRow>& rows, const std::vector<Expected>& expected, double precision) {
  ASSERT_EQ(rows.size(), expected.size());
  for (size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(rows[i].source);
    const auto near = [&](double value) { return precision * std::max(1e-9, std::fabs(value)); };
    EXPECT_EQ(rows[i].degrees, expected[i].degrees);
    EXPECT_NEAR(rows[i].squares, expected[i].squares, near(expected[i].squares));
    EXPECT_NEAR(rows[i].mean_square, expected[i].mean_square, near(expected[i].mean_square));
    if (expected[i].f > 0) {
      EXPECT_NEAR(rows[i].f.value(), expected[i].f, near(expected[i].f));
      EXPECT_NEAR(rows[i].p.value(), expected[i].p, near(expected[i].p));
    } else {
      EXPECT_FALSE(rows[i].f);
    }
  }
}

// Ten parts, three appraisers, three trials: the readings that manuals of measurement systems analysis print, with the
// results printed there, and p to eight digits by statsmodels 0.13.5 and SciPy 1.10.1.
TEST(Grr, PrintedExampleWithPooledInteraction) {
  const Study study = study_of(read_csv(GRR_DATA "/ten_parts.csv").readings);
  EXPECT_EQ(study.size(), "10 phones, 3 stations, 3 trials");
  const Analysis a = analyse(study);
  expect_rows(a.pooled,
              {{9, 88.361934, 9.8179927, 245.61391, 2.0210118e-53},
               {2, 3.1672622, 1.5836311, 39.617246, 1.3375946e-12},
               {78, 3.1179156, 0.039973276, 0, 0},
               {89, 94.64711, 1.0634507, 0, 0}},
              1e-6);
  const struct {
    const Component& component;
    double variance, contribution, sigma, study;  // as printed
  } kPrinted[] = {{a.grr, 0.09143, 7.76, 0.30237, 27.86},
                  {a.repeatability, 0.03997, 3.39, 0.19993, 18.42},
                  {a.reproducibility, 0.05146, 4.37, 0.22684, 20.90},
                  {a.phones, 1.08645, 92.24, 1.04233, 96.04},
                  {a.total, 1.17788, 100, 1.08530, 100}};
  for (const auto& row : kPrinted) {
    SCOPED_TRACE(row.component.source);
    EXPECT_NEAR(row.component.variance, row.variance, 0.000006);
    EXPECT_NEAR(*row.component.contribution * 100, row.contribution, 0.006);
    EXPECT_NEAR(row.component.sigma, row.sigma, 0.000006);
    EXPECT_NEAR(*row.component.study * 100, row.study, 0.006);
    EXPECT_FALSE(row.component.tolerance);
  }
  EXPECT_EQ(a.parts[1].variance, 0);
  EXPECT_EQ(a.categories, 4);
  EXPECT_EQ(a.judgement, Judgement::conditional);
  EXPECT_FALSE(a.by_tolerance);

  // Kept, the interaction's estimate is below 0.
  const Analysis kept = analyse(study, 1);
  EXPECT_TRUE(kept.pooled.empty());
  ASSERT_EQ(kept.negative.size(), 1U);
  EXPECT_EQ(kept.negative[0], kept.parts[1].source);
  EXPECT_EQ(kept.parts[1].variance, 0);
  EXPECT_NEAR(kept.parts[0].variance, (1.5836311 - 0.0199434) / 30, 1e-6);
}

// Made up, with an interaction and far from 0; the figures are from statsmodels 0.13.5 and SciPy 1.10.1.
TEST(Grr, InteractionIsKept) {
  constexpr double kValues[4][3][2] = {{{999.34, 999.42}, {999.60, 999.69}, {1000.20, 1000.14}},
                                       {{999.61, 999.87}, {1001.04, 1000.97}, {999.49, 999.42}},
                                       {{999.61, 999.61}, {999.70, 999.50}, {999.60, 999.65}},
                                       {{1002.15, 1001.93}, {1002.64, 1002.95}, {1001.71, 1001.82}}};
  std::vector<Reading> readings;
  for (int trial = 0; trial < 2; ++trial) {
    for (int phone = 3; phone >= 0; --phone) {
      for (int station = 0; station < 3; ++station)
        readings.push_back({std::to_string(phone), std::to_string(station), kValues[phone][station][trial]});
    }
  }
  const Analysis a = analyse(study_of(readings, {"", "", 990, 1010}));
  expect_rows(a.full,
              {{3, 26.515350, 8.838450, 17.987636, 0.0021076092},
               {2, 1.559425, 0.7797125, 1.5868376, 0.27978451},
               {6, 2.948175, 0.4913625, 40.029532, 2.991277e-07},
               {12, 0.1473, 0.012275, 0, 0},
               {23, 31.17025, 1.3552283, 0, 0}},
              1e-6);
  EXPECT_TRUE(a.pooled.empty());
  EXPECT_NEAR(a.parts[1].variance, (0.4913625 - 0.012275) / 2, 1e-9);
  EXPECT_NEAR(a.parts[0].variance, (0.7797125 - 0.4913625) / 8, 1e-9);
  EXPECT_NEAR(a.phones.variance, (8.838450 - 0.4913625) / 6, 1e-8);
  EXPECT_NEAR(*a.grr.tolerance, 6 * std::sqrt(0.012275 + 0.23954375 + 0.03604375) / 20, 1e-8);
  EXPECT_TRUE(a.by_tolerance);
  EXPECT_EQ(a.judgement, Judgement::conditional);
  EXPECT_EQ(a.categories, 3);

  // One limit: half of six sigma, of the way from the mean to it. None where the mean lies beyond it.
  Study study = study_of(readings, {"", "", std::nullopt, 1010});
  const Analysis one = analyse(study);
  EXPECT_NEAR(*one.grr.tolerance, 3 * one.grr.sigma / (1010 - one.mean), 1e-9);
  study.subject.high = 1000;
  EXPECT_FALSE(analyse(study).by_tolerance);
}

// Of two phones at two stations, as many trials each.
std::vector<Reading> crossed(const std::vector<double>& values) {
  std::vector<Reading> out;
  const size_t trials = values.size() / 4;
  for (size_t i = 0; i < values.size(); ++i)
    out.push_back({i / trials / 2 == 0 ? "A" : "B", i / trials % 2 == 0 ? "n" : "s", values[i]});
  return out;
}

TEST(Grr, WithoutScatter) {
  const Analysis alike = analyse(study_of(crossed(std::vector<double>(8, 0.1))));
  EXPECT_EQ(alike.total.variance, 0);
  EXPECT_FALSE(alike.grr.study || alike.categories);
  EXPECT_EQ(alike.judgement, Judgement::none);

  // Phones differ and the stations see it without any error; means of three are rounded.
  const Analysis ideal = analyse(study_of(crossed({0.1, 0.1, 0.1, 0.1, 0.1, 0.1, 0.5, 0.5, 0.5, 0.5, 0.5, 0.5})));
  EXPECT_EQ(ideal.grr.variance, 0);
  EXPECT_EQ(ideal.judgement, Judgement::accepted);
  EXPECT_FALSE(ideal.categories);

  // Only the stations differ: one category, and no phone to phone.
  const Analysis useless = analyse(study_of(crossed({1, 1.1, 2, 2.1, 1.1, 1, 2.1, 2})));
  EXPECT_EQ(useless.phones.variance, 0);
  EXPECT_EQ(useless.categories, 1);
  EXPECT_EQ(useless.judgement, Judgement::rejected);
}

// Of stations n and s, operators x and y, "A n x 2": two trials of phone A.
std::vector<Reading> readings_of(const std::string& cells) {
  std::vector<Reading> out;
  std::istringstream words(cells);
  std::string phone, station, who;
  for (int trials = 0; words >> phone >> station >> who >> trials;) {
    for (int trial = 0; trial < trials; ++trial) out.push_back({phone, station, static_cast<double>(out.size()), who});
  }
  return out;
}

TEST(Grr, TheLargestCrossedPartIsTakenAndTheRestNamed) {
  constexpr By kBoth = {true, true};
  constexpr By kOperators = {false, true};
  // Cells and factors, the study's size or why it is none, and what is left out.
  const std::tuple<const char*, By, const char*, std::vector<std::string>> kRows[] = {
      {"A n x 2 A s x 2 B n x 2 B s x 3",
       {},
       "2 phones, 2 stations, 2 trials",
       {"trials after the first 2: 1 of phone B at station s"}},
      {"A n x 2 A s x 2 B n x 2 B s x 2 C n x 2 C s x 1 D n x 7",
       {},
       "2 phones, 2 stations, 2 trials",
       {"phones without 2 trials everywhere: C (1 at station s), D (0 at station s)"}},
      {"A n x 2 A s x 2 B n x 2 B s x 2 A t x 1 B t x 2",
       {},
       "2 phones, 2 stations, 2 trials",
       {"stations without 2 trials of the phones: t"}},
      // A line's other phones, each at one station, do not make that station one of the study.
      {"A n x 2 A s x 2 B n x 2 B s x 2 P t x 2 Q t x 2 R t x 2 S t x 2",
       {},
       "2 phones, 2 stations, 2 trials",
       {"stations without 2 trials of the phones: t",
        "phones without 2 trials everywhere: P (0 at station n), Q (0 at station n), R (0 at station n), and 1 more"}},
      // Interrupted in the second round: what was measured once is a study, of one trial, where it is more crossed.
      {"A n x 2 A s x 1 B n x 1 B s x 1",
       {},
       "2 phones, 2 stations, 1 trial",
       {"trials after the first 1: 1 of phone A at station n"}},
      {"A n x 2 A n y 2 B n x 2 B n y 2", kOperators, "2 phones, 2 operators, 2 trials", {}},
      {"A n x 2 A n y 2 A s x 2 A s y 2 B n x 2 B n y 2 B s x 2 B s y 2 C n x 2 C n y 2 C s x 2",
       kBoth,
       "2 phones, 2 stations, 2 operators, 2 trials",
       {"phones without 2 trials everywhere: C (0 at station s by operator y)"}},
      {"A n x 2 A s y 2 B n x 2 B s y 2",
       kBoth,
       "no two phones were measured at the same two stations by the same",
       {}},
      {"A n x 2 A s x 2", {}, "1 phone: ", {}},
      {"A n x 2 B n x 2", {}, "1 station: ", {}},
      {"A n x 2 B s x 2", kOperators, "1 operator: ", {}},
      {"A n x 2 B s x 2", {}, "no two phones were measured at the same two stations", {}},
      {"", {}, "0 phones: ", {}},
  };
  for (const auto& [cells, by, size, left_out] : kRows) {
    SCOPED_TRACE(cells);
    Study study;
    const std::string why = make_study({}, readings_of(cells), by, &study);
    EXPECT_EQ((why.empty() ? study.size() : why).rfind(size, 0), 0U) << why << study.size();
    EXPECT_EQ(study.left_out, left_out);
    if (!why.empty()) continue;
    EXPECT_EQ(analyse(study).judgement == Judgement::none, study.trials == 1);
  }
  std::vector<Reading> readings = readings_of("A n x 2 A s x 2 B n x 2 B s x 2");
  readings.push_back({"B", "s", NAN});
  Study study;
  EXPECT_EQ(make_study({}, readings, {}, &study), "");
  EXPECT_EQ(study.left_out, std::vector<std::string>{"values that can not be added up: phone B at station s"});
}

// Ten phones, three stations, three trials, round by round, ended after each reading: from two phones at two stations
// on there is a study, and with every further reading it is no smaller.
TEST(Grr, AStudyThatEndsAnywhereTellsWhatItHas) {
  Design design{{"0", "1", "2", "3", "4", "5", "6", "7", "8", "9"}, {"n", "s", "t"}, {}, 3};
  std::vector<Reading> done;
  size_t studies = 0;
  size_t values = 0;
  for (Turn turn = next_turn(design, done); turn.trial > 0; turn = next_turn(design, done)) {
    EXPECT_EQ(turn.done, static_cast<long long>(done.size()));
    EXPECT_EQ(turn.wanted, 90);
    done.push_back({turn.phone, turn.station, std::sin(static_cast<double>(done.size()))});
    Study study;
    if (!make_study({}, done, {}, &study).empty()) {
      EXPECT_LT(done.size(), 12U);
      continue;
    }
    ++studies;
    if (study.trials > 1) {
      EXPECT_GE(study.values.size(), std::exchange(values, study.values.size()));
    }
    EXPECT_GE(analyse(study).grr.high, analyse(study).grr.sigma);
  }
  EXPECT_EQ(done.size(), 90U);
  EXPECT_EQ(studies, 79U);
  EXPECT_EQ(values, 90U);
}

// Phones, stations and operators with known deviations; every interval holds the true one as often as it says, and the
// estimates are right on average.
TEST(Grr, ThreeFactorsAndIntervals) {
  constexpr int kStudies = 1000;
  constexpr double kPhones = 3, kStations = 1, kOperators = 0.7, kInteraction = 0.5, kError = 0.4;
  std::mt19937_64 random(1);
  std::normal_distribution<double> normal;
  const auto draw = [&](size_t count, double sigma) {
    std::vector<double> out(count);
    for (double& value : out) value = sigma * normal(random);
    return out;
  };
  Study study;
  study.factors = {{"phones", std::vector<std::string>(10)},
                   {"stations", std::vector<std::string>(6)},
                   {"operators", std::vector<std::string>(5)}};
  study.trials = 2;
  double sums[3] = {};
  int held[3] = {};
  for (int i = 0; i < kStudies; ++i) {
    const auto phones = draw(10, kPhones), stations = draw(6, kStations), operators = draw(5, kOperators),
               pairs = draw(60, kInteraction);
    study.values.clear();
    for (size_t p = 0; p < 10; ++p) {
      for (size_t s = 0; s < 6; ++s) {
        for (size_t o = 0; o < 5; ++o) {
          for (int t = 0; t < 2; ++t)
            study.values.push_back(phones[p] + stations[s] + operators[o] + pairs[p * 6 + s] + kError * normal(random));
        }
      }
    }
    const Analysis a = analyse(study, 0.05);
    ASSERT_EQ(a.parts.size(), 6U);
    EXPECT_EQ(a.parts[2].source, "phones x stations");
    const std::pair<const Component&, double> kTrue[] = {
        {a.phones, kPhones}, {a.parts[2], kInteraction}, {a.grr, std::sqrt(1 + 0.49 + 0.25 + 0.16)}};
    for (size_t c = 0; c < 3; ++c) {
      const auto& [component, sigma] = kTrue[c];
      sums[c] += component.variance / (sigma * sigma) / kStudies;
      held[c] += component.low <= sigma && sigma <= component.high ? 1 : 0;
    }
  }
  for (size_t c = 0; c < 3; ++c) {
    SCOPED_TRACE(c);
    EXPECT_NEAR(sums[c], 1, 0.06);
    EXPECT_NEAR(held[c], 0.95 * kStudies, 0.025 * kStudies);
  }
}

TEST(Grr, FilesAreReadOrTheirLineIsNamed) {
  const std::vector<Reading> good =
      parse_csv("f",
                "\xEF\xBB\xBFvalue , trial,\"station\",phone\r\n1.5e-3,1,\"n, \"\"1\"\"\nx\",P1\r\n\r\n+2,a,s, P 2")
          .readings;
  ASSERT_EQ(good.size(), 2U);
  EXPECT_EQ(good[0].station, "n, \"1\"\nx");
  EXPECT_EQ(good[0].value, 0.0015);
  EXPECT_EQ(good[1].phone, "P 2");
  EXPECT_EQ(good[1].value, 2);

  const Readings twice = parse_csv("f", "phone,operator,trial,value\nA,x,1,2\nA,y,1,2\nA,x,1,3\n");
  EXPECT_EQ(twice.readings.size(), 2U);
  EXPECT_TRUE(twice.by.operators && !twice.by.stations);
  EXPECT_EQ(twice.left_out, std::vector<std::string>{"line 4: trial 1 of phone A by operator x is in line 2 already"});

  const std::string header = "phone,station,trial,value\n";
  const std::pair<std::string, const char*> kRows[] = {
      {"", "f:1: the file is empty"},
      {"phone,station,value\n", "f:1: the column \"trial\" is missing"},
      {"phone,station,trial,value,note\n", "f:1: column \"note\" is none of"},
      {"phone,phone,trial,value\n", "f:1: column \"phone\" is there twice"},
      {header, "f:1: no reading"},
      {header + "A,n,1,0.5\n\nA,n,2\n", "f:4: 3 fields, not 4"},
      {header + "A,n,1,1.5 V\n", "f:2: value \"1.5 V\" is no number"},
      {header + "A,n,1,nan\n", "f:2: value \"nan\" is no number"},
      {header + "A,,1,2\n", "f:2: the station is missing"},
      {header + "A,\"n,1,2\n", "f:2: a quotation mark is not closed"},
      {header + "A,\"n\"x,1,2\n", "f:2: something follows a closing quotation mark"}};
  for (const auto& row : kRows) {
    EXPECT_THAT([&] { parse_csv("f", row.first); },
                ::testing::AllOf(::testing::ThrowsMessage<AppError>(::testing::StartsWith(row.second)),
                                 ::testing::Throws<AppError>(::testing::Field(&AppError::code, kUsage))));
  }
}

}  // namespace
}  // namespace factory::grr
