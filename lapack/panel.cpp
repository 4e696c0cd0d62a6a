// The unblocked and the blocked factorization by one thread. The blocked one calls itself for its panels,
// with a width chosen anew for the panel's shape, until a panel is narrow enough for the unblocked one.
#include "lapack/panel.h"

#include <algorithm>

#include "blas/blas.h"
#include "lapack/ilaenv.h"
#include "lapack/laswp.h"
#include "lapack/packed_group.h"
#include "lapack/small/small.h"
#include "service/cpu_dispatch.h"
#include "service/progress.h"
#include "service/thread_count.h"

namespace vex::lapack {
namespace {

using blas::Diag;
using blas::Side;
using blas::Trans;
using blas::Uplo;

// The kernel entries of the two blocked forms.
struct PublicKernels {
  static bool single_threaded() { return vex_serv_get_max_threads() == 1; }
  static void solve_unit_lower(ConstMatrixView l, MatrixView b) {
    blas::trsm(Side::left, Uplo::lower, Trans::no, Diag::unit, 1.0, l, b);
  }
  static void subtract_product(ConstMatrixView a, ConstMatrixView b, MatrixView c) {
    blas::gemm(Trans::no, Trans::no, -1.0, a, b, 1.0, c);
  }
};

struct InternalKernels {
  static bool single_threaded() { return true; }
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

// Orders up to which a matrix is not blocked at all: the strips of the unblocked form multiply and solve in
// place, which blocks of any width do not outdo before the second cache is full. Percent of cycles gained by
// order, AVX-512: 56 14, 100 8, 128 13, 200 10, 300 8, 400 6, 500 -4; AVX2, whose strips are half as wide: 56
// 9, 64 8, 100 0, 150 -13.
vex_int largest_unblocked(int code_path) {
  return code_path >= 6 ? 360 : code_path == 5 ? 80 : 0;
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

// The interchanges of all later blocks among the columns [first, end) go into a block column in one pass,
// while its columns are in the cache.
void interchange_left(MatrixView a, vex_int first, vex_int end, vex_int width, const vex_int* ipiv) {
  for (vex_int j = first; j + width < end; j += width) {
    laswp({a.col(j), a.rows, width, a.ld}, j + width + 1, end, ipiv, 1);
  }
}

// How many columns are factored before those on their right are brought up to date: a whole number of blocks.
// A product of narrow blocks waits for memory more than it computes, while the wider the group, the more work
// goes into its own columns. Percent of the multiply-add peak with groups of 1, 2, 3 and 4 blocks (AVX-512):
//   order 1200, blocks of 48    84.7  84.9  84.7  83.6
//   order 1500, blocks of 48    83.5  83.3  84.0  83.0
//   order 2000, blocks of 48    81.2  82.8  84.1  84.8
//   order 4000, blocks of 96    85.3  87.7  84.7  86.2
//   order 8000, blocks of 224   87.2  87.7
// From order 450 to 900, two blocks of 48 or three of 32 gain 1 to 3 percent on every path.
// Tall panels, whose columns no cache holds, want few passes over them rather (GFlops):
//   16000 x 336, blocks of 24   43.1  45.3  46.7  45.5
//   12000 x 400, blocks of 24   45.2  48.0  48.1  47.7
vex_int group_width(vex_int m, vex_int n, vex_int width) {
  constexpr vex_int enough = 192, least = 96, least_grouped = 450, tall = 20;
  const vex_int wanted = m / n > tall        ? std::min(least, n / 3)
                         : n < least_grouped ? n / 10
                                             : std::clamp(n / 10, least, enough);
  return std::max<vex_int>(wanted / width, 1) * width;
}

template <typename Kernels>
bool factor_blocked(MatrixView a, vex_int* ipiv, vex_int& info, const Reporter& reporter);

// Factors the columns [first, end), which are up to date, in blocks. True when the progress callback asked to
// stop.
template <typename Kernels>
bool factor_group(MatrixView a, vex_int first, vex_int end, vex_int width, vex_int* ipiv, vex_int& info,
                  const Reporter& reporter) {
  for (vex_int j = first; j < end; j += width) {
    const vex_int jb = std::min(end - j, width);
    vex_int panel_info = 0;
    const Reporter inner{reporter.thread, reporter.columns_before + j};
    if (factor_blocked<Kernels>(a.block(j, j, a.rows - j, jb), ipiv + j, panel_info, inner)) return true;
    if (info == 0 && panel_info > 0) info = panel_info + j;
    for (vex_int i = j; i < j + jb; ++i) ipiv[i] += j;
    update_right<Kernels>(a.block(0, 0, a.rows, end), j, jb, ipiv);
  }
  interchange_left(a, first, end, width, ipiv);
  return false;
}

// Whole groups, one ahead of the columns on the right: with each group those of the next one are brought up
// to date first, and factored, so that its interchanges can follow in every strip of the others just updated,
// whose rows the caches still hold. Alone they fetch every third line of the matrix anew for each group: at
// order 2000 they took 5 percent of the time, and 2.7 this way. Nearer still, each row right after the tile
// of the product that finishes it, they lost up to 3 percent at orders 1000 to 8000: the rows on top have to
// be set aside meanwhile, and are cold by the time the last one below is ready. Solving in the same pass
// gained 1 percent at order 4000 and lost 2 at 1000.
template <typename Kernels>
bool factor_ahead(MatrixView a, vex_int width, vex_int group, PackedGroup& packed, vex_int* ipiv,
                  vex_int& info, const Reporter& reporter) {
  constexpr vex_int few = 96;  // 48 and 192 are as good
  const vex_int diagonal = std::min(a.rows, a.cols);
  const auto interchange = [&](vex_int j, vex_int columns, vex_int from, vex_int behind) {
    xlaswp({a.col(j), a.rows, columns, a.ld}, row_walk(from + 1, behind, ipiv, 1));
  };
  vex_int first = 0, end = std::min(group, diagonal);
  if (factor_group<Kernels>(a, first, end, width, ipiv, info, reporter)) return true;
  interchange(end, a.cols - end, first, end);
  while (end < a.cols) {
    const vex_int next = std::min(diagonal, end + group), rows = a.rows - first;
    const vex_int strip = strip_width(a.rows - end, end - first, few);
    packed.pack(a.block(first, first, rows, end - first));
    if (next > end) {
      packed.update(a.block(first, end, rows, next - end));
      if (factor_group<Kernels>(a, end, next, width, ipiv, info, reporter)) return true;
    }
    for (vex_int j = next; j < a.cols; j += strip) {
      const vex_int columns = std::min(strip, a.cols - j);
      packed.update(a.block(first, j, rows, columns));
      interchange(j, columns, end, next);
    }
    if (next == end) break;
    first = end, end = next;
  }
  return false;
}

// From this many columns on the groups run ahead; up to 1400 both ways are as fast.
constexpr vex_int least_ahead = 500;

template <typename Kernels>
bool factor_groups(MatrixView a, vex_int width, vex_int group, vex_int* ipiv, vex_int& info,
                   const Reporter& reporter) {
  const bool packs = group <= blas::largest_packed_triangle && Kernels::single_threaded();
  if (packs && a.cols >= least_ahead) {
    PackedGroup packed(a.rows, group);
    if (packed) return factor_ahead<Kernels>(a, width, group, packed, ipiv, info, reporter);
  }
  const vex_int diagonal = std::min(a.rows, a.cols);
  for (vex_int j = 0; j < diagonal; j += group) {
    const vex_int end = std::min(diagonal, j + group);
    if (factor_group<Kernels>(a, j, end, width, ipiv, info, reporter)) return true;
    update_right<Kernels>(a, j, end - j, ipiv);
  }
  return false;
}

// Brings a matrix of moderate order into the second cache, column by column: the order in which the
// factorization comes to its lines is one that the hardware does not foresee. Orders 48 to 350 take 4 to 25
// percent fewer cycles with it where they come from the third cache, the more the busier that is, and 1 to 3
// more where they need not; order 33 loses, as do tall matrices of the same size. Asking for the columns next
// in work gained nothing.
void read_ahead(ConstMatrixView a) {
  constexpr vex_int least = 45, most = 360, line = 8;
  if (std::min(a.rows, a.cols) < least || std::max(a.rows, a.cols) > most) return;
  for (vex_int j = 0; j < a.cols; ++j) {
    const double* const column = a.col(j);
#pragma GCC unroll 4
    for (vex_int i = 0; i < a.rows; i += line) asm volatile("" : : "r"(column[i]));
  }
}

// True when the progress callback asked to stop.
template <typename Kernels>
bool factor_blocked(MatrixView a, vex_int* ipiv, vex_int& info, const Reporter& reporter) {
  const vex_int m = a.rows;
  const vex_int n = a.cols;
  const vex_int diagonal = std::min(m, n);
  const vex_int width = panel_width(m, n);
  const vex_int unblocked = largest_unblocked(vex_serv_cpu_detect());
  if (width < diagonal && m <= unblocked && n <= unblocked) {
    vex_lapack_ps_dgetf2(&a.rows, &a.cols, a.data, &a.ld, ipiv, &info);
    return reporter.asks_to_stop(diagonal);
  }
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
  const vex_int group = group_width(m, n, width);
  if (factor_groups<Kernels>(a, width, group, ipiv, info, reporter)) return true;
  interchange_left(a, 0, diagonal, group, ipiv);
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
  read_ahead({a, *m, *n, *lda});
  return factor_blocked<PublicKernels>({a, *m, *n, *lda}, ipiv, *info, {*thread, *first_column});
}

int vex_lapack_xdgetrf_local(const vex_int* m, const vex_int* n, double* a, const vex_int* lda, vex_int* ipiv,
                             vex_int* info, const vex_int* thread, const vex_int* first_column) {
  using namespace vex::lapack;
  read_ahead({a, *m, *n, *lda});
  return factor_blocked<InternalKernels>({a, *m, *n, *lda}, ipiv, *info, {*thread, *first_column});
}

void vex_lapack_xdgetrf(const vex_int* m, const vex_int* n, double* a, const vex_int* lda, vex_int* ipiv,
                        vex_int* info) {
  const vex_int zero = 0;
  if (vex_lapack_dgetrf_local(m, n, a, lda, ipiv, info, &zero, &zero) != 0) {
    *info = vex::lapack::info_not_finished;
  }
}
