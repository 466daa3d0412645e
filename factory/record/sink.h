// Where the record of a run goes, beside standard output.
#pragma once

#include <string>
#include <vector>

#include "record/record.h"

namespace factory {

class ArgumentParser;

namespace record {

// What is to be said of a record beside what it holds: that it comes from a replay, or what of it was not kept.
struct Aside {
  std::string title;
  std::vector<std::string> lines;
};

// What is false was not delivered, which the sink tells on standard error. Any thread may call, one after the other.
class Sink {
 public:
  virtual ~Sink() = default;
  // What a command that makes runs takes for it; nothing is delivered where nobody asks for it.
  virtual void add_options(ArgumentParser parser) = 0;
  // Before a phone is opened: looks at what can be known by then. Throws AppError.
  virtual void open() = 0;
  // The run is over, and nobody heard of its record yet: may add what a phone does not know of its run.
  virtual bool keep(Run* run) = 0;
  // The record was told.
  virtual bool write(const Run& run, const Aside& aside) = 0;
  // The phone was let go.
  virtual bool close() = 0;
};

}  // namespace record
}  // namespace factory
