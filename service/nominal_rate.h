// The clock rate that the processor or the operating system tells.
#pragma once

#include <string_view>

#include "service/platform.h"

namespace vex::service {

inline constexpr int brand_tail_length = 16;

// The rate in MHz that the last 16 characters of a brand string end in, 0 when they tell none. Two spellings
// are understood: four digits, which are MHz whatever the unit says, and a digit, a point and two digits.
int brand_string_mhz(std::string_view tail);

// In GHz, from the brand string or else from the processor description; 0 when neither tells it.
double nominal_rate(const Platform& machine);

}  // namespace vex::service
