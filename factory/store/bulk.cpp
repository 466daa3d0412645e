#include "store/bulk.h"

#include <sstream>

#include "files/numbers.h"

namespace factory::store {

namespace {

// As the server reads an element of an array.
std::string element(long long value) { return std::to_string(value); }
std::string element(double value) { return plain_exactly(value); }
std::string element(const std::string& value) {
  std::string out = "\"";
  for (const char c : value) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + '"';
}

template <typename T>
void write_array(const std::vector<T>& values, const std::vector<soci::indicator>& given, std::string* out) {
  *out = "{";
  for (size_t i = 0; i < values.size(); ++i) {
    if (i > 0) *out += ',';
    *out += given[i] == soci::i_ok ? element(values[i]) : "NULL";
  }
  *out += '}';
}

}  // namespace

Bulk::Bulk(Database* database, const std::string& table, const std::string& columns, const std::string& more)
    : database_(*database),
      insert_("INSERT INTO " + table + " (" + columns + ")"),
      more_(" " + more),
      returns_(more.find("RETURNING") != std::string::npos),
      statement_(database->sql()) {
  std::istringstream names(columns);
  for (std::string name; std::getline(names >> std::ws, name, ',');) columns_.push_back({name, {}, {}, {}});
}

// In a file each row costs one step of a prepared statement. To a server a statement is a journey: all rows go in one,
// each column as an array.
void Bulk::prepare() {
  constexpr const char* kTypes[] = {"BIGINT", "DOUBLE PRECISION", "TEXT"};
  std::string values;
  for (Column& c : columns_) {
    values += values.empty() ? "" : ", ";
    if (database_.postgresql()) {
      values += "CAST(:" + c.name + " AS " + kTypes[c.values.index()] + "[])";
      statement_.exchange(soci::use(c.array, c.name));
    } else {
      values += ":" + c.name;
      std::visit([&](auto& of_column) { statement_.exchange(soci::use(of_column, c.given, c.name)); }, c.values);
    }
  }
  if (returns_) statement_.exchange(soci::into(returned_));
  statement_.alloc();
  statement_.prepare(insert_ +
                     (database_.postgresql() ? " SELECT * FROM unnest(" + values + ")" : " VALUES (" + values + ")") +
                     more_);
  statement_.define_and_bind();
  prepared_ = true;
}

long long Bulk::write() {
  Whole out = 0;
  if (!columns_.front().given.empty()) {
    database_.guarded([&] {
      if (!prepared_) prepare();
      if (database_.postgresql()) {
        for (Column& c : columns_)
          std::visit([&](const auto& values) { write_array(values, c.given, &c.array); }, c.values);
      }
      // To its end, or it would stand in the way of the commit.
      for (bool row = statement_.execute(true); row && returns_; row = statement_.fetch()) out = returned_;
    });
  }
  clear();
  return out;
}

void Bulk::clear() {
  for (Column& column : columns_) {
    std::visit([](auto& values) { values.clear(); }, column.values);
    column.given.clear();
  }
}

}  // namespace factory::store
