// The processor's clock rate, told and measured: vex.h declares the two questions, this file what they rest
// on.
#pragma once

#include <cstdint>

#include "vex.h"

namespace vex::service {

inline constexpr std::int64_t chain_length = 1000;

// Counts `count`, a positive multiple of chain_length, down to zero in steps that each wait for the one
// before and take one clock cycle. Returns what is left, so that nobody can leave the counting out.
std::int64_t count_down(std::int64_t count);

}  // namespace vex::service
