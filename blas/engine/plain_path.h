// The multiply of a path that gives its inner routines no names of their own.
#pragma once

#include "blas/engine/block_kernels.h"
#include "blas/engine/multiply.h"

namespace vex::blas::engine {

template <typename P>
struct PlainPath {
  static constexpr int mr = static_cast<int>(P::blocks.mr), nr = static_cast<int>(P::blocks.nr);
  static void copy_an(Source s, Packed p, double* t, Scalar f) { copy_a(copy_down<P, mr>, s, p, t, f); }
  static void copy_at(Source s, Packed p, double* t, Scalar f) { copy_a(copy_right<P, mr>, s, p, t, f); }
  static void copy_bn(Source s, Packed p, double* t, Scalar f) { copy_b(copy_right<P, nr>, s, p, t, f); }
  static void copy_bt(Source s, Packed p, double* t, Scalar f) { copy_b(copy_down<P, nr>, s, p, t, f); }
  static void kernel(const BlockProduct& x) {
    x.store ? multiply_block<P, true>(x) : multiply_block<P, false>(x);
  }
  static void edge(bool store, vex_int rows, vex_int columns, vex_int k, const double* a, const double* b,
                   double* c, vex_int ldc) {
    cut_tile<P>(store, rows, columns, k, a, b, c, ldc);
  }
  static void scale(const MatrixDescriptor* c, double beta) {
    scale_block<P>(c->rows, c->columns, beta, first_element(*c), c->ld);
  }
  static void in_place(const BlockedCall& call) { drive_in_place<P>(call); }

  static constexpr PathRoutines routines{.copy_an = copy_an,
                                         .copy_at = copy_at,
                                         .copy_bn = copy_bn,
                                         .copy_bt = copy_bt,
                                         .copy_symmetric = {},
                                         .kernel = {kernel, kernel},
                                         .triangle_kernel = {},
                                         .scale = scale,
                                         .edge = edge,
                                         .full = drive_full,
                                         .prepacked = drive_prepacked,
                                         .in_place = in_place,
                                         .triangle_full = nullptr,
                                         .triangle_prepacked = nullptr,
                                         .multiply_triangle = {},
                                         .solve_triangle = {},
                                         .copy_factor = {},
                                         .copy_solved = {},
                                         .multiply_diagonal = {},
                                         .solve_diagonal = {},
                                         .solve_scale = {}};
  static int kernel_info(KernelTable* table, int operation, bool right, const StrategyRecord* strategy,
                         const MatrixDescriptor* a, const MatrixDescriptor* b, const MatrixDescriptor* c) {
    return initialize_kernel_info(table, routines, operation, right, strategy, a, b, c);
  }
  static constexpr PathEngine operations{initialize_strategy<P>, initialize_buffers<P>,
                                         initialize_triangular_buffers<P>, kernel_info};
};

}  // namespace vex::blas::engine
