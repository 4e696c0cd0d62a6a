// What a standard entry point adds to the routine beneath it, on calls so small that nothing else shows: the
// internal routine, the entry's own steps without the trace, the entry with tracing off, and, for scale, with
// tracing on (the lines go to /dev/null). Nanoseconds per call; medians over interleaved rounds.
#include <omp.h>

#include <cstdio>
#include <vector>

#include "bench/support/samples.h"
#include "lapack/lapack.h"
#include "service/progress.h"
#include "service/xerbla.h"
#include "vex.h"

namespace {

constexpr int rounds = 31;

const vex_int one = 1;
const int one_32 = 1;
double matrix = 2.0;
vex_int pivot = 0, info = 0;
int pivot_32 = 0, info_32 = 0;
volatile double sink = 0.0;

void factor_inside() {
  vex_lapack_dgetrf(&one, &one, &matrix, &one, &pivot, &info);
}

// The 64-bit entry but for the trace.
[[gnu::noinline]] void factor_untraceable() {
  vex_set_xerbla_interface(cdecl_xerbla);
  vex_serv_set_progress_interface(cdecl_progress);
  if (vex_lapack_errchk_dgetrf_ilp64(&one, &one, &matrix, &one, &pivot, &info) != 0) return;
  vex_lapack_dgetrf(&one, &one, &matrix, &one, &pivot, &info);
}

void factor_64() {
  DGETRF_64(&one, &one, &matrix, &one, &pivot, &info);
}
void factor_32() {
  DGETRF(&one_32, &one_32, &matrix, &one_32, &pivot_32, &info_32);
}
void constant_inside() {
  sink = vex_lapack_dlamch("E", 1);
}
void constant() {
  sink = DLAMCH("E", 1);
}

struct Subject {
  const char* name;
  void (*call)();
  bool traced;
  std::vector<double> samples = {};
};

double nanoseconds_per_call(const Subject& subject) {
  const int calls = subject.traced ? 2000 : 200000;
  vex_serv_verbose(subject.traced ? 1 : 0);
  const double start = omp_get_wtime();
  for (int i = 0; i < calls; ++i) subject.call();
  const double seconds = omp_get_wtime() - start;
  vex_serv_verbose(0);
  return seconds / calls * 1e9;
}

}  // namespace

int main() {
  vex_serv_verbose_output_file("/dev/null");
  Subject subjects[] = {
      {"vex_lapack_dgetrf 1x1", factor_inside, false},
      {"its entry without a trace", factor_untraceable, false},
      {"DGETRF_64, tracing off", factor_64, false},
      {"DGETRF, tracing off", factor_32, false},
      {"DGETRF_64, tracing on", factor_64, true},
      {"vex_lapack_dlamch", constant_inside, false},
      {"DLAMCH, tracing off", constant, false},
      {"DLAMCH, tracing on", constant, true},
  };
  for (int round = 0; round < rounds; ++round)
    for (Subject& subject : subjects) subject.samples.push_back(nanoseconds_per_call(subject));
  for (const Subject& subject : subjects)
    std::printf("%-28s %10.2f ns\n", subject.name, vex::bench::median(subject.samples));
}
