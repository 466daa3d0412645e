#include "files/json_text.h"

#include <cmath>
#include <cstdlib>
#include <iostream>
#include <memory>

#include "files/numbers.h"

namespace factory {
namespace {

std::string write(const Json::Value& value, const char* indentation) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = indentation;
  builder["precision"] = 9;
  builder["emitUTF8"] = true;
  return Json::writeString(builder, value);
}

}  // namespace

Json::Value json_number(float value) {
  if (!std::isfinite(value)) return json_number(static_cast<double>(value));
  return std::strtod(plain_exactly(value).c_str(), nullptr);
}

Json::Value json_number(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  return value;
}

Json::Value optional_number(const std::optional<double>& value) { return value ? json_number(*value) : Json::Value(); }

Json::Value json_object(std::initializer_list<JsonMember> members, Json::Value other) {
  for (const auto& [name, value] : members) other[name] = value;
  return other;
}

std::string number_text(const Json::Value& value) {
  return value.isDouble() ? significant(value.asDouble(), 9) : value.asString();
}

std::string json_pretty(const Json::Value& value) { return write(value, "  "); }

std::string json_line(const Json::Value& value) { return write(value, ""); }

void print_document(const std::string& form, Json::Value document) {
  document["schema"] = "sensorcal." + form;
  std::cout << json_pretty(document) << std::endl;
}

void print_result(bool json, const std::string& form, const Json::Value& document, const std::string& text) {
  if (json) return print_document(form, document);
  std::cout << text << std::flush;
}

namespace {

bool parse(const Json::CharReaderBuilder& builder, const std::string& text, Json::Value* out, std::string* problem) {
  std::string why;
  bool good = false;
  try {
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    good = reader->parse(text.data(), text.data() + text.size(), out, &why);
  } catch (const std::exception& error) {
    why = error.what();
  }
  // The library's "* Line 1, Column 2\n  What.\n", once for each fault: the first one, in a line.
  if (why.starts_with("* ")) why.erase(0, 2);
  if (const size_t end = why.find('\n'); end != std::string::npos)
    why.replace(end, why.find_first_not_of(' ', end + 1) - end, ": ");
  if (problem != nullptr) *problem = why.substr(0, why.find('\n'));
  return good;
}

}  // namespace

bool parse_json(const std::string& text, Json::Value* out, std::string* problem) {
  return parse(Json::CharReaderBuilder(), text, out, problem);
}

bool parse_json_of_people(const std::string& text, Json::Value* out, std::string* problem) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  return parse(builder, text, out, problem);
}

}  // namespace factory
