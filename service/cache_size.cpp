// The cache table of this process and its two ways of being filled.
#include "service/cache_size.h"

#include <atomic>

#include "service/cpu_dispatch.h"
#include "service/cpu_features.h"
#include "service/reproducibility.h"
#include "service/spin_lock.h"

namespace vex::service {
namespace {

constexpr std::uint32_t max_levels = 4;

constinit std::atomic<std::uint64_t> vex_cache_sizes[max_levels + 1] = {};
constinit std::atomic<bool> filled{false};
constinit std::int32_t measuring_lock = 0;

void publish(const CacheSizes& sizes) {
  for (std::size_t i = 0; i < sizes.size(); ++i)
    vex_cache_sizes[i].store(sizes[i], std::memory_order_relaxed);
  filled.store(true, std::memory_order_release);  // pairs with the acquire of cache_sizes()
}

void update_cache_sizes() {
  const int branch = vex_serv_cbwr_get(1);
  if (branch != cbwr_off) {
    // No lock: whoever comes here stores the same values.
    publish(fixed_cache_sizes(branch, branch == cbwr_auto ? vex_serv_cpu_detect() : 0));
    return;
  }
  SpinGuard guard(measuring_lock);
  if (!filled.load(std::memory_order_relaxed)) publish(measure_cache_sizes(platform()));
}

CacheSizes cache_sizes() {
  if (!filled.load(std::memory_order_acquire)) update_cache_sizes();
  CacheSizes sizes;
  for (std::size_t i = 0; i < sizes.size(); ++i)
    sizes[i] = vex_cache_sizes[i].load(std::memory_order_relaxed);
  return sizes;
}

}  // namespace

CacheSizes fixed_cache_sizes(int branch, int dispatched_type) {
  const bool third_level = branch == cbwr_auto ? dispatched_type >= 3 : branch >= cbwr_sse42;
  if (third_level) return {3, 32768, 0x40000, 0x400000, 0};
  return {2, 32768, 0x40000, 0, 0};
}

CacheSizes measure_cache_sizes(const Platform& machine) {
  constexpr std::uint32_t end_of_list = 0, instruction_cache = 2;
  // A processor lists a handful of caches; an emulated one that never ends its list is cut here.
  constexpr std::uint32_t max_subleaves = 64;
  CacheSizes sizes{};
  for (std::uint32_t subleaf = 0; subleaf < max_subleaves && sizes[0] < max_levels; ++subleaf) {
    const CpuidResult cache = cpuid_or_zero(machine, 4, subleaf);
    const std::uint32_t type = cache.eax & 0x1F;
    if (type == end_of_list) break;
    if (type == instruction_cache) continue;
    // The line size is taken from bits 0 to 10 and the partitions from 11 to 21, one bit off the documented
    // boundary.
    const std::uint32_t line = (cache.ebx & 0x7FF) + 1;
    const std::uint32_t partitions = (cache.ebx >> 11 & 0x7FF) + 1;
    const std::uint32_t ways = (cache.ebx >> 22) + 1;
    const std::uint64_t sets = std::uint64_t{cache.ecx} + 1;
    const std::uint32_t one_set = line * ways * partitions;  // in 32 bits
    sizes[++sizes[0]] = one_set * sets;
  }
  return sizes;
}

}  // namespace vex::service

extern "C" {

void vex_serv_cache_info(std::uint64_t* sizes) {
  const vex::service::CacheSizes table = vex::service::cache_sizes();
  for (std::size_t i = 0; i < table.size(); ++i) sizes[i] = table[i];
}

std::int64_t vex_serv_get_cache_size(int level) {
  const vex::service::CacheSizes table = vex::service::cache_sizes();
  const int count = static_cast<int>(table[0]);
  if (level < 0 || level > count) return -1;
  return static_cast<std::int64_t>(table[static_cast<std::size_t>(level == 0 ? count : level)]);
}
}
