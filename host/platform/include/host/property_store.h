// The system properties behind property_get() and property_set(). Host only. Any thread may call.
#pragma once

#include <map>
#include <optional>
#include <string>

namespace host {

// Forgets all properties and takes those of a phone directory: first `folder`/build.prop (KEY=VALUE lines, # comments),
// then `folder`/properties, where every later change is kept (the whole file is replaced at each change, so a reader
// finds the old or the new values). An empty folder gives an empty store that lives in memory only.
// Returns an empty text, or what was wrong, naming file and line; the malformed lines are skipped. A file that is there
// and cannot be read clears `readable`: then the store is empty, and the folder stays as it is.
std::string open_properties(const std::string& folder, bool* readable = nullptr);

// What a reboot does: drops every property that is neither from build.prop nor "persist.".
void reboot_properties();

// Sets a property without the limits of property_set(): for tests.
void force_property(const std::string& key, const std::string& value);

// Hides a property behind another value, or behind none, until property_set() sets it or all are shown again. No file
// learns of it, so that nothing is left of it when the process is killed.
void hide_property(const std::string& key, const std::optional<std::string>& value);
void show_properties();

std::map<std::string, std::string> all_properties();

}  // namespace host
