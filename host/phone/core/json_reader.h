// Reads a JSON object key by key; every error names the source and the key.
#pragma once

#include <json/json.h>

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace phone {

// Parses a text; throws PhoneError that names the source.
Json::Value parse_json(const std::string& text, const std::string& source);
std::string json_text(const Json::Value& value);

class JsonReader {
 public:
  // Throws when `value` is no object. Each key is read at most once; finish() refuses those that nobody asked for.
  JsonReader(const Json::Value& value, std::string where);

  bool has(const char* key) const { return value_.isMember(key); }
  // Null when there is no such key.
  const Json::Value& take(const char* key);
  // These leave *out alone when there is no such key. Numbers outside the limits are errors.
  static constexpr double kLargest = 1e9;  // of every number, either way
  void read(const char* key, float* out, double low = -kLargest, double high = kLargest);
  void read(const char* key, int* out, int64_t low, int64_t high);
  void read(const char* key, bool* out);
  void read(const char* key, std::string* out);
  void read(const char* key, std::vector<float>* out);
  void read(const char* key, std::vector<std::string>* out);
  void read(const char* key, std::map<std::string, std::string>* out);
  template <size_t N>
  void read(const char* key, std::array<float, N>* out) {
    std::vector<float> values;
    if (!has(key)) return;
    read(key, &values);
    if (values.size() != N) fail(key, "wants " + std::to_string(N) + " numbers");
    for (size_t i = 0; i < N; ++i) (*out)[i] = values[i];
  }
  void require(const char* key) const;
  void finish() const;
  [[noreturn]] void fail(const std::string& key, const std::string& what) const;
  std::string path(const std::string& key) const { return where_ + "." + key; }

 private:
  const Json::Value& value_;
  const std::string where_;
  std::set<std::string> taken_;
};

}  // namespace phone
