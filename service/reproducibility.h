// The conditional-numerical-reproducibility setting: a branch in the low 16 bits and the STRICT flag.
#pragma once

extern "C" {

int vex_serv_cbwr_get(int what);  // -1 the whole setting, 1 the branch, anything else answers -2
int vex_serv_cbwr_get_nolock(int what);
int vex_serv_cbwr_set(int setting);
int vex_serv_cbwr_get_auto_branch();

}

namespace vex::service {

inline constexpr int cbwr_strict = 0x10000;

}  // namespace vex::service
