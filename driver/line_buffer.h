// The buffer that every line of input goes through, and how integers are taken out of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>

namespace vex::driver {

inline constexpr std::size_t line_capacity = 256;  // a longer line continues as the next line

class LineBuffer {
 public:
  // Replaces the text by the next line of `file`, line break included. At the end of the file or on a read
  // error returns false and leaves the text as it stands, with the terminators that take_integers wrote into
  // it.
  bool read(std::FILE* file);

  // Splits the text at blanks (tabs do not separate) and converts one token for each entry of `values`; a
  // token that is missing or does not begin with an integer gives 0. Tokens beyond those needed are not
  // looked at.
  void take_integers(std::span<std::int32_t> values);

  const char* text() const { return text_; }

 private:
  char text_[line_capacity] = {};
};

// The integer at the beginning of `token`, decimal, octal after 0, hexadecimal after 0x; 0 when there is
// none. A value outside 32 bits keeps its low 32 bits, one outside 64 bits counts as the nearest that has 64.
std::int32_t integer_of(const char* token);

// The same from a stream. Text that is no integer stays in the stream.
std::int32_t read_integer(std::FILE* file);

}  // namespace vex::driver
