// The run's parameters: a list of tests in parallel arrays, filled once before any test runs and read-only
// after.
#pragma once

#include <array>
#include <cstdint>

namespace vex::driver {

inline constexpr std::int32_t max_tests = 32;
inline constexpr std::int32_t max_order = 1500000000;  // bounds leading dimensions too
inline constexpr std::int32_t max_alignment = 64;

struct Configuration {
  std::int32_t test_count = 0;                              // 0 to max_tests
  std::array<std::int32_t, max_tests> size{};               // order n of the system; 0 skips the test
  std::array<std::int32_t, max_tests> leading_dimension{};  // elements, at least n
  std::array<std::int32_t, max_tests> trials{};
  std::array<std::int32_t, max_tests> alignment{};  // KiB, 0 to max_alignment; 0 is none
};

// Parameter names as prompts, warnings and the echo table show them.
namespace name {
inline constexpr const char* tests = "Number of tests";
inline constexpr const char* equations = "Number of equations to solve (problem size)";
inline constexpr const char* size = "Problem size";
inline constexpr const char* leading_dimension = "Leading dimension of array";
inline constexpr const char* trials = "Number of trials to run";
inline constexpr const char* alignment = "Data alignment value (in Kbytes)";
}  // namespace name

}  // namespace vex::driver
