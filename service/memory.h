// Plain aligned blocks.
#pragma once

#include <bit>
#include <cstddef>

#include "vex.h"

extern "C" {

// An alignment below 64, or no power of two, becomes 64. Null when memory is out or the sizes overflow.
void* vex_serv_malloc(std::size_t size, std::size_t alignment);
// count * size bytes, all zero.
void* vex_serv_calloc(std::size_t count, std::size_t size, std::size_t alignment);
// A new block of the old one's alignment with the contents up to the smaller size; the old one is freed, or
// left alone when null comes back.
void* vex_serv_realloc(void* block, std::size_t size);
void vex_serv_free(void* block);  // null is ignored
}

namespace vex::service {

// A larger one does not fit the header below a block.
inline constexpr std::size_t largest_alignment = std::size_t{1} << 31;

// The alignment that a request for `alignment` is served with.
inline std::size_t effective_alignment(std::size_t alignment) {
  return alignment < 64 || !std::has_single_bit(alignment) ? 64 : alignment;
}

}  // namespace vex::service
