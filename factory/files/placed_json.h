// JSON that a person writes, read with the places in its file; what is wrong with it is collected.
#pragma once

#include <json/value.h>

#include <set>
#include <string>
#include <vector>

namespace factory {

// A value and its place. One that is missing is null, and stands where the object does that it is missing from.
class PlacedJson {
 public:
  struct Source {
    const std::string& file;
    const std::string& text;
    std::vector<std::string>* problems;  // a line for each: "plan.json:4:12: steps[0].repeat: what"
  };
  PlacedJson(const Source& source, const Json::Value& root) : PlacedJson(source, &root, root, "") {}

  // Of an object or a list.
  PlacedJson operator[](const char* key) const;
  PlacedJson operator[](Json::ArrayIndex index) const;
  const Json::Value* operator->() const { return &json_; }
  const Json::Value& operator*() const { return json_; }
  bool has(const char* key) const { return json_.isMember(key); }
  bool there() const { return there_; }

  void problem(const std::string& what) const { problem(what, *this); }
  void problem(const std::string& what, const PlacedJson& shown) const;  // where another value stands

  // Keys of the object that are not in the list are problems.
  void only_keys(const std::set<std::string>& known) const;

  // A missing value gives the fallback; a wrong type or a value outside gives a problem and the fallback.
  std::string text(const std::string& fallback = "") const;
  std::vector<std::string> texts(bool also_empty = false) const;  // one or more
  int whole(int low, int high, int fallback) const;
  bool truth() const;  // or false

 private:
  PlacedJson(const Source& source, const Json::Value* found, const Json::Value& place, const std::string& where)
      : source_(source),
        json_(found == nullptr ? Json::Value::nullSingleton() : *found),
        place_(place),
        there_(found != nullptr),
        where_(where) {}

  const Source& source_;
  const Json::Value& json_;
  const Json::Value& place_;
  const bool there_;
  const std::string where_;  // its path: steps[3].limits.residual
};

}  // namespace factory
