// High-bandwidth memory of many-core processors, through a library that is loaded at run time. Where there is
// none, no block is ever obtained here.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vex::service {

inline constexpr std::uint64_t unlimited = ~std::uint64_t{0};

// The bytes that a text gives in decimal MiB: unlimited when it is negative, empty, too large or no number.
std::uint64_t parse_fast_memory_limit(const char* text);

// Looks for fast memory and sets its limit in bytes; once, before anything below. False when a library was
// found but is too old or lacks what is needed.
bool find_fast_memory(std::uint64_t limit);

// Replaces the limit by one in MiB. Only the first call does, and only when fast memory is usable; says
// whether.
bool limit_fast_memory(std::uint64_t mebibytes);

struct FastBlock {
  void* start = nullptr;  // null when the limit is reached or the library has no more
  std::size_t page_size = 0;
};

FastBlock obtain_fast_memory(std::size_t bytes);
void release_fast_memory(void* start, std::size_t bytes);

}  // namespace vex::service
