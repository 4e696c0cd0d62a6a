// Factorization plus solve over a list of orders and thread counts: GFlops, percent of the multiply-add peak
// measured in the same run, and with --peer FILE the same work in any shared library that exports dgetrf_ and
// dgetrs_, interleaved with ours, with the ratio. Figures are medians.
#include <omp.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "bench/support/fma_peak.h"
#include "bench/support/peer.h"
#include "bench/support/samples.h"
#include "bench/support/stopwatch.h"
#include "vex.h"

namespace {

using Factor = void(const int*, const int*, double*, const int*, int*, int*);
using Solve = void(const char*, const int*, const int*, const double*, const int*, const int*, double*,
                   const int*, int*, std::int64_t);

struct Options {
  std::vector<int> orders = {100, 200, 500, 1000, 2000, 4000};
  std::vector<int> threads = {1, 2};
  int repeats = 5;
  const char* peer = nullptr;
};

[[noreturn]] void usage() {
  std::fputs("usage: lu_bench [--orders 500,1000] [--threads 1,2] [--repeats 5] [--peer FILE]\n", stderr);
  std::exit(2);
}

Options parse(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; i += 2) {
    if (i + 1 == argc) usage();
    const char* value = argv[i + 1];
    if (!std::strcmp(argv[i], "--orders"))
      options.orders = vex::bench::number_list(value);
    else if (!std::strcmp(argv[i], "--threads"))
      options.threads = vex::bench::number_list(value);
    else if (!std::strcmp(argv[i], "--repeats"))
      options.repeats = std::atoi(value);
    else if (!std::strcmp(argv[i], "--peer"))
      options.peer = value;
    else
      usage();
  }
  return options;
}

// Copies of one random system, each factored once, so that restoring the matrix is never timed. Small orders
// get many copies: a timing then lasts long enough for the clock.
class Systems {
 public:
  explicit Systems(int n) : n_(n), size_(static_cast<std::size_t>(n) * static_cast<std::size_t>(n)) {
    constexpr std::size_t budget = std::size_t{1} << 20;  // elements of all copies, 8 MiB
    copies_ = std::max<std::size_t>(1, std::min<std::size_t>(2000, budget / size_));
    original_.resize(size_);
    std::uint64_t state = 12345;
    for (double& value : original_) {
      state = state * 6364136223846793005u + 1442695040888963407u;
      value = static_cast<double>(state >> 11) * 0x1p-53 - 0.5;
    }
    matrices_ = std::make_unique<double[]>(size_ * copies_);
    pivots_ = std::make_unique<int[]>(static_cast<std::size_t>(n));
    side_ = std::make_unique<double[]>(static_cast<std::size_t>(n));
  }

  // GFlops of factoring and solving every copy once.
  double rate(Factor* factor, Solve* solve, int threads) {
    for (std::size_t c = 0; c < copies_; ++c)
      std::memcpy(&matrices_[c * size_], original_.data(), size_ * sizeof(double));
    for (int i = 0; i < n_; ++i) side_[static_cast<std::size_t>(i)] = 1;
    const int one = 1;
    int info = 0;
    const double start = vex::bench::sample_clock(threads);
    for (std::size_t c = 0; c < copies_; ++c) {
      factor(&n_, &n_, &matrices_[c * size_], &n_, pivots_.get(), &info);
      solve("N", &n_, &one, &matrices_[c * size_], &n_, pivots_.get(), side_.get(), &n_, &info, 1);
    }
    const double seconds = (vex::bench::sample_clock(threads) - start) / static_cast<double>(copies_);
    const double n = n_;
    return (2.0 / 3.0 * n * n * n + 2.0 * n * n) / seconds * 1e-9;
  }

 private:
  int n_;
  std::size_t size_, copies_;
  std::vector<double> original_;
  std::unique_ptr<double[]> matrices_;
  std::unique_ptr<int[]> pivots_;
  std::unique_ptr<double[]> side_;
};

}  // namespace

int main(int argc, char** argv) {
  const Options options = parse(argc, argv);
  std::unique_ptr<vex::bench::Peer> peer;
  Factor* peer_factor = nullptr;
  Solve* peer_solve = nullptr;
  if (options.peer) {
    peer = std::make_unique<vex::bench::Peer>(options.peer);
    peer_factor = peer->routine<Factor>("dgetrf_");
    peer_solve = peer->routine<Solve>("dgetrs_");
  }

  std::printf("%6s %7s %9s %9s %7s", "n", "threads", "peak GF", "GFlops", "% peak");
  std::printf(peer ? " %9s %7s\n" : "\n", "peer GF", "ratio");
  for (const int n : options.orders) {
    if (n < 1) usage();
    Systems systems(n);
    for (const int threads : options.threads) {
      omp_set_num_threads(threads);
      std::vector<double> peak, ours, theirs;
      for (int r = -1; r < options.repeats; ++r) {
        const double peak_rate = vex::bench::multiply_add_peak(vex::bench::PeakKind::widest_fused, threads);
        const double our_rate = systems.rate(DGETRF, DGETRS, threads);
        const double peer_rate = peer ? systems.rate(peer_factor, peer_solve, threads) : 0;
        if (r < 0) continue;  // the first round warms up
        peak.push_back(peak_rate);
        ours.push_back(our_rate);
        theirs.push_back(peer_rate);
      }
      const double our_median = vex::bench::median(ours), peak_median = vex::bench::median(peak);
      std::printf("%6d %7d %9.2f %9.3f %7.1f", n, threads, peak_median, our_median,
                  100 * our_median / peak_median);
      if (peer)
        std::printf(" %9.3f %7.2f", vex::bench::median(theirs), our_median / vex::bench::median(theirs));
      std::printf("\n");
      std::fflush(stdout);
    }
  }
}
