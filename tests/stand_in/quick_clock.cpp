// A calendar clock whose seconds last 20 ms, to be preloaded: the counter's calibration waits for the next
// second, and a suite of programs that each calibrate waits for little else. Rates stay true, since they are
// taken from the time of day, which is left alone.
#include <ctime>

extern "C" __attribute__((visibility("default"))) std::time_t time(std::time_t* result) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  static const std::time_t first = now.tv_sec;
  const std::time_t quick = first + (now.tv_sec - first) * 50 + now.tv_nsec / 20'000'000;
  if (result) *result = quick;
  return quick;
}
