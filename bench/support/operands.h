// Operands of a measured multiply, and the type under which another library exports it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace vex::bench {

using PeerGemm = void(const char*, const char*, const int*, const int*, const int*, const double*,
                      const double*, const int*, const double*, const int*, const double*, double*,
                      const int*, std::size_t, std::size_t);

// Values in [-0.5, 0.5), the same in every run.
inline std::unique_ptr<double[]> random_block(std::size_t count) {
  auto block = std::make_unique<double[]>(count);
  std::uint64_t state = 12345;
  for (std::size_t i = 0; i < count; ++i) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    block[i] = static_cast<double>(state >> 11) * 0x1p-53 - 0.5;
  }
  return block;
}

}  // namespace vex::bench
