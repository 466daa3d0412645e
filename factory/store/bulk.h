// Many rows of one table, written together.
#pragma once

#include <soci/soci.h>

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "store/database.h"

namespace factory::store {

class Bulk {
 public:
  // Each column as "name:i" (a whole number), "name:d" (a number) or "name:t" (a text).
  Bulk(Database* database, const std::string& table, const std::vector<std::string>& columns);

  // The next column's value; a row is whole when every column has one.
  Bulk& add(long long value);
  Bulk& add(int value) { return add(static_cast<long long>(value)); }
  Bulk& add(bool value) { return add(static_cast<long long>(value ? 1 : 0)); }
  Bulk& add(std::optional<double> value);
  Bulk& add(double value) { return add(std::optional<double>(value)); }
  Bulk& add(const std::optional<std::string>& value);
  Bulk& add(const std::string& value) { return add(std::optional<std::string>(value)); }

  // Writes the rows; none are left.
  void write();
  void clear();

 private:
  struct Column {
    std::string name;
    char type;
    std::vector<long long> whole;
    std::vector<double> number;
    std::vector<std::string> text;
    std::vector<soci::indicator> given;
    std::string array;  // all of them, for a server
  };
  Column& next(bool given);
  void prepare_for_file();
  void prepare_for_server();
  void prepare(const std::string& sql);
  void fill_arrays();

  Database& database_;
  std::string insert_;
  bool prepared_ = false;

  std::deque<Column> columns_;  // the statement points into it
  size_t next_ = 0;
  soci::statement statement_;
};

}  // namespace factory::store
