// The processor's clock rate in GHz.
#pragma once

#include <cstdint>

#include "vex.h"

extern "C" {

double vex_serv_get_max_cpu_frequency();  // nominal; measured when nobody tells it
double vex_serv_get_cpu_frequency();      // measured, by timing a million clock cycles
}

namespace vex::service {

inline constexpr std::int64_t chain_length = 1000;

// Counts `count`, a positive multiple of chain_length, down to zero in steps that each wait for the one
// before and take one clock cycle. Returns what is left, so that nobody can leave the counting out.
std::int64_t count_down(std::int64_t count);

}  // namespace vex::service
