// The random systems: generator, deal of columns to streams, row sums.
#include "driver/test_problem.h"

#include <gtest/gtest.h>
#include <omp.h>
#include <vex.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "tests/support/run_program.h"

namespace vex::test {
namespace {

// The generator's definition in whole numbers: s = s * a mod 2^48, value s / 2^48.
class PlainStream {
 public:
  explicit PlainStream(std::int32_t s1, std::int32_t s2 = 2, std::int32_t s3 = 3, std::int32_t s4 = 1325)
      : state_(joined(s1, s2, s3, s4)) {}
  static std::uint64_t joined(std::int64_t s1, std::int64_t s2, std::int64_t s3, std::int64_t s4) {
    return static_cast<std::uint64_t>(s1 << 36 | s2 << 24 | s3 << 12 | s4);
  }
  double next() {
    state_ = state_ * 33952834046453u & ((1ull << 48) - 1);
    return std::ldexp(static_cast<double>(state_), -48);
  }
  std::uint64_t state() const { return state_; }

 private:
  std::uint64_t state_;
};

TEST(Ran, FollowsTheRecurrenceFromOrdinaryAndExtremeSeeds) {
  const std::int32_t seeds[][4] = {
      {1, 2, 3, 1325}, {4095, 4095, 4095, 4095}, {0, 0, 0, 1}, {0, 0, 0, 0}, {28, 2, 3, 1325}};
  for (const auto& seed : seeds) {
    std::int32_t limbs[4];
    std::memcpy(limbs, seed, sizeof limbs);
    PlainStream plain(seed[0], seed[1], seed[2], seed[3]);
    for (int i = 0; i < 10000; ++i)
      ASSERT_EQ(ran_(limbs), plain.next()) << "step " << i << " from " << seed[0];
    EXPECT_EQ(PlainStream::joined(limbs[0], limbs[1], limbs[2], limbs[3]), plain.state());
  }
}

int block_width(std::int32_t n) {
  const std::int32_t ispec = 1, threads = omp_get_max_threads(), none = -1;
  return ILAENV(&ispec, "DGETRF", " ", &n, &n, &threads, &none, 6, 1);
}

struct System {
  std::vector<double> a, b;
  bool operator==(const System&) const = default;
};

System generate(std::int32_t m, std::int32_t n, std::int32_t lda) {
  System system{std::vector<double>(static_cast<std::size_t>(lda * n), -7.0),
                std::vector<double>(static_cast<std::size_t>(m), -7.0)};
  matgen_(&m, &n, system.a.data(), &lda, system.b.data());
  return system;
}

// Column j belongs to stream (j / nb) mod p; rows beyond m keep what they held.
System plain_system(std::int32_t m, std::int32_t n, std::int32_t lda, std::int32_t nb, std::int32_t threads) {
  const std::int32_t p = std::min((n + nb - 1) / nb, threads);
  std::vector<PlainStream> streams;
  for (std::int32_t t = 0; t < p; ++t) streams.emplace_back(t + 1);
  System system{std::vector<double>(static_cast<std::size_t>(lda * n), -7.0),
                std::vector<double>(static_cast<std::size_t>(m), 0.0)};
  for (std::int32_t j = 0; j < n; ++j) {
    for (std::int32_t i = 0; i < m; ++i) {
      const double element = streams[static_cast<std::size_t>(j / nb % p)].next() - 0.5;
      system.a[static_cast<std::size_t>(i + j * lda)] = element;
      system.b[static_cast<std::size_t>(i)] += element;
    }
  }
  return system;
}

TEST(Matgen, DealsColumnBlocksToStreamsForEveryThreadCount) {
  for (const int threads : {1, 2, 3, 5}) {
    omp_set_num_threads(threads);
    for (const std::int32_t n : {1, 47, 129, 400}) {
      const std::int32_t m = 5, lda = 7;
      EXPECT_TRUE(generate(m, n, lda) == plain_system(m, n, lda, block_width(n), threads))
          << n << " " << threads;
    }
  }
}

TEST(Matgen, DISABLED_UnderAThreadLimit) {
  const std::int32_t n = 600, nb = block_width(n);
  int granted = 0;
#pragma omp parallel num_threads(5)
#pragma omp single
  granted = omp_get_num_threads();
  ASSERT_EQ(omp_get_max_threads(), 5);
  ASSERT_LT(granted, 5);
  EXPECT_TRUE(generate(3, n, 3) == plain_system(3, n, 3, nb, 5)) << granted << " threads granted";
}

TEST(Matgen, SharesOutMissingThreadsAmongThoseGranted) {
  for (const char* limit : {"1", "2", "3"}) {
    const ProgramResult result = run_own_test("Matgen.DISABLED_UnderAThreadLimit",
                                              {{"OMP_NUM_THREADS", "5"}, {"OMP_THREAD_LIMIT", limit}});
    EXPECT_EQ(result.status, 0) << result.output << result.errors;
    EXPECT_NE(result.output.find("[  PASSED  ] 1 test."), std::string::npos) << result.output;
  }
}

}  // namespace
}  // namespace vex::test
