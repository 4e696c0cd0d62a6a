// Reads the nominal clock rate out of the brand string, and out of the processor description where the brand
// string has none.
#include "service/nominal_rate.h"

#include <algorithm>
#include <cstring>

#include "service/cpuinfo.h"

namespace vex::service {
namespace {

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// To MHz; 0 for a letter that is no prefix.
int multiplier_of(char prefix) {
  switch (prefix) {
    case 'T':
      return 1000000;
    case 'G':
      return 1000;
    case 'M':
      return 1;
    default:
      return 0;
  }
}

// Four digits, or fewer behind blanks; 0 for anything else.
int four_digit_number(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  int number = 0;
  for (const char c : text) {
    if (!is_digit(c)) return 0;
    number = 10 * number + (c - '0');
  }
  return number;
}

// "d.dd" in units of the multiplier. The divisions are whole: megahertz have no fraction.
int decimal_number(std::string_view text, int multiplier) {
  if (!is_digit(text[0]) || !is_digit(text[2]) || !is_digit(text[3])) return 0;
  return multiplier * (text[0] - '0') + multiplier / 10 * (text[2] - '0') +
         multiplier / 100 * (text[3] - '0');
}

int brand_mhz(const Platform& machine) {
  constexpr std::uint32_t last_brand_leaf = 0x80000004;
  if (machine.cpuid(0x80000000, 0).eax < last_brand_leaf) return 0;
  const CpuidResult leaf = machine.cpuid(last_brand_leaf, 0);
  char tail[brand_tail_length];
  static_assert(sizeof leaf == sizeof tail);
  std::memcpy(tail, &leaf, sizeof tail);  // EAX first, low byte first: the order of the text
  return brand_string_mhz({tail, sizeof tail});
}

double described_mhz(const Platform& machine) {
  std::FILE* text = machine.open_cpuinfo();
  if (!text) return 0;
  const double mhz = read_cpuinfo_mhz(text);
  std::fclose(text);
  return mhz;
}

}  // namespace

int brand_string_mhz(std::string_view tail) {
  if (tail.size() != brand_tail_length) return 0;
  // The unit's first letter is looked for where a prefix and four characters fit in front of it.
  for (std::size_t unit = 5; unit <= 14; ++unit) {
    const std::size_t prefix = unit - 1;
    const int multiplier = multiplier_of(tail[prefix]);
    if (multiplier == 0 || tail.substr(unit, 2) != "Hz") continue;
    const std::string_view number = tail.substr(prefix - 4, 4);
    return number[1] == '.' ? decimal_number(number, multiplier) : four_digit_number(number);
  }
  return 0;
}

double nominal_rate(const Platform& machine) {
  if (const int mhz = brand_mhz(machine); mhz > 0) return mhz * 0.001;
  return described_mhz(machine) * 0.001;
}

}  // namespace vex::service
