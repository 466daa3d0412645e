// Runs a program and watches what it does to the files below a folder; cuts its power at a chosen point.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

// What the program did to the files below the folder until it ended or was cut.
struct FileHistory {
  int points = 0;                                           // where power could be cut
  std::map<std::string, std::optional<std::string>> whole;  // what was renamed there last; nullopt: removed
  std::set<std::string> written_in_place;
  std::set<std::string> changed;      // opened for writing, renamed to, removed, made
  std::set<std::string> inherited;    // opened, for whatever, so that a child would get them
  std::map<std::string, int> writes;  // since the file was opened for writing
  std::set<std::string> torn;         // the write that was cut in its middle
  std::vector<std::string> problems;  // a rename before its data was on the disk, a folder that never was
};

struct TracedRun {
  std::vector<std::string> command;
  std::string folder;  // absolute; only what lies below it counts
  int cut_at = 0;      // kills the program at this point (from 1); 0: never

  // The points are every call that changes a file or a folder, before it takes place, and every write once more, with
  // its first half done. Throws std::runtime_error where programs cannot be traced.
  FileHistory run() const;
  int* exit_code = nullptr;  // what the program ended with; untouched when it was cut
};
