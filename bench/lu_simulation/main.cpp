// lu_simulation: how long would a factorization take on a machine with many threads? The real task graph and
// team code runs in simulated time over measured kernel costs.
//
//   lu_simulation --threads 8,28,56 --orders 10000,20000        with the values of the tuning trees
//   lu_simulation --threads 56 --orders 10000 --nb0 336 --fts0 8    with some values changed
//   lu_simulation --threads 28 --orders 1000,5000 --tune        searches for better ones
//   lu_simulation --threads 4 --orders 1200 --gantt 100         who does what when
//   lu_simulation --threads 1,2 --orders 1000,2000 --validate 5 beside the second fastest of 5 real runs
//   lu_simulation --measure                                     the figures that costs.cpp holds
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/lu_simulation/costs.h"
#include "bench/lu_simulation/measure.h"
#include "bench/lu_simulation/run.h"
#include "bench/lu_simulation/tune.h"
#include "bench/support/samples.h"

namespace {

using namespace vex::bench;
using vex::lapack::TunedValues;

struct NamedValue {
  const char* name;
  vex_int TunedValues::*value;
};
constexpr NamedValue tuned_names[] = {{"fts0", &TunedValues::fts0},
                                      {"fts1", &TunedValues::fts1},
                                      {"nb0", &TunedValues::nb0},
                                      {"nb1", &TunedValues::nb1},
                                      {"nb_switch", &TunedValues::nb_switch},
                                      {"ts_switch", &TunedValues::ts_switch},
                                      {"uts0", &TunedValues::uts0},
                                      {"uts1", &TunedValues::uts1}};

struct Options {
  std::vector<int> orders = {1000, 2000, 5000, 10000, 20000}, threads = {8, 28, 56};
  std::string path = "avx512";
  TunedValues changed = {-1, -1, -1, -1, -1, -1, -1, -1};  // -1: what the tree says
  vex_int depth = 0;
  double latency = -1, bandwidth = -1, multiply_rate = -1;
  int gantt = 0, validate = 0;
  bool tune = false, measure = false;
  Freedom freedom;
};

[[noreturn]] void usage() {
  std::fputs(
      "usage: lu_simulation [--threads 8,28] [--orders 1000,5000] [--path avx512|avx512_hcx|avx2|avx] "
      "[--depth 2]\n"
      "         [--fts0 N] [--fts1 N] [--nb0 N] [--nb1 N] [--nb_switch N] [--ts_switch N] [--uts0 N] [--uts1 "
      "N]\n"
      "         [--latency NS] [--bandwidth GB_PER_S] [--multiply-rate FACTOR]\n"
      "         [--tune [--keep-settled] | --gantt CHARACTERS | --validate REPEATS | --measure]\n",
      stderr);
  std::exit(2);
}

Options parse(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const auto is = [&](const char* name) { return !std::strcmp(argv[i], name); };
    if (is("--tune") || is("--measure")) {
      (is("--tune") ? options.tune : options.measure) = true;
      continue;
    }
    if (is("--keep-settled")) {
      options.freedom = {false, false};
      continue;
    }
    if (std::strncmp(argv[i], "--", 2) != 0 || i + 1 == argc) usage();
    const char* value = argv[i + 1];
    const auto tuned = std::find_if(std::begin(tuned_names), std::end(tuned_names),
                                    [&](const NamedValue& n) { return !std::strcmp(argv[i] + 2, n.name); });
    if (tuned != std::end(tuned_names))
      options.changed.*tuned->value = std::atoi(value);
    else if (is("--threads"))
      options.threads = number_list(value);
    else if (is("--orders"))
      options.orders = number_list(value);
    else if (is("--path"))
      options.path = value;
    else if (is("--depth"))
      options.depth = std::atoi(value);
    else if (is("--latency"))
      options.latency = std::atof(value);
    else if (is("--bandwidth"))
      options.bandwidth = std::atof(value);
    else if (is("--multiply-rate"))
      options.multiply_rate = std::atof(value);
    else if (is("--gantt"))
      options.gantt = std::atoi(value);
    else if (is("--validate"))
      options.validate = std::atoi(value);
    else
      usage();
    ++i;
  }
  return options;
}

// The number of a path in the catalogue of tuning trees.
int code_path(const std::string& path) {
  if (path == "avx512_hcx") return 6;
  return path == "avx512" ? 7 : path == "avx2" ? 5 : 4;
}

Machine machine_for(const Options& options, vex_int threads) {
  const KernelCosts* kernels = measured_costs(options.path.c_str());
  if (!kernels) usage();
  Machine machine{*kernels};
  if (options.latency > 0) machine.latency = options.latency;
  machine.bandwidth = options.bandwidth > 0 ? options.bandwidth : usual_bandwidth(threads);
  if (options.multiply_rate > 0) machine.multiply_rate = options.multiply_rate;
  return machine;
}

void print_values(const TunedValues& v) {
  std::printf("%5ld %4ld %4ld %4ld %9ld %9ld %4ld %4ld", v.fts0, v.fts1, v.nb0, v.nb1, v.nb_switch,
              v.ts_switch, v.uts0, v.uts1);
}

// One line for each thread: a task's stretch begins with |, a panel task's reads P and the panel, an update's
// the target column; the interchanges on the left at the end are <.
void print_gantt(const Outcome& run, vex_int threads, int characters) {
  const double scale = characters / run.makespan;
  const auto column = [&](double time) { return static_cast<std::size_t>(time * scale); };
  std::vector<std::string> lines(static_cast<std::size_t>(threads),
                                 std::string(static_cast<std::size_t>(characters) + 1, ' '));
  for (const Stretch& s : run.stretches) {
    const std::size_t start = column(s.start), length = std::max<std::size_t>(1, column(s.end) - start);
    const bool panel = s.task.kind == vex::lapack::task_panel, left = s.task.kind == vex::lapack::task_end;
    std::string text = left ? "<" : (panel ? "|P" : "|") + std::to_string(s.task.target);
    text.resize(length, left ? '<' : panel ? '=' : '-');
    lines[static_cast<std::size_t>(s.thread)].replace(start, length, text);
  }
  for (std::size_t t = 0; t < lines.size(); ++t) std::printf("thread %2zu %s\n", t, lines[t].c_str());
}

// What one row of a table has to serve: orders on both sides, and where nobody says how fast the arithmetic
// is, also machines with twice as many vector pipes.
std::vector<Case> cases_around(const Options& options, const Setting& setting) {
  std::vector<Case> cases;
  for (const vex_int percent : {82, 100, 122}) {
    Setting near = setting;
    near.n = setting.n * percent / 100;
    Machine machine = machine_for(options, setting.threads);
    cases.push_back({near, Costs(machine, near.n, setting.threads)});
    if (options.multiply_rate > 0 || options.path != "avx512") continue;
    machine.multiply_rate = 2;
    cases.push_back({near, Costs(machine, near.n, setting.threads)});
  }
  return cases;
}

void report(const Options& options, int n, int threads) {
  const Costs costs(machine_for(options, threads), n, threads);
  const Setting setting{n, threads, code_path(options.path), options.depth};
  TunedValues values = vex::lapack::tuned_values(setting.code_path, threads, n, n);
  for (const NamedValue& name : tuned_names)
    if (options.changed.*name.value >= 0) values.*name.value = options.changed.*name.value;
  if (options.tune) values = tune(cases_around(options, setting), values, options.freedom);
  const auto plan = vex::lapack::plan_parallel(values, n, n, setting.code_path, threads);
  const double one = one_thread(setting, costs);
  Outcome run;
  run.makespan = one;
  run.threads = 1;
  if (plan.threads >= 2) run = simulate(n, plan, threads, options.depth, costs, options.gantt > 0);

  std::printf("%6d %7ld ", n, run.threads);
  print_values(values);
  std::printf(" %10.3f %8.1f %6.1f", run.makespan * 1e-6, 2.0 / 3.0 * n * n * n / run.makespan,
              100 * one / (threads * run.makespan));
  if (options.validate > 0) {
    const double real = measured_factorization(n, threads, options.validate);
    std::printf(" %10.3f %8.1f", real * 1e3, 2.0 / 3.0 * n * n * n / real * 1e-9);
  } else {
    for (const double share : run.share) std::printf(" %8.1f", 100 * share);
  }
  std::printf("\n");
  if (options.gantt > 0) print_gantt(run, threads, options.gantt);
}

}  // namespace

int main(int argc, char** argv) {
  const Options options = parse(argc, argv);
  if (options.measure) {
    measure_and_print();
    return 0;
  }
  std::printf("%6s %7s %5s %4s %4s %4s %9s %9s %4s %4s %10s %8s %6s", "n", "threads", "fts0", "fts1", "nb0",
              "nb1", "nb_switch", "ts_switch", "uts0", "uts1", "ms", "GFlops", "% eff");
  if (options.validate > 0) {
    std::printf(" %10s %8s", "real ms", "GFlops");
  } else {
    for (const char* name : activity_names) std::printf(" %8s", name);
  }
  std::printf("\n");
  for (const int n : options.orders)
    for (const int threads : options.threads) {
      if (n < 1 || threads < 1) usage();
      report(options, n, threads);
      std::fflush(stdout);
    }
}
