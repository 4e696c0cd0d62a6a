// The standard entries: both integer widths against each other and against the definition of the result, what
// they refuse, what they trace, and what they do without memory.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "service/cleanup.h"
#include "service/platform.h"
#include "tests/support/caught_reports.h"
#include "tests/support/fresh_process.h"
#include "tests/support/text.h"
#include "vex.h"

namespace {

using vex::test::in_fresh_process;
using Wide = std::int64_t;

std::vector<double> random_matrix(int rows, int columns) {
  std::mt19937 engine(7);
  std::vector<double> elements(static_cast<std::size_t>(rows * columns));
  for (double& element : elements) element = std::uniform_real_distribution(-1.0, 1.0)(engine);
  return elements;
}

// What was reported while body ran, and nothing printed.
template <typename Body>
std::string reports_of(Body body) {
  const vex::test::CaughtReports caught;
  body();
  return caught.text();
}

std::string address(const void* pointer) {
  char text[32];
  std::snprintf(text, sizeof text, "%p", pointer);
  return text;
}

}  // namespace

TEST(StandardEntries, ASpellingIsAnotherRoutine) {
  const std::vector<std::vector<const void*>> entries = {
#define SPELLINGS(upper, lower) \
  {(const void*)upper, (const void*)lower, (const void*)lower##_, (const void*)vex_lapack__##lower##_}
      SPELLINGS(DGETRF, dgetrf),       SPELLINGS(DGETRF_64, dgetrf_64), SPELLINGS(DGETRS, dgetrs),
      SPELLINGS(DGETRS_64, dgetrs_64), SPELLINGS(ILAENV, ilaenv),       SPELLINGS(ILAENV_64, ilaenv_64),
      SPELLINGS(DLAMCH, dlamch),       SPELLINGS(DLAMCH_64, dlamch_64),
#undef SPELLINGS
  };
  std::map<const void*, int> routines;
  for (const auto& spellings : entries) {
    for (const void* spelling : spellings) EXPECT_EQ(spelling, spellings[0]);
    ++routines[spellings[0]];
  }
  EXPECT_EQ(routines.size(), 8u);
}

template <typename Integer>
struct Answer {
  std::vector<double> lu;
  std::vector<Wide> ipiv;  // four more than there are pivots
  Wide info;
  bool operator==(const Answer<Wide>& other) const {
    return lu == other.lu && ipiv == other.ipiv && info == other.info;
  }
  template <typename Routine>
  Answer(Routine routine, const std::vector<double>& a, Integer m, Integer n, Integer lda) : lu(a) {
    std::vector<Integer> pivots(static_cast<std::size_t>(std::min(m, n)) + 4, -77);
    Integer told = 99;
    routine(&m, &n, lu.data(), &lda, pivots.data(), &told);
    ipiv.assign(pivots.begin(), pivots.end());
    info = told;
  }
};

TEST(StandardEntries, TheWidthsDisagreeOrWritePivotsBeyondTheLast) {
  const std::pair<int, int> shapes[] = {{0, 0},   {0, 5},   {1, 1},   {16, 16}, {17, 17},
                                        {16, 40}, {40, 17}, {60, 60}, {150, 90}};
  for (const auto& [m, n] : shapes)
    for (const bool singular : {false, true}) {
      const int lda = std::max(1, m) + 3, count = std::min(m, n);
      std::vector<double> a = random_matrix(lda, n);
      if (singular) std::ranges::fill(a, 1.0);
      const Answer<int> narrow(dgetrf_, a, m, n, lda);
      EXPECT_TRUE(narrow == Answer<Wide>(dgetrf_64_, a, m, n, lda)) << m << " x " << n;
      EXPECT_EQ(narrow.info, singular && count > 1 ? 2 : 0);
      for (int i = 0; i < count + 4; ++i) {
        const Wide pivot = narrow.ipiv[static_cast<std::size_t>(i)];
        EXPECT_TRUE(i < count ? pivot > i && pivot <= m : pivot == -77) << i;
      }
    }
}

// Nothing but the arguments up to the wrong one may be looked at, so the rest is null.
TEST(StandardEntries, ARefusedCallTouchesItsArraysOrReportsAnotherParameter) {
  const int one = 1, two = 2, zero = 0, minus = -1, lowest = INT32_MIN;
  const struct {
    const int *m, *n, *lda;
    int parameter;
  } refused[] = {{&minus, nullptr, nullptr, 1}, {&lowest, &minus, &zero, 1}, {&two, &minus, nullptr, 2},
                 {&two, &two, &one, 4},         {&zero, &zero, &zero, 4},    {&zero, &two, &lowest, 4}};
  for (const auto& call : refused) {
    int info = 99;
    const auto widen = [](const int* value) { return value ? Wide{*value} : Wide{0}; };
    const Wide m = widen(call.m), n = widen(call.n), lda = widen(call.lda);
    Wide wide_info = 99;
    const std::string told = "DGETRF:" + std::to_string(call.parameter) + " ";
    EXPECT_EQ(reports_of([&] {
                DGETRF(call.m, call.n, nullptr, call.lda, nullptr, &info);
                DGETRF_64(&m, call.n ? &n : nullptr, nullptr, call.lda ? &lda : nullptr, nullptr, &wide_info);
              }),
              told + told);
    EXPECT_EQ(info + wide_info, -2 * call.parameter);
  }

  const int many = 20;
  const struct {
    const char* trans;
    const int *n, *nrhs, *lda, *ldb;
    int parameter;
  } solves[] = {{"N", &minus, &one, &one, &one, 2}, {"N", &lowest, &many, &one, &one, 2},
                {"X", &zero, &one, &one, &one, 1},  {"N", &two, &minus, &two, &two, 3},
                {"N", &two, &one, &one, &two, 5},   {"N", &two, &many, &two, &one, 8},
                {"", &zero, &many, &one, &one, 1}};
  for (const auto& call : solves) {
    int info = 99;
    const int pivots[2] = {1, 2};
    double untouched[2] = {1.0, 2.0};
    EXPECT_EQ(reports_of([&] {
                DGETRS(call.trans, call.n, call.nrhs, nullptr, call.lda, *call.n > 0 ? pivots : nullptr,
                       untouched, call.ldb, &info, 1);
              }),
              "DGETRS:" + std::to_string(call.parameter) + " ");
    EXPECT_EQ(info, -call.parameter);
    EXPECT_EQ(untouched[0] + untouched[1], 3.0);
  }
}

// Sixteen pivots fit the call's own frame, seventeen need memory.
TEST(StandardEntries, SixteenPivotsAllocateOrMissingMemoryGoesUnreported) {
  const auto result = in_fresh_process([] {
    vex::service::Platform starved = vex::service::real_platform;
    starved.system_malloc = +[](std::size_t) -> void* { return nullptr; };
    vex::service::set_platform(&starved);
    vex_serv_free_buffers();  // of tests that ran before in this process
    for (const int n : {16, 17}) {
      std::vector<double> a(static_cast<std::size_t>(n * n)), b(static_cast<std::size_t>(n), 1.0);
      for (int i = 0; i < n; ++i) a[static_cast<std::size_t>(i * n + i)] = 2.0;
      std::vector<int> ipiv(static_cast<std::size_t>(n));
      std::iota(ipiv.begin(), ipiv.end(), 1);
      const int one = 1;
      int factored = 99, solved = 99;
      const std::string told = reports_of([&] {
        DGETRF(&n, &n, a.data(), &n, ipiv.data(), &factored);
        DGETRS("N", &n, &one, a.data(), &n, ipiv.data(), b.data(), &n, &solved, 1);
      });
      std::printf("%d: %d %d %g %s\n", n, factored, solved, b[15], told.c_str());
    }
  });
  EXPECT_EQ(result.output, "16: 0 0 0.5 \n17: -1023 -1023 1 DGETRF:1102 DGETRS:1102 \n");
}

TEST(StandardEntries, AConstantIsWrongOrDependsOnCaseWidthOrTracing) {
  const std::map<char, double> expected = {{'E', DBL_EPSILON / 2}, {'S', DBL_MIN},  {'B', 2.0},
                                           {'P', DBL_EPSILON},     {'N', 53.0},     {'R', 1.0},
                                           {'M', DBL_MIN_EXP},     {'U', DBL_MIN},  {'L', DBL_MAX_EXP},
                                           {'O', DBL_MAX},         {'A', 0x1p-340}, {'I', 0x1p340},
                                           {'F', 0x1p-484},        {'X', 0x1p484},  {'T', 98.70149282610821}};
  const auto result = in_fresh_process([&] {
    for (const bool traced : {false, true}) {
      vex_serv_verbose(traced);
      vex_serv_verbose_output_file("/dev/null");
      for (int character = 0; character < 256; ++character) {
        const char letter[2] = {static_cast<char>(character), '\0'};
        const bool lower = character >= 'a' && character <= 'z';
        const auto found = expected.find(static_cast<char>(lower ? character - 'a' + 'A' : character));
        const double value = found == expected.end() ? 0.0 : found->second;
        if (DLAMCH(letter, 1) != value || dlamch_64_(letter, 1) != value) std::printf("%d ", character);
      }
    }
  });
  EXPECT_EQ(result.output, "") << "wrong characters";
}

TEST(StandardEntries, ACallIsTracedWithOtherArgumentsOrNotAtAll) {
  double a[4] = {4.0, 1.0, 1.0, 3.0}, b[2] = {1.0, 2.0};
  int ipiv[2] = {1, 2}, info = 0;
  Wide wide_ipiv[2] = {1, 2}, wide_info = 0;
  const auto result = in_fresh_process([&] {
    vex_serv_verbose(1);
    const vex::test::CaughtReports caught;  // the refused call prints nothing of its own
    const int two = 2, one = 1, minus = -1;
    const Wide wide_two = 2, wide_one = 1, wide_minus = -1;
    DGETRF(&two, &two, a, &two, ipiv, &info);
    DGETRF(&minus, nullptr, nullptr, nullptr, nullptr, &info);
    DGETRS("Normal", &two, &one, a, &two, ipiv, b, &two, &info, 6);
    DGETRF_64(&wide_two, &wide_two, a, &wide_two, wide_ipiv, &wide_info);
    DGETRF_64(&wide_minus, nullptr, a, nullptr, nullptr, &wide_info);
    DGETRS_64("?", &wide_two, &wide_one, a, &wide_two, wide_ipiv, b, &wide_two, &wide_info, 1);
    ILAENV(&one, "DGETRF", " ", &two, &minus, &one, &two, 6, 1);
    ILAENV_64(&wide_one, "SGETRF", "UN", &wide_two, &wide_minus, &wide_one, &wide_two, 6, 2);
    DLAMCH_64("z", 1);
    vex_serv_verbose(0);
    DLAMCH("E", 1);
  });
  const std::string none = address(nullptr);
  const std::string calls[] = {
      "DGETRF(2,2," + address(a) + ",2," + address(ipiv) + ",0)",
      "DGETRF(-1,0," + none + ",0," + none + ",-1)",
      "DGETRS(N,2,1," + address(a) + ",2," + address(ipiv) + "," + address(b) + ",2,0)",
      "DGETRF_64(2,2," + address(a) + ",2," + address(wide_ipiv) + ",0)",
      "DGETRF_64(-1,0," + address(a) + ",0," + none + ",-1)",
      "DGETRS_64(?,2,1," + address(a) + ",2," + address(wide_ipiv) + "," + address(b) + ",2,-1)",
      "ILAENV(1,D, ,2,-1,1,2)",
      "ILAENV_64(1,S,U,2,-1,1,2)",
      "DLAMCH_64(z)"};
  const std::vector<std::string> lines = vex::test::lines_of(result.output);
  ASSERT_EQ(lines.size(), 1 + std::size(calls)) << result.output;
  EXPECT_EQ(lines[0].rfind("VEX_VERBOSE VEX 2024.0 Update 2 Patch 1 ", 0), 0u) << lines[0];
  EXPECT_NE(lines[0].find(" lp64 korva_thread"), std::string::npos) << lines[0];
  for (std::size_t i = 0; i < std::size(calls); ++i)
    EXPECT_EQ(lines[i + 1].rfind("VEX_VERBOSE " + calls[i] + " ", 0), 0u) << lines[i + 1];
}
