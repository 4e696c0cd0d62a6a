#include "lapack/ilaenv.h"

#include <gtest/gtest.h>

#include <limits>
#include <string_view>

#include "lapack/lapack.h"
#include "lapack/panel_distribution.h"
#include "lapack/tuning_trees.h"
#include "service/cpu_dispatch.h"
#include "service/platform.h"
#include "tests/support/thread_limit.h"

namespace {

using vex::lapack::Parameter;
using vex::lapack::tuned_value;

constexpr vex_int huge = std::numeric_limits<vex_int>::max();
constexpr vex_int least = std::numeric_limits<vex_int>::min();

vex_int ask(vex_int ispec, std::string_view name, std::string_view opts, vex_int n1, vex_int n2, vex_int n3) {
  const vex_int n4 = -1;
  return vex_lapack_ilaenv(&ispec, name.data(), opts.data(), &n1, &n2, &n3, &n4,
                           static_cast<vex_int>(name.size()), static_cast<vex_int>(opts.size()));
}

TEST(Ilaenv, AnswersTheCrossoverThatSeparatesTheWays) {
  constexpr vex_int cases[][3] = {{10, 10, 22},       {10, 11, 1},  {11, 10, 1},    {0, 0, 22},
                                  {least, least, 22}, {huge, 0, 1}, {1000, 400, 0}, {400, 31, 1}};
  for (const auto& [m, n, answer] : cases)
    EXPECT_EQ(ask(3, "DGETRF", " ", m, n, -1), answer) << m << " x " << n;
}

TEST(Ilaenv, AnswersTheWidthsOfWideRegistersAtTheirBounds) {
  constexpr vex_int steps[][2] = {{1, 48},     {2000, 48},   {2001, 96},   {4000, 96},
                                  {4001, 224}, {14000, 224}, {14001, 336}, {huge, 336}};
  for (const auto& [n, width] : steps)
    for (const int path : {6, 7}) EXPECT_EQ(vex::lapack::sequential_width(path, n), width) << n;
}

TEST(Ilaenv, AnswersTheSequentialWidthForOneThreadAndTheWorkingWidthForMore) {
  const int path = vex_serv_cpu_detect();
  for (const vex_int n : {100, 3000, 20000}) {
    EXPECT_EQ(ask(1, "DGETRF", " ", n, n, 1), vex::lapack::sequential_width(path, n));
    EXPECT_EQ(ask(1, "dgetrf", "s", n, n, -1), vex::lapack::sequential_width(path, n));
    const vex_int working =
        std::min(tuned_value(path, 28, Parameter::nb0, n, n), tuned_value(path, 28, Parameter::nb1, n, n));
    EXPECT_EQ(ask(1, "DGETRF", " ", n, n, 28), working);
    const vex::test::ThreadLimit limit(28);
    EXPECT_EQ(ask(1, "DGETRF", " ", n, n, -1), working);
  }
}

TEST(Ilaenv, RefusesUnknownQuestionsAndNeverReadsPastTheNames) {
  EXPECT_EQ(ask(0, "DGETRF", " ", 1, 1, 1), -1);
  EXPECT_EQ(ask(21, "CPU", " ", 1, 1, 1), -1);
  EXPECT_EQ(ask(least, "DGETRF", " ", 1, 1, 1), -1);
  EXPECT_EQ(ask(1, "CPUTYPE", " ", 1, 1, 1), vex_serv_cpu_detect());
  for (const char* name : {"DGETR", "CP", ""}) EXPECT_EQ(ask(1, name, " ", 5000, 5000, 1), 1);
  // Callers with 32-bit lengths leave anything in the upper half.
  const vex_int ispec = 3, size = 10, none = -1, garbage = (vex_int{0x7eadbeef} << 32) | 6;
  EXPECT_EQ(vex_lapack_ilaenv(&ispec, "DGETRF", " ", &size, &size, &none, &none, garbage, garbage), 22);
}

TEST(PanelWidth, HalvesForPanelsMoreThanTwentyTimesTallerThanWide) {
  const vex_int whole = vex::lapack::sequential_width(vex_serv_cpu_detect(), 48);
  EXPECT_EQ(vex::lapack::panel_width(20 * 48 + 47, 48), whole);
  EXPECT_EQ(vex::lapack::panel_width(21 * 48, 48), whole / 2);
  EXPECT_GT(vex::lapack::panel_width(10, 0), 0);
}

TEST(TuningTrees, HoldTheSettledValuesOf56ThreadsOnWideRegisters) {
  constexpr Parameter nb0 = Parameter::nb0, nb1 = Parameter::nb1, fts0 = Parameter::fts0;
  constexpr struct {
    Parameter parameter;
    vex_int m, n, value;
  } rows[] = {
      {nb0, 1000, 1000, 48},    {nb0, 3000, 3000, 112},   {nb0, 5000, 5000, 160},  {nb0, 10000, 10000, 336},
      {nb0, 20000, 20000, 448}, {nb1, 1000, 1000, 48},    {nb1, 3000, 3000, 48},   {nb1, 5000, 5000, 64},
      {nb1, 10000, 10000, 112}, {nb1, 20000, 20000, 160}, {fts0, 1000, 1000, 1},   {fts0, 3000, 3000, 8},
      {fts0, 5000, 5000, 8},    {fts0, 10000, 10000, 8},  {fts0, 20000, 20000, 8}, {nb0, 1500, 1500, 48},
      {nb0, 901, 901, 48},      {nb0, 900, 901, 24},      {nb0, 1500, 1501, 24},   {nb0, 1, huge, 24},
      {nb0, 1500, 900, 32},     {nb0, 1, 651, 32},        {nb0, 350, 650, 24},     {nb0, 351, 650, 32},
      {nb0, 650, 351, 32},      {nb0, 651, 351, 24},      {nb0, 500, 350, 24},     {nb1, 150, 150, 24},
      {nb1, 151, 150, 16},      {nb1, huge, 1, 16},       {fts0, huge, 900, 1}};
  for (const auto& r : rows)
    EXPECT_EQ(tuned_value(7, 56, r.parameter, r.m, r.n), r.value)
        << "parameter " << static_cast<int>(r.parameter) << ", " << r.m << " x " << r.n;
}

// Shapes, as each thread count of each path should differ somewhere from any other that could be taken for
// it.
bool same_trees(int path_a, vex_int threads_a, int path_b, vex_int threads_b) {
  for (int p = 0; p <= 12; ++p)
    for (const vex_int m : {100, 700, 1200, 2000, 3000, 5000, 9000, 30000}) {
      const auto parameter = static_cast<Parameter>(p);
      if (tuned_value(path_a, threads_a, parameter, m, m) != tuned_value(path_b, threads_b, parameter, m, m))
        return false;
    }
  return true;
}

TEST(TuningTrees, AreTakenFromTheNearestPathAndThreadCount) {
  EXPECT_TRUE(same_trees(5, 6, 5, 4) && !same_trees(5, 6, 5, 8)) << "of two equally near counts, the smaller";
  EXPECT_TRUE(same_trees(5, 33, 5, 22) && !same_trees(5, 33, 5, 44));
  EXPECT_TRUE(same_trees(5, 34, 5, 44));
  EXPECT_TRUE(same_trees(7, huge, 7, 56) && same_trees(7, least, 7, 2));
  EXPECT_TRUE(same_trees(3, 24, 4, 24) && same_trees(0, 24, 4, 24) && !same_trees(3, 24, 5, 22));
  EXPECT_TRUE(same_trees(9, 28, 7, 28));
  EXPECT_TRUE(same_trees(6, 68, 6, 1000) && !same_trees(6, 68, 7, 56)) << "the many-core path has its own";
  EXPECT_EQ(tuned_value(7, 56, static_cast<Parameter>(3), 5000, 5000), 8)
      << "unknown parameters answer as the first";
}

TEST(TuningTrees, AnswerEveryShapeWithUsableNumbers) {
  using namespace vex::lapack;
  constexpr vex_int sizes[] = {0, 1, 1000, 3000, 7000, huge};
  for (const CodePathEntry* path : {&getrf_avx, &getrf_avx2, &getrf_avx512, &getrf_avx512_hcx})
    for (const ThreadCountEntry* entry = path->begin; entry != path->end; ++entry)
      for (const vex_int m : sizes)
        for (const vex_int n : sizes) {
          const TunedValues v = tuned_values(path->code_path, entry->threads, m, n);
          for (const vex_int width : {v.nb0, v.nb1})
            EXPECT_TRUE(8 <= width && width <= 512 && width % 8 == 0);
          for (const vex_int percent : {v.nb_switch, v.ts_switch})
            EXPECT_TRUE(0 <= percent && percent <= 100);
          // Teams of another size would leave some threads without one.
          for (const vex_int size : {v.fts0, v.fts1, v.uts0, v.uts1})
            EXPECT_TRUE(size >= 1 && entry->threads % size == 0) << size << " of " << entry->threads;
        }
}

TEST(PanelDistribution, CoversEveryColumnOnceWithTheWidthsOfItsTwoRegions) {
  for (const double fraction : {0.0, 0.3, 0.5, 1.0, 1.7, -1.0})
    for (vex_int nominal = 1; nominal <= 9; ++nominal)
      for (vex_int working = 1; working <= nominal; ++working)
        for (vex_int n = 1; n <= 40; ++n) {
          vex_lapack_nb_dist dist;
          const vex_int count = vex_lapack_nb_dist_init(&dist, n, nominal, working, fraction);
          vex_int next = 1;
          for (vex_int k = 0; k < count; ++k) {
            const vex_int width = vex_lapack_nb_dist_get_nb(&dist, k);
            const vex_int full =
                static_cast<double>(next - 1) > static_cast<double>(n) * fraction ? working : nominal;
            ASSERT_EQ(vex_lapack_nb_dist_get_offset(&dist, k), next);
            ASSERT_TRUE(k == count - 1 ? 1 <= width && width <= full : width == full);
            for (vex_int c = next; c < next + width; ++c)
              ASSERT_EQ(vex_lapack_nb_dist_get_panel(&dist, c), k);
            next += width;
          }
          ASSERT_EQ(next, n + 1);
          ASSERT_EQ(vex_lapack_nb_dist_get_panel(&dist, n + 100), count - 1);
          ASSERT_EQ(vex_lapack_nb_dist_get_panel(&dist, 0), -1);
          ASSERT_EQ(vex_lapack_nb_dist_get_nb_merged(&dist, 0, count), n);
          ASSERT_EQ(vex_lapack_nb_dist_get_nb_merged(&dist, count - 1, 0), 0);
          vex_lapack_nb_dist_destroy(&dist);
        }
}

TEST(PanelDistribution, RefusesWhatItCannotHold) {
  vex_lapack_nb_dist dist;
  EXPECT_EQ(vex_lapack_nb_dist_init(&dist, 10, 0, 0, 0.5), -1);
  vex_lapack_nb_dist_destroy(&dist);  // harmless after a failure
  static vex::service::Platform no_memory = vex::service::real_platform;
  no_memory.system_malloc = [](std::size_t) -> void* { return nullptr; };
  vex::service::set_platform(&no_memory);
  EXPECT_EQ(vex_lapack_nb_dist_init(&dist, 1000000000, 1, 1, 0.5), -1);
  vex::service::set_platform(nullptr);
}

}  // namespace
