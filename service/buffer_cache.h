// The caching allocator, through vex_serv_allocate, vex_serv_deallocate and the others that vex.h declares:
// up to five released blocks per thread are kept and handed out again. A block may be released by any thread,
// also after the one that asked for it has ended.
#pragma once

#include <cstddef>

#include "vex.h"

extern "C" {

// The standard entries' way to the same.
void* vex_serv_iface_allocate(std::size_t size, std::size_t alignment);
void vex_serv_iface_deallocate(void* block);

int vex_serv_get_fast_mm_status();  // 1 when nothing is kept, else 0
}
