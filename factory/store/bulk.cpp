#include "store/bulk.h"

#include <algorithm>

namespace factory::store {

namespace {

// The server's limit is 65535 parameters of one statement.
constexpr size_t kMostParameters = 60000;

}  // namespace

Bulk::Bulk(Database* database, const std::string& table, const std::vector<std::string>& columns)
    : database_(*database), statement_(database->sql()) {
  for (const std::string& column : columns)
    columns_.push_back({column.substr(0, column.size() - 2), column.back(), {}, {}, {}, {}});
  for (const Column& c : columns_) insert_ += (insert_.empty() ? "INSERT INTO " + table + " (" : ", ") + c.name;
  insert_ += ") VALUES ";
}

// In a file each row costs one step of a prepared statement.
void Bulk::write_to_file() {
  if (!prepared_) {
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
    statement_.alloc();
    statement_.prepare(insert_ + values + ")");
    statement_.define_and_bind();
    prepared_ = true;
  }
  statement_.execute(true);
}

// To a server a statement is a journey: all rows go in one.
void Bulk::write_to_server(size_t first, size_t last) {
  soci::statement statement(database_.sql());
  std::string values;
  int number = 0;
  for (size_t row = first; row < last; ++row) {
    for (Column& c : columns_) {
      const std::string name = "v" + std::to_string(++number);
      values += (&c != &columns_.front() ? ", :" : row == first ? "(:" : "), (:") + name;
      switch (c.type) {
        case 'i':
          statement.exchange(soci::use(c.whole[row], c.given[row], name));
          break;
        case 'd':
          statement.exchange(soci::use(c.number[row], c.given[row], name));
          break;
        default:
          statement.exchange(soci::use(c.text[row], c.given[row], name));
      }
    }
  }
  statement.alloc();
  statement.prepare(insert_ + values + ")");
  statement.define_and_bind();
  statement.execute(true);
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
  const size_t rows = columns_.front().given.size();
  if (database_.postgresql()) {
    const size_t most = kMostParameters / columns_.size();
    for (size_t first = 0; first < rows; first += most) write_to_server(first, std::min(rows, first + most));
  } else if (rows > 0) {
    write_to_file();
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
