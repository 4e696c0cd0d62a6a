// The reading half of the bounded family. A format is taken apart into steps that end with one conversion
// each, so that a text conversion can be given a width that its destination holds; the C library carries out
// each step.
#include <algorithm>
#include <cstring>

#include "service/constraint.h"
#include "service/safe_string.h"

namespace {

using vex::service::violate;

constexpr std::size_t step_capacity = 256;

struct Step {
  char prefix[step_capacity];      // what stands before the conversion: blanks, literal text, %%
  char conversion[step_capacity];  // without % and width: "i", "lli", "[a-z]"; empty where the format ends
  char letter = 0;                 // that says what the conversion is
  bool stores = false;
  std::size_t width = 0;  // 0 for none

  bool is_text() const { return stores && letter && std::strchr("sc[", letter); }
};

// The end of a set such as [a-z] or []^]; null when it has none. A bracket that comes first belongs to the
// set.
const char* end_of_set(const char* at) {
  at += at[1] == '^' ? 2 : 1;
  if (*at == ']') ++at;
  at = std::strchr(at, ']');
  return at ? at + 1 : nullptr;
}

// Decimal, and no larger than any field is long.
const char* read_width(const char* at, std::size_t& width) {
  constexpr std::size_t widest = 1000000000;
  for (; *at >= '0' && *at <= '9'; ++at) {
    width = std::min(widest, 10 * width + static_cast<std::size_t>(*at - '0'));
  }
  return at;
}

bool keep(char (&target)[step_capacity], const char* from, const char* end) {
  const auto length = static_cast<std::size_t>(end - from);
  if (length >= step_capacity) return false;
  std::memcpy(target, from, length);
  target[length] = '\0';
  return true;
}

// Reads the step that begins at `at` and returns what follows it; null when it cannot be carried out.
const char* read_step(const char* at, Step& step) {
  step = {};
  const char* begin = at;
  while (*at && !(*at == '%' && at[1] != '%')) at += *at == '%' ? 2 : 1;
  if (!keep(step.prefix, begin, at)) return nullptr;
  if (!*at++) return at - 1;

  step.stores = *at != '*';
  const char* digits = step.stores ? at : at + 1;
  const char* modifiers = read_width(digits, step.width);
  if (modifiers != digits && step.width == 0) return nullptr;
  at = modifiers + std::strspn(modifiers, "hljztL");
  step.letter = *at;
  if (!step.letter || !std::strchr("diouxXaAeEfFgGpsc[", step.letter)) return nullptr;
  if (std::strchr("sc[", step.letter) && at != modifiers) return nullptr;  // wide characters
  const char* end = step.letter == '[' ? end_of_set(at) : at + 1;
  return end && keep(step.conversion, modifiers, end) ? end : nullptr;
}

bool is_usable(const char* format) {
  for (Step step; *format;) {
    format = read_step(format, step);
    if (!format) return false;
  }
  return true;
}

// Large enough for both parts of a step, a width and the rest.
using StepFormat = char[2 * step_capacity + 32];

// %n tells whether the step came to its end, and how far that is.
void write_step(const Step& step, std::size_t width, StepFormat& format) {
  char digits[24] = "";
  if (width > 0) std::snprintf(digits, sizeof digits, "%zu", width);
  const char* percent = !step.letter ? "" : step.stores ? "%" : "%*";
  std::snprintf(format, sizeof format, "%s%s%s%s%%n", step.prefix, percent, digits, step.conversion);
}

class StringSource {
 public:
  explicit StringSource(const char* text) : at_(text) {}
  template <typename... Targets>
  int scan(const char* format, int& used, Targets... targets) {
    const int result = std::sscanf(at_, format, targets..., &used);
    if (used > 0) at_ += used;
    return result;
  }
  int next() const { return *at_ ? static_cast<unsigned char>(*at_) : EOF; }

 private:
  const char* at_;
};

class FileSource {
 public:
  explicit FileSource(std::FILE* file) : file_(file) {}
  template <typename... Targets>
  int scan(const char* format, int& used, Targets... targets) {
    return std::fscanf(file_, format, targets..., &used);
  }
  int next() const {
    const int c = std::getc(file_);
    return c == EOF ? EOF : std::ungetc(c, file_);
  }

 private:
  std::FILE* file_;
};

// Whether a text conversion would have taken one more character.
bool goes_on(const Step& step, int next) {
  if (next == EOF || next == 0) return false;
  if (step.letter == 's') return !std::strchr(" \t\n\v\f\r", next);
  const char text[] = {static_cast<char>(next), '\0'};
  StepFormat probe;
  std::snprintf(probe, sizeof probe, "%%*1%s%%n", step.conversion);
  int used = 0;
  std::sscanf(text, probe, &used);
  return used == 1;
}

// One conversion's fate: done, no match, or end of input.
enum class Outcome { done, mismatch, end };

template <typename Source>
class Scanner {
 public:
  Scanner(const char* function, Source source) : function_(function), source_(source) {}

  int run(const char* format, std::va_list arguments) {
    va_copy(arguments_, arguments);
    const int result = run_steps(format);
    va_end(arguments_);
    return result;
  }

 private:
  int run_steps(const char* format) {
    int stored = 0;
    for (Step step; *format;) {
      format = read_step(format, step);
      const Outcome outcome = step.is_text() ? scan_text(step) : scan_other(step);
      if (violated_ == EINVAL) return -EINVAL;
      if (outcome == Outcome::end && stored == 0) return EOF;
      if (outcome != Outcome::done) return stored;
      stored += step.stores;
    }
    return stored;
  }

  Outcome scan_other(const Step& step) {
    StepFormat format;
    write_step(step, step.width, format);
    if (!step.stores) return carry_out(format);
    void* target = va_arg(arguments_, void*);
    if (!target) return refuse(nullptr, "a destination is null", EINVAL);
    return carry_out(format, target);
  }

  Outcome scan_text(const Step& step) {
    char* destination = va_arg(arguments_, char*);
    const std::size_t capacity = va_arg(arguments_, std::size_t);
    if (vex::service::check_destination(function_, destination, capacity)) {
      violated_ = EINVAL;
      return Outcome::mismatch;
    }
    const bool terminated = step.letter != 'c';
    const std::size_t room = capacity - terminated;
    const std::size_t wanted = step.width || terminated ? step.width : 1;  // 0: as long as it lasts
    if (room == 0 || (!terminated && wanted > room)) {
      return refuse(destination, "the text does not fit", ERANGE);
    }
    const bool shortened = wanted == 0 || wanted > room;
    StepFormat format;
    write_step(step, shortened ? room : wanted, format);
    const Outcome outcome = carry_out(format, destination);
    if (outcome != Outcome::done || !shortened || !goes_on(step, source_.next())) return outcome;
    return refuse(destination, "the text does not fit", ERANGE);
  }

  template <typename... Targets>
  Outcome carry_out(const char* format, Targets... targets) {
    int used = -1;
    const int result = source_.scan(format, used, targets...);
    if (used >= 0) return Outcome::done;
    return result == EOF ? Outcome::end : Outcome::mismatch;
  }

  Outcome refuse(char* destination, const char* reason, int code) {
    if (destination) destination[0] = '\0';
    violated_ = violate(function_, reason, code);
    return Outcome::mismatch;
  }

  const char* function_;
  Source source_;
  int violated_ = 0;
  std::va_list arguments_;
};

template <typename Source, typename Input>
int scan(const char* function, Input* input, const char* format, std::va_list arguments) {
  if (!input || !format) return -violate(function, "an argument is null", EINVAL);
  if (!is_usable(format)) return -violate(function, "the format is refused", EINVAL);
  return Scanner<Source>(function, Source(input)).run(format, arguments);
}

}  // namespace

extern "C" {

int vex_serv_sscanf_s(const char* text, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int stored = scan<StringSource>("vex_serv_sscanf_s", text, format, arguments);
  va_end(arguments);
  return stored;
}

int vex_serv_fscanf_s(std::FILE* file, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int stored = scan<FileSource>("vex_serv_fscanf_s", file, format, arguments);
  va_end(arguments);
  return stored;
}
}
