// The real machine's function table, and the one in force. Nothing outside this file executes CPUID, XGETBV
// or RDTSC, or knows a path under /proc.
#include "service/platform.h"

#include <cpuid.h>
#include <dlfcn.h>
#include <limits.h>
#include <link.h>
#include <omp.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <unistd.h>
#include <x86intrin.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <ctime>

// Weak, so that a static program neither pulls in a loader that cannot work there nor fails to link: they are
// null in it. The C library's own allocator has these second names; a replacement of the first ones leaves
// them alone.
extern "C" {
__attribute__((weak)) void* __libc_malloc(std::size_t);
__attribute__((weak)) void* __libc_calloc(std::size_t, std::size_t);
__attribute__((weak)) void* __libc_realloc(void*, std::size_t);
__attribute__((weak)) void __libc_free(void*);
}
#pragma weak dlopen
#pragma weak dlsym
#pragma weak dlclose
#pragma weak dladdr

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

bool real_allocator_is_libcs() {
  return __libc_malloc == malloc && __libc_calloc == calloc && __libc_realloc == realloc &&
         __libc_free == free;
}

// The part of a path up to its last slash; false when it has none or does not fit.
bool directory_of(const char* path, char* buffer, std::size_t capacity) {
  const char* slash = std::strrchr(path, '/');
  if (!slash || static_cast<std::size_t>(slash - path) >= capacity) return false;
  std::memcpy(buffer, path, static_cast<std::size_t>(slash - path));
  buffer[slash - path] = 0;
  return true;
}

// The program itself comes first in the loader's list; it names an interpreter when it needs one to be put
// together with its shared objects, the C library among them.
bool real_libc_is_shared() {
  const auto has_interpreter = [](dl_phdr_info* program, std::size_t, void*) -> int {
    for (int i = 0; i < program->dlpi_phnum; ++i) {
      if (program->dlpi_phdr[i].p_type == PT_INTERP) return 1;
    }
    return -1;
  };
  return dl_iterate_phdr(has_interpreter, nullptr) == 1;
}

void* real_load_library(const char* path) {
  return dlopen ? dlopen(path, RTLD_NOW | RTLD_LOCAL) : nullptr;
}

void* real_library_symbol(void* library, const char* name) {
  return dlsym ? dlsym(library, name) : nullptr;
}

void real_unload_library(void* library) {
  if (dlclose) dlclose(library);
}

bool real_program_directory(char* buffer, std::size_t capacity) {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
  if (length < 1) return false;
  path[length] = 0;
  return directory_of(path, buffer, capacity);
}

// A library that is linked into the program is known by the name that the program was started with, which
// says nothing once the working directory has changed.
bool real_library_directory(char* buffer, std::size_t capacity) {
  Dl_info info;
  if (!dladdr || !dladdr(&real_platform, &info) || !info.dli_fname) return false;
  if (info.dli_fname[0] != '/') return real_program_directory(buffer, capacity);
  return directory_of(info.dli_fname, buffer, capacity);
}

void* real_map_pages(std::size_t bytes) {
  void* pages = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return pages == MAP_FAILED ? nullptr : pages;
}

bool real_make_pages_executable(void* pages, std::size_t bytes) {
  return mprotect(pages, bytes, PROT_READ | PROT_EXEC) == 0;
}

void real_unmap_pages(void* pages, std::size_t bytes) {
  munmap(pages, bytes);
}

void real_advise_huge_pages(void* start, std::size_t bytes) {
  madvise(start, bytes, MADV_HUGEPAGE);
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
    .allocator_is_libcs = real_allocator_is_libcs,
    .libc_is_shared = real_libc_is_shared,
    .load_library = real_load_library,
    .library_symbol = real_library_symbol,
    .unload_library = real_unload_library,
    .library_directory = real_library_directory,
    .program_directory = real_program_directory,
    .map_pages = real_map_pages,
    .make_pages_executable = real_make_pages_executable,
    .unmap_pages = real_unmap_pages,
    .advise_huge_pages = real_advise_huge_pages,
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
