// For a build without the server's library: a station with a file of its own.
#include "store/database.h"

namespace factory::store {

bool went_away(const soci::soci_error& /*error*/) { return false; }

std::unique_ptr<soci::session> connect_to_server(const Uri& uri) {
  throw StoreError(uri.shown + ": this build of sensorcal knows stores in files only");
}

int socket_of_server(soci::session& /*session*/) { return -1; }

}  // namespace factory::store
