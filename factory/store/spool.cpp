#include "store/spool.h"

#include <utility>

#include "files/json_text.h"
#include "record/record_json.h"
#include "store/patience.h"
#include "store/query.h"
#include "store/store.h"
#include "store/stored_run.h"

namespace factory::store {
namespace {

constexpr int kVersion = 2;

void bind(Spool* spool, Store* store) {
  const Spool::Owner found{store->id(), store->database().uri().shown};
  const Spool::Owner owner = spool->owner();
  if (!owner.id.empty() && owner.id != found.id)
    throw StoreError("--spool " + spool->file() + ": belongs to the store at " + owner.address + "; " + found.address +
                     " is another store and needs a spool of its own");
  if (owner.id != found.id || owner.address != found.address) spool->belong_to(found);
}

void bring(Spool* spool, const Uri& uri, double patience_s, Brought* brought) {
  Database database(uri, Database::Access::create);
  std::optional<Store> store;
  Patience patience(database.socket(), patience_s);
  store.emplace(std::move(database));
  bind(spool, &*store);
  std::string last;
  while (const auto entry = spool->next(last)) {
    last = entry->id;
    try {
      ++(store->put(record::read_run(entry->record), entry->samples) ? brought->stored : brought->were_there);
    } catch (const AwayError&) {
      throw;
    } catch (const std::exception& error) {
      // One that cannot be taken holds no other up.
      brought->refused.push_back(last + ": " + error.what());
      continue;
    }
    spool->drop(last);
    patience.renew();
  }
}

Database opened(const std::string& file) try {
  return {parse_uri("sqlite:" + file), Database::Access::create};
} catch (const StoreError& error) {
  throw StoreError("the spool " + std::string(error.what()) + "; name another one with --spool FILE");
}

}  // namespace

Spool::Spool(const std::string& file) : database_(opened(file)) {
  Transaction transaction(&database_);
  // Nothing is added to a store, or to a file of another program.
  const long long tables = Query(&database_, "SELECT COUNT(*) FROM sqlite_master WHERE type = 'table'").number();
  const long long own = Query(&database_, "SELECT COUNT(*) FROM sqlite_master WHERE name = 'pending'").number();
  if (tables > 0 && own == 0) throw StoreError(file + ": is no spool");
  if (Query(&database_, "PRAGMA user_version").number() > kVersion)
    throw StoreError(file + ": the spool is of a newer sensorcal");
  database_.run(
      "CREATE TABLE IF NOT EXISTS pending (id TEXT PRIMARY KEY, record TEXT NOT NULL, "
      "samples INTEGER NOT NULL) WITHOUT ROWID");
  database_.run("CREATE TABLE IF NOT EXISTS owner (id TEXT NOT NULL, address TEXT NOT NULL)");
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

Spool::Owner Spool::owner() {
  Owner out;
  Query query(&database_, "SELECT id, address FROM owner");
  query.into(&out.id, &out.address);
  return query.next() ? out : Owner();
}

void Spool::belong_to(const Owner& owner) {
  Transaction transaction(&database_);
  database_.run("DELETE FROM owner");
  Query(&database_, "INSERT INTO owner (id, address) VALUES (:id, :address)")
      .with("id", owner.id)
      .with("address", owner.address)
      .run();
  transaction.commit();
}

void require_owner(Spool* spool, const Uri& uri) {
  const std::string address = spool->owner().address;
  if (address.empty() || address == uri.shown) return;
  Store store(uri);
  bind(spool, &store);
}

Brought bring_up(Spool* spool, const Uri& uri, double patience_s) {
  Brought brought;
  try {
    if (spool->waiting() > 0) bring(spool, uri, patience_s, &brought);
  } catch (const std::exception& error) {
    brought.away = error.what();
  }
  brought.waiting = spool->waiting();
  return brought;
}

}  // namespace factory::store
