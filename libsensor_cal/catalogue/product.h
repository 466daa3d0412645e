// Which phone model this is.
#pragma once

// Whether "ro.build.product" equals the name exactly. Logs what it read.
bool is_your_product(char const* name);
