#include "store/bulk.h"

#include <charconv>

namespace factory::store {

namespace {

// As the server reads an element of an array.
std::string element(long long value) { return std::to_string(value); }
std::string element(double value) {
  char digits[40];
  return {digits, std::to_chars(digits, digits + sizeof digits, value).ptr};
}
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

Bulk::Bulk(Database* database, const std::string& table, const std::vector<std::string>& columns)
    : database_(*database), statement_(database->sql()) {
  for (const std::string& column : columns)
    columns_.push_back({column.substr(0, column.size() - 2), column.back(), {}, {}, {}, {}, {}});
  for (const Column& c : columns_) insert_ += (insert_.empty() ? "INSERT INTO " + table + " (" : ", ") + c.name;
  insert_ += ")";
}

// In a file each row costs one step of a prepared statement.
void Bulk::prepare_for_file() {
  std::string values;
  for (Column& c : columns_) {
    values += (values.empty() ? "(:" : ", :") + c.name;
    switch (c.type) {
      case 'i':
        statement_.exchange(soci::use(c.whole, c.given, c.name));
        break;
      case 'd':
        statement_.exchange(soci::use(c.number, c.given, c.name));
        break;
      default:
        statement_.exchange(soci::use(c.text, c.given, c.name));
    }
  }
  prepare(insert_ + " VALUES " + values + ")");
}

// To a server a statement is a journey: all rows go in one, each column as an array.
void Bulk::prepare_for_server() {
  std::string arrays;
  for (Column& c : columns_) {
    const char* type = c.type == 'i' ? "BIGINT" : c.type == 'd' ? "DOUBLE PRECISION" : "TEXT";
    arrays += (arrays.empty() ? "CAST(:" : ", CAST(:") + c.name + " AS " + type + "[])";
    statement_.exchange(soci::use(c.array, c.name));
  }
  prepare(insert_ + " SELECT * FROM unnest(" + arrays + ")");
}

void Bulk::prepare(const std::string& sql) {
  statement_.alloc();
  statement_.prepare(sql);
  statement_.define_and_bind();
  prepared_ = true;
}

void Bulk::fill_arrays() {
  for (Column& c : columns_) {
    switch (c.type) {
      case 'i':
        write_array(c.whole, c.given, &c.array);
        break;
      case 'd':
        write_array(c.number, c.given, &c.array);
        break;
      default:
        write_array(c.text, c.given, &c.array);
    }
  }
}

Bulk::Column& Bulk::next(bool given) {
  Column& column = columns_[next_];
  next_ = (next_ + 1) % columns_.size();
  column.given.push_back(given ? soci::i_ok : soci::i_null);
  return column;
}

Bulk& Bulk::add(long long value) {
  next(true).whole.push_back(value);
  return *this;
}

Bulk& Bulk::add(std::optional<double> value) {
  next(value.has_value()).number.push_back(value.value_or(0));
  return *this;
}

Bulk& Bulk::add(const std::optional<std::string>& value) {
  next(value.has_value()).text.push_back(value.value_or(""));
  return *this;
}

void Bulk::write() {
  if (!columns_.front().given.empty()) {
    if (!prepared_) database_.postgresql() ? prepare_for_server() : prepare_for_file();
    if (database_.postgresql()) fill_arrays();
    statement_.execute(true);
  }
  clear();
}

void Bulk::clear() {
  next_ = 0;
  for (Column& column : columns_) {
    column.whole.clear();
    column.number.clear();
    column.text.clear();
    column.given.clear();
  }
}

}  // namespace factory::store
