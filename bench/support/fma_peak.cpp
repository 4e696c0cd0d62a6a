// Each loop keeps enough independent accumulators in registers to cover the latency of its instruction on two
// ports (4 cycles each: 8 would do; more leave no gap when one is delayed).
#include "bench/support/fma_peak.h"

#include <immintrin.h>
#include <omp.h>

#include <cstdint>

#include "bench/support/stopwatch.h"

namespace vex::bench {
namespace {

using Loop = double (*)(std::int64_t rounds);

struct Kernel {
  Loop run;
  double flops_per_round;
};

constexpr int accumulators = 12;

__attribute__((target("avx512f"))) double fused_avx512(std::int64_t rounds) {
  __m512d sum[2 * accumulators];
  const __m512d factor = _mm512_set1_pd(0.999999), term = _mm512_set1_pd(1e-9);
  for (int i = 0; i < 2 * accumulators; ++i) sum[i] = _mm512_set1_pd(i);
  for (std::int64_t r = 0; r < rounds; ++r) {
#pragma GCC unroll 24
    for (int i = 0; i < 2 * accumulators; ++i) sum[i] = _mm512_fmadd_pd(sum[i], factor, term);
  }
  double total = 0;
  for (int i = 0; i < 2 * accumulators; ++i) total += sum[i][0] + sum[i][7];
  return total;
}

__attribute__((target("avx2,fma"))) double fused_avx2(std::int64_t rounds) {
  __m256d sum[accumulators];
  const __m256d factor = _mm256_set1_pd(0.999999), term = _mm256_set1_pd(1e-9);
  for (int i = 0; i < accumulators; ++i) sum[i] = _mm256_set1_pd(i);
  for (std::int64_t r = 0; r < rounds; ++r) {
#pragma GCC unroll 12
    for (int i = 0; i < accumulators; ++i) sum[i] = _mm256_fmadd_pd(sum[i], factor, term);
  }
  double total = 0;
  for (int i = 0; i < accumulators; ++i) total += sum[i][0] + sum[i][1] + sum[i][2] + sum[i][3];
  return total;
}

// Half the registers multiply and half add, as a kernel without fused instructions keeps both units busy.
double separate_sse(std::int64_t rounds) {
  __m128d product[6], sum[6];
  const __m128d factor = _mm_set1_pd(0.999999), term = _mm_set1_pd(1e-9);
  for (int i = 0; i < 6; ++i) product[i] = sum[i] = _mm_set1_pd(i + 1);
  for (std::int64_t r = 0; r < rounds; ++r) {
#pragma GCC unroll 6
    for (int i = 0; i < 6; ++i) {
      product[i] = _mm_mul_pd(product[i], factor);
      sum[i] = _mm_add_pd(sum[i], term);
    }
  }
  double total = 0;
  for (int i = 0; i < 6; ++i) total += sum[i][0] + product[i][0] + sum[i][1] + product[i][1];
  return total;
}

Kernel choose(PeakKind kind) {
  if (kind != PeakKind::separate_sse) {
    if (kind == PeakKind::widest_fused && __builtin_cpu_supports("avx512f"))
      return {fused_avx512, 2.0 * 8 * 2 * accumulators};
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"))
      return {fused_avx2, 2.0 * 4 * accumulators};
  }
  return {separate_sse, 2.0 * 2 * 6};
}

volatile double sink;  // keeps the loops from being removed

}  // namespace

double multiply_add_peak(PeakKind kind, int threads, double seconds) {
  const Kernel kernel = choose(kind);
  double total = 0;
#pragma omp parallel num_threads(threads) reduction(+ : total)
  {
    constexpr std::int64_t chunk = 20000;
    kernel.run(chunk);  // wakes the vector units
#pragma omp barrier
    const double start = sample_clock(threads);
    std::int64_t rounds = 0;
    double elapsed = 0, last = 0;
    do {
      last = kernel.run(chunk);
      rounds += chunk;
      elapsed = sample_clock(threads) - start;
    } while (elapsed < seconds);
    sink = last;
    total += static_cast<double>(rounds) * kernel.flops_per_round / elapsed * 1e-9;
  }
  return total;
}

}  // namespace vex::bench
