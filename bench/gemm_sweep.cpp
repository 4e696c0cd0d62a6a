// Looks for cliffs: the multiply C := C - op(A) op(B) on one thread for every size from 1 to 64 in four
// families of shapes and all transpositions, beside the same call of another library. Writes one line for
// each point (gemm_sweep.gnuplot draws them), with the percentage of the peak measured beside it, then the
// worst ratio of every family, to standard error.
//   gemm_sweep PEER-FILE [PATH] > points
#include <omp.h>

#include <algorithm>
#include <cstdio>

#include "bench/support/operands.h"
#include "bench/support/paths.h"
#include "bench/support/peer.h"
#include "bench/support/stopwatch.h"

namespace {

struct Family {
  const char* name;
  int m, n, k;  // 0: the size that runs
};

constexpr Family families[] = {
    {"cube", 0, 0, 0}, {"tall", 500, 0, 0}, {"flat", 0, 500, 0}, {"shallow", 500, 500, 0}};
constexpr int largest = 64, long_side = 500, repeats = 7;
constexpr double sample_seconds = 0.0003;

// Seconds of one call.
template <typename Run>
double time_of(double flops, const Run& run) {
  const auto calls = static_cast<long>(std::max(1.0, sample_seconds * 20e9 / (flops + 1000)));
  const double start = vex::bench::sample_clock(1);
  for (long i = 0; i < calls; ++i) run();
  return (vex::bench::sample_clock(1) - start) / static_cast<double>(calls);
}

struct Worst {
  double ratio = 1e9;
  int m = 0, n = 0, k = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    std::fputs("usage: gemm_sweep PEER-FILE [auto|avx512|avx2|mc3|def] > points\n", stderr);
    return 2;
  }
  omp_set_num_threads(1);
  const vex::bench::PathKernels& path = vex::bench::path_kernels(argc > 2 ? argv[2] : "auto");
  const vex::bench::Peer peer(argv[1]);
  auto* const peer_gemm = peer.routine<vex::bench::PeerGemm>("dgemm_");
  const auto a = vex::bench::random_block(long_side * long_side),
             b = vex::bench::random_block(long_side * long_side),
             c = vex::bench::random_block(long_side * long_side);
  const double alpha = -1, beta = 1;
  std::puts("# family letters size m n k GFlops peer-GFlops ratio percent-of-peak");
  for (const Family& family : families)
    for (const char* letters : {"NN", "NT", "TN", "TT"}) {
      Worst worst;
      const double peak = vex::bench::multiply_add_peak(path.peak, 1);
      for (int size = 1; size <= largest; ++size) {
        const int m = family.m ? family.m : size, n = family.n ? family.n : size,
                  k = family.k ? family.k : size;
        const int lda = letters[0] == 'N' ? m : k, ldb = letters[1] == 'N' ? k : n;
        const vex_int wide_m = m, wide_n = n, wide_k = k, wide_lda = lda, wide_ldb = ldb;
        const double flops = 2.0 * m * n * k;
        double ours = 1e9, theirs = 1e9;
        for (int r = 0; r < repeats; ++r) {
          ours = std::min(ours, time_of(flops, [&] {
                            path.gemm(letters, letters + 1, &wide_m, &wide_n, &wide_k, &alpha, a.get(),
                                      &wide_lda, b.get(), &wide_ldb, &beta, c.get(), &wide_m, 1, 1);
                          }));
          theirs = std::min(theirs, time_of(flops, [&] {
                              peer_gemm(letters, letters + 1, &m, &n, &k, &alpha, a.get(), &lda, b.get(),
                                        &ldb, &beta, c.get(), &m, 1, 1);
                            }));
        }
        std::printf("%s %s %d %d %d %d %.3f %.3f %.3f %.1f\n", family.name, letters, size, m, n, k,
                    flops / ours * 1e-9, flops / theirs * 1e-9, theirs / ours, flops / ours * 1e-7 / peak);
        if (theirs / ours < worst.ratio) worst = {theirs / ours, m, n, k};
      }
      std::fprintf(stderr, "%-8s %s  worst ratio %.2f at %d x %d x %d\n", family.name, letters, worst.ratio,
                   worst.m, worst.n, worst.k);
    }
}
