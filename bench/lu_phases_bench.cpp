// Where the time of the parallel factorization goes: per phase, in percent of the threads' time, the mean
// over the repeats. The plan is the tuning trees' unless an option replaces a part of it, so that the program
// also serves to find their constants.
#include <omp.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench/support/fma_peak.h"
#include "bench/support/samples.h"
#include "lapack/parallel_run.h"
#include "service/cpu_dispatch.h"

namespace {

using namespace vex;
using lapack::ParallelPlan;
using lapack::Phase;

constexpr const char* phase_names[] = {"prepare",  "panel",   "interch", "solve",
                                       "multiply", "in team", "no task", "left"};
constexpr int phases = std::size(phase_names);

// Each thread's time is cut without gaps: what passes between two laps belongs to the second.
class LapClock {
 public:
  explicit LapClock(int threads) : threads_(static_cast<std::size_t>(threads)) {
    for (Thread& thread : threads_) thread.last = omp_get_wtime();
  }
  void lap(vex_int t, Phase phase) {
    Thread& own = threads_[static_cast<std::size_t>(t)];
    const double now = omp_get_wtime();
    own.seconds[static_cast<int>(phase)] += now - own.last;
    own.last = now;
  }
  double total(int phase) const {
    double sum = 0;
    for (const Thread& thread : threads_) sum += thread.seconds[phase];
    return sum;
  }

 private:
  struct alignas(128) Thread {
    double last = 0, seconds[phases] = {};
  };
  std::vector<Thread> threads_;
};

// The tuning parameters that an option of the same name replaces. All combinations of the lists are run.
constexpr const char* parameter_names[] = {"nb0",  "nb1",  "nb_switch", "fts0",
                                           "fts1", "uts0", "uts1",      "ts_switch"};
constexpr std::size_t parameters = std::size(parameter_names);
constexpr int as_tuned = -1;
using Parameters = std::array<int, parameters>;

struct Options {
  std::vector<int> orders = {500, 2000, 8000};
  int threads = 2, repeats = 5;
  std::array<std::vector<int>, parameters> replaced;
};

[[noreturn]] void usage() {
  std::fputs(
      "usage: lu_phases_bench [--orders 500,2000] [--threads 2] [--repeats 5]\n"
      "   and lists of values instead of the tuned ones:",
      stderr);
  for (const char* name : parameter_names) std::fprintf(stderr, " --%s", name);
  std::fputs("\n", stderr);
  std::exit(2);
}

Options parse(int argc, char** argv) {
  Options options;
  for (auto& list : options.replaced) list = {as_tuned};
  for (int i = 1; i < argc; i += 2) {
    if (i + 1 == argc || std::strncmp(argv[i], "--", 2) != 0) usage();
    const char *name = argv[i] + 2, *value = argv[i + 1];
    const auto known = std::find_if(std::begin(parameter_names), std::end(parameter_names),
                                    [=](const char* parameter) { return !std::strcmp(name, parameter); });
    if (known != std::end(parameter_names))
      options.replaced[static_cast<std::size_t>(known - parameter_names)] = bench::number_list(value);
    else if (!std::strcmp(name, "orders"))
      options.orders = bench::number_list(value);
    else if (!std::strcmp(name, "threads"))
      options.threads = std::atoi(value);
    else if (!std::strcmp(name, "repeats"))
      options.repeats = std::atoi(value);
    else
      usage();
  }
  return options;
}

// The plan as the trees make it, with what has been replaced capped as theirs is.
ParallelPlan plan_with(ParallelPlan plan, const Parameters& p, int threads) {
  const auto replace = [&](vex_int& value, int parameter) {
    if (p[static_cast<std::size_t>(parameter)] != as_tuned) value = p[static_cast<std::size_t>(parameter)];
  };
  if (p[0] != as_tuned) plan.nominal_width = plan.width = p[0];
  replace(plan.width, 1);
  plan.width = std::min(plan.width, plan.nominal_width);
  if (p[2] != as_tuned) plan.width_switch = p[2] / 100.0;
  replace(plan.early_panel, 3);
  replace(plan.late_panel, 4);
  replace(plan.early_update, 5);
  replace(plan.late_update, 6);
  if (p[7] != as_tuned) plan.team_switch = p[7] / 100.0;
  plan.thread_hint = vex_serv_cpu_detect() >= 7 && plan.early_panel == 1 && plan.late_panel == 1 &&
                     plan.early_update == 1 && plan.late_update == 1;
  plan.threads = threads;
  return plan;
}

class Matrix {
 public:
  explicit Matrix(vex_int n)
      : n_(n),
        original_(static_cast<std::size_t>(n * n)),
        work_(original_.size()),
        pivots_(static_cast<std::size_t>(n)) {
    std::uint64_t state = 12345;
    for (double& value : original_) {
      state = state * 6364136223846793005u + 1442695040888963407u;
      value = static_cast<double>(state >> 11) * 0x1p-53 - 0.5;
    }
  }

  // Factors a fresh copy once; seconds taken.
  double factor(const ParallelPlan& plan, int threads, LapClock& clock) {
    std::copy(original_.begin(), original_.end(), work_.begin());
    vex_int info = 0;
    const double start = omp_get_wtime();
    clock = LapClock(threads);
    if (!lapack::run_in_parallel({work_.data(), n_, n_, n_}, pivots_.data(), info, plan, threads, clock)) {
      std::fputs("out of memory\n", stderr);
      std::exit(1);
    }
    return omp_get_wtime() - start;
  }

 private:
  vex_int n_;
  std::vector<double> original_, work_;
  std::vector<vex_int> pivots_;
};

void measure(Matrix& matrix, vex_int n, const ParallelPlan& plan, const Options& options) {
  std::vector<double> rates, peaks;
  double sums[phases] = {}, all = 0;
  for (int r = -1; r < options.repeats; ++r) {
    LapClock clock(options.threads);
    peaks.push_back(bench::multiply_add_peak(bench::PeakKind::widest_fused, options.threads));
    const double seconds = matrix.factor(plan, options.threads, clock);
    if (r < 0) continue;  // warms up
    const auto order = static_cast<double>(n);
    rates.push_back(2.0 / 3.0 * order * order * order / seconds * 1e-9);
    for (int phase = 0; phase < phases; ++phase) sums[phase] += clock.total(phase);
    all += seconds * options.threads;
  }
  const double rate = bench::median(rates);
  const auto number = [](vex_int value) { return static_cast<long long>(value); };
  std::printf("%6lld %4lld %4lld %3.0f %lld,%lld,%lld,%lld %3.0f %8.2f %6.1f ", number(n),
              number(plan.nominal_width), number(plan.width), 100 * plan.width_switch,
              number(plan.early_panel), number(plan.late_panel), number(plan.early_update),
              number(plan.late_update), 100 * plan.team_switch, rate, 100 * rate / bench::median(peaks));
  double rest = all;
  for (int phase = 0; phase < phases; ++phase) {
    std::printf(" %8.1f", 100 * sums[phase] / all);
    rest -= sums[phase];
  }
  std::printf(" %8.1f\n", 100 * rest / all);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  const Options options = parse(argc, argv);
  omp_set_num_threads(options.threads);
  std::printf("%6s %4s %4s %3s %7s %3s %8s %6s ", "n", "nb0", "nb1", "sw", "teams", "sw", "GFlops", "% peak");
  for (const char* name : phase_names) std::printf(" %8s", name);
  std::printf(" %8s\n", "rest");
  for (const int n : options.orders) {
    Matrix matrix(n);
    const ParallelPlan tuned = lapack::plan_parallel(n, n, vex_serv_cpu_detect(), options.threads);
    // Counts through all combinations like an odometer.
    std::array<std::size_t, parameters> at{};
    for (std::size_t wheel = 0; wheel < parameters;) {
      Parameters values;
      for (std::size_t i = 0; i < parameters; ++i) values[i] = options.replaced[i][at[i]];
      measure(matrix, n, plan_with(tuned, values, options.threads), options);
      for (wheel = 0; wheel < parameters && ++at[wheel] == options.replaced[wheel].size(); ++wheel)
        at[wheel] = 0;
    }
  }
}
