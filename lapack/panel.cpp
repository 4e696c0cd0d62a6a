// The unblocked and the blocked factorization by one thread. The blocked one calls itself for its panels,
// with a width chosen anew for the panel's shape, until a panel is narrow enough for the unblocked one.
#include "lapack/panel.h"

#include <algorithm>
#include <cmath>

#include "blas/blas.h"
#include "lapack/ilaenv.h"
#include "lapack/laswp.h"
#include "lapack/machine_constants.h"
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

constexpr double safe_minimum = machine_constant('S');

// A matrix too flat to be blocked but this many times wider than tall is factored in its leading square, and
// the rest is solved for: the unblocked form would read all of it anew for every pivot.
constexpr vex_int least_wide_ratio = 2;

// x := x / pivot. One multiplication per element serves unless the reciprocal of the pivot would overflow.
void divide_by_pivot(vex_int n, double pivot, double* x) {
  if (std::fabs(pivot) >= safe_minimum) return blas::scal(n, 1.0 / pivot, x, 1);
  for (vex_int i = 0; i < n; ++i) x[i] /= pivot;
}

vex_int factor_unblocked(MatrixView a, vex_int* ipiv) {
  const vex_int m = a.rows;
  const vex_int n = a.cols;
  vex_int info = 0;
  for (vex_int j = 0; j < std::min(m, n); ++j) {
    if (j > 0) blas::xgemv(Trans::no, -1.0, a.block(j, 0, m - j, j), a.col(j), 1, 1.0, &a(j, j), 1);
    const vex_int pivot_row = j + blas::idamax(m - j, &a(j, j), 1) - 1;
    ipiv[j] = pivot_row + 1;
    if (a(pivot_row, j) != 0.0) {
      if (pivot_row != j) blas::xswap(n, &a(j, 0), a.ld, &a(pivot_row, 0), a.ld);
      if (j + 1 < m) divide_by_pivot(m - j - 1, a(j, j), &a(j + 1, j));
    } else if (info == 0) {
      info = j + 1;
    }
    if (j > 0 && j + 1 < n) {
      blas::xgemv(Trans::yes, -1.0, a.block(0, j + 1, j, n - j - 1), &a(j, 0), a.ld, 1.0, &a(j, j + 1), a.ld);
    }
  }
  return info;
}

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
      info = factor_unblocked(a, ipiv);
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
  *info = vex::lapack::factor_unblocked({a, *m, *n, *lda}, ipiv);
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
