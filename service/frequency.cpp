// The processor's clock rate: what it is told to be, or how long a million dependent subtractions take.
#include "service/frequency.h"

#include <algorithm>
#include <limits>

#include "service/clock.h"
#include "service/nominal_rate.h"
#include "service/platform.h"

using namespace vex::service;

namespace {

constexpr std::int64_t timed_cycles = 1000000;

double time_count_down() {
  vex_serv_get_clocks_frequency();
  const std::uint64_t start = vex_serv_get_cpu_clocks(nullptr);
  count_down(timed_cycles);
  const std::uint64_t end = vex_serv_get_cpu_clocks(nullptr);
  return clocks_to_seconds(static_cast<std::int64_t>(end - start));
}

// The shortest of three runs, the one least disturbed; nothing above 0 when a run ended before it began, as
// it may after a move between processors whose counters disagree.
double shortest_of_three() {
  double shortest = std::numeric_limits<double>::max();
  for (int run = 0; run < 3; ++run) shortest = std::min(shortest, time_count_down());
  return shortest;
}

}  // namespace

namespace vex::service {

[[gnu::noinline]] std::int64_t count_down(std::int64_t count) {
  // The 1 comes from a register, since recent cores add up small immediates when they rename registers and
  // would run through a chain of those at several steps a cycle. The whole body of 3 KB fits the first-level
  // instruction cache; the branch falls beside the chain and costs nothing.
  const std::int64_t one = 1;
  __asm__ volatile(
      ".p2align 5\n"
      "1:\n"
      ".rept %c[length]\n"
      "sub %[one], %[count]\n"
      ".endr\n"
      "jnz 1b\n"
      : [count] "+r"(count)
      : [one] "r"(one), [length] "i"(chain_length)
      : "cc");
  return count;
}

}  // namespace vex::service

extern "C" {

double vex_serv_get_max_cpu_frequency() {
  const double told = nominal_rate(platform());
  return told > 0 ? told : vex_serv_get_cpu_frequency();
}

double vex_serv_get_cpu_frequency() {
  // A counter that does not move forward in so many attempts never will.
  constexpr int attempts = 100;
  for (int i = 0; i < attempts; ++i) {
    if (const double seconds = shortest_of_three(); seconds > 0) return 1e-9 * timed_cycles / seconds;
  }
  return 0;
}
}
