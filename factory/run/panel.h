// The panel's brightness, through the library's own operations.
#pragma once

#include "phone/session.h"

namespace factory {

// -1 where the node cannot be read.
int panel_brightness(Session& session);
int panel_maximum(Session& session);

// True when the panel took the brightness.
bool set_panel_brightness(Session& session, int brightness);

// Switches the panel's light off for a lamp run; the session puts the brightness back at its end. True when it was lit.
bool darken_panel(Session& session);

}  // namespace factory
