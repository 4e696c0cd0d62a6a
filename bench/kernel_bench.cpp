// The other kernels of the panel and of the solve, one thread: the triangular solve with many right-hand
// sides (left, lower, unit) in percent of the multiply-add peak; the matrix-vector products on a panel in
// percent of what a plain sum over the same panel streams; pivot search, swap and scale in bytes a second, in
// vectors that live in the first, the second and the third cache and in memory, and in percent of a plain
// read, and of a plain read and write, of as much; row interchanges in million element swaps a second. With
// --peer FILE the same calls of any shared library that exports the standard names. Figures are medians.
#include <omp.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

#include "bench/support/paths.h"
#include "bench/support/peer.h"
#include "bench/support/plain_loops.h"
#include "bench/support/samples.h"
#include "bench/support/stopwatch.h"
#include "lapack/laswp.h"

namespace {

using PeerTrsm = void(const char*, const char*, const char*, const char*, const int*, const int*,
                      const double*, const double*, const int*, double*, const int*, std::size_t, std::size_t,
                      std::size_t, std::size_t);
using PeerGemv = void(const char*, const int*, const int*, const double*, const double*, const int*,
                      const double*, const int*, const double*, double*, const int*, std::size_t);
using PeerIdamax = std::size_t(const int*, const double*, const int*);
using PeerSwap = void(const int*, double*, const int*, double*, const int*);
using PeerLaswp = void(const int*, double*, const int*, const int*, const int*, const int*, const int*);
using PeerScal = void(const int*, const double*, double*, const int*);

constexpr double sample_seconds = 0.01;

// Seconds of one call, from as many as fill a sample.
double time_of(const std::function<void()>& run) {
  long calls = 1;
  for (;;) {
    const double start = vex::bench::sample_clock(1);
    for (long i = 0; i < calls; ++i) run();
    const double seconds = vex::bench::sample_clock(1) - start;
    if (seconds > sample_seconds / 2) return seconds / static_cast<double>(calls);
    calls = std::max(calls * 2,
                     static_cast<long>(static_cast<double>(calls) * sample_seconds / (seconds + 1e-9)));
  }
}

struct Options {
  const char* path = "auto";
  const char* peer = nullptr;
  int repeats = 7;
};

// One line of the report: our work per second, the bound's, the peer's, interleaved.
void report(const Options& o, const char* what, double work, const char* unit,
            const std::function<void()>& ours, const std::function<double()>& bound,
            const std::function<void()>& theirs) {
  std::vector<double> rates, bounds, peers;
  for (int r = -1; r < o.repeats; ++r) {
    const double our_rate = work / time_of(ours), limit = bound ? bound() : 0;
    const double peer_rate = theirs ? work / time_of(theirs) : 0;
    if (r < 0) continue;
    rates.push_back(our_rate), bounds.push_back(limit), peers.push_back(peer_rate);
  }
  const double rate = vex::bench::median(rates);
  std::printf("%-26s %8.2f %s", what, rate, unit);
  if (bound)
    std::printf("  %5.1f %% of %.1f", 100 * rate / vex::bench::median(bounds), vex::bench::median(bounds));
  if (theirs) std::printf("  %.2f x peer", rate / vex::bench::median(peers));
  std::printf("\n");
  std::fflush(stdout);
}

std::unique_ptr<double[]> block(std::size_t count, double scale) {
  auto values = std::make_unique<double[]>(count);
  std::uint64_t state = 12345;
  for (std::size_t i = 0; i < count; ++i) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    values[i] = (static_cast<double>(state >> 11) * 0x1p-53 - 0.5) * scale;
  }
  return values;
}

volatile double sink;

// The interchanges of one panel in all the columns beside it, and those of all later panels in the columns of
// one panel at a time. The smallest matrix stays in the second cache, the largest in none.
void measure_interchanges(const Options& o, const vex::bench::Peer* peer) {
  constexpr int panel = 96, one = 1;
  constexpr vex_int wide_one = 1;
  for (const int n : {200, 1000, 4000}) {
    const auto a = block(static_cast<std::size_t>(n) * static_cast<std::size_t>(n), 1);
    std::vector<int> pivots;
    std::vector<vex_int> wide_pivots;
    std::uint64_t state = 1;
    for (int r = 0; r < n; ++r) {
      state = state * 6364136223846793005u + 1442695040888963407u;
      pivots.push_back(r + 1 + static_cast<int>((state >> 33) % static_cast<std::uint64_t>(n - r)));
      wide_pivots.push_back(pivots.back());
    }
    for (const bool all_rows : {false, true}) {
      const int last = all_rows ? n : panel, width = all_rows ? panel : n;
      const vex_int wide_n = n, wide_last = last, wide_width = width;
      std::function<void()> theirs;
      if (peer)
        theirs = [&, swap = peer->routine<PeerLaswp>("dlaswp_")] {
          for (int j = 0; j + width <= n; j += width)
            swap(&width, a.get() + static_cast<std::ptrdiff_t>(j) * n, &n, &one, &last, pivots.data(), &one);
        };
      char text[40];
      std::snprintf(text, sizeof text, "%d swaps in %d x %d", last, n, width);
      report(
          o, text, 1e-6 * last * (n / width * width), "M/s ",
          [&] {
            for (int j = 0; j + width <= n; j += width)
              vex_lapack_xdlaswp(&wide_width, a.get() + static_cast<std::ptrdiff_t>(j) * n, &wide_n,
                                 &wide_one, &wide_last, wide_pivots.data(), &wide_one);
          },
          nullptr, theirs);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  Options o;
  for (int i = 1; i + 1 < argc; i += 2) {
    if (!std::strcmp(argv[i], "--path")) o.path = argv[i + 1];
    if (!std::strcmp(argv[i], "--peer")) o.peer = argv[i + 1];
    if (!std::strcmp(argv[i], "--repeats")) o.repeats = std::atoi(argv[i + 1]);
  }
  omp_set_num_threads(1);
  const vex::bench::PathKernels& path = vex::bench::path_kernels(o.path);
  std::unique_ptr<vex::bench::Peer> peer;
  if (o.peer) peer = std::make_unique<vex::bench::Peer>(o.peer);
  const auto peak = [&] { return vex::bench::multiply_add_peak(path.peak, 1, sample_seconds); };

  for (const int m : {48, 192, 384, 1000}) {
    const int n = 4000;
    // Small elements off the diagonal: solving over and over must not overflow.
    const auto a = block(static_cast<std::size_t>(m) * static_cast<std::size_t>(m), 1e-3);
    const auto b = block(static_cast<std::size_t>(m) * n, 1);
    const vex_int wide_m = m, wide_n = n;
    const double alpha = 1;
    const auto ours = [&] {
      path.trsm("L", "L", "N", "U", &wide_m, &wide_n, &alpha, a.get(), &wide_m, b.get(), &wide_m, 1, 1, 1, 1);
    };
    std::function<void()> theirs;
    if (peer)
      theirs = [&, solve = peer->routine<PeerTrsm>("dtrsm_")] {
        solve("L", "L", "N", "U", &m, &n, &alpha, a.get(), &m, b.get(), &m, 1, 1, 1, 1);
      };
    char text[40];
    std::snprintf(text, sizeof text, "solve %d x %d", m, n);
    report(o, text, static_cast<double>(m) * m * n * 1e-9, "GF  ", ours, peak, theirs);
  }

  measure_interchanges(o, peer.get());

  const int m = 4000, n = 48, one = 1;
  const vex_int wide_m = m, wide_n = n, wide_one = 1;
  const auto a = block(static_cast<std::size_t>(m) * n, 1), x = block(m, 1), y = block(m, 1);
  const double bytes = 8e-9 * m * n, alpha = 1e-9, beta = 1;
  const auto read_panel = [&] { sink = vex::bench::plain_sum(static_cast<std::size_t>(m) * n, a.get()); };
  for (const char* trans : {"N", "T"}) {
    std::function<void()> theirs;
    if (peer)
      theirs = [&, product = peer->routine<PeerGemv>("dgemv_")] {
        product(trans, &m, &n, &alpha, a.get(), &m, x.get(), &one, &beta, y.get(), &one, 1);
      };
    report(
        o, *trans == 'N' ? "gemv N 4000 x 48" : "gemv T 4000 x 48", bytes, "GB/s",
        [&] {
          path.gemv(trans, &wide_m, &wide_n, &alpha, a.get(), &wide_m, x.get(), &wide_one, &beta, y.get(),
                    &wide_one, 1);
        },
        [&] { return bytes / time_of(read_panel); }, theirs);
  }

  for (const int length : {1000, 40000, 400000, 8000000}) {
    const auto u = block(static_cast<std::size_t>(length), 1);  // swapped: its halves
    const int half_length = length / 2;
    const vex_int wide = length, wide_half = half_length;
    const double factor = -1;
    const std::ptrdiff_t half = half_length;
    const auto read = [&] {
      return 8e-9 * length /
             time_of([&] { sink = vex::bench::plain_sum(static_cast<std::size_t>(length), u.get()); });
    };
    const auto read_and_write = [&] {
      return 16e-9 * length /
             time_of([&] { vex::bench::plain_negate(static_cast<std::size_t>(length), u.get()); });
    };
    char text[40];
    std::function<void()> theirs;
    if (peer)
      theirs = [&, search = peer->routine<PeerIdamax>("idamax_")] {
        sink = static_cast<double>(search(&length, u.get(), &one));
      };
    std::snprintf(text, sizeof text, "idamax %d", length);
    report(
        o, text, 8e-9 * length, "GB/s",
        [&] { sink = static_cast<double>(path.idamax(&wide, u.get(), &wide_one)); }, read, theirs);
    if (peer)
      theirs = [&, swap = peer->routine<PeerSwap>("dswap_")] {
        swap(&half_length, u.get(), &one, u.get() + half, &one);
      };
    std::snprintf(text, sizeof text, "swap %d", length);
    report(
        o, text, 16e-9 * length, "GB/s",
        [&] { path.swap(&wide_half, u.get(), &wide_one, u.get() + half, &wide_one); }, read_and_write,
        theirs);
    if (peer)
      theirs = [&, scale = peer->routine<PeerScal>("dscal_")] { scale(&length, &factor, u.get(), &one); };
    std::snprintf(text, sizeof text, "scale %d", length);
    report(
        o, text, 16e-9 * length, "GB/s", [&] { path.scal(&wide, &factor, u.get(), &wide_one); },
        read_and_write, theirs);
  }
}
