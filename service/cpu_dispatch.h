// Which code path serves this processor.
#pragma once

extern "C" {

int vex_serv_cpu_detect();       // dispatched type: 0, 3, 5 or 7
int vex_serv_elem_cpu_detect();  // vector-math type
// fresh = 0: the stored dispatched type, -1 before detection; otherwise the fine type, detected anew.
int vex_serv_get_cpu_type(int fresh);
int vex_serv_enable_instructions(int level);  // 1 when applied, 0 when refused
int vex_serv_is_sse4_2_enabled();
int vex_serv_is_avx_enabled();
int vex_serv_is_avx2_enabled();
int vex_serv_is_avx512_enabled();
int vex_serv_is_avx512_hcx_enabled();

}
