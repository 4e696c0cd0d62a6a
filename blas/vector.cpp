// Vector routines and the rank-1 update: which calls are worth threads, and the way to the code path's
// kernels.
#include <omp.h>

#include <algorithm>
#include <cmath>

#include "blas/blas.h"
#include "blas/dispatch.h"
#include "blas/named_entries.h"
#include "blas/vector_threads.h"
#include "service/buffer_cache.h"
#include "service/check_pointer.h"
#include "service/cpu_predicates.h"
#include "service/thread_count.h"
#include "service/work_split.h"

namespace vex::blas {

namespace {

constinit Dispatched<IdamaxFunction> path_xidamax{vex_blas_def_xidamax, vex_blas_cnr_def_xidamax,
                                                  vex_blas_mc3_xidamax, vex_blas_avx2_xidamax,
                                                  vex_blas_avx512_xidamax};
constinit Dispatched<DcopyFunction> path_xdcopy{vex_blas_def_xdcopy, vex_blas_cnr_def_xdcopy,
                                                vex_blas_mc3_xdcopy, vex_blas_avx2_xdcopy,
                                                vex_blas_avx512_xdcopy};
constinit Dispatched<DscalFunction> path_xdscal{vex_blas_def_xdscal, vex_blas_cnr_def_xdscal,
                                                vex_blas_mc3_xdscal, vex_blas_avx2_xdscal,
                                                vex_blas_avx512_xdscal};
constinit Dispatched<DswapFunction> path_xdswap{vex_blas_def_xdswap, vex_blas_cnr_def_xdswap,
                                                vex_blas_mc3_xdswap, vex_blas_avx2_xdswap,
                                                vex_blas_avx512_xdswap};
constinit Dispatched<DdotFunction> path_xddot{vex_blas_def_xddot, vex_blas_cnr_def_xddot, vex_blas_mc3_xddot,
                                              vex_blas_avx2_xddot, vex_blas_avx512_xddot};
constinit Dispatched<DgerFunction> path_xdger{vex_blas_def_xdger, vex_blas_cnr_def_xdger, vex_blas_mc3_xdger,
                                              vex_blas_avx2_xdger, vex_blas_avx512_xdger};

int threads_allowed() {
  return vex_serv_omp_in_parallel() ? 1 : vex_serv_domain_get_max_threads(1);
}

// Share of part `part` of `parts` in a range.
vex_int share(vex_int part, vex_int parts, vex_int n, vex_int* length) {
  return vex_serv_divbythreads(&part, &parts, &n, length);
}

// Joins the parts' answers (one-based indices into x) in order: the first NaN, else the first of the largest.
vex_int merge_partial_results(const vex_int* partial, int parts, const double* x, vex_int incx) {
  vex_int index = partial[0];
  double best = std::fabs(x[(index - 1) * incx]);
  for (int p = 1; p < parts && !std::isnan(best); ++p) {
    const double value = std::fabs(x[(partial[p] - 1) * incx]);
    if (value > best || std::isnan(value)) best = value, index = partial[p];
  }
  return index;
}

vex_int search_in_parts(vex_int n, const double* x, vex_int incx, int parts, vex_int* partial) {
#pragma omp parallel num_threads(parts)
  for (int p = omp_get_thread_num(); p < parts; p += omp_get_num_threads()) {
    vex_int length;
    const vex_int start = share(p, parts, n, &length);
    partial[p] = start + xidamax(length, x + start * incx, incx);
  }
  return merge_partial_results(partial, parts, x, incx);
}

}  // namespace

vex_int idamax(vex_int n, const double* x, vex_int incx) {
  constexpr vex_int shortest_threaded = 8192;
  constexpr int table_on_stack = 513;
  if (n < 1 || incx < 1) return 0;
  if (n < shortest_threaded) return xidamax(n, x, incx);
  const int parts = threads_allowed();
  if (parts < 2) return xidamax(n, x, incx);
  if (parts < table_on_stack) {
    vex_int partial[table_on_stack];
    return search_in_parts(n, x, incx, parts, partial);
  }
  auto* const partial = static_cast<vex_int*>(vex_serv_allocate(8 * static_cast<std::size_t>(parts), 128));
  if (vex_serv_check_ptr_and_warn(partial, "vex_blas_idamax") != 0) return xidamax(n, x, incx);
  const vex_int index = search_in_parts(n, x, incx, parts, partial);
  vex_serv_deallocate(partial);
  return index;
}

vex_int xidamax(vex_int n, const double* x, vex_int incx) {
  return path_xidamax.get()(&n, x, &incx);
}

int copy_threads(vex_int n, vex_int incy, int maximum) {
  if (n < 4096 || incy == 0 || maximum < 2) return 1;
  return static_cast<int>(std::min<vex_int>((n + 2047) / 2048, maximum));
}

void copy(vex_int n, const double* x, vex_int incx, double* y, vex_int incy) {
  if (n <= 0) return;
  const auto routine = path_xdcopy.get();
  const int parts = copy_threads(n, incy, n < 4096 ? 1 : threads_allowed());
  if (parts < 2) {
    routine(&n, x, &incx, y, &incy);
    return;
  }
  // Each share is walked from its own far end when an increment is negative, so it starts at the mirrored
  // place.
#pragma omp parallel num_threads(parts)
  for (int p = omp_get_thread_num(); p < parts; p += omp_get_num_threads()) {
    vex_int length;
    const vex_int start = share(p, parts, n, &length);
    const vex_int mirrored = n - start - length;
    routine(&length, x + (incx < 0 ? -mirrored * incx : start * incx), &incx,
            y + (incy < 0 ? -mirrored * incy : start * incy), &incy);
  }
}

int ger_threads(vex_int n, int maximum) {
  const bool may_thread = [&] {
    if (n <= 127 || maximum < 2 || !vex_serv_korva_cpu() || vex_serv_cpu_detect() < 2) return false;
    const int branch = vex_serv_cbwr_get(1);
    if (branch >= 3 && branch <= 7) return false;
    return branch != 2 || (vex_serv_cbwr_get_auto_branch() & ~3) != 4;
  }();
  if (!may_thread) return 1;
  return n > 32 * static_cast<vex_int>(maximum) ? maximum : static_cast<int>(n / 32);
}

void ger(double alpha, const double* x, vex_int incx, const double* y, vex_int incy, MatrixView a) {
  if (a.cols <= 0) return;
  const int threads = ger_threads(a.cols, a.cols <= 127 ? 1 : threads_allowed());
  vex_blas_dger_omp(&a.rows, &a.cols, &alpha, x, &incx, y, &incy, a.data, &a.ld, &threads);
}

void scal(vex_int n, double alpha, double* x, vex_int incx) {
  path_xdscal.get()(&n, &alpha, x, &incx);
}

void xswap(vex_int n, double* x, vex_int incx, double* y, vex_int incy) {
  path_xdswap.get()(&n, x, &incx, y, &incy);
}

double xdot(vex_int n, const double* x, vex_int incx, const double* y, vex_int incy) {
  return path_xddot.get()(&n, x, &incx, y, &incy);
}

}  // namespace vex::blas

using namespace vex;

extern "C" {

vex_int vex_blas_idamax(const vex_int* n, const double* x, const vex_int* incx) {
  return blas::idamax(*n, x, *incx);
}
vex_int vex_blas_xidamax(const vex_int* n, const double* x, const vex_int* incx) {
  return blas::xidamax(*n, x, *incx);
}
void vex_blas_dcopy(const vex_int* n, const double* x, const vex_int* incx, double* y, const vex_int* incy) {
  blas::copy(*n, x, *incx, y, *incy);
}
void vex_blas_xdcopy(const vex_int* n, const double* x, const vex_int* incx, double* y, const vex_int* incy) {
  blas::path_xdcopy.get()(n, x, incx, y, incy);
}
void vex_blas_dscal(const vex_int* n, const double* alpha, double* x, const vex_int* incx) {
  blas::scal(*n, *alpha, x, *incx);
}
void vex_blas_xdscal(const vex_int* n, const double* alpha, double* x, const vex_int* incx) {
  blas::scal(*n, *alpha, x, *incx);
}
void vex_blas_xdswap(const vex_int* n, double* x, const vex_int* incx, double* y, const vex_int* incy) {
  blas::xswap(*n, x, *incx, y, *incy);
}
double vex_blas_xddot(const vex_int* n, const double* x, const vex_int* incx, const double* y,
                      const vex_int* incy) {
  return blas::xdot(*n, x, *incx, y, *incy);
}
void vex_blas_dger(const vex_int* m, const vex_int* n, const double* alpha, const double* x,
                   const vex_int* incx, const double* y, const vex_int* incy, double* a, const vex_int* lda) {
  blas::ger(*alpha, x, *incx, y, *incy, {a, *m, *n, *lda});
}
void vex_blas_dger_omp(const vex_int* m, const vex_int* n, const double* alpha, const double* x,
                       const vex_int* incx, const double* y, const vex_int* incy, double* a,
                       const vex_int* lda, const int* threads) {
  if (*threads < 2) return vex_blas_xdger(m, n, alpha, x, incx, y, incy, a, lda);
  const auto routine = blas::path_xdger.get();
#pragma omp parallel num_threads(*threads)
  for (int p = omp_get_thread_num(); p < *threads; p += omp_get_num_threads()) {
    vex_int length;
    const vex_int start = blas::share(p, *threads, *n, &length);
    const double* const values = y + (*incy < 0 ? -(*n - start - length) * *incy : start * *incy);
    routine(m, &length, alpha, x, incx, values, incy, a + start * *lda, lda);
  }
}
void vex_blas_xdger(const vex_int* m, const vex_int* n, const double* alpha, const double* x,
                    const vex_int* incx, const double* y, const vex_int* incy, double* a,
                    const vex_int* lda) {
  blas::path_xdger.get()(m, n, alpha, x, incx, y, incy, a, lda);
}
}
