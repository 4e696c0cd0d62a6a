// The factorization under its standard names. The 32-bit entry widens its arguments, the 64-bit entry passes
// them through; both check, trace and call the engine.
#include <algorithm>

#include "driver/standard_entries.h"
#include "lapack/lapack.h"
#include "vex.h"

namespace vex::driver {
namespace {

constinit TraceSwitch trace_32, trace_64;

// A call that fails its check may have been given nothing to look at: what is missing is shown as 0.
template <typename Shown, typename Integer>
Shown shown(const Integer* argument) {
  return argument ? static_cast<Shown>(*argument) : Shown{0};
}

void trace_call(double seconds, const int* m, const int* n, double* a, const int* lda, int* ipiv, int* info) {
  trace(seconds, "DGETRF(%d,%d,%p,%d,%p,%d)", shown<int>(m), shown<int>(n), static_cast<void*>(a),
        shown<int>(lda), static_cast<void*>(ipiv), shown<int>(info));
}

void trace_call(double seconds, const vex_int* m, const vex_int* n, double* a, const vex_int* lda,
                vex_int* ipiv, vex_int* info) {
  trace(seconds, "DGETRF_64(%lli,%lli,%p,%lli,%p,%lli)", shown<long long>(m), shown<long long>(n),
        static_cast<void*>(a), shown<long long>(lda), static_cast<void*>(ipiv), shown<long long>(info));
}

// A refused call is traced with the length of an empty interval.
template <typename Integer>
void trace_refused(const Integer* m, const Integer* n, double* a, const Integer* lda, Integer* ipiv,
                   Integer* info) {
  TraceClock clock;
  clock.start();
  trace_call(clock.stop(), m, n, a, lda, ipiv, info);
}

void factor(const int* m, const int* n, double* a, const int* lda, int* ipiv, int* info) {
  install_handlers();
  const bool traced = trace_32.on();
  if (vex_lapack_errchk_dgetrf(m, n, a, lda, ipiv, info) != 0) {
    if (traced) trace_refused(m, n, a, lda, ipiv, info);
    return;
  }

  const vex_int rows = *m, columns = *n, leading_dimension = *lda;
  const vex_int pivot_count = std::min(rows, columns);
  WidePivots pivots(pivot_count);
  if (pivots.data() == nullptr) {
    *info = report_no_pivot_array("DGETRF");
    return;
  }

  TraceClock clock;
  if (traced) clock.start();
  vex_int wide_info = 0;
  vex_lapack_dgetrf(&rows, &columns, a, &leading_dimension, pivots.data(), &wide_info);
  *info = static_cast<int>(wide_info);
  // Without its scratch memory the engine has not written every pivot; then IPIV stays as it was.
  if (wide_info >= 0)
    std::transform(pivots.data(), pivots.data() + pivot_count, ipiv,
                   [](vex_int pivot) { return static_cast<int>(pivot); });
  if (traced) trace_call(clock.stop(), m, n, a, lda, ipiv, info);
}

void factor(const vex_int* m, const vex_int* n, double* a, const vex_int* lda, vex_int* ipiv, vex_int* info) {
  install_handlers();
  const bool traced = trace_64.on();
  if (vex_lapack_errchk_dgetrf_ilp64(m, n, a, lda, ipiv, info) != 0) {
    if (traced) trace_refused(m, n, a, lda, ipiv, info);
    return;
  }

  TraceClock clock;
  if (traced) clock.start();
  vex_lapack_dgetrf(m, n, a, lda, ipiv, info);
  if (traced) trace_call(clock.stop(), m, n, a, lda, ipiv, info);
}

}  // namespace
}  // namespace vex::driver

extern "C" {

void DGETRF(const int* m, const int* n, double* a, const int* lda, int* ipiv, int* info) {
  vex::driver::factor(m, n, a, lda, ipiv, info);
}
[[gnu::alias("DGETRF")]] decltype(DGETRF) dgetrf, dgetrf_, vex_lapack__dgetrf_;

void DGETRF_64(const vex_int* m, const vex_int* n, double* a, const vex_int* lda, vex_int* ipiv,
               vex_int* info) {
  vex::driver::factor(m, n, a, lda, ipiv, info);
}
[[gnu::alias("DGETRF_64")]] decltype(DGETRF_64) dgetrf_64, dgetrf_64_, vex_lapack__dgetrf_64_;
}
