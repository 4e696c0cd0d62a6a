// How the bounded functions report what their callers got wrong.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>

namespace vex::service {

// Reports to the constraint handler; returns the code, so that a caller can report and return in one.
int violate(const char* function, const char* reason, int code);

// Above this a capacity is a negative number in disguise.
inline constexpr std::size_t largest_capacity = SIZE_MAX / 2;

// 0, or the code of what is wrong with a destination.
inline int check_destination(const char* function, const void* destination, std::size_t capacity) {
  if (!destination) return violate(function, "the destination is null", EINVAL);
  if (capacity == 0) return violate(function, "the destination has no room", EINVAL);
  if (capacity > largest_capacity) return violate(function, "the capacity is too large", EINVAL);
  return 0;
}

}  // namespace vex::service
