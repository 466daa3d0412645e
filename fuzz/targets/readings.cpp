// Readings for a study of stations are refused in words, or every one is a number of some phone and station; so is the
// address of a store, which then shows no password.
#include <cmath>

#include "files/app_error.h"
#include "quality/study.h"
#include "store/uri.h"
#include "support/checks.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    const auto [readings, by, left_out] = factory::grr::parse_csv("readings.csv", text);
    HOLDS(!readings.empty());
    for (const factory::grr::Reading& reading : readings)
      HOLDS(std::isfinite(reading.value) && !reading.phone.empty() && reading.station.empty() != by.stations);
    factory::grr::Study study;
    if (factory::grr::make_study({}, readings, by, &study).empty()) {
      HOLDS(study.values.size() <= readings.size());
      HOLDS(study.values.size() == readings.size() || !study.left_out.empty());
    }
  } catch (const factory::AppError& error) {
    HOLDS(*error.what() != '\0');
  }
  if (text.find("s3cret") != std::string::npos) return 0;
  try {
    // Longer than what an address may have by chance.
    const std::string secret = "%21s3cret%21";
    for (const std::string& address :
         {text, "postgresql://u:" + secret + "@h/" + text, "postgresql://h/" + text + "&password=" + secret}) {
      const factory::store::Uri uri = factory::store::parse_uri(address);
      HOLDS(text.find('?') == std::string::npos || uri.shown.find(secret) == std::string::npos);
    }
  } catch (const factory::AppError& error) {
    HOLDS(*error.what() != '\0' && std::string(error.what()).find("s3cret%21") == std::string::npos);
  }
  return 0;
}
