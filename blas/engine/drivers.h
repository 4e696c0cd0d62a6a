// The blocked drivers, and the one way to run an operation. They see no vectors and no block sizes of their
// own: everything comes from the records of the call, so a driver is the same code for every path, and a path
// only gives it a name. Everything runs on the calling thread.
#pragma once

#include "blas/engine/kernel_table.h"

namespace vex::blas::engine {

// C := alpha op(A) op(B) + beta C, both operands packed block by block.
void drive_full(const BlockedCall& call);
// The same with A already packed by pack_whole_a.
void drive_prepacked(const BlockedCall& call);
// The same two on one triangle of a square C: nothing on the other side of the diagonal is read or written.
void drive_triangle_full(const BlockedCall& call);
void drive_triangle_prepacked(const BlockedCall& call);

// What a caller says of an operation. The descriptors stand for op(A), op(B) and C; C's flags carry the
// triangle of codes 3, 5 and 9, the special operand's flags its triangle, diagonal and transposition.
struct OperationRequest {
  OperationCode code;
  CopyMode copy_mode;
  bool right;  // the symmetric or triangular operand is b
  double alpha, beta;
  MatrixDescriptor a, b, c;
  const PackedDescriptor* prepacked_a;  // copy_b_only: op(A) as pack_whole_a left it
};

// Runs an operation: C := alpha op(A) op(B) + beta C for codes 0, 1, 3 and 9; with the same product of B and
// A exchanged added for 5 (b is then the transposed second operand). For 7 and 8 beta is not used: C and the
// operand that is not triangular are one matrix, overwritten by the product or the solution. When scratch
// memory cannot be had the same blocks are walked in small pieces on the stack, which gives the same bits (a
// solve divides by the diagonal then, see solve_drivers.h). Returns 1 when the path does not serve the
// operation, else 0.
int run_operation(const PathEngine& path, const OperationRequest& request);

// Keeping op(A) packed across calls. The block consists of slices, kc k steps each; a slice holds all rows in
// panels of mr, and a panel kc steps. (So the last slice may have room left in its panels.)
// Fills `packed` for an m x k operand; `base` is null until the caller gives it room for the count of doubles
// returned, 64-byte aligned.
vex_int describe_packed_a(const PathEngine& path, PackedDescriptor* packed, vex_int m, vex_int k);
// Packs rows [first, first + rows) of op(A) into every slice; first is a multiple of packed.width. Threads
// may pack separate rows at once.
void pack_whole_a(const PathEngine& path, const PackedDescriptor& packed, const MatrixDescriptor& a,
                  vex_int first, vex_int rows);
// The same packed operand from row `first` on, a multiple of packed.width, for a product of those rows alone.
PackedDescriptor packed_rows(const PackedDescriptor& packed, vex_int first);

// Doubles in one slice of the packed operand, and where slice number `slice` starts.
[[gnu::always_inline]] inline vex_int packed_slice_size(const PackedDescriptor& packed) {
  return packed.panel_size * ((packed.extent + packed.width - 1) / packed.width);
}
[[gnu::always_inline]] inline double* packed_slice(const PackedDescriptor& packed, vex_int slice) {
  return packed.base + slice * packed_slice_size(packed);
}

}  // namespace vex::blas::engine
