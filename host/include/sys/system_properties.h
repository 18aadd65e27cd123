// Android system properties, Linux stand-in.
//
// The store is the text file "properties" at the root of the device sandbox
// ($VYR_ROOT/properties), one "name=value" per line, so other processes,
// tests and operators can read and edit it. Every get reads the file again;
// every set rewrites it under an exclusive lock on "properties.lock" and
// replaces it atomically. When VYR_ROOT does not name a directory, the
// properties live in a map of this process only.
#pragma once

#define PROP_VALUE_MAX 92

#ifdef __cplusplus
extern "C" {
#endif

// Copies the value (at most PROP_VALUE_MAX - 1 bytes plus the terminator) into
// value and returns its length; an unset property gives 0 and "".
int __system_property_get(const char *name, char *value);

// Returns 0 on success, -1 on error: null or illegal name, null value, value
// longer than PROP_VALUE_MAX - 1 bytes, a second set of a "ro." property, or a
// store that cannot be written.
int __system_property_set(const char *name, const char *value);

#ifdef __cplusplus
}
#endif
