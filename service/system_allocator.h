// Where every block of the library comes from: high-bandwidth memory where there is some, otherwise the
// process's allocator. Also the settings of the memory rooms, which are read here at the first use of any of
// them.
#pragma once

#include <cstddef>

extern "C" {

// Limits the fast memory in use. type: 1, the only one there is; limit: in MiB. 1 when the limit was taken; 0
// for any other type, without usable fast memory, and on every call after the first that succeeded.
int vex_serv_set_memory_limit(int type, std::size_t limit);
}

namespace vex::service {

// Reads the settings and chooses the allocator, once. Every entry of the memory rooms begins with it.
void mm_init();

bool buffer_cache_disabled();
// False when the settings are fixed already.
bool disable_buffer_cache();

// Null when memory is out. Blocks are aligned as malloc's.
void* system_obtain(std::size_t bytes);
void system_release(void* block);

// The allocator used unless the program brought its own: a 32-byte header in front of each block tells fast
// memory from the ordinary heap.
void* mm_internal_malloc(std::size_t bytes);
void mm_internal_free(void* block);

// Asks the kernel to back the 2 MiB pages that lie wholly inside a block with huge pages. Nothing for smaller
// blocks.
void advise_huge_pages(void* start, std::size_t bytes);

}  // namespace vex::service
