// A reader of printf formats.
#include "service/format.h"

#include <cstring>

namespace vex::service {
namespace {

struct Conversion {
  // d signed, u unsigned, f floating, c, s, p; 0 when malformed or refused.
  char kind = 0;
  char length[3] = "";  // length modifier
  int stars = 0;        // widths and precisions taken from arguments
  int digits = 0;       // of the longest width or precision in the format itself

  friend bool operator==(const Conversion& a, const Conversion& b) {
    return a.kind == b.kind && std::strcmp(a.length, b.length) == 0 && a.stars == b.stars;
  }
};

const char* skip(const char* at, const char* set) {
  return at + std::strspn(at, set);
}

const char* read_number(const char* at, Conversion& read) {
  if (*at == '*') {
    ++read.stars;
    return at + 1;
  }
  const char* end = skip(at, "0123456789");
  if (end - at > read.digits) read.digits = static_cast<int>(end - at);
  return end;
}

const char* read_length(const char* at, Conversion& read) {
  if (!*at || !std::strchr("hljztL", *at)) return at;
  read.length[0] = *at++;
  if ((*at == 'h' || *at == 'l') && *at == read.length[0]) read.length[1] = *at++;
  return at;
}

char kind_of(char letter) {
  if (!letter) return 0;
  if (std::strchr("di", letter)) return 'd';
  if (std::strchr("uoxX", letter)) return 'u';
  if (std::strchr("eEfFgGaA", letter)) return 'f';
  return std::strchr("csp", letter) ? letter : '\0';
}

// Reads the first conversion at or after `at` and returns what follows it; null when there is none.
const char* next_conversion(const char* at, Conversion& read) {
  for (at = std::strchr(at, '%'); at && at[1] == '%'; at = std::strchr(at + 2, '%')) {
  }
  if (!at) return nullptr;
  read = {};
  at = read_number(skip(at + 1, "-+ #0'"), read);
  if (*at == '.') at = read_number(at + 1, read);
  at = read_length(at, read);
  read.kind = kind_of(*at);
  return read.kind ? at + 1 : at;
}

}  // namespace

int count_format_arguments(const char* format) {
  int count = 0;
  for (Conversion read; (format = next_conversion(format, read)) != nullptr;) {
    if (!read.kind) return -1;
    count += 1 + read.stars;
  }
  return count;
}

bool formats_agree(const char* one, const char* other) {
  constexpr int most_digits = 3;
  for (Conversion first, second;;) {
    one = next_conversion(one, first);
    other = next_conversion(other, second);
    if (!one || !other) return one == other;
    if (!first.kind || first != second) return false;
    if (first.digits > most_digits || second.digits > most_digits) return false;
  }
}

}  // namespace vex::service
