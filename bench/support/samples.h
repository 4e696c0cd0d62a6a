// Repeated measurements and the figure to quote of them.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

namespace vex::bench {

// The middle sample (the mean of the middle two when their number is even); 0 for no samples.
inline double median(std::vector<double> samples) {
  if (samples.empty()) return 0;
  std::sort(samples.begin(), samples.end());
  const std::size_t half = samples.size() / 2;
  return samples.size() % 2 ? samples[half] : (samples[half - 1] + samples[half]) / 2;
}

// "100,200,400" as numbers.
inline std::vector<int> number_list(const char* text) {
  std::vector<int> numbers;
  for (char* end; *text; text = *end ? end + 1 : end) {
    numbers.push_back(static_cast<int>(std::strtol(text, &end, 10)));
    if (end == text) break;
  }
  return numbers;
}

}  // namespace vex::bench
