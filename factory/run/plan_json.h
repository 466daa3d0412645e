// A plan's JSON values, read with their places in the file; what is wrong with them is collected.
#pragma once

#include <json/json.h>

#include <set>
#include <string>
#include <vector>

#include "files/units.h"
#include "run/plan.h"

namespace factory::plan {

// A value and its place. One that is missing is null, and stands where the object does that it is missing from.
class PlanValue {
 public:
  struct Source {
    const std::string& file;
    const std::string& text;
    std::vector<std::string>* problems;
  };
  PlanValue(const Source& source, const Json::Value& root) : PlanValue(source, &root, root, "") {}

  // Of an object or a list.
  PlanValue operator[](const char* key) const;
  PlanValue operator[](Json::ArrayIndex index) const;
  const Json::Value* operator->() const { return &json_; }
  const Json::Value& operator*() const { return json_; }
  bool has(const char* key) const { return json_.isMember(key); }

  void problem(const std::string& what) const { problem(what, *this); }
  void problem(const std::string& what, const PlanValue& shown) const;  // where another value stands

  // Keys of the object that are not in the list are problems.
  void only_keys(const std::set<std::string>& known) const;

  // A missing value gives the fallback; a wrong type or a value outside gives a problem and the fallback.
  std::string text() const;
  std::vector<std::string> texts() const;  // one or more
  int whole(int low, int high, int fallback) const;
  bool truth() const;  // or false
  bool stops() const;  // "stop" or "go on"; or true

  // One amount or a list of `axes` of them.
  std::optional<Bound> bound(const std::string& unit, size_t axes, bool percent) const;
  // One amount that must lie in the range.
  std::optional<double> amount(const std::string& unit, double low, double high) const;

 private:
  PlanValue(const Source& source, const Json::Value* found, const Json::Value& place, const std::string& where)
      : source_(source),
        json_(found == nullptr ? Json::Value::nullSingleton() : *found),
        place_(place),
        there_(found != nullptr),
        where_(where) {}
  std::optional<Amount> number(const std::string& unit, bool percent) const;

  const Source& source_;
  const Json::Value& json_;
  const Json::Value& place_;
  const bool there_;
  const std::string where_;  // its path: steps[3].limits.residual
};

constexpr int kAttemptsMax = 20;

Step read_step(const PlanValue& value);

}  // namespace factory::plan
