// Plain aligned blocks.
#pragma once

#include <cstddef>

extern "C" {

// An alignment below 64, or no power of two, becomes 64. Null when memory is out.
void* vex_serv_malloc(std::size_t size, std::size_t alignment);
void* vex_serv_calloc(std::size_t count, std::size_t size, std::size_t alignment);
void* vex_serv_realloc(void* block, std::size_t size);
void vex_serv_free(void* block);

}
