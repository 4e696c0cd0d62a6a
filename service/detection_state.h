// What detection shares between the choice of a code path and the reproducibility setting. -1 is "not yet".
#pragma once

#include <atomic>
#include <cstdint>

namespace vex::service {

// Guards detection, the first reading of VEX_CBWR and vex_serv_cbwr_set. The cells below change only under
// it; readers outside it are content with any value but -1. The order is relaxed: a cell's value is its whole
// message.
inline constinit std::int32_t VEX_Detect_Cpu_Global_Lock = 0;

inline constinit std::atomic<std::int32_t> vex_cpu_type{-1};       // dispatched type
inline constinit std::atomic<std::int32_t> vex_elem_cpu_type{-1};  // vector-math type
inline constinit std::atomic<std::int32_t> vex_cbwr{-1};           // reproducibility setting

}  // namespace vex::service
