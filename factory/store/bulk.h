// Many rows of one table, written together.
#pragma once

#include <soci/soci.h>

#include <deque>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "store/database.h"
#include "store/stored_text.h"

namespace factory::store {

class Bulk {
 public:
  // `columns`: "day, run, seconds". `more` follows the values in the statement; a RETURNING in it is for a single row.
  Bulk(Database* database, const std::string& table, const std::string& columns, const std::string& more = "");

  // A value for every column: whole numbers, numbers, texts of any bytes, and of any kind some that are missing.
  template <typename... T>
  void row(const T&... values) {
    size_t column = 0;
    (add(&columns_[column++], values), ...);
  }

  // Writes the rows; none are left. What a single row's statement returns, 0 where that is nothing.
  long long write();
  void clear();

 private:
  using Whole = long long;
  struct Column {
    std::string name;
    std::variant<std::vector<Whole>, std::vector<double>, std::vector<std::string>> values;
    std::vector<soci::indicator> given;
    std::string array;  // all of them, for a server
  };
  template <typename T>
  static void add(Column* column, const std::optional<T>& value) {
    using Values = std::vector<T>;
    if (!std::holds_alternative<Values>(column->values)) column->values.template emplace<Values>();
    auto& values = std::get<Values>(column->values);
    if constexpr (std::is_same_v<T, std::string>) {
      values.push_back(value ? to_stored(*value) : "");
    } else {
      values.push_back(value.value_or(T()));
    }
    column->given.push_back(value ? soci::i_ok : soci::i_null);
  }
  static void add(Column* column, Whole value) { add(column, std::optional(value)); }
  static void add(Column* column, int value) { add(column, Whole{value}); }
  static void add(Column* column, bool value) { add(column, Whole{value}); }
  static void add(Column* column, double value) { add(column, std::optional(value)); }
  static void add(Column* column, const std::string& value) { add(column, std::optional(value)); }

  void prepare();

  Database& database_;
  const std::string insert_, more_;
  const bool returns_;
  bool prepared_ = false;

  std::deque<Column> columns_;  // the statement points into it, and to the following
  Whole returned_ = 0;
  soci::statement statement_;
};

}  // namespace factory::store
