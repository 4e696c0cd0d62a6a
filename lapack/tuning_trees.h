// The tuning constants of the parallel factorization: one tree per code path, thread count and parameter,
// each a piecewise-constant function of the matrix shape (m, n).
#pragma once

#include <iterator>
#include <limits>

#include "service/types.h"

namespace vex::lapack {

// Numbered as the factorization asks for them.
enum class Parameter : int {
  fts0 = 0,        // team size for panel tasks, early panels
  fts1 = 1,        // team size for panel tasks, late panels
  nb0 = 4,         // nominal panel width
  nb1 = 5,         // cap on the panel width
  nb_switch = 7,   // percentage of the columns after which panels take the working width
  ts_switch = 10,  // percentage of the panels after which the late team sizes apply
  uts0 = 11,       // team size for update tasks, early panels
  uts1 = 12        // team size for update tasks, late panels
};
inline constexpr int parameter_count = 8;

// The last limit of an axis that goes on for ever.
inline constexpr vex_int rest = std::numeric_limits<vex_int>::max();

// A piecewise-constant function of (m, n), drawn as a table: the first row holds the limits of the bands of
// n, the first column those of the bands of m (the corner is unused), the rest the values. A band reaches
// from above the limit before it up to and with its own limit; the last limit of either axis is `rest`.
class Tree {
 public:
  template <int rows, int columns>
  constexpr explicit Tree(const vex_int (&table)[rows][columns]) : cells_(table[0]), columns_(columns) {
    // Trees are compile-time constants, so a malformed table does not compile.
    bool sound = table[0][columns - 1] == rest && table[rows - 1][0] == rest;
    for (int i = 2; i < rows; ++i) sound = sound && table[i - 1][0] < table[i][0];
    for (int j = 2; j < columns; ++j) sound = sound && table[0][j - 1] < table[0][j];
    if (!sound) __builtin_trap();
  }

  constexpr vex_int operator()(vex_int m, vex_int n) const {
    const vex_int* row = cells_ + columns_;
    while (m > *row) row += columns_;
    int column = 1;
    while (n > cells_[column]) ++column;
    return row[column];
  }

 private:
  const vex_int* cells_;
  int columns_;
};

// The eight trees of one thread count. The entry that serves an unknown parameter is the first.
struct ParameterEntry {
  Parameter parameter;
  Tree tree;
};

struct ThreadCountEntry {
  vex_int threads;
  ParameterEntry parameters[parameter_count];
};

// The thread counts of one code path, in ascending order.
struct CodePathEntry {
  int code_path;
  const ThreadCountEntry* begin;
  const ThreadCountEntry* end;
};

// The value of `parameter` for an m x n matrix: from the trees of the nearest code path and the nearest
// thread count there; of two equally near ones the one listed first.
vex_int tuned_value(int code_path, vex_int threads, Parameter parameter, vex_int m, vex_int n);

// The tables themselves, one file per code path under tuning/.
extern const CodePathEntry getrf_avx, getrf_avx2, getrf_avx512, getrf_avx512_hcx;

}  // namespace vex::lapack

extern "C" {

// The tuned value for this machine's code path and thread count. precision 1 is double, routine 3 the LU
// factorization; other routines have no trees and answer 0. An unknown parameter number answers as the first.
vex_int vex_lapack_ilaenv_dt(vex_int precision, vex_int routine, vex_int parameter, vex_int m, vex_int n);
}
