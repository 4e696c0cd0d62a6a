// The library's integer, and how character-length arguments arrive.
#pragma once

#include <cstdint>

// Every integer inside the library is signed 64-bit; only the 32-bit standard entries use anything else.
using vex_int = std::int64_t;
