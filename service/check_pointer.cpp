// See check_pointer.h.
#include "service/check_pointer.h"

#include "service/messages.h"

extern "C" int vex_serv_check_ptr_and_warn(const void* block, const char* routine) {
  if (block) return 0;
  vex_serv_print(0, 1102, 1, routine);
  return 1;
}
