// Two ways to count the machine: from the operating system's description, and, when that is missing or
// contradicts itself, from the processors' own identifiers.
#include "service/topology_count.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstdint>

namespace vex::service {
namespace {

constexpr std::size_t mask_bytes = 1024;
constexpr int max_processors = 8 * mask_bytes;

using AffinityMask = unsigned char[mask_bytes];

bool holds(const AffinityMask& mask, int processor) {
  return mask[processor / 8] >> (processor % 8) & 1;
}

bool move_to(const Platform& machine, int processor) {
  AffinityMask only{};
  only[processor / 8] = static_cast<unsigned char>(1u << (processor % 8));
  return machine.set_affinity(only, mask_bytes);
}

// Initial APIC identifiers have 8 bits, which bounds what this way can tell apart.
class IdentifierSet {
 public:
  void insert(std::uint32_t id) { seen_[id / 64 % 4] |= std::uint64_t{1} << (id % 64); }

  int size() const {
    int count = 0;
    for (const std::uint64_t word : seen_) count += std::popcount(word);
    return count;
  }

 private:
  std::uint64_t seen_[4] = {};
};

int bits_for(std::uint32_t count) {
  return std::bit_width(count - 1);
}

// An APIC identifier is, from its low end, the thread within the core, the core within the package, and the
// package; each field is as wide as the largest number of its kind needs.
struct ApicIdentity {
  std::uint32_t core;  // unique over all packages
  std::uint32_t package;
};

ApicIdentity identify_processor(const Platform& machine) {
  const CpuidResult basic = machine.cpuid(1, 0);
  const std::uint32_t apic_id = basic.ebx >> 24;
  const std::uint32_t threads = std::max(1u, basic.ebx >> 16 & 0xff);  // per package
  const bool has_leaf_4 = machine.cpuid(0, 0).eax >= 4;
  const std::uint32_t told_cores = has_leaf_4 ? (machine.cpuid(4, 0).eax >> 26) + 1 : 1;
  // A hypervisor may tell of more cores than processors; then every processor is a core.
  const std::uint32_t cores = std::min(told_cores, threads);
  const int thread_bits = bits_for((threads + cores - 1) / cores);
  return {apic_id >> thread_bits, apic_id >> (thread_bits + bits_for(cores))};
}

}  // namespace

bool counts_from_cpuinfo(const CpuinfoCounts& told, MachineCounts* counts) {
  const std::int64_t logical = told.processors, packages = told.packages;
  const std::int64_t cores = told.cores_per_package, siblings = told.siblings_per_package;
  if (logical < 1 || packages < 1 || cores < 1 || siblings < 1) return false;
  const bool single_threaded = cores * packages == logical && cores == siblings;
  const bool hyper_threaded = siblings * packages == logical && cores != siblings;
  if (!(single_threaded || hyper_threaded) || cores * packages > INT_MAX) return false;
  counts->packages = told.packages;
  counts->physical_cores = static_cast<int>(cores * packages);
  counts->logical_processors = told.processors;
  return true;
}

MachineCounts counts_from_cpuid(const Platform& machine, int processors) {
  MachineCounts counts;
  AffinityMask original;
  if (!machine.get_affinity(original, mask_bytes)) return counts;
  IdentifierSet cores, packages;
  int visited = 0;
  for (int processor = 0; processor < max_processors; ++processor) {
    if (!holds(original, processor) || !move_to(machine, processor)) continue;
    const ApicIdentity identity = identify_processor(machine);
    cores.insert(identity.core);
    packages.insert(identity.package);
    ++visited;
  }
  machine.set_affinity(original, mask_bytes);
  if (visited == 0) return counts;
  counts.physical_cores = cores.size();
  counts.packages = packages.size();
  counts.logical_processors = std::max(processors, visited);
  return counts;
}

MachineCounts count_machine(const Platform& machine) {
  MachineCounts counts;
  const int processors = machine.processor_count();
  AffinityMask mask;
  if (!machine.get_affinity(mask, mask_bytes) || !machine.set_affinity(mask, mask_bytes)) return counts;

  bool complete = false;
  if (std::FILE* text = machine.open_cpuinfo()) {
    using PackageIds = int[max_packages];
    auto* ids = static_cast<PackageIds*>(machine.system_malloc(sizeof(PackageIds)));
    if (ids) complete = counts_from_cpuinfo(read_cpuinfo_counts(text, *ids), &counts);
    machine.system_free(ids);
    std::fclose(text);
    if (!ids) return counts;
  }
  return complete ? counts : counts_from_cpuid(machine, processors);
}

}  // namespace vex::service
