// Pointers moved to multiples of a power of two.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vex::service {

inline char* align_up(void* start, std::size_t alignment) {
  return static_cast<char*>(start) + (-reinterpret_cast<std::uintptr_t>(start) & (alignment - 1));
}

inline char* align_down(void* start, std::size_t alignment) {
  return static_cast<char*>(start) - (reinterpret_cast<std::uintptr_t>(start) & (alignment - 1));
}

}  // namespace vex::service
