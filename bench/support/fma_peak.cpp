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

// Half the registers multiply and half add, as a kernel without fused instructions keeps both units busy: six
// chains each, of three cycles' latency on two units. That leaves no slack, and in the order of a compiler,
// which groups the two kinds, the rate came out a tenth too low.
double separate_sse(std::int64_t rounds) {
  const __m128d factor = _mm_set1_pd(0.999999), term = _mm_set1_pd(1e-9);
  double total = 0;
  asm volatile(
      "movapd %2, %%xmm0\n movapd %2, %%xmm1\n movapd %2, %%xmm2\n movapd %2, %%xmm3\n"
      "movapd %2, %%xmm4\n movapd %2, %%xmm5\n movapd %2, %%xmm6\n movapd %2, %%xmm7\n"
      "movapd %2, %%xmm8\n movapd %2, %%xmm9\n movapd %2, %%xmm10\n movapd %2, %%xmm11\n"
      ".p2align 5\n"
      "1:\n"
      "mulpd %2, %%xmm0\n addpd %3, %%xmm6\n mulpd %2, %%xmm1\n addpd %3, %%xmm7\n"
      "mulpd %2, %%xmm2\n addpd %3, %%xmm8\n mulpd %2, %%xmm3\n addpd %3, %%xmm9\n"
      "mulpd %2, %%xmm4\n addpd %3, %%xmm10\n mulpd %2, %%xmm5\n addpd %3, %%xmm11\n"
      "decq %0\n"
      "jnz 1b\n"
      "addsd %%xmm0, %1\n addsd %%xmm6, %1\n"
      : "+r"(rounds), "+x"(total)
      : "x"(factor), "x"(term)
      : "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "xmm8", "xmm9", "xmm10", "xmm11",
        "cc");
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
