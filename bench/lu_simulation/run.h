// One factorization in simulated time: the real panel distribution, task graph, callbacks and team forming,
// on threads that only have clocks.
#pragma once

#include <vector>

#include "bench/lu_simulation/costs.h"
#include "lapack/getrf.h"
#include "lapack/task_graph.h"

namespace vex::bench {

// What a thread's time goes into; `waiting` is everything that is none of the others.
enum Activity { panels, interchanges, solves, multiplies, memory, overhead, waiting, activities };
inline constexpr const char* activity_names[] = {"panel",  "swap",     "solve", "multiply",
                                                 "memory", "overhead", "wait"};

// A stretch of one thread's time: a task, or (kind task_end) the interchanges on the left of panel `target`.
struct Stretch {
  vex_int thread;
  double start, end;  // nanoseconds
  lapack::Task task;
};

struct Outcome {
  double makespan = 0;  // nanoseconds
  vex_int threads = 0;  // that took part
  double share[activities] = {};
  std::vector<Stretch> stretches;  // when asked for
};

// Factors an n x n matrix with the plan's threads (the interchanges on the left with `max_threads`). `depth`
// is the look-ahead limit of the graph, 0 for none.
Outcome simulate(vex_int n, const lapack::ParallelPlan& plan, vex_int max_threads, vex_int depth,
                 const Costs& costs, bool keep_stretches = false);

}  // namespace vex::bench
