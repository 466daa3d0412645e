// PostgreSQL behind the interface in database.h.
#include <soci/postgresql/soci-postgresql.h>

#include <algorithm>
#include <iterator>

#include "store/database.h"

namespace factory::store {
namespace {

// SQLSTATE classes: connection, resources, the operator's intervention, and a transaction that may be tried again.
constexpr const char* kAnotherTime[] = {"08", "53", "57", "40"};

}  // namespace

bool went_away(const soci::soci_error& error) {
  const auto* server = dynamic_cast<const soci::postgresql_soci_error*>(&error);
  if (server == nullptr || error.get_error_category() == soci::soci_error::connection_error) return true;
  // Without a state of its own the connection broke.
  const std::string state = server->sqlstate();
  const bool none = std::none_of(state.begin(), state.end(), [](char c) { return isalnum(c) != 0; });
  return none || std::any_of(std::begin(kAnotherTime), std::end(kAnotherTime),
                             [&](const char* start) { return state.rfind(start, 0) == 0; });
}

std::unique_ptr<soci::session> connect_to_server(const Uri& uri) {
  std::unique_ptr<soci::session> session;
  try {
    session = std::make_unique<soci::session>(soci::postgresql, uri.place);
  } catch (const soci::soci_error& error) {
    throw AwayError(in_words(error, uri));
  }
  std::string encoding;
  *session << "SHOW server_encoding", soci::into(encoding);
  if (encoding != "UTF8")
    throw StoreError(uri.shown + ": the database's encoding is " + encoding + "; a store needs one made with UTF8");
  *session << "SET client_encoding TO 'UTF8'";
  *session << "SET client_min_messages TO warning";
  // A run leaves the spool when the server says that it has it: then it must.
  *session << "SET synchronous_commit TO on";
  return session;
}

int socket_of_server(soci::session& session) {
  return PQsocket(static_cast<soci::postgresql_session_backend*>(session.get_backend())->conn_);
}

}  // namespace factory::store
