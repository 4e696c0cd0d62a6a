// The vendor of the processors that this build serves: one compile-time constant, set by the build system.
#pragma once

#include <string_view>

#ifndef VEX_VENDOR_STRING
#define VEX_VENDOR_STRING "GenuineKorva"
#endif

namespace vex::service {

// As CPUID leaf 0 spells it in EBX, EDX, ECX. Nothing at run time reads, changes or bypasses it.
inline constexpr std::string_view vendor_string = VEX_VENDOR_STRING;
static_assert(vendor_string.size() == 12);

}  // namespace vex::service
