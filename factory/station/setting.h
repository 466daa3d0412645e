// One value of the settings file, which knows its place: for what is said of it.
#pragma once

#include <json/value.h>

#include <string>
#include <vector>

namespace factory::station {

class Setting {
 public:
  struct Source {
    std::string file;
    std::string bytes;
    std::vector<std::string>* problems;
  };
  Setting(const Source& source, const Json::Value& value, std::string path = "")
      : source_(source), value_(value), path_(std::move(path)) {}

  const Json::Value* operator->() const { return &value_; }
  const Json::Value& value() const { return value_; }
  bool has(const char* key) const { return value_.isMember(key); }
  Setting operator[](const char* key) const { return {source_, value_[key], path_.empty() ? key : path_ + "." + key}; }
  Setting operator[](Json::ArrayIndex index) const {
    return {source_, value_[index], path_ + "[" + std::to_string(index) + "]"};
  }

  // What is missing is the default; what is of another kind or out of its limits is told, and the default, too.
  std::string text(const std::string& otherwise = "") const;
  bool truth(bool otherwise) const;
  double number(double low, double high, double otherwise) const;
  int whole(int low, int high, int otherwise) const;
  std::string one_of(const std::vector<std::string>& words) const;  // the first is the default
  std::vector<std::string> texts() const;
  // True: it is there, and an object without other keys.
  bool is_object(const std::vector<std::string>& keys) const;
  bool is_list(const char* of) const;  // true: there, and not empty
  // What is to be told apart and shown: of 1 to 64 characters that can be seen, without blanks around it.
  std::string name(const std::string& otherwise = "") const;
  // Whether the file says it; null is said, too.
  bool there() const { return value_.getOffsetLimit() > 0; }

  void problem(const std::string& what) const;

 private:
  bool wanted(bool is, const std::string& what) const;

  const Source& source_;
  const Json::Value& value_;
  const std::string path_;
};

}  // namespace factory::station
