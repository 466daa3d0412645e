#include <cutils/properties.h>
#include <host/property_store.h>

#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <mutex>
#include <sstream>

namespace host {
namespace {

constexpr char kBuildFile[] = "/build.prop";
constexpr char kStateFile[] = "/properties";

struct Store {
  std::mutex mutex;
  std::string folder;                                        // guarded by mutex; empty: in memory only
  std::map<std::string, std::string> build;                  // guarded by mutex; what build.prop says
  std::map<std::string, std::string> values;                 // guarded by mutex; all of them
  std::map<std::string, std::optional<std::string>> hidden;  // guarded by mutex; behind what
};

// As it shows. Called with the mutex held.
std::optional<std::string> find(const Store& store, const std::string& key) {
  if (const auto hidden = store.hidden.find(key); hidden != store.hidden.end()) return hidden->second;
  const auto found = store.values.find(key);
  return found == store.values.end() ? std::nullopt : std::optional(found->second);
}

Store& store() {
  static Store* const instance = new Store;
  return *instance;
}

bool has_prefix(const std::string& text, const char* prefix) { return text.compare(0, strlen(prefix), prefix) == 0; }

// A value may hold any character: line feeds and backslashes are escaped in the file.
std::string escaped(const std::string& value) {
  std::string out;
  for (const char c : value) {
    if (c == '\\') {
      out += "\\\\";
    } else if (c == '\n') {
      out += "\\n";
    } else {
      out += c;
    }
  }
  return out;
}

std::string unescaped(const std::string& text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 1 < text.size()) {
      ++i;
      out += text[i] == 'n' ? '\n' : text[i];
    } else {
      out += text[i];
    }
  }
  return out;
}

// Returns why not, or an empty text. A missing file holds nothing; a pipe is not waited for.
std::string read_text(const std::string& path, std::string* text) {
  struct stat status;
  if (lstat(path.c_str(), &status) != 0 && errno == ENOENT) return "";
  const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return path + ": cannot be opened: " + strerror(errno);
  std::string problem;
  if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) problem = path + ": not a regular file";
  char buffer[4096];
  while (problem.empty()) {
    const ssize_t n = read(fd, buffer, sizeof buffer);
    if (n < 0) problem = path + ": cannot be read: " + strerror(errno);
    if (n <= 0) break;
    text->append(buffer, static_cast<size_t>(n));
  }
  close(fd);
  return problem;
}

// Returns what was wrong, or an empty text.
std::string read_file(const std::string& path, bool escapes, std::map<std::string, std::string>* values,
                      bool* readable) {
  std::string text;
  std::string problem = read_text(path, &text);
  if (!problem.empty()) {
    *readable = false;
    return problem;
  }
  std::istringstream file(text);
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    if (line.empty() || line[0] == '#') continue;
    const size_t equals = line.find('=');
    if (equals == std::string::npos || equals == 0) {
      if (problem.empty()) problem = path + ":" + std::to_string(number) + ": not KEY=VALUE: " + line;
      continue;
    }
    const std::string value = line.substr(equals + 1);
    (*values)[line.substr(0, equals)] = escapes ? unescaped(value) : value;
  }
  return problem;
}

// Waits until the disk has the file or the folder.
bool sync(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  const bool synced = fsync(fd) == 0;
  close(fd);
  return synced;
}

// Replaces the whole file, so that a reader finds the old or the new values whenever the power goes: the data is on the
// disk before the name is. Called with the mutex held.
bool save(const Store& store) {
  if (store.folder.empty()) return true;
  const std::string path = store.folder + kStateFile;
  const std::string temporary = path + ".new";
  unlink(temporary.c_str());  // what a killed process left, or somebody else: a pipe there would be waited for
  {
    std::ofstream file(temporary, std::ios::trunc);
    for (const auto& [key, value] : store.values) {
      const auto built = store.build.find(key);
      if (built != store.build.end() && built->second == value) continue;
      file << key << '=' << escaped(value) << '\n';
    }
    if (!file.flush()) return false;
  }
  return sync(temporary) && rename(temporary.c_str(), path.c_str()) == 0 && sync(store.folder);
}

// Android's rule for names. A state file could not tell others from its own signs.
bool is_legal_name(const std::string& key) {
  if (key.empty() || key.front() == '.' || key.back() == '.' || key.find("..") != std::string::npos) return false;
  return key.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-@:") ==
         std::string::npos;
}

bool set(const std::string& key, const std::string& value) {
  Store& s = store();
  const std::lock_guard<std::mutex> lock(s.mutex);
  const std::optional<std::string> old = find(s, key);
  if (has_prefix(key, "ro.") && old) return false;
  if (old == value) return true;
  s.hidden.erase(key);
  s.values[key] = value;
  return save(s);
}

}  // namespace

std::string open_properties(const std::string& folder, bool* readable) {
  Store& s = store();
  const std::lock_guard<std::mutex> lock(s.mutex);
  s.folder = folder;
  s.build.clear();
  s.values.clear();
  s.hidden.clear();
  if (readable != nullptr) *readable = true;
  if (folder.empty()) return "";
  bool all_read = true;
  std::string problem = read_file(folder + kBuildFile, false, &s.build, &all_read);
  if (all_read) {
    s.values = s.build;
    const std::string state_problem = read_file(folder + kStateFile, true, &s.values, &all_read);
    if (problem.empty() || !all_read) problem = state_problem;
  }
  if (all_read) return problem;
  if (readable != nullptr) *readable = false;
  s.folder.clear();
  s.build.clear();
  s.values.clear();
  return problem;
}

void reboot_properties() {
  Store& s = store();
  const std::lock_guard<std::mutex> lock(s.mutex);
  std::map<std::string, std::string> kept = s.build;
  for (const auto& [key, value] : s.values) {
    if (has_prefix(key, "persist.")) kept[key] = value;
  }
  s.values = kept;
  save(s);
}

void force_property(const std::string& key, const std::string& value) {
  Store& s = store();
  const std::lock_guard<std::mutex> lock(s.mutex);
  s.values[key] = value;
  save(s);
}

void hide_property(const std::string& key, const std::optional<std::string>& value) {
  Store& s = store();
  const std::lock_guard<std::mutex> lock(s.mutex);
  s.hidden[key] = value;
}

void show_properties() {
  Store& s = store();
  const std::lock_guard<std::mutex> lock(s.mutex);
  s.hidden.clear();
}

std::map<std::string, std::string> all_properties() {
  Store& s = store();
  const std::lock_guard<std::mutex> lock(s.mutex);
  std::map<std::string, std::string> out = s.values;
  for (const auto& [key, value] : s.hidden) {
    out.erase(key);
    if (value) out[key] = *value;
  }
  return out;
}

}  // namespace host

int property_get(const char* key, char* value, const char* default_value) {
  std::string found;
  {
    host::Store& s = host::store();
    const std::lock_guard<std::mutex> lock(s.mutex);
    found = find(s, key).value_or("").c_str();  // a NUL that a file holds ends it
  }
  // As on a phone an empty value counts as unset, and a longer one (build.prop may hold it) is cut.
  if (found.empty() && default_value != nullptr) found = default_value;
  if (found.size() >= PROPERTY_VALUE_MAX) found.resize(PROPERTY_VALUE_MAX - 1);
  memcpy(value, found.c_str(), found.size() + 1);
  return static_cast<int>(found.size());
}

int8_t property_get_bool(const char* key, int8_t default_value) {
  char value[PROPERTY_VALUE_MAX];
  property_get(key, value, "");
  for (const char* yes : {"1", "y", "yes", "true", "on"}) {
    if (strcmp(value, yes) == 0) return 1;
  }
  for (const char* no : {"0", "n", "no", "false", "off"}) {
    if (strcmp(value, no) == 0) return 0;
  }
  return default_value;
}

int property_set(const char* key, const char* value) {
  if (key == nullptr || !host::is_legal_name(key)) return -1;
  const std::string text = value == nullptr ? "" : value;
  if (text.size() >= PROPERTY_VALUE_MAX) return -1;
  return host::set(key, text) ? 0 : -1;
}
