// The built-in message texts.
#pragma once

namespace vex::service {

// Numbers run from 0 to message_count - 1; most of them have no text here.
inline constexpr int message_count = 1455;

// The text of a message, empty for a number without one.
const char* built_in_message(int number);

}  // namespace vex::service
