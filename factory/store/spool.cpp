#include "store/spool.h"

#include "files/json_text.h"
#include "record/record_json.h"
#include "store/run_rows.h"
#include "store/stored_text.h"

namespace factory::store {

using soci::into;
using soci::use;

namespace {
constexpr int kVersion = 1;
}

Spool::Spool(const std::string& file) : database_(parse_uri("sqlite:" + file), Database::Access::create) {
  try {
    Transaction transaction(&database_);
    int version = 0;
    database_.sql() << "PRAGMA user_version", into(version);
    if (version > kVersion) throw StoreError(file + ": the spool is of a newer sensorcal");
    database_.run(
        "CREATE TABLE IF NOT EXISTS pending (id TEXT PRIMARY KEY, record TEXT NOT NULL, "
        "samples INTEGER NOT NULL) WITHOUT ROWID");
    database_.run("PRAGMA user_version = " + std::to_string(kVersion));
    transaction.commit();
  } catch (const soci::soci_error&) {
    rethrow(database_.uri());
  }
}

void Spool::keep(const record::Run& run, bool samples) {
  const std::string text = json_line(to_json(storable(run, samples)));
  const int wanted = samples ? 1 : 0;
  try {
    database_.sql() << "INSERT INTO pending (id, record, samples) VALUES (:id, :record, :samples) "
                       "ON CONFLICT (id) DO NOTHING",
        use(run.id), use(text), use(wanted);
  } catch (const soci::soci_error&) {
    rethrow(database_.uri());
  }
}

int Spool::waiting() {
  int count = 0;
  try {
    database_.sql() << "SELECT COUNT(*) FROM pending", into(count);
  } catch (const soci::soci_error&) {
    rethrow(database_.uri());
  }
  return count;
}

std::optional<Spool::Entry> Spool::next(const std::string& after) {
  Entry entry;
  int samples = 0;
  try {
    database_.sql() << "SELECT id, record, samples FROM pending WHERE id > :after ORDER BY id LIMIT 1", use(after),
        into(entry.id), into(entry.record), into(samples);
  } catch (const soci::soci_error&) {
    rethrow(database_.uri());
  }
  if (!database_.sql().got_data()) return {};
  entry.samples = samples != 0;
  return entry;
}

void Spool::drop(const std::string& id) {
  try {
    database_.sql() << "DELETE FROM pending WHERE id = :id", use(id);
  } catch (const soci::soci_error&) {
    rethrow(database_.uri());
  }
}

}  // namespace factory::store
