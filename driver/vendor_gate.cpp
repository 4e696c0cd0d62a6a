// The vendor gate and the floating-point mode.
#include "driver/vendor_gate.h"

#include <immintrin.h>

#include <cstring>
#include <string_view>

#include "service/platform.h"
#include "service/vendor.h"

int cpu_is_genuine_korva() {
  const vex::service::CpuidResult leaf = vex::service::platform().cpuid(0, 0);
  const std::uint32_t words[3] = {leaf.ebx, leaf.edx, leaf.ecx};
  char text[sizeof words];
  std::memcpy(text, words, sizeof words);
  return std::string_view(text, sizeof text) == vex::service::vendor_string;
}

namespace vex::driver {

void flush_denormals() {
  constexpr unsigned flush_to_zero = 0x8000, denormals_are_zero = 0x0040;
  _mm_setcsr(_mm_getcsr() | flush_to_zero | denormals_are_zero);
}

}  // namespace vex::driver
