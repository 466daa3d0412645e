// What is to be known about a recording. Nothing that is reported here has been mended in the samples.
#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>
#include <vector>

namespace phone {

struct RecordingReport {
  std::string file;
  std::string columns;    // which columns are used, for people
  std::string unit;       // the values were written in
  std::string time_unit;  // "ns", "us", "ms", "s", "date", or empty for evenly spaced samples

  size_t rows_read = 0;  // skipped ones included
  size_t rows_skipped = 0;
  struct SkippedRow {
    size_t line;  // from 1
    std::string why;
  };
  std::vector<SkippedRow> skipped;  // the first few

  size_t samples = 0;  // in the part that is used
  double duration_s = 0;
  double rate_hz = 0;       // from the median spacing; 0 where there is none
  double mean_rate_hz = 0;  // from first to last
  size_t duplicate_times = 0;
  size_t times_back = 0;
  size_t first_back_line = 0;
  size_t gaps = 0;  // spacings of three times the median and more
  double longest_gap_s = 0;
  double longest_gap_at_s = 0;
  size_t longest_gap_line = 0;
  size_t repeated_values = 0;  // samples that equal the one before

  std::vector<double> mean;  // of the single-precision samples, summed in double precision
  std::vector<double> std_dev;
  // The stretch of up to 32 samples with the least variance; three-axis sensors only.
  double stillest_at_s = 0;
  std::vector<double> stillest_mean;
  std::vector<double> stillest_std_dev;

  std::vector<std::string> notes;  // what was assumed
  struct Slip {
    std::string code;  // stable, for programs
    std::string text;  // what is seen and what to give
  };
  std::vector<Slip> slips;  // suspected; the data are left as they were told

  bool has_slip(const std::string& code) const;
  // The first line sums up, the others say what to watch.
  std::vector<std::string> lines() const;
  Json::Value json() const;
};

// "%.*g"-like text of a number for reports, with at most six digits.
std::string number_text(double value);

}  // namespace phone
