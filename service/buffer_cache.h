// The caching allocator: up to five released blocks per thread are kept and handed out again.
#pragma once

#include <cstddef>

extern "C" {

void* vex_serv_allocate(std::size_t size, std::size_t alignment);
void vex_serv_deallocate(void* block);
void* vex_serv_iface_allocate(std::size_t size, std::size_t alignment);
void vex_serv_iface_deallocate(void* block);
void vex_serv_free_buffers();
void vex_serv_thread_free_buffers();
int vex_serv_get_fast_mm_status();  // 1 when nothing is kept, else 0

}
