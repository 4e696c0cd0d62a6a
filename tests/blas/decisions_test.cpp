// The decisions before any arithmetic: thread counts, splits, block sizes, placement of scratch, choice of
// path.
#include <gtest/gtest.h>

#include <set>

#include "blas/avx2/constants.h"
#include "blas/avx512/constants.h"
#include "blas/dispatch.h"
#include "blas/gemm_threads.h"
#include "blas/narrow.h"
#include "tests/support/fresh_process.h"

namespace vex::test {
namespace {

using namespace blas;

TEST(Threads, CountForAWorkEstimateOffTheRule) {
  constexpr struct {
    int path, maximum;
    vex_int m, n, k;
    int chosen;
  } cases[] = {
      {5, 8, 20, 20, 20, 1},  // 1000 units of work
      {5, 4, 40, 40, 40, 4},  // 8000
      {7, 4, 40, 40, 40, 1},  // 4000: even four threads do not pay (3 x 4000 = 4 x 3000)
      {7, 4, 41, 40, 40, 4},   {5, 1, 1000, 1000, 1000, 1}, {5, 8, 1000, 1000, 1000, 8},
      {5, 8, 64, 32, 32, 4},  // 8192: seven eighths of it is less than 8 teams' cost, 3/4 is more
      {6, 8, 32, 60, 32, 1},   {6, 8, 128, 112, 16, 1},     {6, 8, 10, 10, 60, 8},  // little work, but deep
      {6, 8, 500, 500, 500, 8}};
  for (const auto& c : cases) {
    ThreadState state{c.path, c.maximum, 0};
    thread_checker(c.m, c.n, c.k, &state);
    EXPECT_EQ(state.chosen, c.chosen) << c.path << ": " << c.m << 'x' << c.n << 'x' << c.k;
  }
}

TEST(Threads, GridDoesNotMultiplyUpToTheThreads) {
  for (int threads : {1, 2, 3, 4, 6, 8, 12, 16, 28, 56})
    for (vex_int d1 : {1, 500, 2047, 2048, 100000})
      for (vex_int d2 : {1, 479, 960, 5000})
        for (vex_int d3 : {1, 400, 100000})
          for (const auto split : {calc_nthr_3d_avx2, calc_nthr_3d_avx512}) {
            ThreadState state{5, threads, threads};
            split(d1, d2, d3, &state);
            ASSERT_EQ(state.parts[0] * state.parts[1] * state.parts[2], threads);
            ASSERT_TRUE(d3 > 1 || state.parts[2] == 1);
          }
}

TEST(Threads, DriverNeverChosenOrGridOfOtherSize) {
  for (int path : {0, 5, 7})
    for (int threads : {2, 6, 16}) {
      std::set<Driver> chosen;
      for (vex_int m : {30, 300, 900, 3000, 25000})
        for (vex_int n : {30, 300, 900, 3000, 25000})
          for (vex_int k : {100, 1000}) {
            ThreadState state{path, threads, threads};
            set_thread_opts(m, n, k, &state);
            ASSERT_EQ(state.parts[0] * state.parts[1] * state.parts[2], threads);
            chosen.insert(state.driver);
          }
      EXPECT_EQ(chosen.size(), 7u) << path << ' ' << threads;
    }
}

TEST(Threads, ProductTakenForNarrowByMistake) {
  const NarrowOptions none{}, two{true, true, false}, all{true, true, true};
  const struct {
    int path;
    const char* letters;
    vex_int n;
    NarrowOptions options;
    bool suits;
  } cases[] = {{7, "TN", 15, none, true},  {7, "tn", 15, two, true},  {7, "CN", 1, none, true},
               {7, "TN", 16, none, false}, {7, "TN", 4, all, false},  {7, "TN", 3, all, true},
               {7, "TN", 1, all, false},   {7, "NN", 4, none, false}, {7, "TT", 4, none, false},
               {6, "TN", 2, none, true},   {6, "TN", 3, all, true},   {6, "TN", 4, none, false},
               {5, "TN", 2, none, false},  {3, "TN", 2, none, false}};
  for (const auto& c : cases)
    EXPECT_EQ(suits_narrow(c.path, c.letters, c.letters + 1, c.n, c.options), c.suits)
        << c.path << c.letters << c.n;
}

TEST(Threads, SharesOverlapOrLeaveGaps) {
  for (ShareMode mode : {ShareMode::ceiling, ShareMode::even, ShareMode::granular})
    for (vex_int extent : {0, 1, 3, 10, 48, 49, 100, 191, 1000})
      for (vex_int parts : {1, 2, 3, 4, 7, 16})
        for (vex_int granule : {4, 12, 24}) {
          vex_int end = 0;
          for (vex_int part = 0; part < parts; ++part) {
            const Share share = share_1d(extent, {part, parts, 0, mode, granule});
            if (share.length <= 0) continue;
            ASSERT_EQ(share.start, end) << extent << ' ' << parts << ' ' << granule;
            end += share.length;
          }
          ASSERT_EQ(end, extent) << static_cast<int>(mode) << ' ' << extent << ' ' << parts << ' ' << granule;
        }
}

template <typename P>
engine::BufferRecord blocks(vex_int m, vex_int n, vex_int k, bool triangular = false) {
  engine::StrategyRecord strategy;
  engine::initialize_strategy<P>(&strategy);
  strategy.check(&strategy);
  engine::BufferRecord buffers;
  (triangular ? engine::initialize_triangular_buffers<P> : engine::initialize_buffers<P>)(&buffers, &strategy,
                                                                                          m, n, k);
  return buffers;
}

TEST(Blocks, SizesOffTheirFormulas) {
  using A = avx2::Constants;
  using B = avx512::Constants;
  constexpr vex_int depths[][4] = {// k, then the depth of a slice for AVX2, AVX-512 and triangles
                                   {1, 128, 128, 128},   {256, 256, 256, 256}, {257, 129, 257, 128},
                                   {301, 151, 301, 150}, {383, 192, 383, 191}, {384, 192, 384, 192},
                                   {385, 192, 193, 192}, {767, 192, 384, 192}, {768, 192, 384, 192}};
  for (const auto& [k, narrow, wide, triangular] : depths) {
    EXPECT_EQ(blocks<A>(50, 50, k).kc, narrow) << k;
    EXPECT_EQ(blocks<B>(50, 50, k).kc, wide) << k;
    EXPECT_EQ(blocks<A>(50, 50, k, true).kc, triangular) << k;
  }
}

TEST(Blocks, PackedAreaMisplacedOrOutsideItsBlock) {
  for (int kind : {engine::buffer_a_only, engine::buffer_b_only, engine::buffer_both, engine::buffer_copies,
                   engine::buffer_kept_a}) {
    engine::BufferRecord buffers = blocks<avx2::Constants>(1000, 300, 200);
    buffers.kind = kind;
    EXPECT_EQ(buffers.functions.get(&buffers), kind == engine::buffer_kept_a ? 1 : 0);  // kept: pack only
    buffers.functions.free(&buffers);
    ASSERT_EQ(buffers.functions.get_pack(&buffers), 0);
    const auto base = reinterpret_cast<std::uintptr_t>(buffers.base);
    const std::uintptr_t end = base + buffers.functions.size(&buffers);
    if (buffers.packed_a) {
      const auto a = reinterpret_cast<std::uintptr_t>(buffers.packed_a);
      EXPECT_EQ(a % (kind == engine::buffer_kept_a ? 4096 : 2097152),
                kind == engine::buffer_kept_a ? 768u : 1664u);
      EXPECT_LE(a + static_cast<std::size_t>(buffers.mc * buffers.kc) * 8, end);
    }
    if (buffers.packed_b) {
      const auto b = reinterpret_cast<std::uintptr_t>(buffers.packed_b);
      EXPECT_EQ(b % (kind == engine::buffer_copies ? 2097152 : 4096),
                kind == engine::buffer_copies ? 0u : 768u);
      EXPECT_GE(b, base);
      EXPECT_LE(b + static_cast<std::size_t>(buffers.nc * buffers.kc) * 8, end);
    }
    EXPECT_TRUE(kind != engine::buffer_both ||
                buffers.packed_a >= buffers.packed_b + buffers.nc * buffers.kc);
    buffers.functions.free(&buffers);
  }
  engine::BufferRecord odd = blocks<avx2::Constants>(10, 10, 10);
  odd.kind = 6;
  EXPECT_EQ(odd.functions.get(&odd), 1);
  EXPECT_EQ(odd.functions.get_pack(&odd), 1);
}

TEST(Paths, EmptySlotDoesNotEndTheProcess) {
  const ProcessResult result = in_fresh_process([] {
    Dispatched<void()> nothing{nullptr, nullptr, nullptr, nullptr, nullptr};
    nothing.get();
  });
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.output.find("Korva VEX ERROR: CPU " + std::to_string(vex_serv_cpu_detect()) +
                               " is not supported."),
            std::string::npos)
      << result.output;
}

}  // namespace
}  // namespace vex::test
