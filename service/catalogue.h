// Translated message texts from the catalogue "vex_msg.cat".
#pragma once

namespace vex::service {

// The text of a message as the user's language has it, the built-in one otherwise. The catalogue is opened by
// the first request. A translation that would read other arguments than the built-in text does is not used.
const char* message_text(int number);

// Whether the first `size` bytes at `data` are a catalogue that can be opened: a magic number, the sizes of
// two tables that lie inside, and texts of which the last one ends. What the C library does with a file that
// lies about its tables is to read past it.
bool is_sound_catalogue(const unsigned char* data, unsigned long size);

}  // namespace vex::service
