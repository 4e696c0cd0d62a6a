// What the small-system routines share: masks over the rows of a 16-row matrix and loops unrolled by the
// compiler. The routines work on a path's `Lanes`, a type of static functions over its vectors:
//   Vector, width                           the vector type and how many doubles it holds
//   load, store, broadcast, multiply, divide
//   subtract_product(c, a, b)               c - a * b, fused where the path fuses; also of single numbers
//   read(p, count), write(p, v, count)      the first `count` lanes, perhaps none; read fills up with NaN
//   Mask, mask(p)                           a choice of lanes from a table of all ones and zeros; from the
//                                           bits of a number, mask(bits), where a path has `bit_masks`
//   select(mask, a, b)                      lanes of a where the mask is set, of b elsewhere
//   magnitudes(x, excluded)                 |x|, and -1 where x is NaN or the excluded mask is set
//   larger(a, b), largest(v)                by lane; over all lanes, the answer in every lane
//   equal(a, b), equal_lanes(a, b)          as a mask; bit i set when lane i agrees
//   lane<i>(v), with_lane<i>(v, x)          lane i in every lane; v but for lane i, which is that of x
#pragma once

#include <cstdint>

namespace vex::lapack::small {

// The reciprocal of no larger magnitude overflows.
inline constexpr double safe_minimum = 0x1p-1022;

// Everything here is instantiated with a type that belongs to one path, so that no path's code can stand in
// for another's.
template <typename Lanes>
struct RowMasks {
  static constexpr std::int64_t on = -1;
  static constexpr std::int64_t ranges[48] = {on, on, on, on, on, on, on, on, on, on, on, on, on, on, on, on,
                                              0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,
                                              on, on, on, on, on, on, on, on, on, on, on, on, on, on, on, on};
  static constexpr std::int64_t single[32] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, on};

  // Masks for the vector that starts at row `first`: over rows below `count`, from `row` on, and `row` alone.
  static auto before(int count, int first) {
    if constexpr (requires { Lanes::bit_masks; })
      return Lanes::mask(((1u << count) - 1) >> first);
    else
      return Lanes::mask(ranges + 16 - count + first);
  }
  static auto from(int row, int first) {
    if constexpr (requires { Lanes::bit_masks; })
      return Lanes::mask(~0u << row >> first);
    else
      return Lanes::mask(ranges + 32 - row + first);
  }
  static auto only(int row, int first) {
    if constexpr (requires { Lanes::bit_masks; })
      return Lanes::mask(1u << row >> first);
    else
      return Lanes::mask(single + 15 - row + first);
  }
};

template <int number>
struct Constant {
  constexpr operator int() const { return number; }
};

// body(Constant<from>), ..., body(Constant<to - 1>).
template <int from, int to, typename Body>
[[gnu::always_inline]] inline void unrolled(Body&& body) {
  if constexpr (from < to) {
    body(Constant<from>{});
    unrolled<from + 1, to>(body);
  }
}

// The same downwards: body(Constant<from - 1>), ..., body(Constant<0>).
template <int from, typename Body>
[[gnu::always_inline]] inline void unrolled_down(Body&& body) {
  if constexpr (from > 0) {
    body(Constant<from - 1>{});
    unrolled_down<from - 1>(body);
  }
}

}  // namespace vex::lapack::small
