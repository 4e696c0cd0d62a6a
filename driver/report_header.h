// What the report begins with: the machine, the threads of the run, and an echo of its parameters.
#pragma once

#include "driver/configuration.h"

namespace vex::driver {

struct Machine {
  int packages;
  int cores;  // physical cores of all packages
};

Machine count_machine();

// True when `text` as a whole is a decimal integer that is not negative: then the user has chosen the number
// of threads and it is left alone.
bool is_thread_count(const char* text);

// One thread per physical core, never more than the runtime would use anyway, unless OMP_NUM_THREADS says
// otherwise.
void set_threads(const Machine& machine);

void print_header(const Machine& machine);
void print_echo(const Configuration& run);

}  // namespace vex::driver
