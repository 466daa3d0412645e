#include "store/spool.h"

#include "files/json_text.h"
#include "record/record_json.h"
#include "store/query.h"
#include "store/stored_run.h"

namespace factory::store {

namespace {
constexpr int kVersion = 1;
}

Spool::Spool(const std::string& file) : database_(parse_uri("sqlite:" + file), Database::Access::create) {
  Transaction transaction(&database_);
  if (Query(&database_, "PRAGMA user_version").number() > kVersion)
    throw StoreError(file + ": the spool is of a newer sensorcal");
  database_.run(
      "CREATE TABLE IF NOT EXISTS pending (id TEXT PRIMARY KEY, record TEXT NOT NULL, "
      "samples INTEGER NOT NULL) WITHOUT ROWID");
  database_.run("PRAGMA user_version = " + std::to_string(kVersion));
  transaction.commit();
}

void Spool::keep(const record::Run& run, bool samples) {
  Query(&database_,
        "INSERT INTO pending (id, record, samples) VALUES (:id, :record, :samples) ON CONFLICT (id) DO NOTHING")
      .with("id", run.id)
      .with("record", json_line(to_json(storable(run, samples))))
      .with("samples", samples ? 1 : 0)
      .run();
}

int Spool::waiting() { return static_cast<int>(Query(&database_, "SELECT COUNT(*) FROM pending").number()); }

std::optional<Spool::Entry> Spool::next(const std::string& after) {
  Entry entry;
  Verbatim record;
  Query query(&database_, "SELECT id, record, samples FROM pending WHERE id > :after ORDER BY id LIMIT 1");
  query.with("after", after).into(&entry.id, &record, &entry.samples);
  if (!query.next()) return {};
  entry.record = std::move(record.text);
  return entry;
}

void Spool::drop(const std::string& id) {
  Query(&database_, "DELETE FROM pending WHERE id = :id").with("id", id).run();
}

}  // namespace factory::store
