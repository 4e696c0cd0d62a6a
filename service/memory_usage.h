// How much memory the library holds, and held at most.
#pragma once

#include <cstdint>

#include "vex.h"

extern "C" {

// Bytes held: live plain blocks of all threads, and cached buffers with their whole capacity whether in use
// or not. Stores the number of these blocks unless the pointer is null.
std::int64_t vex_serv_mem_stat(std::int32_t* blocks);

// mode 1: starts watching, with the peak at 0, and returns 0; it rises with the next block obtained, to all
// that is
//         held then.
// mode 0: stops watching; returns 0.
// mode 2: the peak in bytes.
// mode -1: the peak, which is reset to the bytes now held; -1 when nobody is watching.
// Any other mode: -1.
std::int64_t vex_serv_peak_mem_usage(int mode);
}
