// Clocks and rates, on invented machines where the answer is known and on the real one where it is not.
#include "service/frequency.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "service/clock.h"
#include "service/nominal_rate.h"
#include "tests/support/alone.h"
#include "tests/support/fresh_process.h"
#include "tests/support/text.h"

namespace {

using namespace vex::service;

// A machine whose counter gains `clocks_per_look` at every look at any of its clocks.
struct Machine {
  const char* brand_tail = "                ";
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
  struct Case {
    const char* tail;  // exactly 16 characters
    int mhz;
  };
  const Case cases[] = {
      {"CPU @ 2.10GHz\0\0", 2100}, {"xxxxxxx  3400MHz", 3400}, {"xxxxxxx  3400GHz", 3400},
      {"xxxxxxx  3400THz", 3400},  {"x   900MHz xxxxx", 900},  {"xxxxxx  1.25THz ", 1250000},
      {"xxxxxx  9.99MHz ", 9},     {"3.40GHz         ", 3400}, {"x3.40Hz         ", 0},
      {".40GHz          ", 0},     {"GHz             ", 0},    {"1GHz            ", 0},
      {"xxx @ 3GHz      ", 0},     {"xxxx 10.0GHz xxx", 0},    {"xxxxx-3.4GHz xxx", 0},
      {"xxxxx3.x0GHz xxx", 0},     {"xxxxxx.40GHz xxx", 0},    {"xxxxxxxx 3.40GHz", 3400},
      {"xxxxxxxxx 3.40GH", 0},     {"2.10GHz 3.40GHz ", 2100}, {"xxxx kHz 3.40GHz", 3400},
      {"????GHz 3.40GHz ", 0},     {"HzHzHzHzHzHzHzHz", 0},    {"                ", 0},
      {"xxxx3.40ghz xxxx", 0},
  };
  for (const Case& c : cases) {
    // A copy of exactly 16 bytes, so that the address sanitizer sees any look beside it.
    const auto exact = std::make_unique<char[]>(16);
    std::memcpy(exact.get(), c.tail, 16);
    EXPECT_EQ(brand_string_mhz({exact.get(), 16}), c.mhz) << c.tail;
  }
}

TEST(NominalRate, TheWrongSourceIsBelieved) {
  struct Case {
    Machine machine;
    double ghz;
  };
  const char* const silent = "                ";
  const Case cases[] = {
      {{"CPU @ 2.10GHz\0\0", 0x80000004, "cpu MHz : 900\n"}, 2.1},
      {{"CPU @ 2.10GHz\0\0", 0x80000003, "cpu MHz : 900\n"}, 0.9},
      {{"CPU @ 2.10GHz\0\0", 22, "cpu MHz\t\t: 2700.500\ncpu MHz : 1\n"}, 2.7005},
      {{silent, 0x80000008, "model : 1\ncpu MHz\t: 0.000\ncpu MHz : 5\n"}, 0},
      {{silent, 0x80000008, "cpu MHz : inf\n"}, 0},
      {{silent, 0x80000008, "cpu MHz 5\n"}, 0},
      {{silent, 0x80000008, ""}, 0},
  };
  for (const Case& c : cases) {
    machine = c.machine;
    EXPECT_DOUBLE_EQ(nominal_rate(fake()), c.ghz) << c.machine.description;
  }
}

// Read from the loop that the machine really runs: one instruction over and over, which subtracts one
// register from another, and a branch back to its first.
TEST(MeasuredRate, TheTimedLoopIsNoChainOfSubtractions) {
  const std::string code(reinterpret_cast<const char*>(&count_down), 4096);
  constexpr std::size_t body = 3 * chain_length;
  std::size_t start = 0;
  do start = code.find("\x48\x29", start + 1);
  while (start < 256 && (code[start + 2] & 0xc0) != 0xc0);
  ASSERT_LT(start, 256u);
  EXPECT_NE(code[start + 2] & 7, code[start + 2] >> 3 & 7) << "subtracts a register from itself";
  for (std::size_t at = 0; at < body; ++at) ASSERT_EQ(code[start + at], code[start + at % 3]) << at;
  EXPECT_EQ(code.substr(start + body, 2), "\x0f\x85");  // branch while not zero, 32-bit distance
  std::int32_t distance;
  std::memcpy(&distance, code.data() + start + body + 2, 4);
  EXPECT_EQ(distance, -static_cast<std::int32_t>(body + 6));
  EXPECT_EQ(count_down(5 * chain_length), 0);
}

TEST(MeasuredRate, AStepTakesAnImplausibleTime) {
  const double ghz = vex_serv_get_cpu_frequency();
  EXPECT_GT(ghz, 0.05);
  EXPECT_LT(ghz, 20);  // a chain that is folded away runs several steps a cycle
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
    const bool same =
        vex_serv_get_cpu_clocks(&clocks) == clocks && vex_serv_get_cpu_clocks(nullptr) == clocks;
    const double rate = static_cast<double>(clocks) / 999999999.9999999 / seconds;
    std::printf("%.3f %d %d", rate, same, vex_serv_second() == static_cast<float>(vex_serv_iface_dsecnd()));
  });
  EXPECT_EQ(result.output, "2.500 1 1");
}

TEST(Clock, ACounterThatCannotBeCalibratedIsWaitedForEver) {
  if (!vex::test::alone()) return;
  const struct {
    const char* tail;
    std::int64_t clocks_per_look;
  } counters[] = {{"CPU @ 2.10GHz\0\0", 0}, {"                ", 0}, {"CPU @ 2.10GHz\0\0", -5}};
  for (const auto& c : counters) {
    const auto result = vex::test::in_fresh_process([&] {
      machine = {.brand_tail = c.tail, .clocks_per_look = c.clocks_per_look};
      const Platform p = fake();
      set_platform(&p);
      std::printf("%g %.3f", vex_serv_get_cpu_frequency(), 1e-9 / clocks_to_seconds(1));
    });
    EXPECT_EQ(result.output, *c.tail == 'C' ? "0 2.100" : "0 1.000");
  }
}
