// How many threads a multiply deserves, and how C is cut among them. Only C is ever cut, never the inner
// dimension, so the result has the same bits for every thread count.
#pragma once

#include "service/types.h"

namespace vex::blas {

// See gemm_drivers.h.
enum class Driver : int {
  row_1d,
  column_1d,
  grid_private,
  grid_b_at_source,
  columns_a_shared,
  rows_b_shared,
  grid_both_shared
};

struct ThreadState {
  int path;     // code-path number
  int maximum;  // threads allowed
  int chosen;
  int parts[3] = {1, 1, 1};  // grid: along d1, d2, d3
  Driver driver = Driver::grid_private;
};

// Whether a call has no threads to decide about. Inside an active region they are the caller's. In the
// reproducible setting with STRICT the engine runs as it would without threads; a branch alone does not ask
// for that, since all drivers give the same bits.
bool must_stay_on_this_thread();

// Stores the thread count of an m x n multiply of depth k in state.chosen.
void thread_checker(vex_int m, vex_int n, vex_int k, ThreadState* state);

// Cut state.chosen threads into a grid of three factors. d3 is a dimension that may be cut as well; the
// multiply passes 1.
void calc_nthr_3d_avx2(vex_int d1, vex_int d2, vex_int d3, ThreadState* state);
void calc_nthr_3d_avx512(vex_int d1, vex_int d2, vex_int d3, ThreadState* state);

// Chooses state.driver and state.parts for the sizes of a call on the path of the state.
void set_thread_opts(vex_int m, vex_int n, vex_int k, ThreadState* state);

enum class ShareMode : int { ceiling = 0, even = 1, granular = 2 };

struct RangeRecord {
  vex_int part, parts;
  int direction;  // 0 rows, 1 columns
  ShareMode mode;
  vex_int granule;
};

struct Share {
  vex_int start, length;
};

// Share of `range.part` when `extent` elements are cut.
Share share_1d(vex_int extent, const RangeRecord& range);

struct WorkerRecord {
  vex_int rows, columns;
  // Called with the block of C that the share leaves: row and column offset, rows, columns.
  void (*run)(void* arguments, vex_int row, vex_int column, vex_int rows, vex_int columns);
};

// Gives one part its share of one dimension and runs the worker on it; an empty share runs nothing.
void partition_1d(const WorkerRecord& worker, const RangeRecord& range, void* arguments);

}  // namespace vex::blas
