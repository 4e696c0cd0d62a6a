// Cache tables measured from invented leaf-4 answers, and the fixed ones.
#include "service/cache_size.h"

#include "tests/support/alone.h"
#include "tests/support/recorded_processor.h"

namespace vex::service {
namespace {

using test::RecordedProcessor;

// Leaf 4 of a cache: type, ways, line size in bytes, sets.
constexpr CpuidResult cache(std::uint32_t type, std::uint32_t ways, std::uint32_t line, std::uint32_t sets) {
  return {type, (ways - 1) << 22 | (line - 1), sets - 1, 0};
}
constexpr std::uint32_t data = 1, instruction = 2, unified = 3;

CacheSizes measured(std::vector<CpuidResult> caches, std::uint32_t last_leaf = 0x20) {
  RecordedProcessor processor = test::recorded("AVX2");
  processor.caches = std::move(caches);
  processor.last_leaf = last_leaf;
  return measure_cache_sizes(test::play(processor));
}

TEST(CacheSize, ALeaf4ListIsMisread) {
  const CpuidResult l1 = cache(data, 8, 64, 64), code = cache(instruction, 8, 64, 128),
                    l2 = cache(unified, 4, 64, 1024), l3 = cache(unified, 16, 64, 8192),
                    l4 = cache(unified, 16, 64, 131072);
  EXPECT_EQ(measured({l1, code, l2, l3}), (CacheSizes{3, 32768, 262144, 8388608, 0}));
  EXPECT_EQ(measured({code, l1, l2, l3, l4, l4}), (CacheSizes{4, 32768, 262144, 8388608, 134217728}));
  EXPECT_EQ(measured({l1}, 3), (CacheSizes{}));
  EXPECT_EQ(measured(std::vector<CpuidResult>(5000, code)), (CacheSizes{}));  // a list that goes on and on
  // The line takes eleven bits, and bit 11 counts into the partitions.
  EXPECT_EQ(measured({{data, 1u << 11 | 63, 63, 0}}), (CacheSizes{1, 2 * 64 * 64, 0, 0, 0}));
  // Line, ways and partitions multiply in 32 bits, the sets in 64.
  EXPECT_EQ(measured({{data, ~0u, 0, 0}}), (CacheSizes{1, 0, 0, 0, 0}));
  EXPECT_EQ(measured({{data, 63, ~0u, 0}}), (CacheSizes{1, std::uint64_t{64} << 32, 0, 0, 0}));
}

TEST(CacheSizeProcess, AFixedBranchLooksAtTheMachine) {
  if (!test::alone()) return;
  const struct {
    const char* processor;
    const char* cbwr;
    const char* table;  // the five entries, then the answers for levels -1 to 5
  } rows[] = {{"AVX-512 VNNI", "", "2 49152 2097152 0 0 : -1 2097152 49152 2097152 -1 -1 -1 "},
              {"AVX-512 VNNI", "AUTO", "3 32768 262144 4194304 0 : -1 4194304 32768 262144 4194304 -1 -1 "},
              {"SSE3", "AUTO", "2 32768 262144 0 0 : -1 262144 32768 262144 -1 -1 -1 "},
              {"AVX-512 VNNI", "AVX512_E1,STRICT",
               "3 32768 262144 4194304 0 : -1 4194304 32768 262144 4194304 -1 -1 "}};
  for (const auto& row : rows) {
    RecordedProcessor processor = test::recorded(row.processor);
    processor.caches = {cache(data, 12, 64, 64), cache(unified, 16, 64, 2048)};
    const test::ProcessResult result = test::in_process_on(processor, nullptr, row.cbwr, [] {
      std::uint64_t sizes[5];
      vex_serv_cache_info(sizes);
      for (const std::uint64_t size : sizes) std::printf("%lu ", size);
      std::printf(": ");
      for (int level = -1; level <= 5; ++level) std::printf("%ld ", vex_serv_get_cache_size(level));
    });
    EXPECT_EQ(result.output, row.table) << row.cbwr;
  }
}

}  // namespace
}  // namespace vex::service
