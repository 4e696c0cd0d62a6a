// The unblocked and the blocked factorization by one thread. The blocked one calls itself for its panels,
// with a width chosen anew for the panel's shape, until a panel is narrow enough for the unblocked one.
#include "lapack/panel.h"

#include <algorithm>

#include "blas/blas.h"
#include "lapack/ilaenv.h"
#include "lapack/laswp.h"
#include "lapack/small/small.h"
#include "service/progress.h"

namespace vex::lapack {
namespace {

using blas::Diag;
using blas::Side;
using blas::Trans;
using blas::Uplo;

// The kernel entries of the two blocked forms.
struct PublicKernels {
  static void solve_unit_lower(ConstMatrixView l, MatrixView b) {
    blas::trsm(Side::left, Uplo::lower, Trans::no, Diag::unit, 1.0, l, b);
  }
  static void subtract_product(ConstMatrixView a, ConstMatrixView b, MatrixView c) {
    blas::gemm(Trans::no, Trans::no, -1.0, a, b, 1.0, c);
  }
};

struct InternalKernels {
  static void solve_unit_lower(ConstMatrixView l, MatrixView b) {
    blas::xtrsm(Side::left, Uplo::lower, Trans::no, Diag::unit, 1.0, l, b);
  }
  static void subtract_product(ConstMatrixView a, ConstMatrixView b, MatrixView c) {
    blas::xgemm(Trans::no, Trans::no, -1.0, a, b, 1.0, c);
  }
};

// A matrix too flat to be blocked but this many times wider than tall is factored in its leading square, and
// the rest is solved for: the unblocked form would read all of it anew for every pivot.
constexpr vex_int least_wide_ratio = 2;

// Whom the progress callback is told about: the thread, and how many columns of the whole matrix lie left of
// the panel in work.
struct Reporter {
  vex_int thread, columns_before;

  bool asks_to_stop(vex_int columns_done) const {
    const int thread_number = static_cast<int>(thread);
    const int step = static_cast<int>(columns_before + columns_done);
    return vex_serv_progress(&thread_number, &step, "DGETRF", 6) != 0;
  }
};

// Brings the columns right of the block column [j, j + jb) up to date with it: its interchanges, their block
// row of U, and the rows below.
template <typename Kernels>
void update_right(MatrixView a, vex_int j, vex_int jb, const vex_int* ipiv) {
  const vex_int right = a.cols - j - jb;
  const vex_int below = a.rows - j - jb;
  if (right == 0) return;
  laswp({a.col(j + jb), a.rows, right, a.ld}, j + 1, j + jb, ipiv, 1);
  const MatrixView upper = a.block(j, j + jb, jb, right);
  Kernels::solve_unit_lower(a.block(j, j, jb, jb), upper);
  if (below == 0) return;
  Kernels::subtract_product(a.block(j + jb, j, below, jb), upper, a.block(j + jb, j + jb, below, right));
}

// True when the progress callback asked to stop.
template <typename Kernels>
bool factor_blocked(MatrixView a, vex_int* ipiv, vex_int& info, const Reporter& reporter) {
  const vex_int m = a.rows;
  const vex_int n = a.cols;
  const vex_int diagonal = std::min(m, n);
  const vex_int width = panel_width(m, n);
  if (width <= 1 || width >= diagonal) {
    if (n < least_wide_ratio * m) {
      vex_lapack_ps_dgetf2(&a.rows, &a.cols, a.data, &a.ld, ipiv, &info);
      return false;
    }
    const bool stopped = factor_blocked<Kernels>(a.block(0, 0, m, m), ipiv, info, reporter);
    if (!stopped) update_right<Kernels>(a, 0, m, ipiv);
    return stopped;
  }
  info = 0;
  for (vex_int j = 0; j < diagonal; j += width) {
    const vex_int jb = std::min(diagonal - j, width);
    vex_int panel_info = 0;
    const Reporter inner{reporter.thread, reporter.columns_before + j};
    if (factor_blocked<Kernels>(a.block(j, j, m - j, jb), ipiv + j, panel_info, inner)) return true;
    if (info == 0 && panel_info > 0) info = panel_info + j;
    for (vex_int i = j; i < j + jb; ++i) ipiv[i] += j;
    update_right<Kernels>(a, j, jb, ipiv);
  }
  // The interchanges of all later blocks go into a block column in one pass, while its columns are in the
  // cache.
  for (vex_int j = 0; j + width < diagonal; j += width) {
    laswp({a.col(j), m, width, a.ld}, j + width + 1, diagonal, ipiv, 1);
  }
  return reporter.asks_to_stop(diagonal);
}

}  // namespace
}  // namespace vex::lapack

void vex_lapack_dgetf2(const vex_int* m, const vex_int* n, double* a, const vex_int* lda, vex_int* ipiv,
                       vex_int* info) {
  vex_lapack_ps_dgetf2(m, n, a, lda, ipiv, info);
}

int vex_lapack_dgetrf_local(const vex_int* m, const vex_int* n, double* a, const vex_int* lda, vex_int* ipiv,
                            vex_int* info, const vex_int* thread, const vex_int* first_column) {
  using namespace vex::lapack;
  return factor_blocked<PublicKernels>({a, *m, *n, *lda}, ipiv, *info, {*thread, *first_column});
}

int vex_lapack_xdgetrf_local(const vex_int* m, const vex_int* n, double* a, const vex_int* lda, vex_int* ipiv,
                             vex_int* info, const vex_int* thread, const vex_int* first_column) {
  using namespace vex::lapack;
  return factor_blocked<InternalKernels>({a, *m, *n, *lda}, ipiv, *info, {*thread, *first_column});
}

void vex_lapack_xdgetrf(const vex_int* m, const vex_int* n, double* a, const vex_int* lda, vex_int* ipiv,
                        vex_int* info) {
  const vex_int zero = 0;
  if (vex_lapack_dgetrf_local(m, n, a, lda, ipiv, info, &zero, &zero) != 0) {
    *info = vex::lapack::info_not_finished;
  }
}
