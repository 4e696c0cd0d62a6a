// The print family: numbered messages and callers' own formats.
#include "service/messages.h"

#include <cstdarg>
#include <cstdint>
#include <cstring>

#include "service/catalogue.h"
#include "service/format.h"
#include "service/message_table.h"

namespace {

using vex::service::message_text;

constexpr int buffer_size = 512;

// A thread's own, so that what one thread was given is not overwritten by another's next message.
thread_local char formatted_message[buffer_size];

// Formats into `buffer`, cut to its size. A format that would read more arguments than there are is copied as
// it stands instead.
void format_into(char (&buffer)[buffer_size], const char* format, int argument_count, va_list arguments) {
  const int wanted = vex::service::count_format_arguments(format);
  const bool safe = wanted >= 0 && wanted <= argument_count;
  const int length = safe ? std::vsnprintf(buffer, buffer_size, format, arguments) : -1;
  if (length >= 0) return;
  const std::size_t kept = strnlen(format, buffer_size - 1);
  std::memcpy(buffer, format, kept);
  buffer[kept] = '\0';
}

void write_text(std::FILE* stream, const char* text) {
  const int measured = static_cast<int>(strnlen(text, buffer_size));
  // Never true, since the measuring stops at 512. Kept as it has always been.
  if (measured - 1 > buffer_size + 1) {
    std::fprintf(stream, "\nVEX INTERNAL ERROR: message buffer overflow.");
    std::fprintf(stream, "\n       Lenght: %d   Buffer size: %d\n", measured, buffer_size);
  }
  std::fputs(text, stream);
}

std::FILE* stream_of(int to_stderr) {
  return to_stderr == 1 && stderr ? stderr : stdout;
}

void print_format(std::FILE* stream, const char* format, int argument_count, va_list arguments) {
  if (!stream || !format || argument_count < 1) return;
  char buffer[buffer_size];
  format_into(buffer, format, argument_count, arguments);
  write_text(stream, buffer);
  std::fflush(nullptr);
}

}  // namespace

extern "C" {

void vex_serv_print(int to_stderr, int id, int argument_count, ...) {
  std::FILE* stream = stream_of(to_stderr);
  char buffer[buffer_size];
  if (id != 0) {
    va_list arguments;
    va_start(arguments, argument_count);
    format_into(buffer, message_text(id), argument_count, arguments);
    va_end(arguments);
  }
  flockfile(stream);  // a message and its line break stay together
  if (id != 0) write_text(stream, buffer);
  std::fputc('\n', stream);
  funlockfile(stream);
  std::fflush(nullptr);
}

const char* vex_serv_get_msg(int id, int argument_count, ...) {
  const char* text = message_text(id);
  if (argument_count < 1) return text;
  va_list arguments;
  va_start(arguments, argument_count);
  format_into(formatted_message, text, argument_count, arguments);
  va_end(arguments);
  return formatted_message;
}

void vex_serv_format_print(int to_stderr, const char* format, int argument_count, ...) {
  va_list arguments;
  va_start(arguments, argument_count);
  print_format(stream_of(to_stderr), format, argument_count, arguments);
  va_end(arguments);
}

void vex_serv_file_format_print(std::FILE* file, const char* format, int argument_count, ...) {
  va_list arguments;
  va_start(arguments, argument_count);
  print_format(file, format, argument_count, arguments);
  va_end(arguments);
}
}
