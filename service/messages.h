// The message catalogue and the print family.
#pragma once

#include <cstdio>

extern "C" {

// Prints message `id`, formatted with argument_count further arguments, and a line break; id 0 is the bare line
// break. Goes to standard error when to_stderr is 1, else to standard output; flushes all streams.
void vex_serv_print(int to_stderr, int id, int argument_count, ...);

// The text of message `id`, formatted into a shared 512-byte buffer when argument_count is above 0.
const char* vex_serv_get_msg(int id, int argument_count, ...);

// The same for a caller's own format; prints nothing when argument_count is below 1.
void vex_serv_format_print(int to_stderr, const char* format, int argument_count, ...);
void vex_serv_file_format_print(std::FILE* file, const char* format, int argument_count, ...);

}
