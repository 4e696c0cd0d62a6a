// Corrections of parameters that are out of range, each reported by a warning of three lines.
#pragma once

#include <cstdint>

namespace vex::driver {

// Returns `value` when it is not below (not above) `bound`; otherwise warns under the parameter's name and
// returns `replacement`.
std::int32_t at_least(std::int32_t bound, const char* name, std::int32_t value, std::int32_t replacement);
std::int32_t at_most(std::int32_t bound, const char* name, std::int32_t value, std::int32_t replacement);

}  // namespace vex::driver
