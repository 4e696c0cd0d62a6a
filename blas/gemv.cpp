// The product of a matrix and a vector, and the triangular solve with one right-hand side: the way to the
// code path's kernels. The product runs on the calling thread, and so does a solve unless it is large.
#include <omp.h>

#include <algorithm>

#include "blas/blas.h"
#include "blas/dispatch.h"
#include "blas/named_entries.h"
#include "service/barrier.h"
#include "service/thread_count.h"

namespace vex::blas {

namespace {

constinit Dispatched<DgemvFunction> path_xdgemv{vex_blas_def_xdgemv, vex_blas_cnr_def_xdgemv,
                                                vex_blas_mc3_xdgemv, vex_blas_avx2_xdgemv,
                                                vex_blas_avx512_xdgemv};
constinit Dispatched<DtrsvFunction> path_xdtrsv{vex_blas_def_xdtrsv, vex_blas_cnr_def_xdtrsv,
                                                vex_blas_mc3_xdtrsv, vex_blas_avx2_xdtrsv,
                                                vex_blas_avx512_xdtrsv};

// A plain triangle with a contiguous right-hand side.
struct Triangle {
  bool lower;
  Diag diag;
  ConstMatrixView a;
  double* x;
};

// Unknowns that are solved for in one go, between two meetings of the threads.
constexpr vex_int solve_step = 64;

void solve_alone(const Triangle& t, vex_int first, vex_int count) {
  const char uplo = t.lower ? 'L' : 'U', trans = 'N', diag = static_cast<char>(t.diag);
  const vex_int one = 1;
  path_xdtrsv.get()(&uplo, &trans, &diag, &count, t.a.data + first * (t.a.ld + 1), &t.a.ld, t.x + first, &one,
                    1, 1, 1);
}

// Takes the unknowns out of `rows` rows, in the order in which a thread by itself does: so the bits are the
// same. An upper triangle is walked from its last column on, but for the columns behind the last whole eight.
void take_out(const Triangle& t, vex_int first, vex_int count, vex_int row, vex_int rows) {
  const bool backwards = !t.lower && count == solve_step;
  const vex_int start = backwards ? first + count - 1 : first;
  const ConstMatrixView columns{t.a.data + row + start * t.a.ld, rows, count, backwards ? -t.a.ld : t.a.ld};
  if (rows > 0) xgemv(Trans::no, -1.0, columns, t.x + first, backwards ? -1 : 1, 1.0, t.x + row, 1);
}

// One thread solves for a few unknowns after the other, and all take them out of the rows that are left: the
// first thread of those that come next, so that it can go on, and of fewer, since it solves meanwhile.
void solve_by_threads(const Triangle& t, int wanted) {
  const vex_int n = t.a.cols;
  service::CounterBarrier solved;
#pragma omp parallel num_threads(wanted)
  {
    const vex_int threads = omp_get_num_threads(), thread = omp_get_thread_num();
    for (vex_int done = 0, count; done < n; done += count) {
      const vex_int left = n - done, ragged = t.lower ? 0 : left % 8;
      count = ragged > 0 ? ragged : std::min(solve_step, left);
      const vex_int first = t.lower ? done : left - count, rest = left - count;
      if (thread == 0) solve_alone(t, first, count);
      // Also until the unknowns before are taken out everywhere.
      if (threads > 1) solved.wait(threads, thread == 0);
      const vex_int own = std::min(rest, std::max(solve_step, rest / threads / 8 * 8 - solve_step / 2));
      const vex_int others = threads > 1 ? (rest - own + threads - 2) / (threads - 1) : 0;
      const vex_int begin = thread == 0 ? 0 : std::min(rest, own + (thread - 1) * others);
      const vex_int end = threads == 1 ? rest : thread == 0 ? own : std::min(rest, begin + others);
      take_out(t, first, count, t.lower ? first + count + begin : rest - end, end - begin);
    }
  }
}

// A triangle is read once, by two threads up to 1.5 times as fast. Microseconds for both triangles by one and
// by two: order 500 90 and 117, 1000 192 and 154, 2000 1465 and 991, 4000 6417 and 4187. All threads or none:
// a region of fewer would end the others, and the next one would have to start them again.
int solve_threads(vex_int n) {
  constexpr vex_int unknowns_each = 500;
  const vex_int useful = std::min<vex_int>(n / unknowns_each, omp_get_num_procs());
  if (useful < 2 || vex_serv_omp_in_parallel()) return 1;
  const int threads = vex_serv_domain_get_max_threads(1);
  return threads <= useful ? threads : 1;
}

}  // namespace

void xgemv(Trans trans, double alpha, ConstMatrixView a, const double* x, vex_int incx, double beta,
           double* y, vex_int incy) {
  const char letter = static_cast<char>(trans);
  path_xdgemv.get()(&letter, &a.rows, &a.cols, &alpha, a.data, &a.ld, x, &incx, &beta, y, &incy, 1);
}

void trsv(Uplo uplo, Trans trans, Diag diag, ConstMatrixView a, double* x, vex_int incx) {
  const int threads = trans == Trans::no && incx == 1 ? solve_threads(a.cols) : 1;
  if (threads > 1) return solve_by_threads({uplo == Uplo::lower, diag, a, x}, threads);
  const char letters[3] = {static_cast<char>(uplo), static_cast<char>(trans), static_cast<char>(diag)};
  path_xdtrsv.get()(letters, letters + 1, letters + 2, &a.cols, a.data, &a.ld, x, &incx, 1, 1, 1);
}

}  // namespace vex::blas

using namespace vex::blas;

extern "C" {

void vex_blas_xdgemv(const char* trans, const vex_int* m, const vex_int* n, const double* alpha,
                     const double* a, const vex_int* lda, const double* x, const vex_int* incx,
                     const double* beta, double* y, const vex_int* incy, vex_int trans_length) {
  path_xdgemv.get()(trans, m, n, alpha, a, lda, x, incx, beta, y, incy, trans_length);
}

void vex_blas_xdtrsv(const char* uplo, const char* trans, const char* diag, const vex_int* n, const double* a,
                     const vex_int* lda, double* x, const vex_int* incx, vex_int uplo_length,
                     vex_int trans_length, vex_int diag_length) {
  path_xdtrsv.get()(uplo, trans, diag, n, a, lda, x, incx, uplo_length, trans_length, diag_length);
}

void vex_blas_dtrsv(const char* uplo, const char* trans, const char* diag, const vex_int* n, const double* a,
                    const vex_int* lda, double* x, const vex_int* incx, vex_int uplo_length,
                    vex_int trans_length, vex_int diag_length) {
  path_xdtrsv.get()(uplo, trans, diag, n, a, lda, x, incx, uplo_length, trans_length, diag_length);
}
}
