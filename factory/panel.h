// The panel's brightness, through the library's own operations.
#pragma once

#include "session.h"

namespace factory {

// -1 where the node cannot be read.
int panel_brightness(Session& session);
int panel_maximum(Session& session);

// True when the panel took the brightness.
bool set_panel_brightness(Session& session, int brightness);

}  // namespace factory
