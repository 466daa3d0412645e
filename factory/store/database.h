// One connection to a store's database, and its transactions.
#pragma once

#include <soci/soci.h>

#include <memory>
#include <string>

#include "store/uri.h"

namespace factory::store {

// What only a server has; a build without its library has them in another file, which refuses.
std::unique_ptr<soci::session> connect_to_server(const Uri& uri);
int socket_of_server(soci::session& session);
bool went_away(const soci::soci_error& error);

std::string in_words(const soci::soci_error& error, const Uri& uri);

class Database {
 public:
  enum class Access { create, reading };  // a file that is missing: made, or refused

  // Throws StoreError, AwayError.
  Database(const Uri& uri, Access access);

  soci::session& sql() { return *session_; }
  // A file that is read and may not be written.
  bool read_only() const { return read_only_; }
  bool postgresql() const { return uri_.postgresql; }
  const Uri& uri() const { return uri_; }
  // Of a file, as another connection may attach it.
  const std::string& address() const { return address_; }
  int socket() const { return uri_.postgresql ? socket_of_server(*session_) : -1; }

  // What the database library throws becomes a StoreError, or an AwayError where the server went away.
  template <typename Work>
  auto guarded(Work work) {
    try {
      return work();
    } catch (const soci::soci_error& error) {
      fail(error);
    }
  }
  void run(const std::string& statement) {
    guarded([&] { *session_ << statement; });
  }

 private:
  void open_file(Access access);
  [[noreturn]] void fail(const soci::soci_error& error) const;

  const Uri uri_;
  std::string address_;
  bool read_only_ = false;
  std::unique_ptr<soci::session> session_;
};

// Takes the right to write at once: two that read first and write later would end each other.
class Transaction {
 public:
  explicit Transaction(Database* database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void commit();

 private:
  Database& database_;
  bool open_ = true;
};

}  // namespace factory::store
