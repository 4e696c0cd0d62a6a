// The parallel way: teams of threads take panel and update tasks from a graph.
#pragma once

#include "blas/matrix_view.h"
#include "lapack/getrf.h"

namespace vex::lapack {

// A = P L U by plan.threads threads, or by as many as the runtime delivers. Returns false, with the matrix
// untouched, when scratch memory for the schedule was not to be had; info as vex_lapack_dgetrf says.
bool factor_in_parallel(MatrixView a, vex_int* ipiv, vex_int& info, const ParallelPlan& plan,
                        vex_int max_threads);

// A tall matrix as a single panel of all `threads` threads; false as above.
bool factor_tall_in_parallel(MatrixView a, vex_int* ipiv, vex_int& info, vex_int threads);

}  // namespace vex::lapack
