// Where the time of the parallel factorization goes: per phase, in percent of the threads' time, the mean
// over the repeats. The plan is the tuning trees' unless an option replaces a part of it, so that the program
// also serves to find their constants.
#include <omp.h>
#include <sys/resource.h>

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
#include "service/reproducibility.h"

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
using lapack::TunedValues;
constexpr struct {
  const char* name;
  vex_int TunedValues::*value;
} parameter_list[] = {
    {"nb0", &TunedValues::nb0},   {"nb1", &TunedValues::nb1},   {"nb_switch", &TunedValues::nb_switch},
    {"fts0", &TunedValues::fts0}, {"fts1", &TunedValues::fts1}, {"ts_switch", &TunedValues::ts_switch},
    {"uts0", &TunedValues::uts0}, {"uts1", &TunedValues::uts1},
};
constexpr std::size_t parameters = std::size(parameter_list);
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
  for (const auto& parameter : parameter_list) std::fprintf(stderr, " --%s", parameter.name);
  std::fputs("\n", stderr);
  std::exit(2);
}

Options parse(int argc, char** argv) {
  Options options;
  for (auto& list : options.replaced) list = {as_tuned};
  for (int i = 1; i < argc; i += 2) {
    if (i + 1 == argc || std::strncmp(argv[i], "--", 2) != 0) usage();
    const char *name = argv[i] + 2, *value = argv[i + 1];
    const auto known =
        std::find_if(std::begin(parameter_list), std::end(parameter_list),
                     [=](const auto& parameter) { return !std::strcmp(name, parameter.name); });
    if (known != std::end(parameter_list))
      options.replaced[static_cast<std::size_t>(known - parameter_list)] = bench::number_list(value);
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

// The plan of the trees' values, or of those that replace them, for all the threads.
ParallelPlan plan_with(const Parameters& replaced, vex_int n, int threads) {
  const int path = vex_serv_cpu_detect();
  TunedValues values = lapack::tuned_values(path, threads, n, n);
  for (std::size_t i = 0; i < parameters; ++i)
    if (replaced[i] != as_tuned) values.*parameter_list[i].value = replaced[i];
  ParallelPlan plan = lapack::plan_parallel(values, n, n, path, threads);
  lapack::plan_sharing(plan, n, vex_serv_cbwr_get(1), vex_blas_get_kernel_api_version());
  plan.threads = threads;
  return plan;
}

// Copies of one random matrix, factored one after the other: many of a small one, so that a timing lasts long
// enough, and so that the threads come to each from the one before.
class Matrices {
 public:
  explicit Matrices(vex_int n)
      : n_(n),
        size_(static_cast<std::size_t>(n * n)),
        copies_(std::max<std::size_t>(1, (std::size_t{1} << 20) / size_)),
        original_(size_),
        work_(size_ * copies_),
        pivots_(static_cast<std::size_t>(n)) {
    std::uint64_t state = 12345;
    for (double& value : original_) {
      state = state * 6364136223846793005u + 1442695040888963407u;
      value = static_cast<double>(state >> 11) * 0x1p-53 - 0.5;
    }
  }

  // Factors every copy once; seconds that one took.
  double factor(const ParallelPlan& plan, int threads, LapClock& clock) {
    for (std::size_t c = 0; c < copies_; ++c)
      std::copy(original_.begin(), original_.end(), &work_[c * size_]);
    const double start = omp_get_wtime();
    clock = LapClock(threads);
    for (std::size_t c = 0; c < copies_; ++c) {
      vex_int info = 0;
      if (lapack::run_in_parallel({&work_[c * size_], n_, n_, n_}, pivots_.data(), info, plan, threads,
                                  clock))
        continue;
      std::fputs("out of memory\n", stderr);
      std::exit(1);
    }
    return (omp_get_wtime() - start) / static_cast<double>(copies_);
  }
  double copies() const { return static_cast<double>(copies_); }

 private:
  vex_int n_;
  std::size_t size_, copies_;
  std::vector<double> original_, work_;
  std::vector<vex_int> pivots_;
};

// The most memory that the process has had so far, in KiB.
long peak_resident() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

// What has been measured with one plan.
struct Tally {
  ParallelPlan plan;
  std::vector<double> rates, peaks;
  double seconds[phases] = {}, all = 0;
  long memory = 0;  // KiB by which it has raised the process's peak
};

void sample(Tally& tally, Matrices& matrices, vex_int n, int threads, bool counts) {
  const long resident = peak_resident();
  LapClock clock(threads);
  const double peak = bench::multiply_add_peak(bench::PeakKind::widest_fused, threads);
  const double seconds = matrices.factor(tally.plan, threads, clock);
  tally.memory += peak_resident() - resident;
  if (!counts) return;
  const auto order = static_cast<double>(n);
  tally.peaks.push_back(peak);
  tally.rates.push_back(2.0 / 3.0 * order * order * order / seconds * 1e-9);
  for (int phase = 0; phase < phases; ++phase) tally.seconds[phase] += clock.total(phase) / matrices.copies();
  tally.all += seconds * threads;
}

void print(const Tally& tally, vex_int n) {
  const ParallelPlan& plan = tally.plan;
  const double rate = bench::median(tally.rates);
  const auto number = [](vex_int value) { return static_cast<long long>(value); };
  std::printf("%6lld %4lld %4lld %3.0f %lld,%lld,%lld,%lld %3.0f %8.2f %6.1f ", number(n),
              number(plan.nominal_width), number(plan.width), 100 * plan.width_switch,
              number(plan.early_panel), number(plan.late_panel), number(plan.early_update),
              number(plan.late_update), 100 * plan.team_switch, rate,
              100 * rate / bench::median(tally.peaks));
  double rest = tally.all;
  for (const double seconds : tally.seconds) {
    std::printf(" %8.1f", 100 * seconds / tally.all);
    rest -= seconds;
  }
  std::printf(" %8.1f %6.1f\n", 100 * rest / tally.all, static_cast<double>(tally.memory) / 1024);
  std::fflush(stdout);
}

// A tally for each combination of the values to try.
std::vector<Tally> plans_to_try(const Options& options, vex_int n) {
  std::vector<Tally> tallies;
  std::array<std::size_t, parameters> at{};  // turned like an odometer
  for (std::size_t wheel = 0; wheel < parameters;) {
    Parameters values;
    for (std::size_t i = 0; i < parameters; ++i) values[i] = options.replaced[i][at[i]];
    tallies.emplace_back().plan = plan_with(values, n, options.threads);
    for (wheel = 0; wheel < parameters && ++at[wheel] == options.replaced[wheel].size(); ++wheel)
      at[wheel] = 0;
  }
  return tallies;
}

}  // namespace

int main(int argc, char** argv) {
  const Options options = parse(argc, argv);
  omp_set_num_threads(options.threads);
  std::printf("%6s %4s %4s %3s %7s %3s %8s %6s ", "n", "nb0", "nb1", "sw", "teams", "sw", "GFlops", "% peak");
  for (const char* name : phase_names) std::printf(" %8s", name);
  std::printf(" %8s %6s\n", "rest", "MiB");
  for (const int n : options.orders) {
    Matrices matrices(n);
    std::vector<Tally> tallies = plans_to_try(options, n);
    // Rounds over all plans, so that what disturbs the machine disturbs them alike; the first warms up.
    for (int round = -1; round < options.repeats; ++round)
      for (Tally& tally : tallies) sample(tally, matrices, n, options.threads, round >= 0);
    for (const Tally& tally : tallies) print(tally, n);
  }
}
