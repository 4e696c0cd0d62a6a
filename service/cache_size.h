// Sizes of the data caches: measured, or fixed under a reproducibility branch so that blocking, and with it
// rounding, does not depend on the machine.
#pragma once

#include <array>
#include <cstdint>

#include "service/platform.h"
#include "vex.h"

extern "C" {

// Copies the table: sizes[0] the number of levels (0 to 4), sizes[1..4] their sizes in bytes, first level
// first.
void vex_serv_cache_info(std::uint64_t* sizes);
// Size in bytes of a level; of the last one for level 0; -1 for a negative level or one above the number
// found.
std::int64_t vex_serv_get_cache_size(int level);
}

namespace vex::service {

using CacheSizes = std::array<std::uint64_t, 5>;

CacheSizes fixed_cache_sizes(int branch, int dispatched_type);
CacheSizes measure_cache_sizes(const Platform& machine);

}  // namespace vex::service
