// What a station's settings file says: docs/formats/station.md.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "station/pattern.h"

namespace factory::station {

struct PlanChoice {
  Pattern serials;   // whose plan it is
  std::string file;  // as the record names it
  std::string bytes;
  std::string name, version;
  std::string sha256;
};

using Values = std::map<std::string, std::string>;

struct SlotSettings {
  std::string name;
  std::string code;                 // that selects it, scanned
  std::vector<std::string> runner;  // words, with {slot} and the like in them
};

struct Settings {
  std::string station;
  std::vector<PlanChoice> plans;  // the first whose serials match
  Pattern serials;
  std::string store;  // empty: none
  std::string spool;
  bool samples = false;
  std::string html, junit, csv;                  // patterns of names; empty: none
  std::map<std::string, std::string> operators;  // name by code; empty: nobody signs in
  std::vector<SlotSettings> slots;
  Values given;                 // to all runners: {program}, {phones} and {station}
  std::string folder;           // in which runners start: the settings file's
  double silence_s = 120;       // of a runner, while no prompt waits
  int retests_of_errors = 0;    // at once, by itself
  int retests_of_failures = 0;  // of one phone, where it is scanned again
  std::string earlier;          // station; empty: none
  bool earlier_unknown_allowed = false;
  bool golden = false;
  Pattern golden_serials;
  std::vector<int> shifts = {6 * 60, 14 * 60, 22 * 60};  // minutes of the day at which they begin, in their order
  std::string language = "en";
  std::string address = "127.0.0.1";
  int port = 8137;
  std::string token;               // empty: none is asked for
  std::vector<std::string> names;  // that a browser may know the station's computer by

  const PlanChoice* plan_of(const std::string& serial) const;
  bool is_golden(const std::string& serial) const { return golden && golden_serials.matches(serial); }
};

// What the program knows and the file need not say.
struct Surroundings {
  std::string program;  // this one, for runners
  std::string phones;   // folder of the simulated phones
  std::vector<std::string> languages;
};

// Without a file (""): all defaults. `problems`: a line for each thing that is wrong, "station.json:4:12: slots[0]:
// ..."; the settings are good when there is none.
Settings read_settings(const std::string& file, const Surroundings& around, std::vector<std::string>* problems);

// A runner's words with what stands in braces put in: {slot}, {serial}, {operator}, {station}, {program} and {phones};
// with ":quoted", {serial:quoted}, as one word of a POSIX shell's. Throws AppError(kUsage) for an unknown name.
std::vector<std::string> filled(const std::vector<std::string>& words, const Values& values);

bool is_loopback(const std::string& address);

}  // namespace factory::station
