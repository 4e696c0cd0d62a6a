// Searching for the tuning values of one order and thread count.
#pragma once

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

// The best values found from `start` on: one value after another is tried over its whole range until no
// change gains half a percent.
lapack::TunedValues tune(const Setting& setting, const lapack::TunedValues& start, const Costs& costs);

}  // namespace vex::bench
