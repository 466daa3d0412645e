#include "store/dictionary.h"

#include "files/json_text.h"
#include "store/query.h"
#include "store/stored_text.h"

namespace factory::store {
namespace {

using soci::use;

// No two contents give the same text: JSON keeps its elements apart.
class Content {
 public:
  explicit Content(const char* table) { list_.append(table); }
  Content& add(const std::string& text) {
    list_.append(text);
    return *this;
  }
  Content& add(std::optional<double> number) {
    char digits[40] = "";
    if (number) snprintf(digits, sizeof digits, "%.17g", *number);
    list_.append(digits);
    return *this;
  }
  long long digest() const { return key_of(json_line(list_)); }

 private:
  Json::Value list_{Json::arrayValue};
};

// The content as it is, which costs less than its digest. Fields come in one order, numbers before texts, and no text
// holds a zero byte: no two contents give the same key.
class Key {
 public:
  Key& add(const std::string& text) {
    text_.append(text) += '\0';
    return *this;
  }
  template <typename T>
  Key& add(T number) {
    text_.append(reinterpret_cast<const char*>(&number), sizeof number);
    return *this;
  }
  template <typename T>
  Key& add(std::optional<T> number) {
    return add(number.has_value()).add(number.value_or(T()));
  }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

template <typename Find>
int once(std::unordered_map<std::string, int>* known, const Key& key, Find find) {
  const auto found = known->find(key.text());
  return found != known->end() ? found->second : (*known)[key.text()] = find();
}

// A number that may be missing, as the database library takes it.
struct Nullable {
  explicit Nullable(std::optional<double> n) : number(n.value_or(0)), given(n ? soci::i_ok : soci::i_null) {}
  double number;
  soci::indicator given;
};

}  // namespace

// Two may make the same entry at once: the second finds the first one's.
template <typename Insert>
int Dictionary::id_of(const char* table, long long digest, Insert insert) {
  if (const auto found = read_.find(digest); found != read_.end()) return found->second;
  const std::string question = std::string("SELECT id FROM ") + table + " WHERE digest = :digest";
  int id = 0;
  database_.sql() << question, use(digest), soci::into(id);
  if (!database_.sql().got_data()) {
    insert();
    database_.sql() << question, use(digest), soci::into(id);
  }
  return id;
}

// What runs of a set-up have had so far, in two questions: a new process would ask for each by itself.
void Dictionary::read_entries(int setup) {
  for (const char* question : {"SELECT s.digest, s.id FROM series s WHERE s.setup = :setup",
                               "SELECT t.digest, t.id FROM plan_step t WHERE t.id IN "
                               "(SELECT s.plan_step FROM series s WHERE s.setup = :setup)"}) {
    long long digest = 0;
    int id = 0;
    Query query(&database_);
    query.with("setup", setup).whole(&digest).whole(&id).ask(question);
    while (query.next()) read_[digest] = id;
  }
}

int Dictionary::setup_id(const Setup& s) {
  Content content("setup");
  for (const std::string* part : {&s.station, &s.operator_name, &s.plan, &s.plan_file, &s.plan_hash, &s.profile,
                                  &s.application, &s.application_build, &s.library, &s.library_build})
    content.add(*part);
  const long long digest = content.digest();
  return id_of("setup", digest, [&] {
    database_.sql() << "INSERT INTO setup (digest, station, operator, plan, plan_file, plan_hash, profile, "
                       "application, application_build, library, library_build) VALUES (:digest, :station, :operator, "
                       ":plan, :plan_file, :plan_hash, :profile, :application, :application_build, :library, "
                       ":library_build) ON CONFLICT (digest) DO NOTHING",
        use(digest), use(s.station), use(s.operator_name), use(s.plan), use(s.plan_file), use(s.plan_hash),
        use(s.profile), use(s.application), use(s.application_build), use(s.library), use(s.library_build);
  });
}

int Dictionary::plan_step_id(const PlanStep& s) {
  Content content("plan_step");
  content.add(s.name).add(s.kind).add(s.group).add(s.tag).add(s.param ? std::to_string(*s.param) : "");
  const long long digest = content.digest();
  return id_of("plan_step", digest, [&] {
    long long param = s.param.value_or(0);
    soci::indicator given = s.param ? soci::i_ok : soci::i_null;
    database_.sql() << "INSERT INTO plan_step (digest, name, kind, step_group, tag, param) VALUES (:digest, :name, "
                       ":kind, :step_group, :tag, :param) ON CONFLICT (digest) DO NOTHING",
        use(digest), use(s.name), use(s.kind), use(s.group), use(s.tag), use(param, given);
  });
}

int Dictionary::series_id(const MeasurementRow& m, int setup, int plan_step) {
  Content content("series");
  content.add(std::to_string(setup)).add(std::to_string(plan_step));
  content.add(m.name).add(m.axis).add(m.unit).add(m.low).add(m.high);
  const long long digest = content.digest();
  return id_of("series", digest, [&] {
    Nullable low(m.low);
    Nullable high(m.high);
    const double reference = m.number.value.value_or(0);
    database_.sql() << "INSERT INTO series (digest, setup, plan_step, name, axis, unit, low, high, reference) VALUES "
                       "(:digest, :setup, :plan_step, :name, :axis, :unit, :low, :high, :reference) "
                       "ON CONFLICT (digest) DO NOTHING",
        use(digest), use(setup), use(plan_step), use(m.name), use(m.axis), use(m.unit), use(low.number, low.given),
        use(high.number, high.given), use(reference);
  });
}

Dictionary::Ids Dictionary::ids_of(const RunRows& run) {
  Ids ids;
  const Setup& s = run.setup;
  Key setup;
  setup.add(s.station).add(s.operator_name).add(s.plan).add(s.plan_file).add(s.plan_hash).add(s.profile);
  setup.add(s.application).add(s.application_build).add(s.library).add(s.library_build);
  ids.setup = once(&setups_, setup, [&] {
    const int id = setup_id(s);
    read_entries(id);
    return id;
  });
  for (const StepRow& row : run.steps) {
    const PlanStep& step = row.plan_step;
    Key key;
    key.add(step.param).add(step.name).add(step.kind).add(step.group).add(step.tag);
    ids.plan_steps.push_back(once(&plan_steps_, key, [&] { return plan_step_id(step); }));
  }
  for (const MeasurementRow& m : run.measurements) {
    const int plan_step = ids.plan_steps[m.step];
    Key key;
    key.add(ids.setup).add(plan_step).add(m.low).add(m.high).add(m.name).add(m.axis).add(m.unit);
    ids.series.push_back(once(&series_, key, [&] { return series_id(m, ids.setup, plan_step); }));
  }
  return ids;
}

}  // namespace factory::store
