// Counting invented machines: by descriptions of several kinds, and by the processors' own identifiers.
#include <gtest/gtest.h>

#include <bit>
#include <cstring>

#include "service/topology_count.h"
#include "tests/support/text.h"

namespace {

using namespace vex::service;
using namespace std::string_literals;

struct Processor {
  std::uint32_t apic_id, threads_told, cores_told;
};

// Nobody can be moved onto a processor that tells of this many threads.
constexpr std::uint32_t off_line_mark = 0xffff;

// The machine that the fake platform below shows.
struct Machine {
  std::string description = {};
  bool has_description = true;
  std::vector<Processor> processors = {};  // by number
  std::uint64_t mask = 0;                  // the calling thread's affinity
  std::uint32_t highest_leaf = 4;
  bool affinity_fails = false;
  bool out_of_memory = false;
  std::size_t running_on = ~std::size_t{0};
};

Machine machine;

CpuidResult fake_cpuid(std::uint32_t leaf, std::uint32_t) {
  if (leaf == 0) return {machine.highest_leaf, 0, 0, 0};
  const Processor& self = machine.processors.at(machine.running_on);
  if (leaf == 1) return {0, self.apic_id << 24 | (self.threads_told & 0xff) << 16 | 0xbeef, 0, 0};
  if (leaf == 4) return {(self.cores_told - 1) << 26 | 0x121, 0, 0, 0};
  return {};
}

bool fake_get_affinity(unsigned char* mask, std::size_t bytes) {
  std::memset(mask, 0, bytes);
  std::memcpy(mask, &machine.mask, sizeof machine.mask);
  return !machine.affinity_fails;
}

bool fake_set_affinity(const unsigned char* mask, std::size_t) {
  std::uint64_t wanted;
  std::memcpy(&wanted, mask, sizeof wanted);
  machine.running_on = static_cast<std::size_t>(std::countr_zero(wanted));
  const bool known = machine.running_on < machine.processors.size();
  if (known && machine.processors[machine.running_on].threads_told == off_line_mark) return false;
  machine.mask = wanted;
  return true;
}

// Packages, cores and logical processors.
std::string counted(Machine m) {
  machine = std::move(m);
  const std::uint64_t mask_before = machine.mask;
  Platform fake = real_platform;
  fake.cpuid = fake_cpuid;
  fake.open_cpuinfo = [] {
    return machine.has_description ? vex::test::stream_of(machine.description) : nullptr;
  };
  fake.get_affinity = fake_get_affinity;
  fake.set_affinity = fake_set_affinity;
  fake.system_malloc = [](std::size_t bytes) { return machine.out_of_memory ? nullptr : std::malloc(bytes); };
  fake.processor_count = [] { return std::popcount(machine.mask); };
  const MachineCounts counts = count_machine(fake);
  EXPECT_EQ(machine.mask, mask_before) << "affinity not put back";
  return std::to_string(counts.packages) + " " + std::to_string(counts.physical_cores) + " " +
         std::to_string(counts.logical_processors);
}

std::string entries(int packages, int cores, int siblings, int processors) {
  std::string text;
  for (int i = 0; i < processors; ++i)
    text += "processor\t: " + std::to_string(i) + "\nflags\t\t: " + std::string(900, 'f') +
            "\nphysical id\t: " + std::to_string(i % packages * 3) +
            "\nsiblings\t: " + std::to_string(siblings) + "\ncpu cores\t: " + std::to_string(cores) + "\n\n";
  return text;
}

}  // namespace

// What a description that is not believed leads to: the fallback's 3 processors in 3 packages, so that it can
// be told from any other answer.
constexpr char fell_back[] = "3 3 3";
const std::vector<Processor> three = {{0, 1, 1}, {1, 1, 1}, {2, 1, 1}};

TEST(Topology, ADescriptionIsMiscountedOrBelievedAgainstReason) {
  std::string many_packages;
  for (int i = 0; i < 5000; ++i)
    many_packages += "processor : 0\nphysical id : " + std::to_string(i) + "\ncpu cores : 1\nsiblings : 1\n";
  const std::string differing = "processor: 1\nphysical id: 0\nsiblings: 9\ncpu cores: 9\n";
  const struct {
    const char* what;
    std::string text;
    const char* expected;  // packages, cores, logical processors
  } cases[] = {
      {"two packages with hyper-threading", entries(2, 28, 56, 112), "2 56 112"},
      {"cores of two kinds", entries(1, 24, 32, 32), "1 24 32"},
      {"later entries that differ", entries(1, 2, 2, 1) + differing, "1 2 2"},
      {"key in an over-long line", entries(1, 1, 1, 1) + std::string(512, 'x') + "processor : 7\n", "1 1 1"},
      {"no package lines", "processor : 0\nBogoMIPS : 50\n\nprocessor : 1\nBogoMIPS : 50\n", fell_back},
      {"some processors off line", entries(2, 4, 4, 7), fell_back},
      {"a core count of nothing", entries(1, 0, 2, 2), fell_back},
      {"more cores than an int holds", entries(2, 2147483647, 1, 2), fell_back},
      {"more packages than the table holds", many_packages, fell_back},
      {"empty", "", fell_back},
      {"garbage", "\0\xff:\n:::\nprocessor\nphysical id\ncpu cores :\nsiblings : x\n\0"s, fell_back}};
  for (const auto& c : cases)
    EXPECT_EQ(counted({.description = c.text, .processors = three, .mask = 0b111}), c.expected) << c.what;
}

TEST(Topology, IdentifiersAreSplitAtTheWrongBit) {
  const struct {
    const char* what;
    std::vector<Processor> processors;
    std::uint64_t mask;
    std::uint32_t highest_leaf;
    const char* expected;
  } cases[] = {
      {"two threads a core", {{0, 4, 2}, {1, 4, 2}, {2, 4, 2}, {3, 4, 2}}, 0b1111, 4, "1 2 4"},
      {"two packages of two cores", {{0, 2, 2}, {1, 2, 2}, {2, 2, 2}, {3, 2, 2}}, 0b1111, 4, "2 4 4"},
      {"six cores in eight identifiers", {{0, 6, 6}, {5, 6, 6}, {8, 6, 6}}, 0b111, 4, "2 3 3"},
      {"half the machine", {{0, 4, 2}, {1, 4, 2}, {2, 4, 2}, {3, 4, 2}}, 0b0011, 4, "1 1 2"},
      {"a processor that went off line", {{0, 1, 1}, {0, off_line_mark, 1}, {2, 1, 1}}, 0b111, 4, "2 2 3"},
      {"no leaf of cores", {{0, 2, 1}, {1, 2, 1}}, 0b11, 1, "1 1 2"},
      {"more cores than threads told", {{0, 1, 64}, {1, 1, 64}}, 0b11, 4, "2 2 2"},
      {"255 threads and 64 cores told", {{0, 255, 64}, {255, 255, 64}}, 0b11, 4, "1 2 2"},
      {"no processor at all", {}, 0, 4, "1 1 1"}};
  EXPECT_EQ(counted({.description = entries(2, 8, 8, 16), .affinity_fails = true}), "1 1 1");
  EXPECT_EQ(counted({.description = entries(2, 8, 8, 16), .mask = 0b111, .out_of_memory = true}), "1 1 1");
  for (const auto& c : cases)
    EXPECT_EQ(counted({"", false, c.processors, c.mask, c.highest_leaf}), c.expected) << c.what;
}
