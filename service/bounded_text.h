// A line of text that is built piece by piece in a buffer of fixed size.
#pragma once

#include <cstddef>
#include <cstring>

#include "service/safe_string.h"

namespace vex::service {

// Holds at most Limit characters and a terminator; what does not fit is cut.
template <std::size_t Limit>
class BoundedText {
 public:
  // The arguments are those of a printf format.
  template <typename... Arguments>
  void append(const char* format, Arguments... arguments) {
    if (length_ == Limit) return;
    vex_serv_snprintf_s(text_ + length_, Limit + 1 - length_, Limit - length_, format, arguments...);
    length_ += std::strlen(text_ + length_);
  }

  const char* text() const { return text_; }
  std::size_t length() const { return length_; }

 private:
  char text_[Limit + 1] = {};
  std::size_t length_ = 0;
};

}  // namespace vex::service
