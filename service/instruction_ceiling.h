// The user's ceiling on the instruction set: VEX_ENABLE_INSTRUCTIONS, or a call of
// vex_serv_enable_instructions.
#pragma once

#include <cstdint>
#include <string_view>

#include "service/cpu_features.h"
#include "service/detection_messages.h"
#include "vex.h"

extern "C" {

// Sets the ceiling to a level of the table below; 1 when applied, 0 when refused (another vendor's processor,
// a level that is not in the table or that the processor lacks), which changes nothing. Any call, refused or
// not, wins over an environment that has not been read yet. Has no effect on a code path already chosen.
int vex_serv_enable_instructions(int level);

// 1 unless the ceiling forbids the level. They speak of the ceiling, not of the processor.
int vex_serv_is_sse4_2_enabled();
int vex_serv_is_avx_enabled();
int vex_serv_is_avx2_enabled();
int vex_serv_is_avx512_enabled();
int vex_serv_is_avx512_hcx_enabled();  // the AVX-512 answer under a second name
}

namespace vex::service {

// The nine level flags as a set. In the set means "must not be used", except avx512_e5, which is reversed: in
// the set means "may be used", so the AMX-FP16 level is only ever reached on request.
using LevelFlags = std::uint16_t;
namespace level_flag {
inline constexpr LevelFlags avx = 1, avx2 = 2, avx2_e1 = 4, avx512 = 8;
inline constexpr LevelFlags avx512_e1 = 16, avx512_e2 = 32, avx512_e3 = 64, avx512_e4 = 128, avx512_e5 = 256;
inline constexpr LevelFlags all = 511;
}  // namespace level_flag

// The level that a value of VEX_ENABLE_INSTRUCTIONS names, -1 for any other text.
int parse_enable_instructions(std::string_view text);

struct CeilingResult {
  bool accepted = false;
  LevelFlags flags = 0;  // in force from now on, when accepted
  MessageList messages;
};
CeilingResult ceiling_for_level(const Processor& processor, int level);

// What fine detection needs of the settings of this process; the first call reads the environment.
struct Ceiling {
  int level;  // as the environment has it, -1 when unset or unusable
  LevelFlags flags;
};
Ceiling current_ceiling();

}  // namespace vex::service
