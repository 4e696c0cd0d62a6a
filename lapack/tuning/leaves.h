// What the table files share: from the table of a thread count to its eight trees, each a function (m, n)
// under the name that the catalogue gives it. Those names are what a profile or a debugger shows, and no
// template makes names; hence macros, in these files only.
#pragma once

#include <cstddef>
#include <limits>

#include "lapack/tuning_trees.h"

namespace vex::lapack {

// The last limit of a table.
inline constexpr vex_int rest = std::numeric_limits<vex_int>::max();

// One row of a table: the values for orders from above the limit of the row before up to and with its own.
// The order of an m x n matrix is its lesser dimension: that many columns are factored, however long the
// updates are.
struct OrderBand {
  vex_int limit;
  vex_int fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1;
};

template <std::size_t count>
constexpr const OrderBand& band_of(const OrderBand (&table)[count], vex_int m, vex_int n) {
  const OrderBand* band = table;
  while (m > band->limit && n > band->limit) ++band;
  return *band;
}

// A table that would be read past its end, or has a row that is never reached, does not compile.
template <std::size_t count>
constexpr bool is_sound(const OrderBand (&table)[count]) {
  for (std::size_t i = 1; i < count; ++i) {
    if (table[i].limit <= table[i - 1].limit) return false;
  }
  return table[count - 1].limit == rest;
}

}  // namespace vex::lapack

// The tree of one parameter, from the table getrf_<path>_<threads>.
#define VEX_GETRF_LEAF(path, threads, parameter)                                  \
  vex_int idt_fn_getrf_##path##_##threads##_d_##parameter(vex_int m, vex_int n) { \
    return band_of(getrf_##path##_##threads, m, n).parameter;                     \
  }

#define VEX_GETRF_LEAVES_BUT_WIDTHS(path, threads)   \
  static_assert(is_sound(getrf_##path##_##threads)); \
  VEX_GETRF_LEAF(path, threads, fts0)                \
  VEX_GETRF_LEAF(path, threads, fts1)                \
  VEX_GETRF_LEAF(path, threads, nb_switch)           \
  VEX_GETRF_LEAF(path, threads, ts_switch)           \
  VEX_GETRF_LEAF(path, threads, uts0)                \
  VEX_GETRF_LEAF(path, threads, uts1)

#define VEX_GETRF_LEAVES(path, threads)      \
  VEX_GETRF_LEAVES_BUT_WIDTHS(path, threads) \
  VEX_GETRF_LEAF(path, threads, nb0)         \
  VEX_GETRF_LEAF(path, threads, nb1)

#define VEX_GETRF_PARAMETER(path, threads, parameter) \
  { Parameter::parameter, idt_fn_getrf_##path##_##threads##_d_##parameter }

// The thread count's entry of the catalogue.
#define VEX_GETRF_ENTRY(path, threads)                                                                  \
  {                                                                                                     \
    threads, {                                                                                          \
      VEX_GETRF_PARAMETER(path, threads, fts0), VEX_GETRF_PARAMETER(path, threads, fts1),               \
          VEX_GETRF_PARAMETER(path, threads, nb0), VEX_GETRF_PARAMETER(path, threads, nb1),             \
          VEX_GETRF_PARAMETER(path, threads, nb_switch), VEX_GETRF_PARAMETER(path, threads, ts_switch), \
          VEX_GETRF_PARAMETER(path, threads, uts0), VEX_GETRF_PARAMETER(path, threads, uts1)            \
    }                                                                                                   \
  }
