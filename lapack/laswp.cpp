// Row interchanges, on the calling thread and split by columns among the threads.
#include "lapack/laswp.h"

#include <atomic>
#include <utility>

#include "service/thread_count.h"
#include "service/xerbla.h"

namespace vex::lapack {
namespace {

// With this many columns or fewer a parallel region costs more than the swaps.
constexpr vex_int most_sequential_columns = 128;

constexpr vex_int bad_pivot = 6;  // the parameter number of ipiv

void report_bad_pivot() {
  vex_serv_xerbla("DLASWP", &bad_pivot, 6);
}

// False, with nothing swapped, when the pivot index lies outside 1 ... ld.
bool swap_entries(double* column, vex_int ld, vex_int row, vex_int pivot) {
  if (pivot < 1 || pivot > ld) return false;
  std::swap(column[row - 1], column[pivot - 1]);
  return true;
}

// Applies the whole walk to one column; false at the first index out of range. The four indices of a group
// are read ahead of the swaps, which the compiler could not do by itself: for all it knows a swap may change
// them.
bool swap_column(double* column, vex_int ld, const RowWalk& walk) {
  const vex_int* pivot = walk.pivot;
  vex_int row = walk.row;
  vex_int left = walk.count;
  for (; left >= 4; left -= 4) {
    const vex_int group[4] = {pivot[0], pivot[walk.pivot_step], pivot[2 * walk.pivot_step],
                              pivot[3 * walk.pivot_step]};
    for (const vex_int index : group) {
      if (!swap_entries(column, ld, row, index)) return false;
      row += walk.row_step;
    }
    pivot += 4 * walk.pivot_step;
  }
  for (; left > 0; --left) {
    if (!swap_entries(column, ld, row, *pivot)) return false;
    row += walk.row_step;
    pivot += walk.pivot_step;
  }
  return true;
}

void laswp_by_threads(MatrixView a, const RowWalk& walk, int threads) {
  int error = 0;
#pragma omp parallel num_threads(threads)
  {
    bool stopped = false;
#pragma omp for schedule(static)
    for (vex_int j = 0; j < a.cols; ++j) {
      if (stopped || swap_column(a.col(j), a.ld, walk)) continue;
      stopped = true;
      // Any thread may set it and all write the same; the end of the region orders it before the reading
      // below.
      std::atomic_ref(error).store(bad_pivot, std::memory_order_relaxed);
    }
  }
  if (error != 0) report_bad_pivot();
}

}  // namespace

RowWalk row_walk(vex_int k1, vex_int k2, const vex_int* ipiv, vex_int incx) {
  if (incx == 0 || k1 > k2) return {k1, 1, 0, ipiv, 1};
  const vex_int count = k2 - k1 + 1;
  if (incx > 0) return {k1, 1, count, ipiv + (k1 - 1), incx};
  return {k2, -1, count, ipiv + (k1 - 1) + (count - 1) * -incx, incx};
}

void xlaswp(MatrixView a, const RowWalk& walk) {
  if (walk.count < 1) return;
  for (vex_int j = 0; j < a.cols; ++j) {
    if (!swap_column(a.col(j), a.ld, walk)) return report_bad_pivot();
  }
}

void laswp(MatrixView a, vex_int k1, vex_int k2, const vex_int* ipiv, vex_int incx) {
  const RowWalk walk = row_walk(k1, k2, ipiv, incx);
  const int threads = vex_serv_get_max_threads();
  if (threads == 1 || a.cols <= most_sequential_columns || incx != 1) return xlaswp(a, walk);
  laswp_by_threads(a, walk, threads);
}

}  // namespace vex::lapack

void vex_lapack_xdlaswp(const vex_int* n, double* a, const vex_int* lda, const vex_int* k1, const vex_int* k2,
                        const vex_int* ipiv, const vex_int* incx) {
  vex::lapack::xlaswp({a, *lda, *n, *lda}, vex::lapack::row_walk(*k1, *k2, ipiv, *incx));
}

void vex_lapack_dlaswp(const vex_int* n, double* a, const vex_int* lda, const vex_int* k1, const vex_int* k2,
                       const vex_int* ipiv, const vex_int* incx) {
  vex::lapack::laswp({a, *lda, *n, *lda}, *k1, *k2, ipiv, *incx);
}
