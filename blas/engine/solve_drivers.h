// The blocked drivers of the triangular solve. Like the drivers of the multiply they see no vectors: the
// kernels, the copies and the block sizes come with the call.
#pragma once

#include "blas/engine/kernel_table.h"

namespace vex::blas::engine {

// op(A) X = alpha B or X op(A) = alpha B, X over B, for one side and one effective triangle (that of op(A)).
// Of the call they read the triangle (a from the left, b from the right), c, alpha, the tables and
// `prepared`.
void drive_solve_left_lower(const BlockedCall& call);
void drive_solve_left_upper(const BlockedCall& call);
void drive_solve_right_lower(const BlockedCall& call);
void drive_solve_right_upper(const BlockedCall& call);

// Fills the records of a solve and runs it. `triangle` stands for op(A) and carries the flags of the stored
// triangle and its diagonal; x is B. `prepared` is null, or a record that initialize_solve_buffers filled for
// this problem and whose areas have been placed: it is copied, used and left to the caller.
void run_solve(const PathEngine& path, bool right, double alpha, const MatrixDescriptor& triangle,
               const MatrixDescriptor& x, const BufferRecord* prepared);

// The block sizes of a solve with a triangle of that order for `count` right-hand sides. The packed triangle
// and what of its columns stands beside a diagonal block live in the area of A, solved right-hand sides in
// that of B, from either side.
void initialize_solve_buffers(InitializeBuffers* initialize, BufferRecord* buffers,
                              const StrategyRecord* strategy, vex_int order, vex_int count);

// A lower triangle of unit diagonal that stays packed across solves from the left, as one diagonal block: its
// order is deepest_slice at most. `room` holds the count of doubles that packed_triangle_size answers,
// 64-byte aligned. Where run_solve takes one diagonal block too, the bits are the same.
vex_int packed_triangle_size(const PathEngine& path, vex_int order);
void pack_unit_lower(const PathEngine& path, const MatrixDescriptor& triangle, double* room);
void solve_packed_unit_lower(const PathEngine& path, const double* room, const MatrixDescriptor& x);

// Whether the kernels, which multiply by reciprocals of the diagonal, may be used, and if not, why.
enum class Reciprocals { fit, overflow, lose_bits };
Reciprocals reciprocals_of(const MatrixDescriptor& triangle);

// Letters of a solve from its records.
struct SolveLetters {
  char side, uplo, trans, diag;
};
SolveLetters solve_letters(const BlockedCall& call);

}  // namespace vex::blas::engine
