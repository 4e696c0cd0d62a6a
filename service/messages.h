// The message catalogue and the print family.
#pragma once

#include <cstdio>

extern "C" {

// Prints message `id`, formatted with argument_count further arguments, and a line break; id 0 is the bare
// line break, and so is a number without a text. Goes to standard error when to_stderr is 1, else to standard
// output; flushes all streams. A text is cut to 511 characters; one that asks for more arguments than there
// are is printed as it stands.
void vex_serv_print(int to_stderr, int id, int argument_count, ...);

// The text of message `id`. With argument_count above 0 it is formatted into a 512-byte buffer of the calling
// thread and stays there until the thread's next call.
const char* vex_serv_get_msg(int id, int argument_count, ...);

// The same for a caller's own format, without a line break of their own; nothing is printed when
// argument_count is below 1.
void vex_serv_format_print(int to_stderr, const char* format, int argument_count, ...);
void vex_serv_file_format_print(std::FILE* file, const char* format, int argument_count, ...);
}
