// Which code path serves this processor.
#pragma once

#include "service/cpu_features.h"
#include "service/fine_type.h"
#include "service/instruction_ceiling.h"
#include "vex.h"

extern "C" {

// Both detect on first use; a processor below the minimum ends the process through the exit handler with code
// 1, and should the handler return, type 0 is in force.
int vex_serv_cpu_detect();       // dispatched type: 0, 3, 5 or 7
int vex_serv_elem_cpu_detect();  // vector-math type: 0, 2, 5, 7 or 9

// fresh = 0: the stored dispatched type, -1 before detection; otherwise the fine type, detected anew (below
// the minimum the process ends; -1 should the exit handler return).
int vex_serv_get_cpu_type(int fresh);

// Settles both types, once. Returns 0, or the code that the process must end with.
int __vex_cpu_detect_and_load_dll();
}

namespace vex::service {

// The values that vex_serv_cpu_detect answers. Kernel dispatchers meet 1 as well, as another name of generic.
enum class CodePath : int { generic = 0, mc3 = 3, avx2 = 5, avx512 = 7 };

struct Dispatch {
  int dispatched = 0;
  int vector_math = 0;
  int failure_code = 0;
  MessageList messages;
};
// The rules, for a processor, a ceiling and a reproducibility branch.
Dispatch choose_code_path(const Processor& processor, const Ceiling& ceiling, int branch);

}  // namespace vex::service
