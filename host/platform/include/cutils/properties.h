// Stand-in for libcutils' <cutils/properties.h>.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Includes the closing NUL: a value has at most 91 characters.
#define PROPERTY_VALUE_MAX 92

// Copies the value (or `default_value`, which may be null) into `value`, PROPERTY_VALUE_MAX bytes, and returns its
// length.
int property_get(const char* key, char* value, const char* default_value);

// Understands "0", "n", "no", "false", "off" and "1", "y", "yes", "true", "on"; anything else gives the default.
int8_t property_get_bool(const char* key, int8_t default_value);

// Returns 0, or a negative value when the property cannot be set (a value too long, a "ro." property already set).
int property_set(const char* key, const char* value);

#ifdef __cplusplus
}
#endif
