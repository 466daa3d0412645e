#include "quality/study.h"

#include <cmath>
#include <map>

namespace factory::grr {
namespace {

using Cells = std::map<std::string, std::map<std::string, std::vector<double>>>;  // by phone and station

std::string count(size_t number, const char* what) {
  return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

std::string too_few(size_t phones, size_t stations, size_t trials) {
  if (phones < 2) return count(phones, "phone") + ": how much phones differ takes two or more";
  if (stations < 2) return count(stations, "station") + ": how well stations agree takes two or more";
  if (trials < 2) return "1 trial: how well a station repeats itself takes two or more of each phone at each station";
  return "";
}

// The most frequent number of trials is the one that was meant.
size_t usual_trials(const Cells& cells) {
  std::map<size_t, int> frequency;
  for (const auto& [phone, stations] : cells) {
    for (const auto& [station, values] : stations) ++frequency[values.size()];
  }
  size_t usual = 0;
  for (const auto& [trials, times] : frequency) {
    if (usual == 0 || times >= frequency[usual]) usual = trials;
  }
  return usual;
}

std::string odd_cell(const std::string& phone, const std::string& station, size_t have, size_t wanted) {
  return "phone " + phone + " has " + count(have, "trial") + " at station " + station + ", not " +
         std::to_string(wanted);
}

// A phone that was at one station only is the usual case in a store: naming two of them is enough.
std::string unbalanced(const Cells& cells, const Study& study, size_t trials) {
  constexpr int kNamed = 2;
  std::string out;
  int odd = 0;
  for (const std::string& phone : study.phones) {
    for (const std::string& station : study.stations) {
      const auto& there = cells.at(phone);
      const auto cell = there.find(station);
      const size_t have = cell == there.end() ? 0 : cell->second.size();
      if (have == trials || ++odd > kNamed) continue;
      if (!out.empty()) out += "; ";
      out += odd_cell(phone, station, have, trials);
    }
  }
  if (odd > kNamed) out += "; and " + std::to_string(odd - kNamed) + " more";
  return out;
}

}  // namespace

std::string make_study(const Subject& subject, const std::vector<Reading>& readings, Study* study) {
  Cells cells;
  std::map<std::string, int> stations;
  size_t unusable = 0;
  for (const Reading& reading : readings) {
    if (!std::isfinite(reading.value)) ++unusable;
    cells[reading.phone][reading.station].push_back(reading.value);
    ++stations[reading.station];
  }
  if (unusable > 0) return count(unusable, "value") + " can not be added up";
  *study = Study();
  study->subject = subject;
  for (const auto& [phone, of_phone] : cells) study->phones.push_back(phone);
  for (const auto& [station, times] : stations) study->stations.push_back(station);
  const size_t trials = usual_trials(cells);
  std::string problem = unbalanced(cells, *study, trials);
  if (problem.empty() || stations.size() < 2) {
    const std::string few = too_few(cells.size(), stations.size(), trials);
    if (!few.empty()) problem = few;
  }
  if (!problem.empty()) return problem;
  study->trials = static_cast<int>(trials);
  for (const auto& [phone, of_phone] : cells) {
    for (const auto& [station, values] : of_phone)
      study->values.insert(study->values.end(), values.begin(), values.end());
  }
  return "";
}

}  // namespace factory::grr
