// Corrections of parameters that are out of range.
#include "driver/limits.h"

#include "driver/report.h"

namespace vex::driver {
namespace {

void warn(const char* name, std::int32_t value, Message rule, std::int32_t bound, std::int32_t replacement) {
  print(incorrect_parameter, name, value);
  print(rule, bound);
  print(set_to_default, replacement);
}

}  // namespace

std::int32_t at_least(std::int32_t bound, const char* name, std::int32_t value, std::int32_t replacement) {
  if (value >= bound) return value;
  warn(name, value, not_less_than, bound, replacement);
  return replacement;
}

std::int32_t at_most(std::int32_t bound, const char* name, std::int32_t value, std::int32_t replacement) {
  if (value <= bound) return value;
  warn(name, value, not_bigger_than, bound, replacement);
  return replacement;
}

}  // namespace vex::driver
