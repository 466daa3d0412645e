// Many cells at once, each in a process of its own.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cell.h"

namespace fault_matrix {

struct Cell {
  const Kind* kind;
  const FaultRow* fault;
};

// Every fault with every kind to which it applies.
std::vector<Cell> every_cell();
// A part of them that waits for nothing: every fault that can be tried so, with a few kinds each.
std::vector<Cell> cross_section();

struct Limits {
  unsigned working = 2;    // cells at once that have something to do
  unsigned waiting = 100;  // and that wait for a time-out
  double grace_ms = 100;   // see run_cell()
};

// The outcomes in the order of the cells. A cell that was late is tried again on its own, since a machine under load is
// slow. The process must have one thread only.
std::vector<Outcome> run_cells(const std::vector<Cell>& cells, const Limits& limits);

}  // namespace fault_matrix
