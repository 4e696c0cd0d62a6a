// What a printf format asks for: how many arguments, of which kinds. Lets foreign or mismatched formats be
// refused before anything reads an argument that is not there.
#pragma once

namespace vex::service {

// The number of arguments that formatting would read (a '*' counts as one); -1 when the format holds %n, a
// numbered argument (%1$s) or a conversion that C does not know.
int count_format_arguments(const char* format);

// Whether both formats read the same arguments in the same order. They may differ in the text around them, in
// flags, in fixed widths and precisions of up to three digits, and in how a number is written (%e for %f).
bool formats_agree(const char* one, const char* other);

}  // namespace vex::service
