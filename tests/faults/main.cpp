// Tries every fault of the simulated phone with every kind of calibration, and prints what does not end as it must.
//   fault_matrix [--kind NAME] [--fault TEXT] [--jobs N] [--doc FILE [--write]]
// Exit code: 0 all as it must be, 1 not, 2 usage.
#include <stdio.h>
#include <stdlib.h>

#include <fstream>
#include <sstream>
#include <thread>

#include "document.h"
#include "matrix.h"

namespace {

using namespace fault_matrix;  // NOLINT(google-build-using-namespace): this is its program

struct Options {
  std::string kind, fault, doc;
  bool write = false;
  Limits limits;
};

int usage() {
  fprintf(stderr, "usage: fault_matrix [--kind NAME] [--fault TEXT] [--jobs N] [--doc FILE [--write]]\n");
  return 2;
}

bool read_options(int argc, char** argv, Options* out) {
  out->limits.working = std::max(1U, std::thread::hardware_concurrency());
  for (int i = 1; i < argc; ++i) {
    const std::string name = argv[i];
    if (name == "--write") {
      out->write = true;
      continue;
    }
    if (++i == argc) return false;
    const std::string value = argv[i];
    if (name == "--kind") {
      out->kind = value;
    } else if (name == "--fault") {
      out->fault = value;
    } else if (name == "--doc") {
      out->doc = value;
    } else if (name == "--jobs") {
      out->limits.working = std::max(1U, static_cast<unsigned>(atoi(value.c_str())));
    } else {
      return false;
    }
  }
  return true;
}

std::string read_text(const std::string& path) {
  std::ostringstream out;
  out << std::ifstream(path).rdbuf();
  return out.str();
}

// Returns whether every cell ended as it must.
bool print(const std::vector<Cell>& cells, const std::vector<Outcome>& outcomes) {
  size_t deviating = 0;
  size_t skipped = 0;
  for (size_t i = 0; i < cells.size(); ++i) {
    if (!outcomes[i].skipped.empty()) {
      ++skipped;
      printf("not tried: %s with %s: %s\n", cells[i].fault->text, cells[i].kind->name, outcomes[i].skipped.c_str());
    }
    if (outcomes[i].deviations.empty()) continue;
    ++deviating;
    printf("%s with %s:\n", cells[i].fault->text, cells[i].kind->name);
    for (const std::string& text : outcomes[i].deviations) printf("  %s\n", text.c_str());
  }
  printf("%zu cells, %zu not as they must be, %zu not tried\n", cells.size(), deviating, skipped);
  return deviating == 0;
}

bool settle_document(const Options& options, const std::vector<Cell>& cells, const std::vector<Outcome>& outcomes) {
  const std::string text = document(cells, outcomes);
  if (options.write) {
    std::ofstream file(options.doc);
    file << text;
    return file.good();
  }
  if (read_text(options.doc) == text) return true;
  printf("%s is not what was found; --write writes it anew\n", options.doc.c_str());
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!read_options(argc, argv, &options)) return usage();
  std::vector<Cell> cells;
  for (const Cell& cell : every_cell()) {
    if (!options.kind.empty() && options.kind != cell.kind->name) continue;
    if (!options.fault.empty() && options.fault != cell.fault->text) continue;
    cells.push_back(cell);
  }
  if (cells.empty()) return usage();
  const std::vector<Outcome> outcomes = run_cells(cells, options.limits);
  bool good = print(cells, outcomes);
  if (!options.doc.empty()) good = settle_document(options, cells, outcomes) && good;
  return good ? 0 : 1;
}
