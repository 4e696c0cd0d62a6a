// The tuning constants of the parallel factorization: one tree per code path, thread count and parameter,
// each a piecewise-constant function of the matrix shape (m, n).
#pragma once

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

// The eight values for one shape.
struct TunedValues {
  vex_int fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1;
};

// A tree: a piecewise-constant function of the shape.
using TreeFunction = vex_int(vex_int m, vex_int n);

// The eight trees of one thread count. The entry that serves an unknown parameter is the first.
struct ParameterEntry {
  Parameter parameter;
  TreeFunction* tree;
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
TunedValues tuned_values(int code_path, vex_int threads, vex_int m, vex_int n);

// The tables themselves, one file per code path under tuning/.
extern const CodePathEntry getrf_avx, getrf_avx2, getrf_avx512, getrf_avx512_hcx;

}  // namespace vex::lapack

extern "C" {

// The tuned value for this machine's code path and thread count. precision 1 is double, routine 3 the LU
// factorization; other routines have no trees and answer 0. An unknown parameter number answers as the first.
vex_int vex_lapack_ilaenv_dt(vex_int precision, vex_int routine, vex_int parameter, vex_int m, vex_int n);
}
