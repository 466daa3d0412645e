// A statement with named values, and its answer row by row. What the database library throws comes out as a StoreError,
// or as an AwayError where the server went away.
#pragma once

#include <soci/soci.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "record/record.h"
#include "store/database.h"
#include "store/filter.h"

namespace factory::store {

// A text in a column that is not as to_stored() makes it.
struct Verbatim {
  std::string text;
};

class Query {
 public:
  Query(Database* database, std::string sql)
      : database_(*database), sql_(std::move(sql)), statement_(database->sql()) {}

  // A value of the statement, by its name there; texts as to_stored() makes them.
  template <typename T>
  Query& with(const char* name, const T& value) {
    const auto kept = std::make_shared<const T>(value);
    kept_.push_back(kept);
    statement_.exchange(soci::use(*kept, name));
    return *this;
  }
  // Those that its conditions name: filter.h.
  Query& with(const Filter& filter);

  // Where each row's columns go, in their order. One that is null is 0, an empty text or list, or nothing.
  template <typename... T>
  Query& into(T*... values) {
    (column(values), ...);
    return *this;
  }

  // False: there is no row, or no more.
  bool next();

  void run() { next(); }
  long long number();  // the whole answer

 private:
  // What the database has in the column becomes the value; `null` where it has nothing.
  template <typename Raw, typename T, typename Become>
  void column_as(T* value, Become become, T null) {
    struct Cell {
      Raw raw{};
      soci::indicator given = soci::i_ok;
    };
    const auto cell = std::make_shared<Cell>();
    statement_.exchange(soci::into(cell->raw, cell->given));
    take_.push_back([=] { *value = cell->given == soci::i_null ? null : T(become(cell->raw)); });
  }
  template <typename T>
  void column(T* value) {
    column_as<T>(value, std::identity(), T());
  }
  template <typename T>
  void column(std::optional<T>* value) {
    column_as<T>(value, std::identity(), std::optional<T>());
  }
  void column(std::string* value);
  void column(Verbatim* value) { column_as<std::string>(&value->text, std::identity(), std::string()); }
  void column(bool* value);
  void column(record::Outcome* value);
  void column(record::SampleState* value);
  void column(record::Clock::time_point* value);
  void column(std::vector<std::string>* value);  // JSON, and so is the following
  void column(std::vector<record::Text>* value);

  Database& database_;
  const std::string sql_;
  bool asked_ = false;
  std::vector<std::shared_ptr<const void>> kept_;  // the statement points into them
  std::vector<std::function<void()>> take_;        // and into the cells of these
  soci::statement statement_;
};

}  // namespace factory::store
