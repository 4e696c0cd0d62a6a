// The inner loop of the 12 x 4 tile, with its registers fixed by hand: ymm4 to ymm15 hold C, ymm0 to ymm2 a
// column of A, ymm3 a value of B. All sixteen registers are in use, and compilers that rotate accumulators
// through moves lose one cycle in twenty here (measured, one of two compilers did).
#pragma once

#include <immintrin.h>

#include "service/types.h"

namespace vex::blas::avx2 {

// clang-format off
// NOLINTBEGIN(bugprone-macro-parentheses): the arguments become text
// Text of the kernel; a template cannot build an assembler string. %0 is A's panel, %1 B's, %2 the steps
// left, %3 the tile of C, %4 and %5 what to bring to the second cache and in what steps, %6 the leading
// dimension in bytes.
#define VEX_LOAD(offset, ymm) "vmovupd " #offset "(%0), %%ymm" #ymm "\n"
#define VEX_COLUMN(b, c0, c1, c2)                                                                           \
  "vbroadcastsd " #b "(%1), %%ymm3\n"                                                                       \
  "vfmadd231pd %%ymm3, %%ymm0, %%ymm" #c0 "\n"                                                              \
  "vfmadd231pd %%ymm3, %%ymm1, %%ymm" #c1 "\n"                                                              \
  "vfmadd231pd %%ymm3, %%ymm2, %%ymm" #c2 "\n"
#define VEX_STEP(a, b)                                                                                      \
  VEX_LOAD(a, 0) VEX_LOAD(a + 32, 1) VEX_LOAD(a + 64, 2)                                                    \
  VEX_COLUMN(b, 4, 5, 6) VEX_COLUMN(b + 8, 7, 8, 9)                                                         \
  VEX_COLUMN(b + 16, 10, 11, 12) VEX_COLUMN(b + 24, 13, 14, 15)
#define VEX_ZERO(c0, c1, c2)                                                                                \
  "vxorps %%ymm" #c0 ", %%ymm" #c0 ", %%ymm" #c0 "\n"                                                       \
  "vxorps %%ymm" #c1 ", %%ymm" #c1 ", %%ymm" #c1 "\n"                                                       \
  "vxorps %%ymm" #c2 ", %%ymm" #c2 ", %%ymm" #c2 "\n"
#define VEX_ADD(c0, c1, c2)                                                                                 \
  "vaddpd (%3), %%ymm" #c0 ", %%ymm" #c0 "\n"                                                               \
  "vaddpd 32(%3), %%ymm" #c1 ", %%ymm" #c1 "\n"                                                             \
  "vaddpd 64(%3), %%ymm" #c2 ", %%ymm" #c2 "\n"
#define VEX_STORE(c0, c1, c2)                                                                               \
  "vmovupd %%ymm" #c0 ", (%3)\n"                                                                            \
  "vmovupd %%ymm" #c1 ", 32(%3)\n"                                                                          \
  "vmovupd %%ymm" #c2 ", 64(%3)\n"                                                                          \
  "addq %6, %3\n"
#define VEX_NOTHING(c0, c1, c2)
#define VEX_LAST(EACH, c0, c1, c2) EACH(c0, c1, c2) VEX_STORE(c0, c1, c2)
#define VEX_TILE(EACH)                                                                                      \
  VEX_ZERO(4, 5, 6) VEX_ZERO(7, 8, 9) VEX_ZERO(10, 11, 12) VEX_ZERO(13, 14, 15)                             \
  "subq $4, %2\n"                                                                                           \
  "jl 2f\n"                                                                                                 \
  ".p2align 5\n"                                                                                            \
  "1:\n"                                                                                                    \
  VEX_STEP(0, 0) VEX_STEP(96, 32) VEX_STEP(192, 64) VEX_STEP(288, 96)                                       \
  "prefetcht1 (%4)\n"                                                                                       \
  "addq %5, %4\n"                                                                                           \
  "addq $384, %0\n"                                                                                         \
  "addq $128, %1\n"                                                                                         \
  "subq $4, %2\n"                                                                                           \
  "jge 1b\n"                                                                                                \
  "2:\n"                                                                                                    \
  "addq $4, %2\n"                                                                                           \
  "jz 4f\n"                                                                                                 \
  "3:\n"                                                                                                    \
  VEX_STEP(0, 0)                                                                                            \
  "addq $96, %0\n"                                                                                          \
  "addq $32, %1\n"                                                                                          \
  "decq %2\n"                                                                                               \
  "jnz 3b\n"                                                                                                \
  "4:\n"                                                                                                    \
  VEX_LAST(EACH, 4, 5, 6) VEX_LAST(EACH, 7, 8, 9) VEX_LAST(EACH, 10, 11, 12) VEX_LAST(EACH, 13, 14, 15)
#define VEX_CHANGED                                                                                         \
  "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "xmm8", "xmm9", "xmm10", "xmm11",         \
  "xmm12", "xmm13", "xmm14", "xmm15", "cc", "memory"
// NOLINTEND(bugprone-macro-parentheses)
// clang-format on

struct OwnTile {
  // C += A B (or C = A B) for one full tile of packed panels, k >= 1 deep. Meanwhile one line from `ahead` on
  // is brought to the second cache every four steps, ahead_step elements apart.
  template <bool store_only>
  [[gnu::always_inline]] static void full_tile(vex_int k, const double* a, const double* b, double* c,
                                               vex_int ldc, const double* ahead, vex_int ahead_step) {
    for (int j = 0; j < 4; ++j) {  // the tile of C is on its way while the loop runs
      const char* const column = reinterpret_cast<const char*>(c + j * ldc);
      _mm_prefetch(column, _MM_HINT_T0);
      _mm_prefetch(column + 64, _MM_HINT_T0);
      _mm_prefetch(column + 88, _MM_HINT_T0);
    }
    const vex_int stride = ldc * 8, ahead_bytes = ahead_step * 8;
    if constexpr (store_only)
      asm volatile(VEX_TILE(VEX_NOTHING)
                   : "+r"(a), "+r"(b), "+r"(k), "+r"(c), "+r"(ahead)
                   : "r"(ahead_bytes), "r"(stride)
                   : VEX_CHANGED);
    else
      asm volatile(VEX_TILE(VEX_ADD)
                   : "+r"(a), "+r"(b), "+r"(k), "+r"(c), "+r"(ahead)
                   : "r"(ahead_bytes), "r"(stride)
                   : VEX_CHANGED);
  }
};

#undef VEX_LOAD
#undef VEX_COLUMN
#undef VEX_STEP
#undef VEX_ZERO
#undef VEX_ADD
#undef VEX_STORE
#undef VEX_NOTHING
#undef VEX_LAST
#undef VEX_TILE
#undef VEX_CHANGED

}  // namespace vex::blas::avx2
