// Parses the processor description: lines of "key <blanks> : value", entries begun by a "processor" line.
#include "service/cpuinfo.h"

#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace vex::service {
namespace {

// The lines of a text, each cut at 512 characters. What a longer line holds beyond that is dropped rather
// than taken for a line of its own.
class Lines {
 public:
  explicit Lines(std::FILE* text) : text_(text) {}

  bool next() {
    int length = 0, c;
    while ((c = std::fgetc(text_)) != EOF && c != '\n') {
      if (length < max_length) line_[length++] = static_cast<char>(c);
    }
    line_[length] = '\0';
    return c != EOF || length > 0;
  }

  bool begins_with(const char* key) const { return std::strncmp(line_, key, std::strlen(key)) == 0; }

  // What follows the colon; the empty text when there is none.
  const char* value() const {
    const char* colon = std::strchr(line_, ':');
    return colon ? colon + 1 : "";
  }

 private:
  static constexpr int max_length = 512;
  std::FILE* text_;
  char line_[max_length + 1];
};

// -1 when the text does not begin with a number that fits.
int whole_number(const char* text) {
  char* end;
  const long value = std::strtol(text, &end, 10);
  return end == text || value < 0 || value > INT_MAX ? -1 : static_cast<int>(value);
}

// Zero, "not told", for anything but a positive number.
int count_of(const char* text) {
  const int value = whole_number(text);
  return value > 0 ? value : 0;
}

// Neighbouring entries mostly belong to one package, so the latest identifier is looked at first.
void insert(int id, int (&ids)[max_packages], int& count) {
  for (int i = count - 1; i >= 0; --i)
    if (ids[i] == id) return;
  if (count < max_packages) ids[count++] = id;
}

}  // namespace

CpuinfoCounts read_cpuinfo_counts(std::FILE* text, int (&package_ids)[max_packages]) {
  CpuinfoCounts counts;
  for (Lines line(text); line.next();) {
    if (line.begins_with("processor")) {
      if (counts.processors < INT_MAX) ++counts.processors;
    } else if (line.begins_with("physical id")) {
      const int id = whole_number(line.value());
      if (id >= 0) insert(id, package_ids, counts.packages);
    } else if (counts.processors == 1) {
      if (line.begins_with("cpu cores")) counts.cores_per_package = count_of(line.value());
      if (line.begins_with("siblings")) counts.siblings_per_package = count_of(line.value());
    }
  }
  return counts;
}

double read_cpuinfo_mhz(std::FILE* text) {
  for (Lines line(text); line.next();) {
    if (!line.begins_with("cpu MHz")) continue;
    const double mhz = std::strtod(line.value(), nullptr);
    return std::isfinite(mhz) && mhz > 0 ? mhz : 0;
  }
  return 0;
}

}  // namespace vex::service
