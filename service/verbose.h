// Verbose mode and the trace lines.
#pragma once

extern "C" {

int vex_serv_verbose(int mode);
const int* vex_serv_verbose_mode();        // address of the mode cell: 0 off, 1 or 2 on
const int* vex_serv_iface_verbose_mode();
void vex_serv_print_verbose_info(int interface_code, const char* call, double seconds);
void vex_serv_iface_print_verbose_info(double seconds, int interface_code, const char* call);

}
