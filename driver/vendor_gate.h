// The vendor gate and the floating-point mode: what main does before anything else.
#pragma once

extern "C" {

// 1 when the vendor string of CPUID leaf 0 is the one that this build serves, else 0.
int cpu_is_genuine_korva();
}

namespace vex::driver {

// From here on the calling thread, and every thread started from it, flushes denormal results to zero and
// reads denormal operands as zero.
void flush_denormals();

}  // namespace vex::driver
