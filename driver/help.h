// The help texts: plain text files in the current directory.
#pragma once

namespace vex::driver {

inline constexpr const char* help_file = "help.qrn";
inline constexpr const char* extended_help_file = "xhelp.qrn";

// Copies the file to standard output. Returns the program's exit status, which is 0 even when there is no
// such file: whoever asked for help has been told where it was looked for.
int print_help(const char* file_name);

}  // namespace vex::driver
