// The solve of a path that gives its inner routines no names of their own.
#pragma once

#include "blas/engine/solve.h"
#include "blas/engine/solve_update.h"

namespace vex::blas::engine {

template <typename P>
struct PlainSolve {
  template <bool left, bool forward>
  static void copy(Source s, Packed, double* t, Scalar f) {
    copy_triangle<P, left, forward>(s, t, f);
  }
  template <bool left, bool forward>
  static void kernel(const SolveBlock& x) {
    solve_diagonal<P, left, forward>(x);
  }
  template <bool turned>
  static void update(const SolveUpdate& x) {
    update_unknowns<P, turned>(x);
  }
  static void unblocked(const BlockedCall& call) { solve_v1<P>(call); }

  // Puts the solve into a list that has the multiply already. There is one kernel for either setting of the
  // reproducibility: its operations never depend on place, threads or alignment.
  static constexpr PathRoutines added_to(PathRoutines routines) {
    constexpr SolveKernelPair kernels[2][2] = {
        {{kernel<true, true>, kernel<true, true>}, {kernel<true, false>, kernel<true, false>}},
        {{kernel<false, false>, kernel<false, false>}, {kernel<false, true>, kernel<false, true>}}};
    constexpr CopyFunction* copies[2][2] = {{copy<true, true>, copy<true, false>},
                                            {copy<false, false>, copy<false, true>}};
    constexpr Driver* drivers[2][2] = {{drive_solve_left_lower, drive_solve_left_upper},
                                       {drive_solve_right_lower, drive_solve_right_upper}};
    for (int side = 0; side < 2; ++side)
      for (int i = 0; i < 2; ++i) {
        routines.solve_triangle[side][i] = drivers[side][i];
        routines.copy_solved[side][i] = copies[side][i];
        routines.solve_diagonal[side][i] = kernels[side][i];
        routines.solve_scale[side][i] = routines.scale;
      }
    routines.solve_few[false] = {32, 6, update<false>};
    routines.solve_few[true] = {32, 12, update<true>};
    routines.solve_unblocked = unblocked;
    return routines;
  }
};

}  // namespace vex::blas::engine
