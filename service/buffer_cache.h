// The caching allocator: up to five released blocks per thread are kept and handed out again.
#pragma once

#include <cstddef>

#include "vex.h"

extern "C" {

// A block for vex_serv_deallocate; null for a size of 0 and when memory is out. Alignments as for
// vex_serv_malloc.
void* vex_serv_allocate(std::size_t size, std::size_t alignment);
// From any thread, also after the one that asked for the block has ended. Null is ignored.
void vex_serv_deallocate(void* block);
void* vex_serv_iface_allocate(std::size_t size, std::size_t alignment);
void vex_serv_iface_deallocate(void* block);

// Give back to the system what is kept and not in use: for all threads, after calling the registered device
// destructors; and for the calling thread.
void vex_serv_free_buffers();
void vex_serv_thread_free_buffers();

// Keeps nothing from now on. 1 when done; 0 when memory was used before, which fixes the setting.
int vex_serv_disable_fast_mm();
int vex_serv_get_fast_mm_status();  // 1 when nothing is kept, else 0
}
