// The solve under its standard names. The 32-bit entry widens its arguments and pivots, the 64-bit entry
// passes them through; the engine's routine checks the arguments of both.
#include <algorithm>

#include "driver/standard_entries.h"
#include "lapack/lapack.h"
#include "vex.h"

namespace vex::driver {
namespace {

constinit TraceSwitch trace_32, trace_64;

void solve(const char* trans, const int* n, const int* nrhs, const double* a, const int* lda, const int* ipiv,
           double* b, const int* ldb, int* info) {
  install_error_handler();
  const bool traced = trace_32.on();

  const vex_int order = *n, columns = *nrhs, lda_wide = *lda, ldb_wide = *ldb;
  const vex_int pivot_count = std::max<vex_int>(order, 0);  // a negative order is the engine's to report
  WidePivots pivots(pivot_count);
  if (pivots.data() == nullptr) {
    *info = report_no_pivot_array("DGETRS");
    return;
  }
  std::copy_n(ipiv, pivot_count, pivots.data());

  TraceClock clock;
  if (traced) clock.start();
  vex_int wide_info = 0;
  vex_lapack_dgetrs(trans, &order, &columns, a, &lda_wide, pivots.data(), b, &ldb_wide, &wide_info, 1);
  *info = static_cast<int>(wide_info);
  if (traced)
    trace(clock.stop(), "DGETRS(%c,%d,%d,%p,%d,%p,%p,%d,%d)", *trans, *n, *nrhs, static_cast<const void*>(a),
          *lda, static_cast<const void*>(ipiv), static_cast<void*>(b), *ldb, *info);
}

void solve(const char* trans, const vex_int* n, const vex_int* nrhs, const double* a, const vex_int* lda,
           const vex_int* ipiv, double* b, const vex_int* ldb, vex_int* info) {
  install_error_handler();
  const bool traced = trace_64.on();

  TraceClock clock;
  if (traced) clock.start();
  vex_lapack_dgetrs(trans, n, nrhs, a, lda, ipiv, b, ldb, info, 1);
  if (traced)
    trace(clock.stop(), "DGETRS_64(%c,%lli,%lli,%p,%lli,%p,%p,%lli,%lli)", *trans, static_cast<long long>(*n),
          static_cast<long long>(*nrhs), static_cast<const void*>(a), static_cast<long long>(*lda),
          static_cast<const void*>(ipiv), static_cast<void*>(b), static_cast<long long>(*ldb),
          static_cast<long long>(*info));
}

}  // namespace
}  // namespace vex::driver

extern "C" {

void DGETRS(const char* trans, const int* n, const int* nrhs, const double* a, const int* lda,
            const int* ipiv, double* b, const int* ldb, int* info, std::int64_t) {
  vex::driver::solve(trans, n, nrhs, a, lda, ipiv, b, ldb, info);
}
[[gnu::alias("DGETRS")]] decltype(DGETRS) dgetrs, dgetrs_, vex_lapack__dgetrs_;

void DGETRS_64(const char* trans, const vex_int* n, const vex_int* nrhs, const double* a, const vex_int* lda,
               const vex_int* ipiv, double* b, const vex_int* ldb, vex_int* info, std::int64_t) {
  vex::driver::solve(trans, n, nrhs, a, lda, ipiv, b, ldb, info);
}
[[gnu::alias("DGETRS_64")]] decltype(DGETRS_64) dgetrs_64, dgetrs_64_, vex_lapack__dgetrs_64_;
}
