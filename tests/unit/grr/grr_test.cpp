// The analysis of variance against figures that others came to, and what is no study.
#include <gtest/gtest.h>

#include <cmath>

#include "files/app_error.h"
#include "quality/anova.h"

namespace factory::grr {
namespace {

Study study_of(const std::vector<Reading>& readings, const Subject& subject = {}) {
  Study study;
  EXPECT_EQ(make_study(subject, readings, &study), "");
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
  const Study study = study_of(read_csv(GRR_DATA "/ten_parts.csv"));
  EXPECT_EQ(study.phones.size(), 10U);
  const Analysis a = analyse(study);
  expect_rows(a.full,
              {{9, 88.361934, 9.8179927, 492.29142, 1.16306e-19},
               {2, 3.1672622, 1.5836311, 79.406049, 1.17448e-09},
               {18, 0.358982, 0.0199434, 0.433721, 0.9741064},
               {60, 2.758933, 0.0459822, 0, 0},
               {89, 94.64711, 1.0634507, 0, 0}},
              1e-5);
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
  EXPECT_EQ(a.interaction.variance, 0);
  EXPECT_EQ(a.categories, 4);
  EXPECT_EQ(a.judgement, Judgement::conditional);
  EXPECT_FALSE(a.by_tolerance);

  // Kept, the interaction's estimate is below 0.
  const Analysis kept = analyse(study, 1);
  EXPECT_TRUE(kept.pooled.empty());
  ASSERT_EQ(kept.negative.size(), 1U);
  EXPECT_STREQ(kept.negative[0], kept.interaction.source);
  EXPECT_EQ(kept.interaction.variance, 0);
  EXPECT_NEAR(kept.stations.variance, (1.5836311 - 0.0199434) / 30, 1e-6);
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
  EXPECT_NEAR(a.interaction.variance, (0.4913625 - 0.012275) / 2, 1e-9);
  EXPECT_NEAR(a.stations.variance, (0.7797125 - 0.4913625) / 8, 1e-9);
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

TEST(Grr, WhatIsNoStudyIsNamed) {
  const struct {
    std::vector<Reading> readings;
    const char* why;
  } kRows[] = {
      {{{"A", "n", 1}, {"A", "n", 2}, {"A", "s", 1}, {"A", "s", 2}}, "1 phone: "},
      {{{"A", "n", 1}, {"A", "s", 2}, {"B", "n", 1}, {"B", "s", 2}}, "1 trial: "},
      {{{"A", "n", 1}, {"A", "n", 2}, {"A", "s", 1}, {"A", "s", 2}, {"B", "n", 1}, {"B", "n", 2}},
       "phone B has 0 trials at station s, not 2"},
      {{{"A", "n", 1}, {"A", "n", NAN}}, "1 value can not be added up"},
      {{}, "0 phones: "},
  };
  for (const auto& row : kRows) {
    Study study;
    const std::string why = make_study({}, row.readings, &study);
    EXPECT_EQ(why.rfind(row.why, 0), 0U) << why;
  }
}

TEST(Grr, FilesAreReadOrTheirLineIsNamed) {
  const std::vector<Reading> good = parse_csv(
      "f", "\xEF\xBB\xBFvalue , trial,\"station\",phone\r\n1.5e-3,1,\"n, \"\"1\"\"\nx\",P1\r\n\r\n+2,a,s, P 2");
  ASSERT_EQ(good.size(), 2U);
  EXPECT_EQ(good[0].station, "n, \"1\"\nx");
  EXPECT_EQ(good[0].value, 0.0015);
  EXPECT_EQ(good[1].phone, "P 2");
  EXPECT_EQ(good[1].value, 2);

  const std::string header = "phone,station,trial,value\n";
  const struct {
    std::string text;
    const char* problem;
  } kRows[] = {{"", "f:1: the file is empty"},
               {"phone,station,value\n", "f:1: the column \"trial\" is missing"},
               {"phone,station,trial,value,note\n", "f:1: column \"note\" is none of"},
               {"phone,phone,trial,value\n", "f:1: column \"phone\" is there twice"},
               {header, "f:1: no reading"},
               {header + "A,n,1,0.5\n\nA,n,2\n", "f:4: 3 fields, not 4"},
               {header + "A,n,1,1.5 V\n", "f:2: value \"1.5 V\" is no number"},
               {header + "A,n,1,nan\n", "f:2: value \"nan\" is no number"},
               {header + "A,,1,2\n", "f:2: the station is missing"},
               {header + "A,n,1,2\nA,n,2,2\nA,n,1,3\n", "f:4: trial 1 of phone A at station n is in line 2 already"},
               {header + "A,\"n,1,2\n", "f:2: a quotation mark is not closed"},
               {header + "A,\"n\"x,1,2\n", "f:2: something follows a closing quotation mark"}};
  for (const auto& row : kRows) {
    try {
      parse_csv("f", row.text);
      ADD_FAILURE() << row.problem;
    } catch (const AppError& error) {
      EXPECT_EQ(error.code, kUsage);
      EXPECT_EQ(std::string(error.what()).rfind(row.problem, 0), 0U) << error.what();
    }
  }
}

}  // namespace
}  // namespace factory::grr
