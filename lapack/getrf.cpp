// The entry of the LU factorization: argument check, and the choice of the way in which the work is done.
#include "lapack/getrf.h"

#include <omp.h>

#include <algorithm>
#include <cstdint>

#include "blas/internal_team.h"
#include "lapack/getrf_parallel.h"
#include "lapack/ilaenv.h"
#include "lapack/lapack.h"
#include "lapack/panel.h"
#include "lapack/small/small.h"
#include "lapack/tuning_trees.h"
#include "service/cpu_dispatch.h"
#include "service/reproducibility.h"
#include "service/thread_count.h"
#include "service/xerbla.h"

namespace vex::lapack {
namespace {

// The wide shapes that the tall-skinny way leaves alone: a panel of more columns outgrows one team.
constexpr vex_int widest_tall_matrix = 4096;

// From this code path on, single-thread teams keep to their own block columns, whose data their caches hold.
constexpr int first_hinting_path = 7;

// Below these rows a team packs panels for itself as cheaply as it waits for others.
constexpr vex_int least_shared_rows = 2750;
constexpr int sharing_kernels = 2;    // the first version of the kernels that multiplies from shared copies
constexpr vex_int sharing_depth = 2;  // panels that have copies at a time

template <typename Integer>
int check_arguments(const Integer* m, const Integer* n, const Integer* lda, Integer* info) {
  vex_int parameter = 0;
  if (*m < 0) {
    parameter = 1;
  } else if (*n < 0) {
    parameter = 2;
  } else if (*lda < std::max<Integer>(1, *m)) {
    parameter = 4;
  }
  *info = static_cast<Integer>(-parameter);
  if (parameter == 0) return 0;
  vex_serv_xerbla("DGETRF", &parameter, 6);
  return 1;
}

}  // namespace

Way choose_way(vex_int m, vex_int n) {
  if (m == 0 || n == 0) return Way::nothing;
  if (std::max(m, n) <= 16) return Way::small;
  if (crossover(m, n) != 0) return Way::recursive;
  if (n <= m / 4 && n <= widest_tall_matrix) return Way::tall_skinny;
  return Way::large;
}

ParallelPlan plan_parallel(const TunedValues& tuned, vex_int m, vex_int n, int code_path,
                           vex_int max_threads) {
  ParallelPlan plan;
  plan.nominal_width = tuned.nb0;
  plan.width = std::min(tuned.nb0, tuned.nb1);
  plan.late_panel = std::min(tuned.fts1, max_threads);
  plan.early_panel = std::min(tuned.fts0, plan.late_panel);
  plan.late_update = std::min(tuned.uts1, max_threads);
  plan.early_update = std::min(tuned.uts0, plan.late_update);
  plan.width_switch = static_cast<double>(tuned.nb_switch) / 100.0;
  plan.team_switch = static_cast<double>(tuned.ts_switch) / 100.0;
  plan.thread_hint = code_path >= first_hinting_path && plan.early_panel == 1 && plan.late_panel == 1 &&
                     plan.early_update == 1 && plan.late_update == 1;
  // One team per block column right of the first panel, and the panel's own; the count is cut before the
  // multiplication, where it cannot overflow yet.
  const vex_int updates = std::min(n / plan.width - 1, max_threads);
  plan.threads = std::min(updates * plan.late_update + plan.late_panel, max_threads);
  if (std::min(m, n) <= plan.width) plan.threads = 1;
  return plan;
}

void plan_sharing(ParallelPlan& plan, vex_int m, int reproducibility_branch, int kernel_version) {
  const int branch = reproducibility_branch;
  plan.share_panels = (branch <= service::cbwr_auto || branch >= service::cbwr_avx2) &&
                      kernel_version >= sharing_kernels && m >= least_shared_rows;
  plan.depth_limit = plan.share_panels && branch != service::cbwr_off ? sharing_depth : 0;
}

ParallelPlan plan_parallel(vex_int m, vex_int n, int code_path, vex_int max_threads) {
  ParallelPlan plan = plan_parallel(tuned_values(code_path, max_threads, m, n), m, n, code_path, max_threads);
  plan_sharing(plan, m, vex_serv_cbwr_get(1), vex_blas_get_kernel_api_version());
  return plan;
}

namespace {

// With more threads than processors the members of a team wait for each other's turn on a processor at every
// step: 56 threads on two processors took 3.6 times as long as two for order 2000, and 1.9 times without
// teams. Whether columns are bound to threads stays as the tuned sizes say.
void dissolve_teams(ParallelPlan& plan) {
  plan.early_panel = plan.late_panel = plan.early_update = plan.late_update = 1;
}

// Sequentially, or in parallel when the matrix deserves more than one thread and scratch memory is there.
void factor_large(MatrixView a, vex_int* ipiv, vex_int& info) {
  const int threads = vex_serv_get_max_threads();
  ParallelPlan plan = plan_parallel(a.rows, a.cols, vex_serv_cpu_detect(), threads);
  if (plan.threads > omp_get_num_procs()) dissolve_teams(plan);
  if (plan.threads >= 2 && factor_in_parallel(a, ipiv, info, plan, threads)) return;
  vex_lapack_xdgetrf(&a.rows, &a.cols, a.data, &a.ld, ipiv, &info);
}

}  // namespace
}  // namespace vex::lapack

int vex_lapack_errchk_dgetrf(const int* m, const int* n, const double*, const int* lda, const int*,
                             int* info) {
  return vex::lapack::check_arguments(m, n, lda, info);
}

int vex_lapack_errchk_dgetrf_ilp64(const vex_int* m, const vex_int* n, const double*, const vex_int* lda,
                                   const vex_int*, vex_int* info) {
  return vex::lapack::check_arguments(m, n, lda, info);
}

void vex_lapack_dgetrf(const vex_int* m, const vex_int* n, double* a, const vex_int* lda, vex_int* ipiv,
                       vex_int* info) {
  using vex::lapack::Way;
  *info = 0;
  switch (vex::lapack::choose_way(*m, *n)) {
    case Way::nothing:
      return;
    case Way::small:
      return vex_lapack_ps_dgetrf_small(m, n, a, lda, ipiv, info);
    case Way::recursive: {
      const vex_int zero = 0;
      if (vex_lapack_xdgetrf_local(m, n, a, lda, ipiv, info, &zero, &zero) != 0) {
        *info = vex::lapack::info_not_finished;
      }
      return;
    }
    case Way::tall_skinny:
      return vex_lapack_dgetrf_ts(m, n, a, lda, ipiv, info);
    case Way::large:
      return vex::lapack::factor_large({a, *m, *n, *lda}, ipiv, *info);
  }
}
