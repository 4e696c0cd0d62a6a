// Factorization plus solve over a list of orders and thread counts: GFlops, percent of the multiply-add peak
// measured in the same run, and with --peer FILE the same work in any shared library that exports dgetrf_ and
// dgetrs_, interleaved with ours, with the ratio. Figures are medians.
//
// The matrices lie in huge pages, as the program's own do; --small-pages leaves them where malloc puts them.
// The peak of a row is measured before each sample for as long as the one before took, a second at most: on a
// shared machine a few milliseconds reach rates that no longer time has.
//
// --shapes measures matrices that are not square (factorization only), --rhs the solve alone, and
// --oversubscribed how much longer the work takes with many more threads than the machine has processors.
#include <omp.h>

#include <algorithm>
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
#include "service/huge_pages.h"
#include "vex.h"

namespace {

using Factor = void(const int*, const int*, double*, const int*, int*, int*);
using Solve = void(const char*, const int*, const int*, const double*, const int*, const int*, double*,
                   const int*, int*, std::int64_t);

struct Library {
  Factor* factor;
  Solve* solve;
};

struct Shape {
  int m, n;
};

struct Options {
  std::vector<Shape> shapes;
  std::vector<int> threads;
  std::vector<int> right_sides;  // solve alone, for each of these counts
  int repeats = 5;
  bool oversubscribed = false;
  bool small_pages = false;
  const char* peer = nullptr;
};

[[noreturn]] void usage() {
  std::fputs(
      "usage: lu_bench [--orders 500,1000] [--shapes 100000x50,200x20000] [--rhs 1,10,500]\n"
      "                [--threads 1,2] [--repeats 5] [--oversubscribed] [--small-pages] [--peer FILE]\n",
      stderr);
  std::exit(2);
}

// "100000x50,200x20000"
std::vector<Shape> shape_list(const char* text) {
  std::vector<Shape> shapes;
  for (int used; *text; text += used) {
    Shape shape{};
    if (std::sscanf(text, "%dx%d%n", &shape.m, &shape.n, &used) != 2) usage();
    shapes.push_back(shape);
    if (text[used] == ',') ++used;
  }
  return shapes;
}

Options parse(int argc, char** argv) {
  Options options;
  std::vector<int> orders;
  for (int i = 1; i < argc; ++i) {
    const auto is = [&](const char* name) { return !std::strcmp(argv[i], name); };
    if (is("--oversubscribed")) {
      options.oversubscribed = true;
      continue;
    }
    if (is("--small-pages")) {
      options.small_pages = true;
      continue;
    }
    if (i + 1 == argc) usage();
    const char* value = argv[i + 1];
    if (is("--orders"))
      orders = vex::bench::number_list(value);
    else if (is("--shapes"))
      options.shapes = shape_list(value);
    else if (is("--rhs"))
      options.right_sides = vex::bench::number_list(value);
    else if (is("--threads"))
      options.threads = vex::bench::number_list(value);
    else if (is("--repeats"))
      options.repeats = std::atoi(value);
    else if (is("--peer"))
      options.peer = value;
    else
      usage();
    ++i;
  }
  if (orders.empty() && options.shapes.empty()) {
    if (options.oversubscribed || !options.right_sides.empty())
      orders = {2000};
    else
      orders = {100, 200, 500, 1000, 2000, 4000};
  }
  for (const int n : orders) options.shapes.push_back({n, n});
  if (options.threads.empty())
    options.threads = options.oversubscribed ? std::vector{2, 56} : std::vector{1, 2};
  for (const Shape& shape : options.shapes)
    if (shape.m < 1 || shape.n < 1 || (shape.m != shape.n && !options.right_sides.empty())) usage();
  return options;
}

// Copies of one random system, each worked on once, so that restoring the matrix is never timed. Small orders
// get many copies: a timing then lasts long enough for the clock.
class Systems {
 public:
  // `right_sides` 0: factorization, and one right-hand side where the matrix is square; else solve alone.
  Systems(Shape shape, int right_sides, bool small_pages)
      : m_(shape.m),
        n_(shape.n),
        solve_only_(right_sides > 0),
        right_sides_(std::max(1, right_sides)),
        size_(static_cast<std::size_t>(m_) * static_cast<std::size_t>(n_)),
        side_size_(static_cast<std::size_t>(m_) * static_cast<std::size_t>(right_sides_)) {
    constexpr std::size_t budget = std::size_t{1} << 20;  // elements of all copies, 8 MiB
    copies_ = std::max<std::size_t>(1, std::min<std::size_t>(2000, budget / size_));
    original_.resize(size_);
    std::uint64_t state = 12345;
    for (double& value : original_) {
      state = state * 6364136223846793005u + 1442695040888963407u;
      value = static_cast<double>(state >> 11) * 0x1p-53 - 0.5;
    }
    const std::size_t bytes = size_ * copies_ * sizeof(double);
    matrices_.reset(static_cast<double*>(std::malloc(bytes)));
    if (!matrices_) {
      std::fprintf(stderr, "lu_bench: no memory for %zu bytes\n", bytes);
      std::exit(1);
    }
    if (!small_pages) vex::service::advise_huge_pages(matrices_.get(), bytes);
    pivots_ = std::make_unique<int[]>(static_cast<std::size_t>(std::min(m_, n_)));
    sides_ = std::make_unique<double[]>(side_size_ * copies_);
  }

  double flops() const {
    const double m = m_, n = n_, sides = right_sides_, least = std::min(m, n), most = std::max(m, n);
    const double solve = m_ == n_ ? 2 * n * n * sides : 0;
    return solve_only_ ? solve : least * least * (most - least / 3) + solve;
  }

  double copies() const { return static_cast<double>(copies_); }

  // Mean seconds for one copy.
  double seconds(const Library& library, int threads) {
    for (std::size_t c = 0; c < copies_; ++c)
      std::memcpy(&matrices_[c * size_], original_.data(), size_ * sizeof(double));
    for (std::size_t i = 0; i < side_size_ * copies_; ++i) sides_[i] = 1;
    if (solve_only_) factor_all(library);
    const double start = vex::bench::sample_clock(threads);
    if (!solve_only_) factor_all(library);
    if (m_ == n_) solve_all(library);
    return (vex::bench::sample_clock(threads) - start) / copies();
  }

 private:
  // The pivots of one copy are those of all.
  void factor_all(const Library& library) {
    int info = 0;
    for (std::size_t c = 0; c < copies_; ++c)
      library.factor(&m_, &n_, &matrices_[c * size_], &m_, pivots_.get(), &info);
  }
  void solve_all(const Library& library) {
    int info = 0;
    for (std::size_t c = 0; c < copies_; ++c)
      library.solve("N", &n_, &right_sides_, &matrices_[c * size_], &n_, pivots_.get(),
                    &sides_[c * side_size_], &n_, &info, 1);
  }

  int m_, n_;
  bool solve_only_;
  int right_sides_;
  std::size_t size_, side_size_, copies_;
  std::vector<double> original_;
  struct Free {
    void operator()(double* block) const { std::free(block); }
  };
  std::unique_ptr<double[], Free> matrices_;
  std::unique_ptr<int[]> pivots_;
  std::unique_ptr<double[]> sides_;
};

// One line for each thread count.
void measure(const Options& options, Shape shape, int right_sides, const Library* peer) {
  constexpr Library own = {DGETRF, DGETRS};
  constexpr double shortest_peak = 0.02, longest_peak = 1;  // seconds
  Systems systems(shape, right_sides, options.small_pages);
  double first_time = 0;
  for (const int threads : options.threads) {
    omp_set_num_threads(threads);
    std::vector<double> peak, ours, theirs;
    double peak_seconds = shortest_peak;
    for (int r = -1; r < options.repeats; ++r) {
      const double peak_rate =
          vex::bench::multiply_add_peak(vex::bench::PeakKind::widest_fused, threads, peak_seconds);
      const double our_time = systems.seconds(own, threads);
      const double peer_time = peer ? systems.seconds(*peer, threads) : 0;
      peak_seconds = std::clamp(our_time * systems.copies(), shortest_peak, longest_peak);
      if (r < 0) continue;  // the first round warms up
      peak.push_back(peak_rate);
      ours.push_back(our_time);
      theirs.push_back(peer_time);
    }
    const double time = vex::bench::median(ours), peak_rate = vex::bench::median(peak);
    const double rate = systems.flops() / time * 1e-9;
    if (first_time == 0) first_time = time;
    std::printf("%6d %6d %5d %7d %9.2f %9.3f %7.1f", shape.m, shape.n, right_sides, threads, peak_rate, rate,
                100 * rate / peak_rate);
    if (peer) {
      const double peer_time = vex::bench::median(theirs);
      std::printf(" %9.3f %7.2f", systems.flops() / peer_time * 1e-9, peer_time / time);
    }
    if (options.oversubscribed) std::printf(" %7.2f", time / first_time);
    std::printf("\n");
    std::fflush(stdout);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const Options options = parse(argc, argv);
  std::unique_ptr<vex::bench::Peer> peer;
  Library peer_library{};
  if (options.peer) {
    peer = std::make_unique<vex::bench::Peer>(options.peer);
    peer_library = {peer->routine<Factor>("dgetrf_"), peer->routine<Solve>("dgetrs_")};
  }
  // Else the library would use no more threads than there are cores.
  if (options.oversubscribed) vex_serv_set_dynamic(0);

  std::printf("%6s %6s %5s %7s %9s %9s %7s", "m", "n", "rhs", "threads", "peak GF", "GFlops", "% peak");
  if (peer) std::printf(" %9s %7s", "peer GF", "ratio");
  std::printf(options.oversubscribed ? " %7s\n" : "\n", "x first");
  for (const Shape shape : options.shapes) {
    if (options.right_sides.empty()) measure(options, shape, 0, peer ? &peer_library : nullptr);
    for (const int sides : options.right_sides)
      measure(options, shape, sides, peer ? &peer_library : nullptr);
  }
}
