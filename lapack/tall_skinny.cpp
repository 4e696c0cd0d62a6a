// The factorization of matrices much taller than wide: one team of threads takes the whole matrix as a single
// panel, unless it is too short for that to pay.
#include <algorithm>

#include "lapack/getrf.h"
#include "lapack/getrf_parallel.h"
#include "lapack/ilaenv.h"
#include "lapack/panel.h"
#include "service/thread_count.h"

namespace vex::lapack {
namespace {

// A matrix is tall enough for a team when it has more rows than 2 (36 / threads) times its columns.
constexpr vex_int height_share = 36;

// More threads than this only wait for each other when the matrix is narrow.
constexpr vex_int most_threads_for_narrow = 16;
constexpr vex_int narrow = 1024;

}  // namespace

vex_int tall_team_size(vex_int m, vex_int n, vex_int threads, bool dynamic) {
  const vex_int ratio = m / n;
  bool sequential = crossover(m, n) != 0;
  if (ratio < threads) {
    // Fewer than n rows would be left for each thread.
    if (dynamic)
      threads = std::max<vex_int>(1, ratio);
    else
      sequential = true;
  }
  const vex_int least_ratio = 2 * std::max<vex_int>(1, height_share / threads);
  if (sequential || ratio < least_ratio || (ratio == least_ratio && m % n == 0)) return 0;
  if (dynamic && n < narrow) threads = std::min(threads, most_threads_for_narrow);
  return threads;
}

}  // namespace vex::lapack

void vex_lapack_dgetrf_ts(const vex_int* m, const vex_int* n, double* a, const vex_int* lda, vex_int* ipiv,
                          vex_int* info) {
  using namespace vex::lapack;
  if (*m == 0 || *n == 0) return;
  const vex_int threads = tall_team_size(*m, *n, vex_serv_get_max_threads(), vex_serv_get_dynamic() != 0);
  if (threads > 0 && factor_tall_in_parallel({a, *m, *n, *lda}, ipiv, *info, threads)) return;
  const vex_int zero = 0;
  if (vex_lapack_xdgetrf_local(m, n, a, lda, ipiv, info, &zero, &zero) != 0) *info = info_not_finished;
}
