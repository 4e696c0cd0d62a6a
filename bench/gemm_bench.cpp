// The multiply C := C - A B (column-major, no transposes unless asked for) over a list of shapes: GFlops,
// percent of the multiply-add peak measured in the same run, and with --peer FILE the same call of any shared
// library that exports dgemm_, interleaved with ours, with the ratio. Figures are medians.
#include <omp.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

#include "bench/support/operands.h"
#include "bench/support/paths.h"
#include "bench/support/peer.h"
#include "bench/support/samples.h"
#include "bench/support/stopwatch.h"

namespace {

struct Shape {
  int m, n, k;
};

struct Options {
  std::vector<Shape> shapes = {{2000, 2000, 2000}, {4000, 4000, 384}, {4000, 4000, 192},
                               {4000, 4000, 96},   {4000, 4000, 48},  {1000, 1000, 48},
                               {200, 200, 200},    {32, 32, 32},      {8, 8, 8}};
  const char* path = "auto";
  const char* letters = "NN";
  int repeats = 7, threads = 1;
  double seconds = 0.02;  // least duration of one sample
  const char* peer = nullptr;
};

[[noreturn]] void usage() {
  std::fputs(
      "usage: gemm_bench [--path auto|avx512|avx2|mc3|def] [--shapes 200x200x200,8x8x8] [--trans "
      "NN|NT|TN|TT]\n"
      "                  [--threads 1] [--repeats 7] [--seconds 0.02] [--peer FILE]\n",
      stderr);
  std::exit(2);
}

std::vector<Shape> shape_list(const char* text) {
  std::vector<Shape> shapes;
  for (Shape s{}; std::sscanf(text, "%dx%dx%d", &s.m, &s.n, &s.k) == 3; ++text) {
    shapes.push_back(s);
    text = std::strchr(text, ',');
    if (!text) break;
  }
  return shapes;
}

Options parse(int argc, char** argv) {
  Options o;
  for (int i = 1; i < argc; i += 2) {
    if (i + 1 == argc) usage();
    const char *name = argv[i], *value = argv[i + 1];
    if (!std::strcmp(name, "--path"))
      o.path = value;
    else if (!std::strcmp(name, "--shapes"))
      o.shapes = shape_list(value);
    else if (!std::strcmp(name, "--trans"))
      o.letters = value;
    else if (!std::strcmp(name, "--threads"))
      o.threads = std::atoi(value);
    else if (!std::strcmp(name, "--repeats"))
      o.repeats = std::atoi(value);
    else if (!std::strcmp(name, "--seconds"))
      o.seconds = std::atof(value);
    else if (!std::strcmp(name, "--peer"))
      o.peer = value;
    else
      usage();
  }
  return o;
}

// GFlops of `run`, repeated until the sample lasts long enough.
template <typename Run>
double rate(const Shape& s, const Options& o, const Run& run) {
  const double flops = 2.0 * s.m * s.n * s.k;
  const auto calls = static_cast<long>(std::max(1.0, o.seconds * 30e9 / flops));
  const double start = vex::bench::sample_clock(o.threads);
  for (long i = 0; i < calls; ++i) run();
  return flops * static_cast<double>(calls) / (vex::bench::sample_clock(o.threads) - start) * 1e-9;
}

}  // namespace

int main(int argc, char** argv) {
  const Options o = parse(argc, argv);
  const vex::bench::PathKernels& path = vex::bench::path_kernels(o.path);
  std::unique_ptr<vex::bench::Peer> peer;
  vex::bench::PeerGemm* peer_gemm = nullptr;
  if (o.peer) {
    peer = std::make_unique<vex::bench::Peer>(o.peer);
    peer_gemm = peer->routine<vex::bench::PeerGemm>("dgemm_");
  }
  omp_set_num_threads(o.threads);
  std::printf("%s, %s, %d thread(s)\n%18s %9s %9s %7s", o.path, o.letters, o.threads, "m x n x k", "peak GF",
              "GFlops", "% peak");
  std::printf(peer ? " %9s %7s\n" : "\n", "peer GF", "ratio");
  for (const Shape& s : o.shapes) {
    const auto size = [](int x, int y) { return static_cast<std::size_t>(x) * static_cast<std::size_t>(y); };
    const auto a = vex::bench::random_block(size(s.m, s.k)), b = vex::bench::random_block(size(s.k, s.n)),
               c = vex::bench::random_block(size(s.m, s.n));
    const double alpha = -1, beta = 1;
    const int lda = o.letters[0] == 'N' ? s.m : s.k, ldb = o.letters[1] == 'N' ? s.k : s.n;
    const vex_int m = s.m, n = s.n, k = s.k, lda_wide = lda, ldb_wide = ldb;
    const auto ours = [&] {
      path.gemm(o.letters, o.letters + 1, &m, &n, &k, &alpha, a.get(), &lda_wide, b.get(), &ldb_wide, &beta,
                c.get(), &m, 1, 1);
    };
    const auto theirs = [&] {
      peer_gemm(o.letters, o.letters + 1, &s.m, &s.n, &s.k, &alpha, a.get(), &lda, b.get(), &ldb, &beta,
                c.get(), &s.m, 1, 1);
    };
    std::vector<double> peaks, our_rates, peer_rates;
    for (int r = -1; r < o.repeats; ++r) {
      const double peak = vex::bench::multiply_add_peak(path.peak, o.threads, o.seconds);
      const double our_rate = rate(s, o, ours), peer_rate = peer ? rate(s, o, theirs) : 0;
      if (r < 0) continue;  // the first round warms up
      peaks.push_back(peak), our_rates.push_back(our_rate), peer_rates.push_back(peer_rate);
    }
    const double our_median = vex::bench::median(our_rates), peak_median = vex::bench::median(peaks);
    char text[40];
    std::snprintf(text, sizeof text, "%dx%dx%d", s.m, s.n, s.k);
    std::printf("%18s %9.2f %9.3f %7.1f", text, peak_median, our_median, 100 * our_median / peak_median);
    if (peer)
      std::printf(" %9.3f %7.2f", vex::bench::median(peer_rates),
                  our_median / vex::bench::median(peer_rates));
    std::printf("\n");
    std::fflush(stdout);
  }
}
