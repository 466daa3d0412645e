// Where a station takes the records of runs.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "record/sink.h"

namespace factory {

// Page, JUnit and CSV. A record that passes through knows its plan by its hash.
class Files : public record::Sink {
 public:
  Files() = default;
  // The names as options have them; empty for none.
  Files(std::string html, std::string junit, std::string csv)
      : html_(std::move(html)), junit_(std::move(junit)), csv_(std::move(csv)) {}
  void add_options(ArgumentParser parser) override;
  void open() override;
  bool keep(record::Run* run) override;
  bool write(const record::Run& run, const record::Aside& aside) override;
  bool close() override { return true; }

 private:
  std::string html_;  // empty: not wanted
  std::string junit_;
  std::string csv_;  // a folder
};

// All that runs are given to: the store, and files.
std::vector<std::shared_ptr<record::Sink>> station_sinks();

}  // namespace factory
