// The tests one after the other.
#include "driver/test_loop.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "driver/report.h"
#include "service/huge_pages.h"

namespace vex::driver {
namespace {

struct Rates {
  double average = 0, maximal = 0;  // GFlops
};

// The outcome of the latest trial. It outlives the trial: one whose measured time is not positive leaves the
// rate and the residuals as they are.
struct Outcome {
  double time = 0, gflops = 0, resid = 0, residn = 0;
  std::int32_t info = 0;
};

MemoryRequest request_of(std::int32_t n, std::int32_t lda, std::int32_t alignment) {
  // Converted from signed to unsigned with sign extension, as everything here is taken modulo 2^64.
  const auto order = static_cast<std::uint64_t>(n);
  const auto stride = static_cast<std::uint64_t>(lda);
  const std::uint64_t slack = static_cast<std::uint64_t>(alignment) * 1024 + stride * 4;
  MemoryRequest request{slack + (order + 2) * stride * 8, n, true};
  std::uint64_t doubles, bytes, total;
  request.fits = !__builtin_mul_overflow(order + 2, stride, &doubles) &&
                 !__builtin_mul_overflow(doubles, std::uint64_t{8}, &bytes) &&
                 !__builtin_add_overflow(bytes, slack, &total);
  return request;
}

void* obtain_block(const Configuration& run, const char* program) {
  const MemoryRequest largest = largest_request(run);
  if (run.test_count > 0 && (largest.size == 0 || largest.bytes == 0)) {
    print(not_enough_memory, program);
    std::exit(-1);
  }
  print(memory_requested, static_cast<unsigned long long>(largest.bytes),
        static_cast<unsigned>(largest.size));
  void* block = largest.fits ? std::malloc(std::max<std::uint64_t>(largest.bytes, 1)) : nullptr;
  if (!block) {
    print(block_not_obtained, program);
    std::exit(-1);
  }
  service::advise_huge_pages(block, largest.bytes);
  return block;
}

// Runs trials one after the other, prints their lines and remembers whether one failed.
struct Trials {
  decltype(quarlen_)* trial;
  Outcome outcome = {};
  bool failed = false;

  Rates run(const TestMemory& memory, std::int32_t n, std::int32_t lda, std::int32_t trials,
            std::int32_t alignment) {
    if (trials <= 0) return {};
    double sum = 0, maximal = 0;
    for (std::int32_t i = 0; i < trials; ++i) {
      trial(&n, memory.a, &lda, memory.b, memory.x, memory.ipvt, &outcome.time, &outcome.gflops,
            &outcome.resid, &outcome.residn, &outcome.info);
      if (outcome.info != 0) print(info_returned, outcome.info);
      const bool fail = trial_failed(outcome.resid, outcome.residn);
      print(trial_line + fail, n, lda, alignment, outcome.time, outcome.gflops, outcome.resid,
            outcome.residn);
      std::fflush(nullptr);
      failed |= fail;
      sum += outcome.gflops;
      maximal = std::max(maximal, outcome.gflops);
    }
    return {sum / trials, maximal};
  }
};

void print_summary(const Configuration& run, const std::array<Rates, max_tests>& rates) {
  print(empty_line);
  print(summary_banner);
  print(empty_line);
  print(summary_columns);
  for (std::size_t i = 0; i < static_cast<std::size_t>(run.test_count); ++i) {
    if (run.size[i] <= 0) continue;
    print(summary_row, run.size[i], run.leading_dimension[i], run.alignment[i], rates[i].average,
          rates[i].maximal);
  }
}

void print_verdict(bool failed) {
  print(empty_line);
  print(verdict + failed);
  print(empty_line);
  print(end_of_tests);
  print(empty_line);
}

}  // namespace

MemoryRequest largest_request(const Configuration& run) {
  MemoryRequest largest;
  bool fits = true;
  for (std::size_t i = 0; i < static_cast<std::size_t>(run.test_count); ++i) {
    const MemoryRequest request = request_of(run.size[i], run.leading_dimension[i], run.alignment[i]);
    fits &= request.fits;
    if (request.bytes > largest.bytes) largest = request;
  }
  largest.fits = fits;
  return largest;
}

TestMemory lay_out(void* block, std::int32_t n, std::int32_t lda, std::int32_t alignment) {
  auto* base = static_cast<std::byte*>(block);
  if (alignment > 0) {
    // No power of two in general: 3 KiB is a valid alignment.
    const std::uintptr_t step = static_cast<std::uintptr_t>(alignment) * 1024;
    const std::uintptr_t beyond = reinterpret_cast<std::uintptr_t>(block) % step;
    if (beyond != 0) base += step - beyond;
  }
  const auto columns = static_cast<std::size_t>(n), stride = static_cast<std::size_t>(lda);
  TestMemory memory;
  memory.a = reinterpret_cast<double*>(base);
  memory.b = memory.a + columns * stride;
  memory.x = memory.b + stride;
  memory.ipvt = reinterpret_cast<std::int32_t*>(memory.x + stride);
  return memory;
}

bool trial_failed(double resid, double residn) {
  constexpr double limit = 100.0;
  return std::isnan(resid) || !(residn < limit);  // a comparison with NaN is false: it fails
}

int run_tests(const Configuration& run, const char* program, decltype(quarlen_)* trial) {
  void* block = obtain_block(run, program);
  print(empty_line);
  print(timing_banner);
  print(empty_line);
  print(trial_columns);
  std::fflush(stdout);

  std::array<Rates, max_tests> rates;
  Trials trials{trial};
  for (std::size_t i = 0; i < static_cast<std::size_t>(run.test_count); ++i) {
    const std::int32_t n = run.size[i], lda = run.leading_dimension[i], alignment = run.alignment[i];
    if (n <= 0) continue;
    rates[i] = trials.run(lay_out(block, n, lda, alignment), n, lda, run.trials[i], alignment);
  }
  std::free(block);
  print_summary(run, rates);
  print_verdict(trials.failed);
  return trials.failed ? 1 : 0;
}

}  // namespace vex::driver
