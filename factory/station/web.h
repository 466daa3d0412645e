// The station's page and what it asks for, by HTTP: docs/formats/station.md.
#pragma once

#include <memory>
#include <string>

#include "station/settings.h"

namespace factory::station {

class Station;

class Web {
 public:
  // Listens from here on, on threads of its own. Throws AppError where it cannot.
  Web(Station* station, const Settings& settings);
  // Ends all that is under way; the station has to be closed by then, or its listeners are waited for.
  ~Web();

  // What a person opens.
  std::string address() const;

 private:
  class Server;
  std::unique_ptr<Server> server_;
};

}  // namespace factory::station
