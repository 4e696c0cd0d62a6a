// What the library holds, counted while somebody asked for it: current bytes, blocks and the peak.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vex::service {

// Called by whoever obtains or gives back a block of `bytes` bytes. One load while counting is off.
void count_obtained(std::size_t bytes);
void count_released(std::size_t bytes);

// Starts counting from `bytes` in `blocks`, with the peak at 0: it rises at the next block obtained.
void enable_statistics(std::int64_t bytes, std::int64_t blocks);
void disable_statistics();

std::int64_t peak_bytes();
// The peak, which falls back to the bytes now held; -1 when counting is off.
std::int64_t take_peak_bytes();

}  // namespace vex::service
