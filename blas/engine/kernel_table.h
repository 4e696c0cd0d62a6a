// The routines that one call of a multiply-like operation runs, and the request records that go with them.
// Each code path lists its routines in one constant (PathRoutines); initialize_kernel_info picks from it. The
// drivers (drivers.h) see nothing of a path but its tables, so they are compiled once.
#pragma once

#include "blas/engine/descriptors.h"

namespace vex::blas::engine {

// A tile cut by the edge of its block: rows x columns of it exist, 1 <= rows <= mr, 1 <= columns <= nr.
// C += A B, or C = A B when `store`.
using EdgeRoutine = void(bool store, vex_int rows, vex_int columns, vex_int depth, const double* a,
                         const double* b, double* c, vex_int ldc);

// One packed block of A times one of B into a block of C.
struct BlockProduct {
  vex_int rows, columns, depth;
  const double* a;
  vex_int a_panel;  // elements from one packed panel to the next
  const double* b;
  vex_int b_panel;
  double* c;
  vex_int ldc;
  bool store;        // C = A B instead of C += A B
  vex_int diagonal;  // row of the matrix C, less its column, of the block's first element
  EdgeRoutine* edge;
};

using BlockKernel = void(const BlockProduct& block);

// One packed diagonal block of a triangle E and the right-hand sides that it is solved for: E X = B from the
// left, X E = B from the right, X over B. solve_kernel.h says how E is packed.
struct SolveBlock {
  vex_int order, count;    // of E; right-hand sides
  const double* triangle;  // packed
  double* panel;           // room for a tile's width of right-hand sides, order rounded up to nr of each
  double* x;               // element (0, 0)
  vex_int ldx;
  bool unit;
};

using SolveKernel = void(const SolveBlock& block);

// What solved unknowns contribute to others, for few right-hand sides that are columns: C -= E X, with E read
// where it lies. An element of C takes its products in ascending order of the unknowns, or descending when
// `backward`. They are a chain that goes on from the element when `chained`, else one that begins with zero
// and is added to it.
struct SolveUpdate {
  vex_int rows, count, depth;  // of E and C; right-hand sides; unknowns
  const double* e;             // element (0, 0); a path has one routine for E and one for a transposed E
  vex_int lde;
  const double* x;
  double* c;
  vex_int ldx;  // of X and C
  bool backward, chained;
  bool upwards;   // the last rows of C come first
  vex_int ahead;  // columns from E to what the next update will read, 0 when it is far away
  double* room;   // for count * depth elements
  double* strip;  // for largest_mr * depth
};

// Rows that are on their way to the caches while an update is busy with those before.
inline constexpr vex_int update_rows = 96;

using UpdateRoutine = void(const SolveUpdate& update);

// The source descriptor is narrowed to the rectangle to pack: for A extent x depth, for B depth x extent.
// Each value is multiplied by *scale on the way.
using CopyFunction = void(const MatrixDescriptor* source, const PackedDescriptor* packed, double* target,
                          const double* scale);

// What a copy routine hands on: `depth` k steps of `extent` rows (or columns) from `source`, whose columns
// are `ld` apart in memory; panels start `panel` elements apart.
using Copier = void(vex_int depth, vex_int extent, const double* source, vex_int ld, const double* scale,
                    double* target, vex_int panel);

// C := factor * C on the block the descriptor is narrowed to; zero stores zeros and reads nothing.
using ScaleRoutine = void(const MatrixDescriptor* c, double factor);

using Source = const MatrixDescriptor*;  // short forms for lists of copy routines
using Packed = const PackedDescriptor*;
using Scalar = const double*;

struct KernelTable;
struct BlockedCall;
using Driver = void(const BlockedCall& call);

// Index of a choice by side and effective triangle.
enum SideIndex { on_left = 0, on_right = 1 };
enum TriangleIndex { of_lower = 0, of_upper = 1 };

// The solve in place (fixed_solve.h): copies of a diagonal block of at most 4 x 4, and its solve for four or
// eight right-hand sides whose first element is *x.
using CopyFixed = void(const MatrixDescriptor* e, SideIndex side, double* target);
using FixedSolve = void(const double* e, double* x, vex_int ldx);
struct FixedKernels {
  CopyFixed* copy[2];                // [reciprocal-free]
  FixedSolve* solve[2][2][2][2][2];  // [SideIndex][TriangleIndex][unit][eight][reciprocal-free]
};

// How a path fills the records of a call.
using InitializeStrategy = void(StrategyRecord* strategy);
using InitializeBuffers = void(BufferRecord* buffers, const StrategyRecord* strategy, vex_int m, vex_int n,
                               vex_int k);
// 1 when the path does not serve the operation. `right`: the symmetric or triangular operand is b.
using InitializeKernelInfo = int(KernelTable* table, int operation, bool right,
                                 const StrategyRecord* strategy, const MatrixDescriptor* a,
                                 const MatrixDescriptor* b, const MatrixDescriptor* c);

// Which solves from the left go by such updates: those with at most `most` right-hand sides and an order of
// at least `order_each` for each of them. Both are where matrices of order 50 to 300 and 2000 that come from
// memory are solved as fast by packing; with the triangle in the second cache packing wins a little earlier.
struct FewSides {
  vex_int most, order_each;
  UpdateRoutine* update;
};

struct KernelTable {
  const char* operation;
  Driver* driver;
  CopyFunction *copy_a, *copy_b;
  BlockKernel* kernel;
  ScaleRoutine* scale;
  EdgeRoutine* edge;
  // Of the operations on a triangle; null for the others. For a triangle of C (codes 3, 5, 9) the diagonal
  // kernel writes its own side of the diagonal only.
  CopyFunction* copy_diagonal;
  BlockKernel* diagonal_kernel;
  ScaleRoutine* scale_triangle;
  // Of the solve.
  SolveKernel* solve_kernel;
  FewSides few;       // from the left
  Driver* unblocked;  // the whole call, dividing by the diagonal and without scratch memory
};

// One call of an operation. a and b are the left and the right factor of the product, whichever of them is
// the special one (symmetric, triangular).
struct BlockedCall {
  KernelTable kernels;
  OperationRecord operation;
  StrategyRecord strategy;
  BufferRecord buffers;
  MatrixDescriptor a, b, c;
  const PackedDescriptor* prepacked_a;  // copy mode 4: slice after slice of A, see packed_slice()
  // Of the solve: the caller's own buffers, with their areas placed, or null and what fills a record.
  const BufferRecord* prepared;
  InitializeBuffers* initialize_buffers;
};

// A kernel and its twin for the reproducible setting.
struct KernelPair {
  BlockKernel *plain, *cnr;
};
struct SolveKernelPair {
  SolveKernel *plain, *cnr;
};

// Everything a path can put into a kernel table. A null entry is an operation that the path does not serve.
struct PathRoutines {
  CopyFunction *copy_an, *copy_at, *copy_bn, *copy_bt;
  CopyFunction* copy_symmetric[2][2];  // [SideIndex][TriangleIndex], the stored triangle
  KernelPair kernel, triangle_kernel[2];
  ScaleRoutine* scale;
  EdgeRoutine* edge;
  Driver *full, *prepacked, *in_place;
  Driver *triangle_full, *triangle_prepacked;  // a triangle of C
  Driver *multiply_triangle[2][2], *solve_triangle[2][2];
  CopyFunction *copy_factor[2][2], *copy_solved[2][2];  // the diagonal blocks of a triangular operand
  KernelPair multiply_diagonal[2][2];
  SolveKernelPair solve_diagonal[2][2];
  ScaleRoutine* solve_scale[2][2];  // [SideIndex][unit diagonal]
  FewSides solve_few[2];            // [transposed]
  Driver* solve_unblocked;
};

struct PathEngine {
  InitializeStrategy* initialize_strategy;
  InitializeBuffers *initialize_buffers, *initialize_triangular_buffers;
  InitializeKernelInfo* initialize_kernel_info;
};

// The same for every path, from its routines.
int initialize_kernel_info(KernelTable* table, const PathRoutines& routines, int operation, bool right,
                           const StrategyRecord* strategy, const MatrixDescriptor* a,
                           const MatrixDescriptor* b, const MatrixDescriptor* c);

// The triangle that op(X) has: the stored one, flipped by transposition.
[[gnu::always_inline]] inline TriangleIndex effective_triangle(std::uint32_t flags) {
  return ((flags & flag_upper) != 0) != ((flags & flag_no_trans) != 0) ? of_lower : of_upper;
}

[[gnu::always_inline]] inline bool is_transposed(const MatrixDescriptor& x) {
  return (x.flags & (flag_trans | flag_conj_trans)) != 0;
}

[[gnu::always_inline]] inline double* first_element(const MatrixDescriptor& x) {
  return x.locate(x.row_offset, x.column_offset, &x);
}

[[gnu::always_inline]] inline MatrixDescriptor narrowed(const MatrixDescriptor& x, vex_int i, vex_int j,
                                                        vex_int rows, vex_int columns) {
  MatrixDescriptor block = x;
  block.rows = rows;
  block.columns = columns;
  block.row_offset = x.row_offset + i;
  block.column_offset = x.column_offset + j;
  return block;
}

// The copy routines of A and B are one step: they tell a copier depth and extent. A's rectangle is extent x
// depth, so its two counts swap; B's are in order.
[[gnu::always_inline]] inline void copy_a(Copier* copier, const MatrixDescriptor* s,
                                          const PackedDescriptor* packed, double* target,
                                          const double* scale) {
  copier(s->columns, s->rows, first_element(*s), s->ld, scale, target, packed->panel_size);
}
[[gnu::always_inline]] inline void copy_b(Copier* copier, const MatrixDescriptor* s,
                                          const PackedDescriptor* packed, double* target,
                                          const double* scale) {
  copier(s->rows, s->columns, first_element(*s), s->ld, scale, target, packed->panel_size);
}

}  // namespace vex::blas::engine
