// Packed blocks of op(A) and op(B) that the threads of one multiply share: each thread fills a part of a
// block, all wait, all read. A block has two areas, and blocks take turns in them, so that a thread may begin
// to fill the next block while slower ones still read this one; one barrier for each block is then enough:
//
//     fill area 0 | barrier | read 0, fill 1 | barrier | read 1, fill 0 | ...
//
// A thread that fills an area has passed the barrier behind which nobody reads what was there before.
#pragma once

#include "blas/engine/kernel_table.h"
#include "blas/gemm_product.h"
#include "blas/gemm_threads.h"

namespace vex::blas {

// Place of a thread in its parallel region.
struct Member {
  int thread, team;
};

// A range of rows or columns, and a slice of the inner dimension.
struct Slice {
  vex_int first, depth;
};

struct Area {
  double *a, *b;
};

struct SharedMultiply {
  engine::BlockedCall call;   // routines and records of the whole product
  vex_int a_rows, b_columns;  // capacity of one area, whole panels
  Area area[2];

  vex_int kc() const { return call.buffers.kc; }
  vex_int depth() const { return call.a.columns; }
};

// Describes the product and makes room for areas of `a_rows` and `b_columns` (rounded up to panels; 0 for an
// operand that is not packed). 1 when the memory is not to be had: nothing is held then.
int open_shared(SharedMultiply* shared, const Product& product, vex_int a_rows, vex_int b_columns);
void close_shared(SharedMultiply* shared);

// The thread's part of a block: rows of op(A) (l: the left operand) or columns of op(B) (r) in one slice. The
// u forms deal out whole panels, the units of a block, so every thread reads its own stretch of the operand;
// the l forms cut the panels lengthwise, for blocks of fewer panels than there are threads. Nobody waits.
void omp_shared_copy_lu(const SharedMultiply& shared, Share rows, Slice slice, double* area, Member self);
void omp_shared_copy_ll(const SharedMultiply& shared, Share rows, Slice slice, double* area, Member self);
void omp_shared_copy_ru(const SharedMultiply& shared, Share columns, Slice slice, double* area, Member self);
void omp_shared_copy_rl(const SharedMultiply& shared, Share columns, Slice slice, double* area, Member self);

// The thread's part of a block of op(A), of both operands, or of op(A) for the step after this one. The first
// two return when the whole block is there; what lookahead fills may be read after the next barrier.
void omp_parallel_acopy(const SharedMultiply& shared, Share rows, Slice slice, double* area, Member self);
void omp_parallel_abcopy(const SharedMultiply& shared, Share rows, Share columns, Slice slice, Area area,
                         Member self);
void omp_parallel_acopy_lookahead(const SharedMultiply& shared, Share rows, Slice slice, double* area,
                                  Member self);
// The same for op(B) alone.
void omp_parallel_bcopy(const SharedMultiply& shared, Share columns, Slice slice, double* area, Member self);

// Rows of op(A) and columns of op(B) that only this thread will read; an empty range packs nothing. Nobody
// waits.
void omp_no_parallel_copy(const SharedMultiply& shared, Share rows, Share columns, Slice slice, Area area);

// The block of C at `rows` and `columns` from packed rows of op(A) and packed columns of op(B).
void multiply_packed(const SharedMultiply& shared, Share rows, Share columns, Slice slice, const double* a,
                     const double* b);

// C := beta C on a block, unless the first slice stores into it anyway.
void scale_result(const SharedMultiply& shared, Share rows, Share columns);

}  // namespace vex::blas
