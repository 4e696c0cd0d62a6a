// Seconds from the time-stamp counter, and the calibration of its rate.
#include "service/clock.h"

#include <atomic>

#include "service/nominal_rate.h"
#include "service/platform.h"

using namespace vex::service;

namespace {

constexpr auto relaxed = std::memory_order_relaxed;

// The counter's rate in GHz, -1 until calibrated. It stands alone, so no order is needed around it; of
// several threads that calibrate at the same time the last one's rate stays.
constinit std::atomic<double> vex_clocks_freq{-1.0};

// What turns GHz into clocks per second: the double immediately below 1e9, on purpose.
constexpr double per_giga = 999999999.9999999;
static_assert(per_giga == 0x1.dcd64ffffffffp+29);

// A counter reading and the time of day that belongs to it.
struct Instant {
  std::uint64_t clocks;
  TimeOfDay time;
};

Instant read_both() {
  const std::uint64_t clocks = vex_serv_get_cpu_clocks(nullptr);
  return {clocks, platform().time_of_day()};
}

// Up to a second: the calendar clock counts whole ones. A clock that is set back has moved as well.
void wait_for_another_calendar_second(std::int64_t first) {
  while (platform().calendar_seconds() == first) continue;
}

// In GHz; 0 when the interval was too short to tell, or the counter stood still or ran backwards.
double rate_between(const Instant& from, const Instant& to) {
  const double elapsed = static_cast<double>(to.time.seconds - from.time.seconds) +
                         static_cast<double>(to.time.microseconds - from.time.microseconds) * 1e-6;
  const auto clocks = static_cast<std::int64_t>(to.clocks - from.clocks);
  return elapsed >= 1e-4 && clocks > 0 ? static_cast<double>(clocks) * 1e-9 / elapsed : 0;
}

// A counter that cannot be measured is taken to run at the nominal rate. Where that is not told either, a
// measured processor rate would need this very calibration, so all there is left is to try again; a counter
// that never moves ends at 1, since any rate does for it.
double calibrate() {
  constexpr int attempts = 5;
  for (int i = 0; i < attempts; ++i) {
    const std::int64_t second = platform().calendar_seconds();
    const Instant start = read_both();
    wait_for_another_calendar_second(second);
    if (const double rate = rate_between(start, read_both()); rate > 0) return rate;
    if (const double rate = nominal_rate(platform()); rate > 0) return rate;
  }
  return 1.0;
}

double clocks_per_second() {
  vex_serv_get_clocks_frequency();
  return vex_clocks_freq.load(relaxed) * per_giga;
}

}  // namespace

namespace vex::service {

double clocks_to_seconds(std::int64_t clocks) {
  return static_cast<double>(clocks) / clocks_per_second();
}

}  // namespace vex::service

extern "C" {

void vex_serv_get_clocks_frequency() {
  if (vex_clocks_freq.load(relaxed) == -1.0) vex_clocks_freq.store(calibrate(), relaxed);
}

std::uint64_t vex_serv_get_cpu_clocks(std::uint64_t* clocks) {
  const Platform& machine = platform();
  machine.cpuid(0, 0);  // serialises: nothing before it is still under way when the counter is read
  const std::uint64_t now = machine.rdtsc();
  if (clocks) *clocks = now;
  return now;
}

double vex_serv_dsecnd() {
  const double rate = clocks_per_second();
  return static_cast<double>(vex_serv_get_cpu_clocks(nullptr)) / rate;
}

double vex_serv_iface_dsecnd() {
  return vex_serv_dsecnd();
}

float vex_serv_second() {
  return static_cast<float>(vex_serv_dsecnd());
}
}
