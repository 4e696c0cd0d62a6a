// The inner loop of the 24 x 8 tile, with its registers and order fixed by hand: zmm8 to zmm31 hold C, zmm0
// to zmm2 a column of A, zmm6 and zmm7 two values of B, each loaded two columns of the tile ahead of its use
// (so the loop reads two values behind the last one of B's panel, and packed areas leave room for that). What
// the compilers make of the same loop written with intrinsics differs from release to release and costs up to
// one cycle in fourteen; moves between accumulators are the usual reason.
#pragma once

#include <immintrin.h>

#include "service/types.h"

namespace vex::blas::avx512 {

// clang-format off
// NOLINTBEGIN(bugprone-macro-parentheses): the arguments become text
// Text of the kernel; a template cannot build an assembler string. %0 is A's panel, %1 B's, %2 the steps
// left, %3 the tile of C, %4 what to fetch ahead, %5 the column of C to fetch next, %6 the bytes between what to
// fetch ahead, %7 C's leading dimension in bytes, %8 where the columns to fetch end.
#define VEX_LOAD(offset, zmm) "vmovupd " #offset "(%0), %%zmm" #zmm "\n"
#define VEX_SPREAD(offset, zmm) "vbroadcastsd " #offset "(%1), %%zmm" #zmm "\n"
#define VEX_COLUMN(b, c0, c1, c2)                                                                           \
  "vfmadd231pd %%zmm" #b ", %%zmm0, %%zmm" #c0 "\n"                                                         \
  "vfmadd231pd %%zmm" #b ", %%zmm1, %%zmm" #c1 "\n"                                                         \
  "vfmadd231pd %%zmm" #b ", %%zmm2, %%zmm" #c2 "\n"
#define VEX_STEP(a, b)                                                                                      \
  VEX_LOAD(a, 0) VEX_LOAD(a + 64, 1) VEX_LOAD(a + 128, 2)                                                   \
  VEX_COLUMN(6, 8, 9, 10) VEX_SPREAD(b + 16, 6) VEX_COLUMN(7, 11, 12, 13) VEX_SPREAD(b + 24, 7)             \
  VEX_COLUMN(6, 14, 15, 16) VEX_SPREAD(b + 32, 6) VEX_COLUMN(7, 17, 18, 19) VEX_SPREAD(b + 40, 7)           \
  VEX_COLUMN(6, 20, 21, 22) VEX_SPREAD(b + 48, 6) VEX_COLUMN(7, 23, 24, 25) VEX_SPREAD(b + 56, 7)           \
  VEX_COLUMN(6, 26, 27, 28) VEX_SPREAD(b + 64, 6) VEX_COLUMN(7, 29, 30, 31) VEX_SPREAD(b + 72, 7)
#define VEX_ZERO(c0, c1, c2)                                                                                \
  "vpxorq %%zmm" #c0 ", %%zmm" #c0 ", %%zmm" #c0 "\n"                                                       \
  "vpxorq %%zmm" #c1 ", %%zmm" #c1 ", %%zmm" #c1 "\n"                                                       \
  "vpxorq %%zmm" #c2 ", %%zmm" #c2 ", %%zmm" #c2 "\n"
#define VEX_ADD(c0, c1, c2)                                                                                 \
  "vaddpd (%3), %%zmm" #c0 ", %%zmm" #c0 "\n"                                                               \
  "vaddpd 64(%3), %%zmm" #c1 ", %%zmm" #c1 "\n"                                                             \
  "vaddpd 128(%3), %%zmm" #c2 ", %%zmm" #c2 "\n"
#define VEX_STORE(c0, c1, c2)                                                                               \
  "vmovupd %%zmm" #c0 ", (%3)\n"                                                                            \
  "vmovupd %%zmm" #c1 ", 64(%3)\n"                                                                          \
  "vmovupd %%zmm" #c2 ", 128(%3)\n"                                                                         \
  "addq %7, %3\n"
#define VEX_NOTHING(c0, c1, c2)
#define VEX_LAST(EACH, c0, c1, c2) EACH(c0, c1, c2) VEX_STORE(c0, c1, c2)
#define VEX_ADVANCE "prefetcht1 (%4)\n" "addq %6, %4\n" "addq $768, %0\n" "addq $256, %1\n"
#define VEX_TILE(EACH)                                                                                      \
  VEX_ZERO(8, 9, 10) VEX_ZERO(11, 12, 13) VEX_ZERO(14, 15, 16) VEX_ZERO(17, 18, 19)                         \
  VEX_ZERO(20, 21, 22) VEX_ZERO(23, 24, 25) VEX_ZERO(26, 27, 28) VEX_ZERO(29, 30, 31)                       \
  VEX_SPREAD(0, 6) VEX_SPREAD(8, 7)                                                                         \
  "subq $4, %2\n"                                                                                           \
  "jl 2f\n"                                                                                                 \
  ".p2align 5\n"                                                                                            \
  "5:\n"                                                                                                   \
  VEX_STEP(0, 0) "prefetcht0 (%5)\n" VEX_STEP(192, 64) "prefetcht0 64(%5)\n"                               \
  VEX_STEP(384, 128) "prefetcht0 128(%5)\n" VEX_STEP(576, 192) "prefetcht0 184(%5)\n"                      \
  VEX_ADVANCE                                                                                              \
  "addq %7, %5\n"                                                                                          \
  "subq $4, %2\n"                                                                                          \
  "jl 2f\n"                                                                                                \
  "cmpq %8, %5\n"                                                                                          \
  "jb 5b\n"                                                                                                \
  ".p2align 5\n"                                                                                            \
  "1:\n"                                                                                                    \
  VEX_STEP(0, 0) VEX_STEP(192, 64) VEX_STEP(384, 128) VEX_STEP(576, 192)                                    \
  VEX_ADVANCE                                                                                              \
  "subq $4, %2\n"                                                                                           \
  "jge 1b\n"                                                                                                \
  "2:\n"                                                                                                    \
  "addq $4, %2\n"                                                                                           \
  "jz 4f\n"                                                                                                 \
  "3:\n"                                                                                                    \
  VEX_STEP(0, 0)                                                                                            \
  "addq $192, %0\n"                                                                                         \
  "addq $64, %1\n"                                                                                          \
  "decq %2\n"                                                                                               \
  "jnz 3b\n"                                                                                                \
  "4:\n"                                                                                                    \
  VEX_LAST(EACH, 8, 9, 10) VEX_LAST(EACH, 11, 12, 13) VEX_LAST(EACH, 14, 15, 16) VEX_LAST(EACH, 17, 18, 19) \
  VEX_LAST(EACH, 20, 21, 22) VEX_LAST(EACH, 23, 24, 25) VEX_LAST(EACH, 26, 27, 28) VEX_LAST(EACH, 29, 30, 31)
#define VEX_CHANGED                                                                                         \
  "xmm0", "xmm1", "xmm2", "xmm6", "xmm7", "xmm8", "xmm9", "xmm10", "xmm11", "xmm12", "xmm13", "xmm14",      \
  "xmm15", "xmm16", "xmm17", "xmm18", "xmm19", "xmm20", "xmm21", "xmm22", "xmm23", "xmm24", "xmm25",        \
  "xmm26", "xmm27", "xmm28", "xmm29", "xmm30", "xmm31", "cc", "memory"
// NOLINTEND(bugprone-macro-parentheses)
// clang-format on

struct OwnTile {
  // C += A B (or C = A B) for one full tile of packed panels, k >= 1 deep. Meanwhile one line from `ahead` on
  // is brought to the second cache every four steps, ahead_step elements apart.
  template <bool store_only>
  [[gnu::always_inline]] static void full_tile(vex_int k, const double* a, const double* b, double* c,
                                               vex_int ldc, const double* ahead, vex_int ahead_step) {
    // The tile of C is on its way while the loop runs. Asked for at once, its 32 lines keep the loads of A
    // from the second cache waiting, so a loop of all eight rounds asks for a column every four steps. With
    // operands that stream as in a large product, that ran at 97 to 98 percent of the peak at k = 96 (94 to
    // 95 without), 94 to 96 at 48 (93 to 94), 98 at 192 (93 to 95).
    constexpr vex_int long_loop = 32;
    const double* fetch = c;
    const double* const fetch_end = k < long_loop ? c : c + 8 * ldc;
    if (k < long_loop)
      for (int j = 0; j < 8; ++j) {
        const char* const column = reinterpret_cast<const char*>(c + j * ldc);
        _mm_prefetch(column, _MM_HINT_T0);
        _mm_prefetch(column + 64, _MM_HINT_T0);
        _mm_prefetch(column + 128, _MM_HINT_T0);
        _mm_prefetch(column + 184, _MM_HINT_T0);
      }
    const vex_int stride = ldc * 8, ahead_bytes = ahead_step * 8;
    if constexpr (store_only)
      asm volatile(VEX_TILE(VEX_NOTHING)
                   : "+r"(a), "+r"(b), "+r"(k), "+r"(c), "+r"(ahead), "+r"(fetch)
                   : "r"(ahead_bytes), "r"(stride), "r"(fetch_end)
                   : VEX_CHANGED);
    else
      asm volatile(VEX_TILE(VEX_ADD)
                   : "+r"(a), "+r"(b), "+r"(k), "+r"(c), "+r"(ahead), "+r"(fetch)
                   : "r"(ahead_bytes), "r"(stride), "r"(fetch_end)
                   : VEX_CHANGED);
  }
};

#undef VEX_LOAD
#undef VEX_SPREAD
#undef VEX_COLUMN
#undef VEX_STEP
#undef VEX_ZERO
#undef VEX_ADD
#undef VEX_STORE
#undef VEX_NOTHING
#undef VEX_LAST
#undef VEX_TILE
#undef VEX_ADVANCE
#undef VEX_CHANGED

}  // namespace vex::blas::avx512
