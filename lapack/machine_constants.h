// The machine constants of IEEE double precision by the letter that asks for them.
#pragma once

#include <array>
#include <cstddef>

namespace vex::lapack {

struct MachineConstant {
  char letter;
  double value;
};

inline constexpr MachineConstant machine_constants[] = {
    {'E', 0x1p-53},                  // relative machine precision (half a unit in the last place of 1)
    {'S', 0x1p-1022},                // safe minimum: the smallest number whose reciprocal does not overflow
    {'B', 2.0},                      // base
    {'P', 0x1p-52},                  // precision: E times the base
    {'N', 53.0},                     // base digits in the mantissa
    {'R', 1.0},                      // additions round
    {'M', -1021.0},                  // minimum exponent, for a mantissa in [1/2, 1)
    {'U', 0x1p-1022},                // underflow threshold
    {'L', 1024.0},                   // maximum exponent
    {'O', 0x1.fffffffffffffp+1023},  // overflow threshold
    {'A', 0x1p-340},                 // A, I, F, X: thresholds and factors for sums of squares that must not
    {'I', 0x1p+340},                 //   overflow or underflow on the way
    {'F', 0x1p-484},
    {'X', 0x1p+484},
    {'T', 98.70149282610821},
};

// The same, indexed by the letter minus 'A'; either case, 0 where no constant stands.
inline constexpr auto machine_constant_by_character = [] {
  std::array<double, 'x' - 'A' + 1> by_character{};
  for (const MachineConstant& constant : machine_constants) {
    by_character[static_cast<std::size_t>(constant.letter - 'A')] = constant.value;
    by_character[static_cast<std::size_t>(constant.letter - 'A' + 'a' - 'A')] = constant.value;
  }
  return by_character;
}();

constexpr double machine_constant(char letter) {
  const auto index = static_cast<std::size_t>(static_cast<unsigned char>(letter)) - 'A';  // wraps below 'A'
  return index < machine_constant_by_character.size() ? machine_constant_by_character[index] : 0.0;
}

}  // namespace vex::lapack
