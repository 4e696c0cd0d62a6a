// The machine and the operating system as the library sees them: processor instructions, /proc, the system's
// allocator. The only room that touches them; everybody else asks through a table of functions, which a test
// may replace with recorded or invented machines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace vex::service {

struct CpuidResult {
  std::uint32_t eax, ebx, ecx, edx;
};

struct TimeOfDay {
  std::int64_t seconds;
  std::int64_t microseconds;  // 0 to 999999
};

struct Platform {
  CpuidResult (*cpuid)(std::uint32_t leaf, std::uint32_t subleaf);
  std::uint64_t (*xgetbv)(std::uint32_t index);  // only called when CPUID says that OSXSAVE is on
  std::uint64_t (*rdtsc)();
  std::FILE* (*open_cpuinfo)();  // the processor description, opened for reading, or null
  int (*processor_count)();      // as the OpenMP runtime counts them
  // Affinity of the calling thread as a bit mask of `bytes` bytes; both return false when the kernel refuses.
  bool (*get_affinity)(unsigned char* mask, std::size_t bytes);
  bool (*set_affinity)(const unsigned char* mask, std::size_t bytes);
  // The system allocator beneath the memory rooms.
  void* (*system_malloc)(std::size_t bytes);
  void (*system_free)(void* block);
  std::int64_t (*calendar_seconds)();  // whole seconds since the epoch
  TimeOfDay (*time_of_day)();
  // How the process was put together: whether malloc, calloc, realloc and free are the C library's own rather
  // than a program's replacements, and whether the C library is a shared object.
  bool (*allocator_is_libcs)();
  bool (*libc_is_shared)();
  // Loading at run time. load_library gives null when there is no such library, or no loader as in a static
  // program.
  void* (*load_library)(const char* path);
  void* (*library_symbol)(void* library, const char* name);
  void (*unload_library)(void* library);
  // The directory that holds the code of this library, and that of the program; false when it is not known or
  // does not fit.
  bool (*library_directory)(char* buffer, std::size_t capacity);
  bool (*program_directory)(char* buffer, std::size_t capacity);
  // Whole pages: obtained readable and writable (null when memory is out); made readable and executable
  // instead; given back.
  void* (*map_pages)(std::size_t bytes);
  bool (*make_pages_executable)(void* pages, std::size_t bytes);
  void (*unmap_pages)(void* pages, std::size_t bytes);
  // Asks the kernel to back a range with huge pages; a hint that it may ignore.
  void (*advise_huge_pages)(void* start, std::size_t bytes);
};

// The table in force: the real machine's unless a test has installed another one.
const Platform& platform();

// The real machine's table, to copy and change for a test.
extern const Platform real_platform;

// Installs a table (null restores the real one). For tests: call before the rooms above have read anything.
void set_platform(const Platform* table);

}  // namespace vex::service
