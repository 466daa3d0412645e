#include "store/query.h"

#include <cctype>

#include "record/record_json.h"
#include "store/stored_text.h"

namespace factory::store {
namespace {

record::Outcome outcome_of(int code) {
  return code >= 0 && code < record::kOutcomes ? static_cast<record::Outcome>(code) : record::Outcome::failed;
}

record::Clock::time_point time_of(long long ms) { return record::Clock::time_point(std::chrono::milliseconds(ms)); }

std::vector<record::Text> texts_of(const std::string& json) { return record::read_texts(from_stored(json)); }

std::vector<std::string> words_of(const std::string& json) {
  const std::vector<record::Text> texts = texts_of(json);
  return {texts.begin(), texts.end()};
}

// ":plan" is none in ":plan_version".
bool has_name(const std::string& sql, const char* name) {
  const std::string value = std::string(":") + name;
  for (size_t at = 0; (at = sql.find(value, at)) != std::string::npos; ++at) {
    if (const char next = sql[at + value.size()]; next != '_' && isalnum(next) == 0) return true;
  }
  return false;
}

}  // namespace

Query& Query::with(const Filter& filter) {
  for (const FilterText& part : kFilterTexts) {
    if (has_name(sql_, part.name)) with(part.name, to_stored(filter.*part.text));
  }
  return *this;
}

bool Query::next() {
  return database_.guarded([&] {
    if (!asked_) {
      statement_.alloc();
      statement_.prepare(sql_);
      statement_.define_and_bind();
      statement_.execute(take_.empty());
      asked_ = true;
    }
    if (take_.empty() || !statement_.fetch()) return false;
    try {
      for (const auto& take : take_) take();
    } catch (const record::FormatError& error) {
      throw StoreError(database_.uri().shown + ": a list of texts in it is damaged: " + error.what());
    }
    return true;
  });
}

long long Query::number() {
  long long value = 0;
  into(&value).run();
  return value;
}

void Query::column(std::string* value) { column_as<std::string>(value, from_stored, std::string()); }
void Query::column(bool* value) { column_as<int>(value, std::identity(), false); }
void Query::column(record::Outcome* value) { column_as<int>(value, outcome_of, record::Outcome::failed); }
void Query::column(record::Clock::time_point* value) { column_as<long long>(value, time_of, time_of(0)); }
void Query::column(std::vector<std::string>* value) { column_as<std::string>(value, words_of, {}); }
void Query::column(std::vector<record::Text>* value) { column_as<std::string>(value, texts_of, {}); }
void Query::column(record::SampleState* value) {
  column_as<int>(
      value, [](int code) { return static_cast<record::SampleState>(code); }, record::SampleState());
}

}  // namespace factory::store
