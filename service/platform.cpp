// The real machine's function table, and the one in force. Nothing outside this file executes CPUID, XGETBV
// or RDTSC, or knows a path under /proc.
#include "service/platform.h"

#include <cpuid.h>
#include <omp.h>
#include <sched.h>
#include <sys/time.h>
#include <x86intrin.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace vex::service {
namespace {

CpuidResult real_cpuid(std::uint32_t leaf, std::uint32_t subleaf) {
  CpuidResult r;
  __cpuid_count(leaf, subleaf, r.eax, r.ebx, r.ecx, r.edx);
  return r;
}

// Spelled in assembly because the intrinsic asks for an instruction flag that library code is not built with.
std::uint64_t real_xgetbv(std::uint32_t index) {
  std::uint32_t low, high;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(index));
  return (std::uint64_t{high} << 32) | low;
}

std::uint64_t real_rdtsc() {
  return __rdtsc();
}

std::FILE* real_open_cpuinfo() {
  return std::fopen("/proc/cpuinfo", "r");
}

int real_processor_count() {
  return omp_get_num_procs();
}

bool real_get_affinity(unsigned char* mask, std::size_t bytes) {
  std::memset(mask, 0, bytes);
  return sched_getaffinity(0, bytes, reinterpret_cast<cpu_set_t*>(mask)) == 0;
}

bool real_set_affinity(const unsigned char* mask, std::size_t bytes) {
  return sched_setaffinity(0, bytes, reinterpret_cast<const cpu_set_t*>(mask)) == 0;
}

std::int64_t real_calendar_seconds() {
  return std::time(nullptr);
}

TimeOfDay real_time_of_day() {
  timeval now{};
  gettimeofday(&now, nullptr);
  return {now.tv_sec, now.tv_usec};
}

constinit std::atomic<const Platform*> installed{nullptr};

}  // namespace

constinit const Platform real_platform = {
    .cpuid = real_cpuid,
    .xgetbv = real_xgetbv,
    .rdtsc = real_rdtsc,
    .open_cpuinfo = real_open_cpuinfo,
    .processor_count = real_processor_count,
    .get_affinity = real_get_affinity,
    .set_affinity = real_set_affinity,
    .system_malloc = std::malloc,
    .system_free = std::free,
    .calendar_seconds = real_calendar_seconds,
    .time_of_day = real_time_of_day,
};

// Pairs with the store in set_platform: whoever sees the table's address sees its entries.
const Platform& platform() {
  const Platform* table = installed.load(std::memory_order_acquire);
  return table ? *table : real_platform;
}

void set_platform(const Platform* table) {
  installed.store(table, std::memory_order_release);
}

}  // namespace vex::service
