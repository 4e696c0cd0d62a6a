// One region factors: panel 0 first, then tasks until the graph has no more. A second region brings the row
// interchanges of later panels into the columns of earlier ones, which no task waits for.
#include "lapack/getrf_parallel.h"

#include "lapack/parallel_run.h"

namespace vex::lapack {

bool factor_in_parallel(MatrixView a, vex_int* ipiv, vex_int& info, const ParallelPlan& plan,
                        vex_int max_threads) {
  NoClock clock;
  return run_in_parallel(a, ipiv, info, plan, max_threads, clock);
}

bool factor_tall_in_parallel(MatrixView a, vex_int* ipiv, vex_int& info, vex_int threads) {
  TeamRecord* record = allocate_records(nullptr, 1, threads);
  if (!record) return false;
  int stop = 0;
  vex_int panel_info = 0;
#pragma omp parallel num_threads(static_cast <int>(threads))
  {
    const SingleThreadedKernels bracket;
    const TeamMember member{record, omp_get_thread_num(), omp_get_num_threads()};
    vex_int own_info = 0;
    const int own_stop = factor_panel_by_team(member, a, ipiv, own_info);
    if (member.is_master()) {
      stop = own_stop;
      panel_info = own_info;
    }
  }
  free_records(record, 1);
  info = stop ? info_not_finished : panel_info;
  return true;
}

}  // namespace vex::lapack
