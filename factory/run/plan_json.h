// Reads a plan's JSON values and collects what is wrong with them, each with its place in the file.
#pragma once

#include <json/json.h>

#include <set>
#include <string>
#include <vector>

#include "run/plan.h"

namespace factory::plan {

class PlanJson {
 public:
  PlanJson(std::string file, const std::string& text, std::vector<std::string>* problems)
      : file_(std::move(file)), text_(text), problems_(problems) {}

  // `where` is the path of the value: steps[3].limits.residual
  void problem(const Json::Value& value, const std::string& where, const std::string& what);

  // Keys that are not in the list are problems.
  void only_keys(const Json::Value& object, const std::string& where, const std::set<std::string>& known);

  // Missing gives the fallback; a wrong type or a value outside gives a problem and the fallback.
  std::string text(const Json::Value& object, const std::string& where, const char* key, const std::string& fallback);
  // A list with a text at least; a missing one is empty.
  std::vector<std::string> texts(const Json::Value& object, const std::string& where, const char* key);
  int whole(const Json::Value& object, const std::string& where, const char* key, int low, int high, int fallback);
  bool truth(const Json::Value& object, const std::string& where, const char* key, bool fallback);
  // "stop" or "go on".
  bool stops(const Json::Value& object, const std::string& where);

  // One amount or a list of `axes` of them. Nothing when the key is missing or wrong.
  std::optional<Bound> bound(const Json::Value& object, const std::string& where, const char* key,
                             const std::string& unit, size_t axes, bool percent);
  // One amount that must lie in the range.
  std::optional<double> amount(const Json::Value& object, const std::string& where, const char* key,
                               const std::string& unit, double low, double high);

 private:
  bool read(const Json::Value& value, const std::string& where, const std::string& unit, bool percent, double* number,
            bool* relative);

  const std::string file_;
  const std::string& text_;
  std::vector<std::string>* problems_;
};

}  // namespace factory::plan
