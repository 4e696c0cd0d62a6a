// The buffer that every line of input goes through.
#include "driver/line_buffer.h"

#include <algorithm>
#include <cstring>

#include "service/safe_string.h"

namespace vex::driver {

bool LineBuffer::read(std::FILE* file) {
  // By way of a second buffer: what fgets leaves behind after a read error is anybody's guess.
  char fresh[line_capacity];
  if (!std::fgets(fresh, static_cast<int>(line_capacity), file)) return false;
  std::memcpy(text_, fresh, std::strlen(fresh) + 1);
  return true;
}

void LineBuffer::take_integers(std::span<std::int32_t> values) {
  std::ranges::fill(values, 0);
  std::size_t remaining = vex_serv_strnlen_s(text_, line_capacity);
  char* context = nullptr;
  char* from = text_;
  for (std::int32_t& value : values) {
    const char* token = vex_serv_strtok_s(from, &remaining, " ", &context);
    if (!token) return;
    value = integer_of(token);
    from = nullptr;
  }
}

// Both conversions read into 64 bits and narrow here, because a plain %i leaves the value of an integer that
// does not fit undefined.
std::int32_t integer_of(const char* token) {
  long value = 0;
  return vex_serv_sscanf_s(token, "%li", &value) == 1 ? static_cast<std::int32_t>(value) : 0;
}

std::int32_t read_integer(std::FILE* file) {
  long value = 0;
  return std::fscanf(file, "%li", &value) == 1 ? static_cast<std::int32_t>(value) : 0;
}

}  // namespace vex::driver
