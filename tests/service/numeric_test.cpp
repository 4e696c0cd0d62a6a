// The small numeric functions at the values where they go wrong.
#include "service/numeric.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr vex_int lowest = std::numeric_limits<vex_int>::min();
constexpr vex_int highest = std::numeric_limits<vex_int>::max();

}  // namespace

TEST(Numeric, APowerStopsShortOrNeverEnds) {
  for (const double x : {-2.5, -1.0, 0.5, 1.25, 3.0}) {
    double product = 1;
    for (vex_int n = 0; n <= 70; ++n, product *= x) {
      EXPECT_NEAR(vex_serv_d_powi(x, n) / product, 1, 1e-14) << x << "**" << n;
      EXPECT_NEAR(vex_serv_d_powi(x, -n) * product, 1, 1e-14) << x << "**-" << n;
      EXPECT_EQ(vex_serv_s_powi(static_cast<float>(x), n), static_cast<float>(vex_serv_d_powi(x, n)));
    }
  }
  EXPECT_EQ(vex_serv_d_powi(0, 0), 1);
  EXPECT_EQ(vex_serv_d_powi(0, -2), infinity);
  EXPECT_EQ(vex_serv_d_powi(-1, lowest), 1);
  EXPECT_EQ(vex_serv_d_powi(-1, highest), -1);
  EXPECT_EQ(vex_serv_d_powi(2, lowest), 0);
  EXPECT_EQ(vex_serv_s_powi(2, -149), 0x1p-149f);  // its reciprocal is no single-precision number
}

TEST(Numeric, AHalfIsRoundedTheWrongWay) {
  EXPECT_EQ(vex_serv_d_round(-2.5), -3);
  EXPECT_EQ(vex_serv_s_round(2.5f), 3);
  EXPECT_EQ(vex_serv_d_round(0.49999999999999994), 0);  // x + 1/2 would round to 1
  EXPECT_EQ(vex_serv_d_int(-3.999), -3);
  EXPECT_EQ(vex_serv_s_int(1e30f), 1e30f);
  EXPECT_EQ(vex_serv_d_sign(3, -0.0), -3);
  EXPECT_EQ(vex_serv_s_sign(-3, 0), 3);
}
