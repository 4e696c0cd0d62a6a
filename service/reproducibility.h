// The conditional-numerical-reproducibility setting: a branch in the low 16 bits and the STRICT flag.
#pragma once

#include <string_view>

#include "service/cpu_features.h"
#include "service/detection_messages.h"
#include "vex.h"

extern "C" {

int vex_serv_cbwr_get(int what);         // -1 the whole setting, 1 the branch, anything else answers -2
int vex_serv_cbwr_get_nolock(int what);  // the same for a caller that holds the detection lock
// Before detection: 0 and stored, or the code of check_cbwr_settings and unchanged. After detection: 0 when
// the setting is the one in force, -8 otherwise.
int vex_serv_cbwr_set(int setting);
// The branch that AUTO means on this processor: the highest that it can honour. -4 when it is below the
// minimum.
int vex_serv_cbwr_get_auto_branch();

// Whether this processor can honour a setting: 0 yes, -2 invalid, -3 not supported here. May print a warning.
int check_cbwr_settings(int setting);
}

namespace vex::service {

inline constexpr int cbwr_strict = 0x10000;

// Branch numbers. The odd ones without a name in VEX_CBWR are reached through vex_serv_cbwr_set.
enum CbwrBranch : int {
  cbwr_off = 1,
  cbwr_auto = 2,
  cbwr_compatible = 3,
  cbwr_sse2 = 4,
  cbwr_ssse3 = 6,
  cbwr_sse41 = 7,
  cbwr_sse42 = 8,
  cbwr_avx = 9,
  cbwr_avx2 = 10,
  cbwr_avx512 = 12,
  cbwr_avx512_e1 = 14
};

// Off and AUTO leave the code path to the processor; the others fix it.
constexpr bool follows_processor(int branch) {
  return branch == cbwr_off || branch == cbwr_auto;
}

struct CbwrCheck {
  int code = 0;
  MessageList messages;
};
int highest_cbwr_branch(const Processor& processor, int fine_type);
CbwrCheck check_cbwr(const Processor& processor, int fine_type, int setting);

// A value of VEX_CBWR as it reads: branch 0 for an unknown name.
struct CbwrText {
  int branch;
  bool strict;
};
CbwrText parse_cbwr(std::string_view text);
// The setting that it makes, given what check_cbwr answers for its branch.
int cbwr_setting(CbwrText text, int check_code);

}  // namespace vex::service
