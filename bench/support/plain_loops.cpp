// Vectors of four doubles where the processor has them; compilers make pairs of two of them elsewhere.
#include "bench/support/plain_loops.h"

namespace vex::bench {
namespace {

using Four = double __attribute__((vector_size(32), aligned(8)));
constexpr std::size_t step = 16;

[[gnu::always_inline]] inline double sum(std::size_t n, const double* x) {
  Four sums[4] = {};
  std::size_t i = 0;
  for (; i + step <= n; i += step)
    for (std::size_t v = 0; v < 4; ++v) sums[v] += *reinterpret_cast<const Four*>(x + i + 4 * v);
  const Four all = sums[0] + sums[1] + sums[2] + sums[3];
  double total = all[0] + all[1] + all[2] + all[3];
  for (; i < n; ++i) total += x[i];
  return total;
}

[[gnu::always_inline]] inline void negate(std::size_t n, double* x) {
  std::size_t i = 0;
  for (; i + step <= n; i += step)
    for (std::size_t v = 0; v < 4; ++v) {
      Four* const at = reinterpret_cast<Four*>(x + i + 4 * v);
      *at = -*at;
    }
  for (; i < n; ++i) x[i] = -x[i];
}

__attribute__((target("avx2"))) double sum_avx2(std::size_t n, const double* x) {
  return sum(n, x);
}
__attribute__((target("avx2"))) void negate_avx2(std::size_t n, double* x) {
  negate(n, x);
}

bool has_avx2() {
  static const bool has = __builtin_cpu_supports("avx2");
  return has;
}

}  // namespace

double plain_sum(std::size_t n, const double* x) {
  return has_avx2() ? sum_avx2(n, x) : sum(n, x);
}

void plain_negate(std::size_t n, double* x) {
  has_avx2() ? negate_avx2(n, x) : negate(n, x);
}

}  // namespace vex::bench
