// Where every block of the library comes from: high-bandwidth memory where there is some, otherwise the
// process's allocator. Also the settings of the memory rooms, which are read here at the first use of any of
// them.
#pragma once

#include <atomic>
#include <cstddef>

namespace vex::service {

struct MemorySettings {
  std::atomic<bool> fixed{false};
  // Written before `fixed` and never after it.
  bool cache_disabled = false;
  bool internal_allocator = false;
};
extern constinit MemorySettings memory_settings;

// Reads the settings and chooses the allocator, once.
void fix_memory_settings();

// Every entry of the memory rooms begins with it. Acquire pairs with the release in fix_memory_settings.
inline void mm_init() {
  if (!memory_settings.fixed.load(std::memory_order_acquire)) fix_memory_settings();
}

inline bool buffer_cache_disabled() {
  return memory_settings.cache_disabled;
}

// False when the settings are fixed already.
bool disable_buffer_cache();

// Null when memory is out. Blocks are aligned as malloc's.
void* system_obtain(std::size_t bytes);
void system_release(void* block);

// The allocator used unless the program brought its own: a 32-byte header in front of each block tells fast
// memory from the ordinary heap.
void* mm_internal_malloc(std::size_t bytes);
void mm_internal_free(void* block);

}  // namespace vex::service
