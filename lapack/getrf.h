// The ways in which a matrix can be factored and how one is chosen.
#pragma once

#include "lapack/tuning_trees.h"
#include "service/types.h"

namespace vex::lapack {

enum class Way {
  nothing,      // no rows or no columns
  small,        // at most 16 x 16: the register-resident routine of the code path
  recursive,    // small or thin: the sequential factorization on the calling thread
  tall_skinny,  // one team of threads factors the whole matrix as a single panel
  large         // sequential or parallel, as the tuning parameters say
};

Way choose_way(vex_int m, vex_int n);

// How a team shares the multiply of an update.
enum class UpdateSplit : int {
  by_shape = 0,    // rows or columns, whichever there is more of
  columns = 1,     // each member a range of the target's columns
  rows = 2,        // each member a range of the rows below
  own_copies = 3,  // each member packs the panel for itself, keeps that in the work buffer, and takes columns
  shared_copy = 4  // rows, from the packed copy that all teams share
};

// The tuning parameters of the parallel way, each capped as they cap each other.
struct ParallelPlan {
  vex_int nominal_width, width;       // panel widths of the early and the late columns
  vex_int early_panel, late_panel;    // team sizes for panel tasks
  vex_int early_update, late_update;  // team sizes for update tasks
  vex_int threads;                    // of the run; 1 when the matrix does not deserve more
  double width_switch;                // fraction of the columns that are early
  double team_switch;                 // fraction of the panels that are early
  bool thread_hint;                   // block columns are bound to threads
  bool share_panels = false;          // the teams multiply from packed copies of the panels that all share
  vex_int depth_limit = 0;            // how many panels may be ahead of the updates; 0 for any number
  UpdateSplit split = UpdateSplit::by_shape;
};

ParallelPlan plan_parallel(const TunedValues& tuned, vex_int m, vex_int n, int code_path,
                           vex_int max_threads);
// Sharing of panels and depth limit by the rows of the matrix, the reproducibility branch and the version of
// the kernels.
void plan_sharing(ParallelPlan& plan, vex_int m, int reproducibility_branch, int kernel_version);
// With the values of the tuning trees.
ParallelPlan plan_parallel(vex_int m, vex_int n, int code_path, vex_int max_threads);

// How many threads factor a tall matrix as one panel when `threads` may, 0 when it is not tall enough for a
// team. `dynamic`: the library may take fewer than it is set to.
vex_int tall_team_size(vex_int m, vex_int n, vex_int threads, bool dynamic);

}  // namespace vex::lapack

extern "C" {

// The tall-skinny way; for matrices at least four times taller than wide. info as vex_lapack_dgetrf says.
void vex_lapack_dgetrf_ts(const vex_int* m, const vex_int* n, double* a, const vex_int* lda, vex_int* ipiv,
                          vex_int* info);
}
