// What the report begins with.
#include "driver/report_header.h"

#include <omp.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <span>

#include "driver/report.h"
#include "service/environment.h"
#include "service/frequency.h"
#include "service/topology.h"

namespace vex::driver {
namespace {

// Date and time as asctime lays them out, with its own line break.
void print_date() {
  const std::time_t now = std::time(nullptr);
  const std::tm* local = std::localtime(&now);
  const char* text = local ? std::asctime(local) : nullptr;
  print(date_and_time, text ? text : "0");
}

void print_row(const char* name, std::span<const std::int32_t> row) {
  std::printf("%-43s :", name);
  for (const std::int32_t value : row) std::printf(" %-5i", value);
  std::printf("\n");
}

}  // namespace

Machine count_machine() {
  const int packages = vex_serv_get_ncpus();
  return {packages, packages * vex_serv_get_ncorespercpu()};
}

bool is_thread_count(const char* text) {
  char* end = nullptr;
  const long value = std::strtol(text, &end, 10);
  return end != text && *end == '\0' && value >= 0;
}

void set_threads(const Machine& machine) {
  const int threads = omp_get_max_threads();
  char chosen[32];
  if (vex_serv_getenv("OMP_NUM_THREADS", chosen, sizeof chosen) > 0 && is_thread_count(chosen)) return;
  if (machine.cores >= 1 && machine.cores < threads) omp_set_num_threads(machine.cores);
}

void print_header(const Machine& machine) {
  print_date();
  print(cpu_frequency, vex_serv_get_cpu_frequency());
  print(number_of_cpus, machine.packages);
  print(number_of_cores, machine.cores);
  print(number_of_threads, omp_get_max_threads());
}

void print_echo(const Configuration& run) {
  const auto tests = static_cast<std::size_t>(run.test_count);
  const auto row = [tests](const auto& values) { return std::span<const std::int32_t>(values).first(tests); };
  print(empty_line);
  print(parameters_set);
  print(empty_line);
  print(number_of_tests, run.test_count);
  print_row(name::equations, row(run.size));
  print_row(name::leading_dimension, row(run.leading_dimension));
  print_row(name::trials, row(run.trials));
  print_row(name::alignment, row(run.alignment));
  print(empty_line);
}

}  // namespace vex::driver
