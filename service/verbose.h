// Verbose mode and the trace lines: one line per traced call, and a header once per process before the first.
#pragma once

#include <atomic>

extern "C" {

// Sets the mode (0 off, 1 or 2 on) and returns it; any other mode is refused with -1.
int vex_serv_verbose(int mode);
// The address of the mode cell, after the environment has been read: the cell holds 0 (off), 1 or 2. Read it
// with vex::service::load_verbose_mode, since another thread may set it.
const int* vex_serv_verbose_mode();
const int* vex_serv_iface_verbose_mode();

// Prints the header if that has not happened yet and then the line of one call. The interface code names the
// integer width in the header: -1 cdecl, 0 unnamed, 1 lp64, 2 ilp64. The second is the same for the standard
// entries, whose argument order differs.
void vex_serv_print_verbose_info(int interface_code, const char* call, double seconds);
void vex_serv_iface_print_verbose_info(double seconds, int interface_code, const char* call);
}

namespace vex::service {

// Relaxed: the mode is a switch on its own and publishes nothing else.
inline int load_verbose_mode(const int* cell) {
  return std::atomic_ref<int>(*const_cast<int*>(cell)).load(std::memory_order_relaxed);
}

}  // namespace vex::service
