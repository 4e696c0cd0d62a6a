// The kernel of the paths without fused multiply-add: a tile of 8 x 2 in eight registers of two doubles. A
// step takes 8 multiplies and 8 adds, so a processor that starts two of each per cycle is also near its
// limits of 6 operations and 2 loads per cycle; the tile and the order below need 24 operations and 7 loads
// for the 4 cycles of a step: three vectors of A are copied once for their second column, and the last one
// multiplies B's registers themselves, straight from memory. (4 x 4 needs 26 and reached 91 % of the peak
// where this reaches 97 %; what compilers make of either, with more copies, 62 %.)
#pragma once

#include "blas/engine/kernel_table.h"

namespace vex::blas::engine {

// clang-format off
// NOLINTBEGIN(bugprone-macro-parentheses): the arguments become text
// Text of the kernel; a template cannot build an assembler string. %0 is A's panel, %1 B's, %2 the steps left, %3
// and %4 the columns of C. xmm8 to xmm11 hold C's first column, xmm12 to xmm15 its second.
#define VEX_ROWS(offset, t, u, c0, c1)                                                                      \
  "movapd " #offset "(%0), %%xmm" #t "\n"                                                                   \
  "movapd %%xmm" #t ", %%xmm" #u "\n"                                                                       \
  "mulpd %%xmm0, %%xmm" #t "\n"                                                                             \
  "mulpd %%xmm1, %%xmm" #u "\n"                                                                             \
  "addpd %%xmm" #t ", %%xmm" #c0 "\n"                                                                       \
  "addpd %%xmm" #u ", %%xmm" #c1 "\n"
#define VEX_LAST_ROWS(offset, c0, c1)                                                                       \
  "mulpd " #offset "(%0), %%xmm0\n"                                                                         \
  "mulpd " #offset "(%0), %%xmm1\n"                                                                         \
  "addpd %%xmm0, %%xmm" #c0 "\n"                                                                            \
  "addpd %%xmm1, %%xmm" #c1 "\n"
#define VEX_STEP(a, b)                                                                                      \
  "movddup " #b "(%1), %%xmm0\n"                                                                            \
  "movddup " #b "+8(%1), %%xmm1\n"                                                                          \
  VEX_ROWS(a, 2, 3, 8, 12) VEX_ROWS(a + 16, 4, 5, 9, 13) VEX_ROWS(a + 32, 6, 7, 10, 14)                     \
  VEX_LAST_ROWS(a + 48, 11, 15)
#define VEX_ZERO(c) "xorps %%xmm" #c ", %%xmm" #c "\n"
#define VEX_ADD(offset, column, t, c)                                                                       \
  "movupd " #offset "(%" #column "), %%xmm" #t "\n"                                                         \
  "addpd %%xmm" #t ", %%xmm" #c "\n"
#define VEX_STORE(offset, column, c) "movupd %%xmm" #c ", " #offset "(%" #column ")\n"
#define VEX_NOTHING(offset, column, t, c)
#define VEX_TILE(EACH)                                                                                      \
  VEX_ZERO(8) VEX_ZERO(9) VEX_ZERO(10) VEX_ZERO(11) VEX_ZERO(12) VEX_ZERO(13) VEX_ZERO(14) VEX_ZERO(15)     \
  "subq $4, %2\n"                                                                                           \
  "jl 2f\n"                                                                                                 \
  ".p2align 5\n"                                                                                            \
  "1:\n"                                                                                                    \
  VEX_STEP(0, 0) VEX_STEP(64, 16) VEX_STEP(128, 32) VEX_STEP(192, 48)                                       \
  "addq $256, %0\n"                                                                                         \
  "addq $64, %1\n"                                                                                          \
  "subq $4, %2\n"                                                                                           \
  "jge 1b\n"                                                                                                \
  "2:\n"                                                                                                    \
  "addq $4, %2\n"                                                                                           \
  "jz 4f\n"                                                                                                 \
  "3:\n"                                                                                                    \
  VEX_STEP(0, 0)                                                                                            \
  "addq $64, %0\n"                                                                                          \
  "addq $16, %1\n"                                                                                          \
  "decq %2\n"                                                                                               \
  "jnz 3b\n"                                                                                                \
  "4:\n"                                                                                                    \
  EACH(0, 3, 0, 8) EACH(16, 3, 1, 9) EACH(32, 3, 2, 10) EACH(48, 3, 3, 11)                                  \
  EACH(0, 4, 4, 12) EACH(16, 4, 5, 13) EACH(32, 4, 6, 14) EACH(48, 4, 7, 15)                                \
  VEX_STORE(0, 3, 8) VEX_STORE(16, 3, 9) VEX_STORE(32, 3, 10) VEX_STORE(48, 3, 11)                          \
  VEX_STORE(0, 4, 12) VEX_STORE(16, 4, 13) VEX_STORE(32, 4, 14) VEX_STORE(48, 4, 15)
#define VEX_CHANGED                                                                                         \
  "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "xmm8", "xmm9", "xmm10", "xmm11",         \
  "xmm12", "xmm13", "xmm14", "xmm15", "cc", "memory"
// NOLINTEND(bugprone-macro-parentheses)
// clang-format on

// C += A B (or C = A B) for one full tile of packed panels, k >= 1 deep; a is 16-byte aligned.
template <typename P, bool store_only>
[[gnu::always_inline]] inline void tile_8x2(vex_int k, const double* a, const double* b, double* c,
                                            vex_int ldc) {
  double* const second = c + ldc;
  P::prefetch(c), P::prefetch(c + 7);  // on its way while the loop runs
  P::prefetch(second), P::prefetch(second + 7);
  if constexpr (store_only)
    asm volatile(VEX_TILE(VEX_NOTHING) : "+r"(a), "+r"(b), "+r"(k) : "r"(c), "r"(second) : VEX_CHANGED);
  else
    asm volatile(VEX_TILE(VEX_ADD) : "+r"(a), "+r"(b), "+r"(k) : "r"(c), "r"(second) : VEX_CHANGED);
}

#undef VEX_ROWS
#undef VEX_LAST_ROWS
#undef VEX_STEP
#undef VEX_ZERO
#undef VEX_ADD
#undef VEX_STORE
#undef VEX_NOTHING
#undef VEX_TILE
#undef VEX_CHANGED

// One packed block of A times one of B. A panel of A (16 KiB) stays in the first cache while the panels of B,
// 4 KiB each, pass by from the second: the other way round four times as much would have to move. `cut` says
// whether the block has tiles cut by its edges.
template <typename P, bool store_only, bool cut>
[[gnu::always_inline]] inline void multiply_block_by_rows(const BlockProduct& x) {
  static_assert(P::blocks.mr == 8 && P::blocks.nr == 2);
  const double* a = x.a;
  for (vex_int i = 0; i < x.rows; i += 8, a += x.a_panel) {
    const vex_int rows = smaller(8, x.rows - i);
    const double* b = x.b;
    double* c = x.c + i;
    for (vex_int j = 0; j < x.columns; j += 2, b += x.b_panel, c += 2 * x.ldc) {
      if (cut && (rows < 8 || x.columns - j < 2))
        x.edge(store_only, rows, smaller(2, x.columns - j), x.depth, a, b, c, x.ldc);
      else
        tile_8x2<P, store_only>(x.depth, a, b, c, x.ldc);
    }
  }
}

[[gnu::always_inline]] inline bool has_cut_tiles(const BlockProduct& x) {
  return x.rows % 8 != 0 || x.columns % 2 != 0;
}

}  // namespace vex::blas::engine
