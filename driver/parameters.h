// Where the run's parameters come from: the command line, an input file, standard input or the terminal.
#pragma once

#include <optional>

#include "driver/configuration.h"

namespace vex::driver {

// Fills `run` from the source that the command line selects. Returns the program's exit status when a help
// text was all that was asked for; otherwise nothing. Input that cannot be read ends the process with status
// 255.
std::optional<int> read_parameters(int argc, char** argv, Configuration& run);

}  // namespace vex::driver
