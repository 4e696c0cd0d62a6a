// Standard streams: kept from being confused with other files, and asked at the end whether the report
// arrived.
#pragma once

namespace vex::driver {

// Fills the descriptors 0 to 2 where the program was started without them, so that no file opened later takes
// the place of a standard stream. Reading and writing them still fails, as it would have.
void occupy_standard_descriptors();

// The program's exit status: `status` when everything written to standard output has arrived, else 255 after
// a line on standard error. Closes standard output.
int finish_output(int status);

}  // namespace vex::driver
