// Bounded string and formatting functions: each knows its destination's capacity and never writes past it.
//
// A broken constraint (a null argument, a capacity of zero or absurdly large, a text that does not fit) is
// reported to the constraint handler, leaves an empty destination where there is one, and comes back as a
// code: EINVAL for an argument that makes no sense, ERANGE for a text that does not fit. Functions that
// return a count return minus the code. Capacities and counts are in characters; a capacity includes the
// terminator, a count does not.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>

#define VEX_PRINTF(format_at, first_at) __attribute__((format(printf, format_at, first_at)))

extern "C" {

// function: the violated function's name; reason: what was wrong; code: EINVAL or ERANGE.
using vex_constraint_handler = void (*)(const char* function, const char* reason, int code);

// Installs a handler (null restores the default, which prints "VEX: <function>: <reason>" on standard error)
// and returns the previous one, the default if there was none.
vex_constraint_handler vex_serv_set_str_constraint_handler_s(vex_constraint_handler handler);
void vex_serv_ignore_handler_s(const char* function, const char* reason, int code);  // does nothing

// Copying. Source and destination may overlap; a source of strcat2 may be the destination itself. Return 0,
// EINVAL or ERANGE.
//
// At most `count` characters of the source, then a terminator.
int vex_serv_strncpy_s(char* destination, std::size_t capacity, const char* source, std::size_t count);
// The same behind the text that already stands in the destination; EINVAL when that one does not end in it.
int vex_serv_strncat_s(char* destination, std::size_t capacity, const char* source, std::size_t count);
int vex_serv_strcpy(char* destination, std::size_t capacity, const char* source);
// destination = first + second.
int vex_serv_strcat2(char* destination, std::size_t capacity, const char* first, const char* second);
// `count` bytes; a violation fills the destination with zeros.
int vex_serv_memcpy_s(void* destination, std::size_t capacity, const void* source, std::size_t count);

// Length of the text, at most `bound`; 0 for null.
std::size_t vex_serv_strnlen_s(const char* text, std::size_t bound);

// The next token of a text, or null when there is none; then text is null in the calls that go on.
// `*remaining` is the length of the text, its terminator not counted; both it and *context are kept up to
// date. Delimiters before a token are skipped, the one behind it is overwritten with a terminator. A text
// that goes on at text[*remaining] violates.
char* vex_serv_strtok_s(char* text, std::size_t* remaining, const char* delimiters, char** context);

// 1 when the letters agree, whatever their case.
int vex_serv_lsame(const char* a, const char* b);

// Printing. Return the number of characters written, minus the code, or -EIO when the file does not take
// them. %n, numbered arguments and unknown conversions are refused.
int vex_serv_printf_s(const char* format, ...) VEX_PRINTF(1, 2);
int vex_serv_fprintf_stdout_s(const char* format, ...) VEX_PRINTF(1, 2);
int vex_serv_fprintf_stderr_s(const char* format, ...) VEX_PRINTF(1, 2);
int vex_serv_fprintf_s(std::FILE* file, const char* format, ...) VEX_PRINTF(2, 3);
int vex_serv_vfprintf_s(std::FILE* file, const char* format, std::va_list arguments) VEX_PRINTF(2, 0);

// Into a buffer that must hold the whole text: ERANGE otherwise.
int vex_serv_sprintf_s(char* buffer, std::size_t capacity, const char* format, ...) VEX_PRINTF(3, 4);
int vex_serv_vsprintf_s(char* buffer, std::size_t capacity, const char* format, std::va_list arguments)
    VEX_PRINTF(3, 0);
// The same for a format with a single %c.
int vex_serv_sprintf_char_s(char* buffer, std::size_t capacity, const char* format, char value);

// Into a buffer, cut after `count` characters and to the capacity; no violation. Returns what was kept,
// always less than the capacity.
int vex_serv_snprintf_s(char* buffer, std::size_t capacity, std::size_t count, const char* format, ...)
    VEX_PRINTF(4, 5);
int vex_serv_vsnprintf_s(char* buffer, std::size_t capacity, std::size_t count, const char* format,
                         std::va_list arguments) VEX_PRINTF(4, 0);

// Reading, as sscanf and fscanf, with one difference: %s, %c and %[ take two arguments, the destination and
// its capacity as a std::size_t. A text that does not fit is a violation, counts as no match and leaves an
// empty destination. Return the number of conversions stored, EOF when the input ends before the first, or
// minus the code. %n, %m, numbered arguments and wide characters are refused.
int vex_serv_sscanf_s(const char* text, const char* format, ...);
int vex_serv_fscanf_s(std::FILE* file, const char* format, ...);

// As fopen and fclose; a null argument violates and gives null or EOF.
std::FILE* vex_serv_fopen(const char* name, const char* mode);
int vex_serv_fclose(std::FILE* file);
}

#undef VEX_PRINTF
