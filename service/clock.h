// Seconds from the processor's time-stamp counter. The counter's rate is measured once per process, on the
// first use, which takes up to a second; threads that arrive meanwhile measure for themselves, so calibrate
// before going parallel where one common rate matters.
#pragma once

#include <cstdint>

#include "vex.h"

extern "C" {

// The counter, read when all earlier instructions are done; also stored through the pointer, which may be
// null.
std::uint64_t vex_serv_get_cpu_clocks(std::uint64_t* clocks);
double vex_serv_dsecnd();
double vex_serv_iface_dsecnd();
float vex_serv_second();               // the same in single precision
void vex_serv_get_clocks_frequency();  // calibrates if that is still to be done
}

namespace vex::service {

// A difference of counter readings in seconds, by the calibrated rate.
double clocks_to_seconds(std::int64_t clocks);

}  // namespace vex::service
