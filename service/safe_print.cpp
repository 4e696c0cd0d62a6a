// The printing half of the bounded family.
#include <algorithm>

#include "service/constraint.h"
#include "service/format.h"
#include "service/safe_string.h"

namespace {

using vex::service::check_destination;
using vex::service::violate;

int check_format(const char* function, const char* format) {
  if (!format) return violate(function, "the format is null", EINVAL);
  if (vex::service::count_format_arguments(format) < 0)
    return violate(function, "the format is refused", EINVAL);
  return 0;
}

int print(const char* function, std::FILE* file, const char* format, std::va_list arguments) {
  if (!file) return -violate(function, "the file is null", EINVAL);
  if (const int code = check_format(function, format)) return -code;
  const int written = std::vfprintf(file, format, arguments);
  return written >= 0 ? written : -EIO;
}

// Formats and cuts after `count` characters; `whole` is the length of the text uncut, or minus a code.
int format_cut(const char* function, char* buffer, std::size_t capacity, std::size_t count,
               const char* format, std::va_list arguments, int& whole) {
  whole = -check_destination(function, buffer, capacity);
  if (whole < 0) return whole;
  buffer[0] = '\0';
  whole = -check_format(function, format);
  if (whole < 0) return whole;
  const std::size_t most = std::min(count, capacity - 1);
  whole = std::vsnprintf(buffer, most + 1, format, arguments);
  if (whole < 0) {  // longer than an int can say
    buffer[0] = '\0';
    whole = -violate(function, "the text does not fit", ERANGE);
    return whole;
  }
  return static_cast<int>(std::min(most, static_cast<std::size_t>(whole)));
}

int format_whole(const char* function, char* buffer, std::size_t capacity, const char* format,
                 std::va_list arguments) {
  int whole = 0;
  const int kept = format_cut(function, buffer, capacity, capacity, format, arguments, whole);
  if (kept == whole) return whole;
  buffer[0] = '\0';
  return -violate(function, "the text does not fit", ERANGE);
}

}  // namespace

extern "C" {

int vex_serv_printf_s(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int written = print("vex_serv_printf_s", stdout, format, arguments);
  va_end(arguments);
  return written;
}

int vex_serv_fprintf_stdout_s(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int written = print("vex_serv_fprintf_stdout_s", stdout, format, arguments);
  va_end(arguments);
  return written;
}

int vex_serv_fprintf_stderr_s(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int written = print("vex_serv_fprintf_stderr_s", stderr, format, arguments);
  va_end(arguments);
  return written;
}

int vex_serv_fprintf_s(std::FILE* file, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int written = print("vex_serv_fprintf_s", file, format, arguments);
  va_end(arguments);
  return written;
}

int vex_serv_vfprintf_s(std::FILE* file, const char* format, std::va_list arguments) {
  return print("vex_serv_vfprintf_s", file, format, arguments);
}

int vex_serv_sprintf_s(char* buffer, std::size_t capacity, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = format_whole("vex_serv_sprintf_s", buffer, capacity, format, arguments);
  va_end(arguments);
  return length;
}

int vex_serv_vsprintf_s(char* buffer, std::size_t capacity, const char* format, std::va_list arguments) {
  return format_whole("vex_serv_vsprintf_s", buffer, capacity, format, arguments);
}

int vex_serv_sprintf_char_s(char* buffer, std::size_t capacity, const char* format, char value) {
  constexpr const char* function = "vex_serv_sprintf_char_s";
  if (const int code = check_destination(function, buffer, capacity)) return -code;
  buffer[0] = '\0';
  if (!format || !vex::service::formats_agree(format, "%c")) {
    return -violate(function, "the format does not take one character", EINVAL);
  }
  const int length = std::snprintf(buffer, capacity, format, value);
  if (length >= 0 && static_cast<std::size_t>(length) < capacity) return length;
  buffer[0] = '\0';
  return -violate(function, "the text does not fit", ERANGE);
}

int vex_serv_snprintf_s(char* buffer, std::size_t capacity, std::size_t count, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  int whole = 0;
  const int kept = format_cut("vex_serv_snprintf_s", buffer, capacity, count, format, arguments, whole);
  va_end(arguments);
  return kept;
}

int vex_serv_vsnprintf_s(char* buffer, std::size_t capacity, std::size_t count, const char* format,
                         std::va_list arguments) {
  int whole = 0;
  return format_cut("vex_serv_vsnprintf_s", buffer, capacity, count, format, arguments, whole);
}
}
