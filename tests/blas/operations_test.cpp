// The multiply-like operations of the engine against the plain reference: the special operand is written out
// as a full matrix there, and the triangle of C that an operation leaves alone must not change.
#include <cmath>
#include <limits>

#include "blas/engine/drivers.h"
#include "service/buffer_cache.h"
#include "service/detection_state.h"
#include "service/reproducibility.h"
#include "tests/blas/kernels.h"
#include "tests/reference/dense.h"
#include "tests/support/alone.h"
#include "tests/support/counting_allocator.h"

namespace vex::test {
namespace {

using namespace blas::engine;
constexpr double eps = std::numeric_limits<double>::epsilon();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

struct Operation {
  OperationCode code;
  char side = 'L', uplo = 'L', trans = 'N', trans_b = 'N', diag = 'N';
  bool prepacked = false;
};

std::vector<Operation> operations() {
  std::vector<Operation> all;
  for (char trans : {'N', 'T'})
    for (char trans_b : {'N', 'C'})
      for (bool prepacked : {false, true}) {
        all.push_back({op_gemm, 'L', 'L', trans, trans_b, 'N', prepacked});
        for (char uplo : {'L', 'U'}) all.push_back({op_gemmt, 'L', uplo, trans, trans_b, 'N', prepacked});
      }
  for (char uplo : {'L', 'U'}) {
    for (char side : {'L', 'R'}) {
      all.push_back({op_symm, side, uplo});
      for (char trans : {'N', 'T'})
        for (char diag : {'N', 'U'})
          all.push_back({op_trmm, side, uplo, side == 'L' ? trans : 'N', side == 'L' ? 'N' : trans, diag});
    }
    for (char trans : {'N', 'T'})
      for (OperationCode code : {op_syrk, op_syr2k}) all.push_back({code, 'L', uplo, trans});
  }
  return all;
}

std::string text(const Operation& o) {
  return "code " + std::to_string(o.code) + ' ' + o.side + o.uplo + o.trans + o.trans_b + o.diag +
         (o.prepacked ? " packed" : "");
}

// Operands of one operation, and its request. Where an operand is special, what must not be read is NaN.
struct Problem {
  Operation o;
  vex_int m, n, k;
  Matrix a, b, c;
  std::vector<double> kept;  // op(A) as pack_whole_a leaves it
  PackedDescriptor packed{};
  OperationRequest request{};

  static bool turned(char letter) { return letter != 'N'; }
  Problem(const Operation& op, vex_int m_, vex_int n_, vex_int k_, double alpha, double beta,
          std::mt19937_64& random)
      : o(op),
        m(m_),
        n(n_),
        k(k_),
        a(turned(op.trans) ? k : m, turned(op.trans) ? m : k, (turned(op.trans) ? k : m) + 1),
        b(turned(op.trans_b) ? n : k, turned(op.trans_b) ? k : n, turned(op.trans_b) ? n : k),
        c(m, n, m + 2) {
    a.fill(random), b.fill(random);
    if (beta == 0)
      c.fill(nan);
    else
      c.fill(random);
    const bool right = o.side == 'R', special = o.code == op_symm || o.code == op_trmm;
    if (special) hide(right ? b : a);
    if (o.code == op_trmm) c.fill(random);  // the other factor, whatever beta is
    const bool triangle = o.code == op_syrk || o.code == op_syr2k || o.code == op_gemmt;
    request = {o.code, o.prepacked ? copy_b_only : copy_both, right, alpha, beta, {}, {}, {}, nullptr};
    Matrix &x = o.code == op_trmm && right ? c : a, &y = o.code == op_trmm && !right ? c : b;
    blas_initialize_matrix(&request.a, x.data(), m, k, x.ld, special && !right ? &o.uplo : nullptr, &o.diag,
                           &o.trans);
    blas_initialize_matrix(&request.b, y.data(), k, n, y.ld, special && right ? &o.uplo : nullptr, &o.diag,
                           &o.trans_b);
    blas_initialize_matrix(&request.c, c.data(), m, n, c.ld, triangle ? &o.uplo : nullptr, nullptr, nullptr);
  }

  void hide(Matrix& x) const {
    x.fill_by([&](vex_int i, vex_int j) {
      return (o.uplo == 'L' ? i < j : i > j) || (i == j && o.diag == 'U') ? nan : x(i, j);
    });
  }

  int run(const PathEngine& path) {
    if (o.prepacked) {
      kept.resize(static_cast<std::size_t>(describe_packed_a(path, &packed, m, k)) + 16);
      const auto address = reinterpret_cast<std::uintptr_t>(kept.data());
      packed.base = kept.data() + (64 - address % 64) % 64 / 8;
      const vex_int half = m / 2 / packed.width * packed.width;  // as two threads would
      pack_whole_a(path, packed, request.a, half, m - half);
      pack_whole_a(path, packed, request.a, 0, half);
      request.prepacked_a = &packed;
    }
    return run_operation(path, request);
  }

  // The matrix without padding, the hidden triangle filled in when it is special.
  std::vector<double> full(const Matrix& x, bool special) const {
    Matrix whole(x.view());
    if (special)
      whole.fill_by(
          [&](vex_int i, vex_int j) { return (o.uplo == 'L' ? i < j : i > j) ? x(j, i) : x(i, j); });
    return whole.values();
  }

  // The answer from the operands as they stand.
  reference::Answer answer() const {
    if (o.code == op_trmm) {
      const Matrix& t = o.side == 'L' ? a : b;
      reference::Answer all =
          reference::triangle_times(o.side == 'L', o.uplo == 'L', turned(o.side == 'L' ? o.trans : o.trans_b),
                                    o.diag == 'U', m, n, t.data(), t.ld, c.data(), c.ld);
      for (long double& value : all.value) value = request.alpha == 0 ? 0 : value * request.alpha;
      return all;
    }
    const bool special = o.code == op_symm;
    const std::vector<double> x = full(a, special && o.side == 'L'), y = full(b, special && o.side == 'R');
    reference::Answer all =
        reference::multiply(turned(o.trans), turned(o.trans_b), m, n, k, request.alpha, x.data(), a.rows,
                            y.data(), b.rows, request.beta, c.data(), c.ld);
    if (o.code != op_syr2k) return all;
    const reference::Answer more =
        reference::multiply(!turned(o.trans_b), !turned(o.trans), m, n, k, request.alpha, y.data(), b.rows,
                            x.data(), a.rows, 0, nullptr, 0);
    for (std::size_t i = 0; i < all.value.size(); ++i)
      all.value[i] += more.value[i], all.magnitude[i] += more.magnitude[i];
    return all;
  }

  bool written(vex_int i, vex_int j) const {
    if (!(request.c.flags & (flag_lower | flag_upper))) return true;
    return o.uplo == 'L' ? i >= j : i <= j;
  }
};

// The extents that fit the operation: a triangle of C is square, a symmetric operand too.
Problem problem(Operation o, vex_int m, vex_int n, vex_int k, double alpha, double beta,
                std::mt19937_64& random) {
  if (o.code == op_syrk || o.code == op_syr2k || o.code == op_gemmt) n = m;
  if (o.code == op_symm || o.code == op_trmm) k = o.side == 'L' ? m : n;
  if (o.code == op_syrk || o.code == op_syr2k) o.trans_b = o.trans == 'N' ? 'T' : 'N';
  return {o, m, n, k, alpha, beta, random};
}

// An infinity is the only thing that the reference may be equal to.
bool within(double value, long double wanted, long double allowed) {
  return std::isfinite(wanted) ? std::fabs(value - wanted) <= allowed : value == static_cast<double>(wanted);
}

void check_against_reference(const PathEngine& path, Problem&& x) {
  const reference::Answer answer = x.answer();
  const std::vector<double> before = x.c.values();
  ASSERT_EQ(x.run(path), 0);
  const double allowed = static_cast<double>(2 * x.k + 4) * eps;
  const auto same = [](double u, double v) { return u == v || (std::isnan(u) && std::isnan(v)); };
  for (vex_int j = 0; j < x.n; ++j)
    for (vex_int i = 0; i < x.m; ++i)
      ASSERT_TRUE(x.written(i, j) ? within(x.c(i, j), answer.at(i, j), allowed * answer.size_at(i, j))
                                  : same(x.c(i, j), before[static_cast<std::size_t>(i + j * x.m)]))
          << text(x.o) << ' ' << x.m << 'x' << x.n << 'x' << x.k << " alpha " << x.request.alpha << " beta "
          << x.request.beta << " at " << i << ',' << j << ": " << x.c(i, j) << " for " << answer.at(i, j);
  ASSERT_TRUE(x.c.guards_intact() && x.a.guards_intact() && x.b.guards_intact()) << text(x.o);
}

class Operations : public EveryPath {
 protected:
  // Whether this path has names for the operation: all have the multiply.
  static bool served(const Operation& o) {
    return o.code == op_gemm || std::string_view(GetParam().name).substr(0, 3) == "avx";
  }
  const PathEngine& path = *GetParam().engine();
};
INSTANTIATE_TEST_SUITE_P(Paths, Operations, testing::ValuesIn(runnable_paths()), path_name);

TEST_P(Operations, WrongElementAtABlockEdge) {
  std::mt19937_64 random(1);
  for (const Operation& o : operations()) {
    if (!served(o)) continue;
    for (vex_int m : {1, 5, 24, 25, 61})
      for (vex_int n : {1, 9, 40}) check_against_reference(path, problem(o, m, n, m + n, 0.7, 1.3, random));
    check_against_reference(path, problem(o, 190, 150, 384, -1, 1, random));  // several chunks of A
    check_against_reference(path, problem(o, 40, 210, 401, -1, 1, random));   // several slices
    check_against_reference(path, problem(o, 30, 21, 17, 2, 0, random));
    check_against_reference(path, problem(o, 30, 21, 17, 0, 0.5, random));
    check_against_reference(path, problem(o, 30, 21, 17, 0, 0, random));
    for (vex_int m : {1, 11, 50, 300}) {  // an infinity must not spread through the empty triangle
      if (o.code != op_trmm) break;
      Problem x = problem(o, m, 37, 0, 1, 0, random);
      x.c(m / 2, 18) = std::numeric_limits<double>::infinity();
      check_against_reference(path, std::move(x));
    }
  }
}

TEST_P(Operations, KernelWithoutTwinForTheReproducibleSetting) {
  if (!served({op_trmm})) return;
  const ProcessResult result = in_fresh_process([&] {
    std::mt19937_64 random(4);
    for (const Operation& o : operations()) {
      const Problem x = problem(o, 3, 3, 3, 1, 0, random);
      StrategyRecord strategy;
      path.initialize_strategy(&strategy);
      for (OperationCode code : {o.code, o.code == op_trmm ? op_trsm : o.code}) {
        KernelTable plain, cnr;
        for (KernelTable* table : {&plain, &cnr}) {
          service::vex_cbwr = service::cbwr_auto | (table == &cnr ? service::cbwr_strict : 0);
          EXPECT_EQ(path.initialize_kernel_info(table, code, x.request.right, &strategy, &x.request.a,
                                                &x.request.b, &x.request.c),
                    0);
        }
        EXPECT_NE(plain.kernel, cnr.kernel) << code;
        EXPECT_TRUE(!plain.diagonal_kernel || plain.diagonal_kernel != cnr.diagonal_kernel) << code;
        EXPECT_TRUE(!plain.solve_kernel || plain.solve_kernel != cnr.solve_kernel) << code;
      }
    }
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure());
  });
  EXPECT_EQ(result.status, 0) << result.output;
}

TEST_P(Operations, OtherBitsWithoutMemoryOrAfterOtherPacking) {
  if (!alone()) return;
  in_unused_memory([&] {
    for (const Operation& o : operations()) {
      if (!served(o)) continue;
      const auto run = [&](bool prepacked, bool fail) {
        std::mt19937_64 random(2);
        Operation variant = o;
        variant.prepacked = prepacked;
        Problem x = problem(variant, 75, 203, 401, 0.3, 0.25, random);
        vex_serv_free_buffers();
        CountingAllocator::failing = fail ? 1 : 0;
        EXPECT_EQ(x.run(path), 0);
        EXPECT_EQ(CountingAllocator::failing, 0);  // the failure did strike
        return x.c.values();
      };
      const std::vector<double> usual = run(false, false);
      EXPECT_EQ(run(false, true), usual) << text(o);
      if (o.prepacked) {
        EXPECT_EQ(run(true, true), usual) << text(o);
      }
    }
    vex_serv_free_buffers();
    EXPECT_EQ(CountingAllocator::live(), 0);
  });
}

}  // namespace
}  // namespace vex::test
