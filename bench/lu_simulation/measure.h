// Measuring, on this machine and the code path that it dispatches, what the simulation takes for granted.
#pragma once

#include "service/types.h"

namespace vex::bench {

// Prints the row of the table in costs.cpp with the errors of each fit, the latency between two cores, and
// panels factored by one thread and by two.
void measure_and_print();

// Seconds of one factorization of a random matrix: the second fastest of `repeats`.
double measured_factorization(vex_int n, int threads, int repeats);

}  // namespace vex::bench
