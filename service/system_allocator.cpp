// The one allocation path beneath the memory rooms, and the settings that are fixed at its first use.
#include "service/system_allocator.h"

#include <atomic>
#include <cstdint>

#include "service/environment.h"
#include "service/fast_memory.h"
#include "service/huge_pages.h"
#include "service/messages.h"
#include "service/platform.h"
#include "service/spin_lock.h"
#include "service/verbose.h"
#include "vex.h"

namespace vex::service {

constinit MemorySettings memory_settings;

namespace {

constinit std::int32_t init_lock = 0;

struct SystemHeader {
  void* start;  // of the header itself, as obtained
  std::uint64_t is_fast;
  std::size_t size;       // header included
  std::size_t page_size;  // that the block is aligned to; 0 on the ordinary heap
};
static_assert(sizeof(SystemHeader) == 32);

void* heap_obtain(std::size_t bytes) {
  void* block = platform().system_malloc(bytes);
  if (block) advise_huge_pages(block, bytes);
  return block;
}

// False when the high-bandwidth memory library that was found cannot be used.
bool read_settings() {
  char value[64];
  // Any value counts, also one that does not fit.
  if (vex_serv_getenv("VEX_DISABLE_FAST_MM", value, sizeof value) != 0) memory_settings.cache_disabled = true;
  vex_serv_getenv("VEX_FAST_MEMORY_LIMIT", value, sizeof value);
  memory_settings.internal_allocator = platform().allocator_is_libcs();
  return find_fast_memory(parse_fast_memory_limit(value));
}

}  // namespace

void fix_memory_settings() {
  bool library_rejected = false;
  {
    SpinGuard guard(init_lock);
    if (memory_settings.fixed.load(std::memory_order_relaxed)) return;
    library_rejected = !read_settings();
    memory_settings.fixed.store(true, std::memory_order_release);  // pairs with the acquire in mm_init
  }
  // Said with the lock released: finding out whether to say it may need memory.
  if (library_rejected && *vex_serv_verbose_mode() > 0) {
    vex_serv_format_print(0, "%s\n", 1, "Minimal supported version of the memkind library is 1.1.0");
  }
}

bool disable_buffer_cache() {
  SpinGuard guard(init_lock);
  if (memory_settings.fixed.load(std::memory_order_relaxed)) return false;
  memory_settings.cache_disabled = true;
  return true;
}

void* system_obtain(std::size_t bytes) {
  return memory_settings.internal_allocator ? mm_internal_malloc(bytes) : heap_obtain(bytes);
}

void system_release(void* block) {
  memory_settings.internal_allocator ? mm_internal_free(block) : platform().system_free(block);
}

void* mm_internal_malloc(std::size_t bytes) {
  const std::size_t total = bytes + sizeof(SystemHeader);
  if (total < bytes) return nullptr;
  const FastBlock fast = obtain_fast_memory(total);
  void* start = fast.start ? fast.start : heap_obtain(total);
  if (!start) return nullptr;
  auto* header = static_cast<SystemHeader*>(start);
  *header = {start, fast.start != nullptr, total, fast.page_size};
  return header + 1;
}

void mm_internal_free(void* block) {
  const SystemHeader header = static_cast<SystemHeader*>(block)[-1];
  header.is_fast ? release_fast_memory(header.start, header.size) : platform().system_free(header.start);
}

}  // namespace vex::service

using namespace vex::service;

extern "C" {

int vex_serv_set_memory_limit(int type, std::size_t limit) {
  mm_init();
  return type == 1 && limit_fast_memory(limit);
}
}
