// A question with bound values, whose answer is read row by row.
#pragma once

#include <soci/soci.h>

#include <deque>
#include <optional>
#include <string>

#include "store/database.h"
#include "store/filter.h"
#include "store/stored_text.h"

namespace factory::store {

class Query {
 public:
  explicit Query(Database* database) : statement_(database->sql()) {}

  // Named values of the question; they outlive the query.
  template <typename T>
  Query& with(const char* name, const T& value) {
    statement_.exchange(soci::use(value, name));
    return *this;
  }
  Query& with(Condition* condition, const std::string& sql) {
    condition->bind(&statement_, sql);
    return *this;
  }

  // Columns in their order. One that is null reads as 0, as an empty text, or as nothing.
  Query& whole(long long* value) { return column(value); }
  Query& whole(int* value) { return column(value); }
  Query& number(double* value) { return column(value); }
  Query& number(std::optional<double>* value) {
    optionals_.push_back({value, 0});
    return column(&optionals_.back().read);
  }
  Query& text(std::string* value) {
    texts_.push_back(value);
    return column(value);
  }

  void ask(const std::string& sql) {
    statement_.alloc();
    statement_.prepare(sql);
    statement_.define_and_bind();
    statement_.execute(false);
  }

  bool next() {
    if (!statement_.fetch()) return false;
    for (Column& c : columns_) {
      if (c.given == soci::i_null) c.clear(c.value);
    }
    for (Optional& o : optionals_) {
      *o.value = o.read;
      for (const Column& c : columns_) {
        if (c.value == &o.read && c.given == soci::i_null) o.value->reset();
      }
    }
    for (std::string* text : texts_) *text = from_stored(*text);
    return true;
  }

 private:
  struct Column {
    void* value;
    void (*clear)(void* value);
    soci::indicator given;
  };
  struct Optional {
    std::optional<double>* value;
    double read;
  };

  template <typename T>
  Query& column(T* value) {
    columns_.push_back({value, [](void* v) { *static_cast<T*>(v) = T(); }, soci::i_ok});
    statement_.exchange(soci::into(*value, columns_.back().given));
    return *this;
  }

  std::deque<Column> columns_;  // the statement points into them
  std::deque<Optional> optionals_;
  std::vector<std::string*> texts_;
  soci::statement statement_;
};

}  // namespace factory::store
