// Every thread driver of the multiply against one thread, C := C - A B: percent of `threads` times the rate
// of one thread, interleaved in one run; the driver that the front end chooses is marked. Figures are medians
// over rounds of the ratio within a round, once by the clock on the wall and once by the processor time of
// all threads (run with OMP_WAIT_POLICY=passive to leave waiting out of it), which other programs disturb
// less.
#include <omp.h>
#include <time.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "bench/support/samples.h"
#include "blas/gemm_drivers.h"
#include "service/cpu_dispatch.h"

namespace {

using vex::blas::Product;
using vex::blas::ThreadState;

constexpr const char* names[] = {"1D_row", "1D_col", "xgemm_p", "bsrc", "acopy_n", "bcopy", "abcopy"};
constexpr int count = 7;

double processor_seconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

struct Seconds {
  double wall, processor;
};

template <typename Run>
Seconds per_call(int calls, const Run& run) {
  const double wall = omp_get_wtime(), processor = processor_seconds();
  for (int i = 0; i < calls; ++i) run();
  return {(omp_get_wtime() - wall) / calls, (processor_seconds() - processor) / calls};
}

std::vector<double> block(std::size_t elements) {
  std::vector<double> values(elements);
  std::uint64_t state = 12345;
  for (double& value : values) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    value = static_cast<double>(state >> 11) * 0x1p-53 - 0.5;
  }
  return values;
}

void measure(int m, int n, int k, const char* letters, int threads, int rounds) {
  const auto size = [](int x, int y) { return static_cast<std::size_t>(x) * static_cast<std::size_t>(y); };
  const std::vector<double> a = block(size(m, k)), b = block(size(k, n));
  std::vector<double> c = block(size(m, n));
  const Product product{letters[0], letters[1],
                        m,          n,
                        k,          -1,
                        a.data(),   letters[0] == 'N' ? m : k,
                        b.data(),   letters[1] == 'N' ? k : n,
                        1,          c.data(),
                        m};
  const int calls = std::max(1, static_cast<int>(1e9 / (2.0 * m * n * k)));
  ThreadState state{};
  state.path = vex_serv_cpu_detect();
  state.maximum = state.chosen = threads;
  vex::blas::set_thread_opts(m, n, k, &state);
  const auto chosen = static_cast<int>(state.driver);
  std::vector<double> single, wall[count], processor[count];
  for (int r = -1; r < rounds; ++r) {
    const Seconds one = per_call(calls, [&] { vex::blas::run_sequential(product); });
    if (r >= 0) single.push_back(2.0 * m * n * k / one.processor * 1e-9);
    for (int d = 0; d < count; ++d) {
      state.driver = static_cast<vex::blas::Driver>(d);
      const Seconds all = per_call(calls, [&] { vex::blas::run_driver(product, state); });
      if (r < 0) continue;  // the first round warms up
      wall[d].push_back(100 * one.processor / (threads * all.wall));
      processor[d].push_back(100 * one.processor / all.processor);
    }
  }
  char shape[40];
  std::snprintf(shape, sizeof shape, "%dx%dx%d", m, n, k);
  std::printf("%16s %8.2f", shape, vex::bench::median(single));
  for (int d = 0; d < count; ++d)
    std::printf(" %4.0f /%4.0f%c", vex::bench::median(wall[d]), vex::bench::median(processor[d]),
                d == chosen ? '*' : ' ');
  std::printf("\n");
  std::fflush(stdout);
}

}  // namespace

// usage: gemm_drivers_bench [THREADS [ROUNDS [LETTERS [MxNxK,MxNxK..]]]]
int main(int argc, char** argv) {
  const int threads = argc > 1 ? std::atoi(argv[1]) : omp_get_max_threads();
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
  const char* letters = argc > 3 ? argv[3] : "NN";
  const char* shapes = argc > 4 ? argv[4]
                                : "2000x2000x2000,4000x4000x384,4000x4000x192,1000x1000x1000,400x400x400,"
                                  "4000x300x300,300x4000x300,60x4000x384,8000x1000x384,1000x8000x384";
  std::printf("%s, %d threads: percent of %d times one thread, wall / processor time\n%16s %8s", letters,
              threads, threads, "m x n x k", "1 thread");
  for (const char* name : names) std::printf(" %11s", name);
  std::printf("\n");
  int m, n, k;
  while (shapes && std::sscanf(shapes, "%dx%dx%d", &m, &n, &k) == 3) {
    measure(m, n, k, letters, threads, rounds);
    shapes = std::strchr(shapes, ',');
    if (shapes) ++shapes;
  }
}
