// Memory in which a step outside is caught: the last byte of the block is the last byte before an unreadable
// page, and everything between the block's rows and before it holds a pattern that is checked afterwards.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vex::test {

class GuardedDoubles {
 public:
  explicit GuardedDoubles(std::size_t count) : count_(count) {
    constexpr std::size_t page = 4096;
    bytes_ = (count * sizeof(double) + page - 1) / page * page + page;
    block_ = static_cast<char*>(
        mmap(nullptr, bytes_ + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(block_ + bytes_, page, PROT_NONE);
    auto* const words = reinterpret_cast<std::uint64_t*>(block_);
    for (std::size_t i = 0; i < bytes_ / sizeof(double); ++i) words[i] = pattern;
  }
  ~GuardedDoubles() { munmap(block_, bytes_ + 4096); }
  GuardedDoubles(const GuardedDoubles&) = delete;
  GuardedDoubles& operator=(const GuardedDoubles&) = delete;

  double* data() { return reinterpret_cast<double*>(block_ + bytes_) - count_; }
  const double* data() const { return const_cast<GuardedDoubles*>(this)->data(); }
  std::size_t size() const { return count_; }
  double& operator[](std::size_t i) { return data()[i]; }

  // Whether the red zone before the block is whole.
  bool front_untouched() const {
    for (const char* at = block_; at < reinterpret_cast<const char*>(data()); at += sizeof(double))
      if (!is_pattern(at)) return false;
    return true;
  }
  // Whether element i still holds the pattern it was born with: a NaN that arithmetic does not produce.
  bool untouched(std::size_t i) const { return is_pattern(reinterpret_cast<const char*>(data() + i)); }

 private:
  static constexpr std::uint64_t pattern = 0x7ff7dead0badbeef;
  static bool is_pattern(const char* at) {
    std::uint64_t word;
    std::memcpy(&word, at, sizeof word);
    return word == pattern;
  }
  std::size_t count_, bytes_;
  char* block_;
};

}  // namespace vex::test
