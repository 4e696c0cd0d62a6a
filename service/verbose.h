// Verbose mode and the trace lines: one line per traced call, and a header once per process before the first.
// vex.h holds what a program may set: vex_serv_verbose and vex_serv_verbose_output_file.
#pragma once

#include <atomic>

#include "vex.h"

extern "C" {

// The address of the mode cell, after VEX_VERBOSE has been read: the cell holds 0 (off), 1 or 2. Read it with
// vex::service::load_verbose_mode, since another thread may set it.
const int* vex_serv_verbose_mode();
const int* vex_serv_iface_verbose_mode();

// The file that the trace goes to, after VEX_VERBOSE_OUTPUT_FILE has been read; empty for standard output.
// The text is the library's own and changes when the file is set.
const char* vex_serv_verbose_output_file_mode();

// Prints the header if that has not happened yet. The interface code names the integer width in it: -1 cdecl,
// 0 unnamed, 1 lp64, 2 ilp64.
void vex_serv_print_verbose_header(int interface_code);
// The same, and then the line of one call, of whose text at most 449 characters are shown. The second is for
// the standard entries; its argument order differs.
void vex_serv_print_verbose_info(int interface_code, const char* call, double seconds);
void vex_serv_iface_print_verbose_info(double seconds, int interface_code, const char* call);
}

namespace vex::service {

// Relaxed: the mode is a switch on its own and publishes nothing else.
inline int load_verbose_mode(const int* cell) {
  return std::atomic_ref<int>(*const_cast<int*>(cell)).load(std::memory_order_relaxed);
}

// The mode that a value of VEX_VERBOSE asks for: an integer in C notation, nothing before or after it; 0 for
// anything but 0, 1 and 2.
int parse_verbose_mode(const char* value);

}  // namespace vex::service
