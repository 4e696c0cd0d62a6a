// Seconds from the processor's time-stamp counter, through the functions that vex.h declares. The counter's
// rate is measured once per process, on the first use, which takes up to a second; threads that arrive
// meanwhile measure for themselves, so calibrate before going parallel where one common rate matters.
#pragma once

#include <cstdint>

#include "vex.h"

extern "C" {

double vex_serv_iface_dsecnd();  // the standard entries' way to vex_serv_dsecnd
}

namespace vex::service {

// A difference of counter readings in seconds, by the calibrated rate.
double clocks_to_seconds(std::int64_t clocks);

}  // namespace vex::service
