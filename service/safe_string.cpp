// The constraint handler, and bounded copying, joining and splitting.
#include "service/safe_string.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "service/constraint.h"

namespace {

using vex::service::check_destination;
using vex::service::largest_capacity;
using vex::service::violate;

void print_violation(const char* function, const char* reason, int) {
  std::fprintf(stderr, "VEX: %s: %s\n", function, reason);
}

constinit std::atomic<vex_constraint_handler> constraint_handler{print_violation};

int refuse(char* destination, const char* function, const char* reason, int code) {
  destination[0] = '\0';
  return violate(function, reason, code);
}

// Puts at most `count` characters of the source behind the first `used` of the destination.
int append(const char* function, char* destination, std::size_t capacity, std::size_t used,
           const char* source, std::size_t count) {
  if (!source) return refuse(destination, function, "the source is null", EINVAL);
  const std::size_t room = capacity - used;
  const std::size_t length = strnlen(source, std::min(count, room));
  if (length == room) return refuse(destination, function, "the text does not fit", ERANGE);
  std::memmove(destination + used, source, length);
  destination[used + length] = '\0';
  return 0;
}

int copy(const char* function, char* destination, std::size_t capacity, const char* source,
         std::size_t count) {
  if (const int code = check_destination(function, destination, capacity)) return code;
  return append(function, destination, capacity, 0, source, count);
}

char lower(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

}  // namespace

namespace vex::service {

int violate(const char* function, const char* reason, int code) {
  constraint_handler.load(std::memory_order_acquire)(function, reason, code);
  return code;
}

}  // namespace vex::service

extern "C" {

vex_constraint_handler vex_serv_set_str_constraint_handler_s(vex_constraint_handler handler) {
  return constraint_handler.exchange(handler ? handler : print_violation, std::memory_order_acq_rel);
}

void vex_serv_ignore_handler_s(const char*, const char*, int) {}

int vex_serv_strncpy_s(char* destination, std::size_t capacity, const char* source, std::size_t count) {
  return copy("vex_serv_strncpy_s", destination, capacity, source, count);
}

int vex_serv_strncat_s(char* destination, std::size_t capacity, const char* source, std::size_t count) {
  constexpr const char* function = "vex_serv_strncat_s";
  if (const int code = check_destination(function, destination, capacity)) return code;
  const std::size_t used = strnlen(destination, capacity);
  if (used == capacity) return refuse(destination, function, "the destination does not end", EINVAL);
  return append(function, destination, capacity, used, source, count);
}

int vex_serv_strcpy(char* destination, std::size_t capacity, const char* source) {
  return copy("vex_serv_strcpy", destination, capacity, source, largest_capacity);
}

int vex_serv_strcat2(char* destination, std::size_t capacity, const char* first, const char* second) {
  constexpr const char* function = "vex_serv_strcat2";
  if (const int code = check_destination(function, destination, capacity)) return code;
  if (!first || !second) return refuse(destination, function, "a source is null", EINVAL);
  const std::size_t head = strnlen(first, capacity);
  const std::size_t tail = strnlen(second, capacity);
  if (head + tail >= capacity) return refuse(destination, function, "the text does not fit", ERANGE);
  std::memmove(destination + head, second, tail);
  std::memmove(destination, first, head);
  destination[head + tail] = '\0';
  return 0;
}

int vex_serv_memcpy_s(void* destination, std::size_t capacity, const void* source, std::size_t count) {
  constexpr const char* function = "vex_serv_memcpy_s";
  if (const int code = check_destination(function, destination, capacity)) return code;
  if (source && count <= capacity) {
    std::memmove(destination, source, count);
    return 0;
  }
  std::memset(destination, 0, capacity);
  return source ? violate(function, "the source does not fit", ERANGE)
                : violate(function, "the source is null", EINVAL);
}

std::size_t vex_serv_strnlen_s(const char* text, std::size_t bound) {
  return text ? strnlen(text, bound) : 0;
}

char* vex_serv_strtok_s(char* text, std::size_t* remaining, const char* delimiters, char** context) {
  constexpr const char* function = "vex_serv_strtok_s";
  if (!remaining || !delimiters || !context || (!text && !*context)) {
    violate(function, "an argument is null", EINVAL);
    return nullptr;
  }
  // An empty set of delimiters would match the terminator that strchr takes into it.
  const auto delimits = [delimiters](char c) { return c && std::strchr(delimiters, c); };
  char* at = text ? text : *context;
  std::size_t left = *remaining;
  for (; left > 0 && delimits(*at); --left) ++at;
  char* const token = at;
  for (; left > 0 && *at && !delimits(*at); --left) ++at;
  if (left == 0 && *at) {
    *remaining = 0;
    *context = at;
    violate(function, "the text does not end", EINVAL);
    return nullptr;
  }
  char* const end = at;
  if (*at) {  // a delimiter
    *at++ = '\0';
    --left;
  }
  *remaining = left;
  *context = at;
  return end == token ? nullptr : token;
}

int vex_serv_lsame(const char* a, const char* b) {
  return a && b && lower(*a) == lower(*b);
}

std::FILE* vex_serv_fopen(const char* name, const char* mode) {
  if (name && mode) return std::fopen(name, mode);
  violate("vex_serv_fopen", "an argument is null", EINVAL);
  return nullptr;
}

int vex_serv_fclose(std::FILE* file) {
  if (file) return std::fclose(file);
  violate("vex_serv_fclose", "the file is null", EINVAL);
  return EOF;
}
}
