// The records a multiply is described by: operands, operation, strategy, buffers and packed blocks. Plain
// data, the same on every code path; the functions that fill them are in blas/descriptors.cpp.
#pragma once

#include <cstddef>
#include <cstdint>

#include "service/types.h"

namespace vex::blas::engine {

// Property bits of an operand.
enum : std::uint32_t {
  flag_no_trans = 1,
  flag_trans = 2,
  flag_conj_trans = 4,
  flag_lower = 8,
  flag_upper = 16,
  flag_non_unit = 32,
  flag_unit = 64
};

struct MatrixDescriptor {
  double* data;  // element (0, 0)
  vex_int rows, columns, ld;
  vex_int row_offset, column_offset;  // of the sub-block that the descriptor has been narrowed to, in op(X)
  vex_int stored_rows;
  vex_int element_size;  // bytes
  std::uint32_t flags;
  double* (*locate)(vex_int i, vex_int j, const MatrixDescriptor* matrix);  // element (i, j) of op(X)
};

enum OperationCode : int {
  op_gemm = 0,
  op_symm = 1,
  op_syrk = 3,
  op_syr2k = 5,
  op_trmm = 7,
  op_trsm = 8,
  op_gemmt = 9
};

struct OperationRecord {
  int trans_a, trans_b;  // 0 N, 1 T, 2 C, -1 another letter, 3 absent
  double alpha, beta;
  const char *letter_a, *letter_b;
};

enum CopyMode : vex_int { copy_unset = 0, copy_both = 2, copy_b_only = 4, copy_none = 16 };

struct StrategyRecord {
  vex_int copy_mode;
  vex_int mr, nr;  // register block
  vex_int ku;      // k unroll: packed depths are multiples of it
  vex_int fourth_block;
  vex_int unit_m, unit_n;
  vex_int prefetch;
  vex_int last_block;
  int (*check)(StrategyRecord* strategy);  // 1 when nothing had to change
};

// A packed block is a sequence of panels; a panel holds `width` rows (of A) or columns (of B), the values of
// one k step side by side:   panel 0: k0[w0 w1 ..] k1[w0 w1 ..] .. k(depth-1)   panel 1: ..
struct PackedDescriptor {
  double* base;
  vex_int kc;
  vex_int extent;      // MC or NC
  vex_int panel_size;  // elements: width * depth
  vex_int ku;
  vex_int width;  // mr or nr
  vex_int depth;  // kc rounded up to a multiple of ku
  vex_int element_size;
  vex_int alignment;
  double* (*locate)(vex_int k, vex_int p, const PackedDescriptor* packed);
};

// Bounds over all paths, for panels on the stack. Kernels may read that many values past a panel of B.
inline constexpr vex_int largest_mr = 24, largest_nr = 8, deepest_slice = 384, panel_slack = 16;

enum BufferKind : int {
  buffer_a_only = 1,
  buffer_b_only = 2,
  buffer_both = 3,
  buffer_copies = 4,
  buffer_kept_a = 5
};

struct BufferRecord;
using GetBuffers = int(BufferRecord* buffers);  // 0, or 1 when the scratch memory was not obtained
using SizeOfBuffers = std::size_t(const BufferRecord* buffers);  // bytes
using FreeBuffers = void(BufferRecord* buffers);
using SetBuffers = int(BufferRecord* buffers, void* block);  // places the areas in a block of the caller's

struct BufferFunctions {
  GetBuffers* get;
  SizeOfBuffers* size;
  FreeBuffers* free;
  GetBuffers* get_pack;
  SetBuffers* set_pack;
};

struct BufferRecord {
  int kind;
  vex_int mc, nc, kc;
  void* base;  // the single allocation
  double *packed_a, *packed_b;
  PackedDescriptor a, b;
  vex_int page_offset, page_size, huge_offset, huge_size;  // bytes
  vex_int copies;
  BufferFunctions functions;
};

[[gnu::always_inline]] constexpr vex_int smaller(vex_int a, vex_int b) {
  return a < b ? a : b;
}
[[gnu::always_inline]] constexpr vex_int larger(vex_int a, vex_int b) {
  return a > b ? a : b;
}
[[gnu::always_inline]] constexpr vex_int round_up(vex_int x, vex_int step) {
  return (x + step - 1) / step * step;
}

// Whether a character argument is that letter (given in upper case), in either case.
[[gnu::always_inline]] constexpr bool is(const char* argument, char letter) {
  return *argument == letter || *argument == letter + 32;
}

}  // namespace vex::blas::engine

extern "C" {

// Each of the three letters may be null (absent). Any transposition letter but N selects the transposed
// locator.
void blas_initialize_matrix(vex::blas::engine::MatrixDescriptor* matrix, double* data, vex_int rows,
                            vex_int columns, vex_int ld, const char* uplo, const char* diag,
                            const char* trans);
void blas_initialize_op_params(vex::blas::engine::OperationRecord* operation, const char* trans_a,
                               const char* trans_b, double alpha, double beta);
double* getPointer_notrans(vex_int i, vex_int j, const vex::blas::engine::MatrixDescriptor* matrix);
double* getPointer_trans(vex_int i, vex_int j, const vex::blas::engine::MatrixDescriptor* matrix);
double* getPointer_buffer(vex_int k, vex_int p, const vex::blas::engine::PackedDescriptor* packed);

// Room and placement of the packed areas; see descriptors.cpp for the layout. get answers 1 when the kind is
// none of 1 to 4 or there is no memory. The pack forms serve packed operands that outlive a call (kinds 4 and
// 5; other kinds as get): get_pack allocates, set_pack uses a block of vex_blas_get_size_bufs bytes that the
// caller owns, which free must not see.
vex::blas::engine::GetBuffers vex_blas_get_bufs, vex_blas_get_bufs_pack;
vex::blas::engine::SizeOfBuffers vex_blas_get_size_bufs;
vex::blas::engine::FreeBuffers vex_blas_free_bufs;
vex::blas::engine::SetBuffers vex_blas_set_bufs_pack;
}
