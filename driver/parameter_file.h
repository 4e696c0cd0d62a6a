// The input file: a comment line, a title, the number of tests, and a line each of sizes, leading dimensions,
// trials and alignments.
#pragma once

#include <cstdio>

#include "driver/configuration.h"

namespace vex::driver {

// Reads, corrects (with warnings) and echoes the title. Returns false when the number of tests cannot be had:
// no such line, no digits in it, or a number too large for 64 bits. The file stays open.
bool parse_parameter_file(std::FILE* file, Configuration& run);

}  // namespace vex::driver
