// Clocks and rates, on invented machines where the answer is known and on the real one where it is not.
#include "service/frequency.h"

#include <cstring>
#include <tuple>

#include "service/clock.h"
#include "service/nominal_rate.h"
#include "tests/support/alone.h"
#include "tests/support/fresh_process.h"
#include "tests/support/text.h"

namespace {

using namespace vex::service;

constexpr char silent[] = "                ";

// A machine whose counter gains `clocks_per_look` at every look at any of its clocks.
struct Machine {
  const char* brand_tail = silent;
  std::uint32_t highest_leaf = 0x80000004;
  std::string description = {};
  std::int64_t clocks_per_look = 1000;
  std::int64_t ticks_per_second = 2500;  // 2.5 GHz when a million clocks count as one look
  std::int64_t looks = 0;
};

Machine machine;

CpuidResult fake_cpuid(std::uint32_t leaf, std::uint32_t) {
  CpuidResult r{machine.highest_leaf, 0, 0, 0};
  if (leaf == 0x80000004) std::memcpy(&r, machine.brand_tail, 16);
  return r;
}

Platform fake() {
  Platform p = real_platform;
  p.cpuid = fake_cpuid;
  p.open_cpuinfo = [] { return vex::test::stream_of(machine.description); };
  p.rdtsc = [] { return static_cast<std::uint64_t>(machine.looks * machine.clocks_per_look); };
  p.calendar_seconds = [] { return ++machine.looks / machine.ticks_per_second; };
  p.time_of_day = [] {
    const std::int64_t t = machine.looks;
    return TimeOfDay{t / machine.ticks_per_second,
                     t % machine.ticks_per_second * 1000000 / machine.ticks_per_second};
  };
  return p;
}

}  // namespace

TEST(NominalRate, ABrandStringIsMisread) {
  const std::pair<const char*, int> cases[] = {
      // exactly 16 characters, and the MHz that they tell
      {"CPU @ 2.10GHz\0\0", 2100},   {"xxxxxxx  3400MHz", 3400}, {"x   900MHz xxxxx", 900},
      {"xxxxxx  1.25THz ", 1250000}, {"3.40GHz         ", 3400}, {".40GHz          ", 0},
      {"GHz             ", 0},       {"xxx @ 3GHz      ", 0},    {"xxxxx-3.4GHz xxx", 0},
      {"xxxxxxxxx 3.40GH", 0},       {"2.10GHz 3.40GHz ", 2100}, {"HzHzHzHzHzHzHzHz", 0}};
  for (const auto& [tail, mhz] : cases) {
    // A copy of exactly 16 bytes, so that the address sanitizer sees any look beside it.
    const std::vector<char> exact(tail, tail + 16);
    EXPECT_EQ(brand_string_mhz({exact.data(), 16}), mhz) << tail;
  }
}

TEST(NominalRate, TheWrongSourceIsBelieved) {
  const std::pair<Machine, double> cases[] = {
      {{"CPU @ 2.10GHz\0\0", 0x80000004, "cpu MHz : 900\n"}, 2.1},
      {{"CPU @ 2.10GHz\0\0", 0x80000003, "cpu MHz\t\t: 2700.500\ncpu MHz : 1\n"}, 2.7005},
      {{silent, 0x80000008, "model : 1\ncpu MHz\t: 0.000\ncpu MHz : 5\n"}, 0},
      {{silent, 0x80000008, "cpu MHz : inf\n"}, 0},
      {{silent, 0x80000008, ""}, 0}};
  for (const auto& [described, ghz] : cases) {
    machine = described;
    EXPECT_DOUBLE_EQ(nominal_rate(fake()), ghz) << machine.description;
  }
}

TEST(MeasuredRate, AStepTakesAnImplausibleTime) {
  EXPECT_EQ(count_down(5 * chain_length), 0);
  const double ghz = vex_serv_get_cpu_frequency();
  EXPECT_GT(ghz, 0.05);
  EXPECT_LT(ghz, 8);  // more where the chain is folded away and a cycle takes several steps
}

TEST(Clock, CalibrationFindsAnotherRate) {
  if (!vex::test::alone()) return;
  const auto result = vex::test::in_fresh_process([] {
    machine = {.clocks_per_look = 1000000};  // 2500 looks a second
    const Platform p = fake();
    set_platform(&p);
    machine.looks = 1234;  // somewhere within a second
    vex_serv_get_clocks_frequency();
    machine.ticks_per_second = 1;  // too late to matter
    const double seconds = vex_serv_dsecnd();
    std::uint64_t clocks = 0;
    const bool same = vex_serv_get_cpu_clocks(&clocks) == clocks;
    const double rate = static_cast<double>(clocks) / 999999999.9999999 / seconds;
    std::printf("%.3f %d %d", rate, same, vex_serv_second() == static_cast<float>(vex_serv_iface_dsecnd()));
  });
  EXPECT_EQ(result.output, "2.500 1 1");
}

TEST(Clock, ACounterThatCannotBeCalibratedIsWaitedForEver) {
  if (!vex::test::alone()) return;
  for (const auto& [tail, clocks_per_look, answer] : {std::tuple("CPU @ 2.10GHz\0\0", 0, "0 2.100"),
                                                      {silent, 0, "0 1.000"},
                                                      {"CPU @ 2.10GHz\0\0", -5, "0 2.100"}}) {
    machine = {.brand_tail = tail, .clocks_per_look = clocks_per_look};
    const auto result = vex::test::in_fresh_process([&] {
      const Platform p = fake();
      set_platform(&p);
      std::printf("%g %.3f", vex_serv_get_cpu_frequency(), 1e-9 / clocks_to_seconds(1));
    });
    EXPECT_EQ(result.output, answer);
  }
}
