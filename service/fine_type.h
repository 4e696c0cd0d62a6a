// The fine type: what the processor is, under the ceiling in force.
#pragma once

#include "service/cpu_features.h"
#include "service/detection_messages.h"
#include "service/instruction_ceiling.h"

extern "C" {

// Detects anew. Below SSE3 it prints why, stores 1 in *failure_code and returns -1; *failure_code is 0
// otherwise.
int __detect_real_cpu(int* failure_code);
}

namespace vex::service {

// Types 2, 4, 6, 8, 11 and 13 have no kernels and are never detected: a processor with AVX and no more is
// sse42.
namespace fine {
inline constexpr int below_minimum = -1;
inline constexpr int sse3_or_foreign = 0;
inline constexpr int compatible = 1;  // never detected: what the COMPATIBLE branch asks for
inline constexpr int sse42 = 3;
inline constexpr int avx2 = 5;
inline constexpr int avx512 = 7;
inline constexpr int avx512_vnni = 9;
inline constexpr int avx512_e2 = 10;
inline constexpr int avx512_bf16 = 12;
inline constexpr int avx512_fp16 = 14;
inline constexpr int avx2_vnni = 15;
inline constexpr int avx512_amx_fp16 = 16;  // only on request
}  // namespace fine

struct FineDetection {
  int type = fine::below_minimum;
  int failure_code = 0;
  MessageList messages;
};
FineDetection detect_fine(const Processor& processor, LevelFlags flags);

// The same for this process, printing nothing about a processor below the minimum.
FineDetection detect_fine_here();

}  // namespace vex::service
