// Searching for the tuning values of one order and thread count.
#pragma once

#include <vector>

#include "bench/lu_simulation/costs.h"
#include "lapack/tuning_trees.h"

namespace vex::bench {

// A question to the simulation.
struct Setting {
  vex_int n, threads;
  int code_path;  // the number of the path, which decides about binding columns to threads
  vex_int depth;
};

// Simulated nanoseconds by one thread, and in parallel with these values.
double one_thread(const Setting& setting, const Costs& costs);
double makespan(const Setting& setting, const lapack::TunedValues& values, const Costs& costs);

// Which of the values a search may change.
struct Freedom {
  bool widths = true, panel_teams = true;
};

// The best values found from `start` on, for all cases together: one value after another is tried over its
// whole range until no change gains half a percent on the geometric mean.
struct Case {
  Setting setting;
  Costs costs;
};
lapack::TunedValues tune(const std::vector<Case>& cases, const lapack::TunedValues& start, Freedom freedom);

}  // namespace vex::bench
