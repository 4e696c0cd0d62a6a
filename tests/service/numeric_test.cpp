// The small numeric functions at the values where they go wrong.
#include "service/numeric.h"

#include <gtest/gtest.h>

#include <cmath>
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

TEST(Numeric, AComplexModulusOverflowsOrARootLeavesItsHalfPlane) {
  const std::complex<double> large(3e300, -4e300), small(3e-320, 4e-320), negative(-4, -0.0);
  EXPECT_DOUBLE_EQ(vex_serv_z_abs(&large), 5e300);
  EXPECT_NEAR(vex_serv_z_abs(&small) / 5e-320, 1, 1e-3);
  const std::complex<float> single(3e30f, 4e30f);
  EXPECT_FLOAT_EQ(vex_serv_c_abs(&single), 5e30f);

  std::complex<double> root;
  vex_serv_z_sqrt(&root, &negative);
  EXPECT_EQ(root, std::complex<double>(0, -2));
  std::complex<double> in_place(-5, 12);
  vex_serv_z_sqrt(&in_place, &in_place);
  EXPECT_DOUBLE_EQ(in_place.real(), 2);
  EXPECT_DOUBLE_EQ(in_place.imag(), 3);
  std::complex<float> root_single;
  const std::complex<float> square(3, -4);
  vex_serv_c_sqrt(&root_single, &square);
  EXPECT_FLOAT_EQ(root_single.real(), 2);
  EXPECT_FLOAT_EQ(root_single.imag(), -1);
}

TEST(Numeric, ACeilingIsBelowItsInteger) {
  for (int bit = 0; bit < 63; ++bit) {
    for (const vex_int near : {-1, 0, 1}) {
      for (const vex_int sign : {-1, 1}) {
        const vex_int n = sign * ((vex_int{1} << bit) + near);
        const double d = vex_serv_int2d_ceil(n);
        const float f = vex_serv_int2f_ceil(n);
        // Compared in a format that holds both exactly.
        const auto exact = static_cast<long double>(n);
        EXPECT_GE(static_cast<long double>(d), exact);
        EXPECT_LT(static_cast<long double>(std::nextafter(d, -infinity)), exact);
        EXPECT_GE(static_cast<long double>(f), exact);
        EXPECT_LT(static_cast<long double>(std::nextafterf(f, -INFINITY)), exact);
      }
    }
  }
  EXPECT_EQ(vex_serv_int2d_ceil(highest), 0x1p63);
  EXPECT_EQ(vex_serv_int2f_ceil(lowest), -0x1p63f);
}
