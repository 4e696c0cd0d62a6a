// Parameters asked for at the terminal: exactly one test.
#pragma once

#include <cstdio>

#include "driver/configuration.h"

namespace vex::driver {

// Prompts on standard output, reads answers from `answers`, corrects them with warnings. Unlike an input file
// it accepts 0 trials and sets no upper limit to size and leading dimension. An answer that is no integer
// counts as 0.
void ask_parameters(std::FILE* answers, Configuration& run);

}  // namespace vex::driver
