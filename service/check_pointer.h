// The report that scratch memory was not obtained.
#pragma once

extern "C" {

// 0 for a block; for a null one, prints the warning with the routine's name and answers 1.
int vex_serv_check_ptr_and_warn(const void* block, const char* routine);
}
