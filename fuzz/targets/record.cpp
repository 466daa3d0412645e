// The record of a run is refused, or it is written as what reads as the same record.
#include "files/json_text.h"
#include "record/record_json.h"
#include "support/checks.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace factory;  // NOLINT(google-build-using-namespace)
  try {
    const std::string written =
        json_line(record::to_json(record::read_run(std::string(reinterpret_cast<const char*>(data), size))));
    HOLDS(json_line(record::to_json(record::read_run(written))) == written);
  } catch (const record::FormatError& error) {
    HOLDS(*error.what() != '\0');
  }
  return 0;
}
