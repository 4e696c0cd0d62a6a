// Seconds for a sample. One thread's work is timed by the processor time it got, so that other programs on a
// shared machine stretch nothing; several threads' work by the clock on the wall.
#pragma once

#include <omp.h>
#include <time.h>

namespace vex::bench {

inline double sample_clock(int threads) {
  if (threads != 1) return omp_get_wtime();
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

}  // namespace vex::bench
