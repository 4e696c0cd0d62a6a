// Teams inside one region multiply by a row of factors through a ring of packed copies, in no particular
// order: every element must have the bits that a lone thread gives it.
#include "blas/internal_team.h"

#include <omp.h>

#include "blas/blas.h"
#include "service/buffer_cache.h"
#include "service/platform.h"
#include "tests/blas/kernels.h"

namespace vex::test {
namespace {

using namespace blas;

constexpr vex_int m = 131, n = 19, k = 37, factors = 7, team_size = 3;

Matrix random_matrix(vex_int rows, vex_int cols, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  Matrix matrix(rows, cols, rows);
  matrix.fill(random);
  return matrix;
}

int call(TeamStage stage, TeamRank rank, service::CounterBarrier& barrier, FactorCopies*& state,
         vex_int factor, const Matrix& a, const Matrix& b, Matrix& c, double beta = 1) {
  const TeamCall call{stage, rank, &barrier, &state, 2, factors, factor};
  const double minus_one = -1;
  return vex_blas_xdgemm_internal_team("N", "n", &m, &n, &k, &minus_one, a.data(), &m, b.data(), &k, &beta,
                                       c.data(), &m, &call);
}

TEST(InternalTeam, ProductsOfSeveralTeamsHaveTheBitsOfOneThread) {
  // Factor i has factors - 1 - i products; team 0 walks the factors upwards, team 1 lags behind on the rest.
  std::vector<Matrix> a, b, c, expected;
  for (unsigned i = 0; i < factors; ++i) {
    a.push_back(random_matrix(m, k, i));
    b.push_back(random_matrix(k, n, 50 + i));
    for (unsigned product = 0; product < factors - 1 - i; ++product) {
      c.push_back(random_matrix(m, n, 100 + product));
      expected.push_back(random_matrix(m, n, 100 + product));
      xgemm(Trans::no, Trans::no, -1.0, a[i].view(), b[i].view(), 1.0, expected.back().view());
    }
  }
  service::CounterBarrier barrier[2];
  FactorCopies* state = nullptr;
  service::Platform failing = service::real_platform;
  failing.system_malloc = [](std::size_t) -> void* { return nullptr; };
  vex_serv_free_buffers();
  service::set_platform(&failing);
  EXPECT_NE(0, call(TeamStage::start, {0, 1}, barrier[0], state, 0, a[0], b[0], c[0])) << "without memory";
  service::set_platform(nullptr);
  ASSERT_EQ(state, nullptr);
  ASSERT_EQ(0, call(TeamStage::start, {0, 1}, barrier[0], state, 0, a[0], b[0], c[0]));
  ASSERT_NE(0, call(TeamStage::multiply, {0, 1}, barrier[0], state, 0, a[0], b[0], c[0], 2.0)) << "beta 2";
#pragma omp parallel num_threads(2 * team_size)
  {
    const int team = omp_get_thread_num() / team_size;
    std::size_t at = 0;
    for (vex_int i = 0; i < factors; ++i)
      for (vex_int product = 0; product < factors - 1 - i; ++product, ++at)
        if (static_cast<int>(product % 2) == team) {
          const auto f = static_cast<std::size_t>(i);
          call(TeamStage::multiply, {omp_get_thread_num() % team_size, team_size}, barrier[team], state, i,
               a[f], b[f], c[at]);
        }
  }
  call(TeamStage::finish, {0, 1}, barrier[0], state, 0, a[0], b[0], c[0]);
  EXPECT_EQ(state, nullptr);
  for (std::size_t i = 0; i < c.size(); ++i)
    EXPECT_EQ(c[i].values(), expected[i].values()) << "product " << i;
}

}  // namespace
}  // namespace vex::test
