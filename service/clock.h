// Seconds from the processor's time-stamp counter.
#pragma once

#include <cstdint>

extern "C" {

std::uint64_t vex_serv_get_cpu_clocks(std::uint64_t* clocks);  // the pointer may be null
double vex_serv_dsecnd();
double vex_serv_iface_dsecnd();
float vex_serv_second();
void vex_serv_get_clocks_frequency();  // calibrates once

}
