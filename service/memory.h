// Plain aligned blocks: vex_serv_malloc and its family, which vex.h declares. A block that vex_serv_realloc
// cannot serve is left alone.
#pragma once

#include <bit>
#include <cstddef>

#include "vex.h"

namespace vex::service {

// A larger one does not fit the header below a block.
inline constexpr std::size_t largest_alignment = std::size_t{1} << 31;

// The alignment that a request for `alignment` is served with.
inline std::size_t effective_alignment(std::size_t alignment) {
  return alignment < 64 || !std::has_single_bit(alignment) ? 64 : alignment;
}

}  // namespace vex::service
