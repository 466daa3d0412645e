#include "store/database.h"

#include <errno.h>
#include <fcntl.h>
#include <soci/sqlite3/soci-sqlite3.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>
#include <utility>

namespace factory::store {
namespace {

constexpr int kBusyMs = 20000;  // that a writer waits for another

// What is wrong with a file; of what is wrong with a question the library's words say more.
constexpr std::pair<int, const char*> kFileProblems[] = {
    {SQLITE_NOTADB, "is neither a store nor a spool"},
    {SQLITE_CORRUPT, "is damaged"},
    {SQLITE_BUSY, "another program holds it"},
    {SQLITE_FULL, "cannot be written: No space left on device"},
    {SQLITE_READONLY, "cannot be written: Permission denied"},
    {SQLITE_CANTOPEN, "cannot be opened"},
    {SQLITE_IOERR, "cannot be read or written: Input/output error"},
};

// As an address, in which no blank or quotation mark of the file's name has a meaning.
std::string address_of_file(const std::string& file, const char* mode) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  constexpr std::string_view kPlain = "/._-";
  std::string out = "file:";
  for (const char c : file) {
    const auto byte = static_cast<unsigned char>(c);
    if (isalnum(byte) != 0 || kPlain.find(c) != std::string_view::npos) {
      out += c;
    } else {
      out += {'%', kDigits[byte >> 4U], kDigits[byte & 15U]};
    }
  }
  return out + mode;
}

// The change to the write-ahead log is refused at once, whatever the busy time-out, while another connection makes it.
void write_ahead(soci::session* session) {
  const auto last = std::chrono::steady_clock::now() + std::chrono::milliseconds(kBusyMs);
  for (;;) {
    try {
      std::string mode;
      *session << "PRAGMA journal_mode = WAL", soci::into(mode);
      return;
    } catch (const soci::sqlite3_soci_error& error) {
      if ((error.result() & 0xff) != SQLITE_BUSY || std::chrono::steady_clock::now() > last) throw;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

}  // namespace

std::string in_words(const soci::soci_error& error, const Uri& uri) {
  if (const auto* of_file = dynamic_cast<const soci::sqlite3_soci_error*>(&error)) {
    for (const auto& [result, words] : kFileProblems) {
      if ((of_file->result() & 0xff) == result) return uri.shown + ": " + words;
    }
  }
  std::string text = uri.shown + ": " + error.get_error_message();
  while (isspace(static_cast<unsigned char>(text.back())) != 0) text.pop_back();
  std::replace(text.begin(), text.end(), '\n', ' ');
  // The client library tells parts of an address that it cannot read.
  for (const std::string& secret : uri.secrets) {
    for (size_t at = text.find(secret); at != std::string::npos; at = text.find(secret, at + 3))
      text.replace(at, secret.size(), "...");
  }
  return text;
}

Database::Database(const Uri& uri, Access access) : uri_(uri) {
  guarded([&] {
    if (uri.postgresql) {
      session_ = connect_to_server(uri_);
    } else {
      open_file(access);
    }
  });
}

void Database::fail(const soci::soci_error& error) const {
  if (uri_.postgresql && went_away(error)) throw AwayError(in_words(error, uri_));
  throw StoreError(in_words(error, uri_));
}

void Database::open_file(Access access) {
  namespace fs = std::filesystem;
  std::error_code ignored;
  const fs::path file = uri_.place;
  if (!fs::is_directory(file.parent_path(), ignored))
    throw StoreError(uri_.shown + ": there is no folder " + file.parent_path().string());
  const bool there = fs::exists(file, ignored);
  if (access == Access::reading && !there) throw StoreError(uri_.shown + ": there is no such file");
  if (fs::is_directory(file, ignored)) throw StoreError(uri_.shown + ": is a folder, no store");
  if (access == Access::reading && fs::file_size(file, ignored) == 0)
    throw StoreError(uri_.shown + ": no runs have been stored here");
  const auto may = [](const fs::path& path, int how) {
    return faccessat(AT_FDCWD, path.c_str(), how, AT_EACCESS) == 0;
  };
  read_only_ = access == Access::reading && !(may(file, W_OK) && may(file.parent_path(), W_OK));
  if (there && !may(file, R_OK)) throw StoreError(uri_.shown + ": cannot be read: " + strerror(errno));
  // The database keeps files of its own beside it.
  if (access != Access::reading && (!may(file.parent_path(), W_OK) || (there && !may(file, W_OK))))
    throw StoreError(uri_.shown + ": cannot be written: " + strerror(errno));
  if (read_only_) {
    // Nobody writes a log beside it, so that it can be read as it is; a log that is there has to be read, too.
    const bool alone = !fs::exists(uri_.place + "-wal", ignored);
    address_ = address_of_file(uri_.place, alone ? "?mode=ro&immutable=1" : "?mode=ro");
    session_ = std::make_unique<soci::session>(soci::sqlite3, "db=" + address_);
    return;
  }
  address_ = address_of_file(uri_.place, access == Access::create ? "?mode=rwc" : "?mode=rw");
  session_ = std::make_unique<soci::session>(soci::sqlite3, "db=" + address_);
  run("PRAGMA busy_timeout = " + std::to_string(kBusyMs));
  for (const char* setting : {"foreign_keys = ON", "synchronous = FULL", "cache_size = -65536", "temp_store = MEMORY"})
    run(std::string("PRAGMA ") + setting);
  write_ahead(session_.get());
}

Transaction::Transaction(Database* database) : database_(*database) {
  database_.run(database_.postgresql() ? "BEGIN" : "BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  if (!open_) return;
  try {
    database_.run("ROLLBACK");
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): the connection is gone, and so is the transaction
  }
}

void Transaction::commit() {
  database_.run("COMMIT");
  open_ = false;
}

}  // namespace factory::store
