// The block-size and machine-constant queries under their standard names.
#include "driver/standard_entries.h"
#include "lapack/lapack.h"
#include "lapack/machine_constants.h"
#include "vex.h"

namespace vex::driver {
namespace {

constinit TraceSwitch trace_ilaenv_32, trace_ilaenv_64, trace_dlamch_32, trace_dlamch_64;

int enquire(const int* ispec, const char* name, const char* opts, const int* n1, const int* n2, const int* n3,
            const int* n4, vex_int name_length, vex_int opts_length) {
  install_error_handler();
  const bool traced = trace_ilaenv_32.on();
  const vex_int ispec_wide = *ispec, sizes[4] = {*n1, *n2, *n3, *n4};

  TraceClock clock;
  if (traced) clock.start();
  const auto answer = static_cast<int>(vex_lapack_ilaenv(&ispec_wide, name, opts, &sizes[0], &sizes[1],
                                                         &sizes[2], &sizes[3], name_length, opts_length));
  if (traced) trace(clock.stop(), "ILAENV(%d,%c,%c,%d,%d,%d,%d)", *ispec, *name, *opts, *n1, *n2, *n3, *n4);
  return answer;
}

vex_int enquire(const vex_int* ispec, const char* name, const char* opts, const vex_int* n1,
                const vex_int* n2, const vex_int* n3, const vex_int* n4, vex_int name_length,
                vex_int opts_length) {
  install_error_handler();
  const bool traced = trace_ilaenv_64.on();

  TraceClock clock;
  if (traced) clock.start();
  const vex_int answer = vex_lapack_ilaenv(ispec, name, opts, n1, n2, n3, n4, name_length, opts_length);
  if (traced)
    trace(clock.stop(), "ILAENV_64(%lli,%c,%c,%lli,%lli,%lli,%lli)", static_cast<long long>(*ispec), *name,
          *opts, static_cast<long long>(*n1), static_cast<long long>(*n2), static_cast<long long>(*n3),
          static_cast<long long>(*n4));
  return answer;
}

[[gnu::noinline, gnu::cold]] double traced_constant(const char* cmach, vex_int cmach_length,
                                                    const char* format) {
  TraceClock clock;
  clock.start();
  const double value = vex_lapack_dlamch(cmach, cmach_length);
  trace(clock.stop(), format, *cmach);
  return value;
}

// With tracing known to be off, the constant comes straight from the table, without a call.
double constant(TraceSwitch& traced, const char* cmach, vex_int cmach_length, const char* format) {
  const int mode = traced.read();
  if (mode != 0) [[unlikely]] {
    install_error_handler();
    if (traced.resolve(mode) != 0) return traced_constant(cmach, cmach_length, format);
  }
  return lapack::machine_constant(*cmach);
}

}  // namespace
}  // namespace vex::driver

extern "C" {

int ILAENV(const int* ispec, const char* name, const char* opts, const int* n1, const int* n2, const int* n3,
           const int* n4, std::int64_t name_length, std::int64_t opts_length) {
  return vex::driver::enquire(ispec, name, opts, n1, n2, n3, n4, name_length, opts_length);
}
[[gnu::alias("ILAENV")]] decltype(ILAENV) ilaenv, ilaenv_, vex_lapack__ilaenv_;

vex_int ILAENV_64(const vex_int* ispec, const char* name, const char* opts, const vex_int* n1,
                  const vex_int* n2, const vex_int* n3, const vex_int* n4, std::int64_t name_length,
                  std::int64_t opts_length) {
  return vex::driver::enquire(ispec, name, opts, n1, n2, n3, n4, name_length, opts_length);
}
[[gnu::alias("ILAENV_64")]] decltype(ILAENV_64) ilaenv_64, ilaenv_64_, vex_lapack__ilaenv_64_;

double DLAMCH(const char* cmach, std::int64_t cmach_length) {
  return vex::driver::constant(vex::driver::trace_dlamch_32, cmach, cmach_length, "DLAMCH(%c)");
}
[[gnu::alias("DLAMCH")]] decltype(DLAMCH) dlamch, dlamch_, vex_lapack__dlamch_;

double DLAMCH_64(const char* cmach, std::int64_t cmach_length) {
  return vex::driver::constant(vex::driver::trace_dlamch_64, cmach, cmach_length, "DLAMCH_64(%c)");
}
[[gnu::alias("DLAMCH_64")]] decltype(DLAMCH_64) dlamch_64, dlamch_64_, vex_lapack__dlamch_64_;
}
