// The small numeric functions at the values where they go wrong.
#include "service/numeric.h"

#include <gtest/gtest.h>

#include <limits>

TEST(Numeric, APowerNeverEndsOrAHalfIsRoundedTheWrongWay) {
  EXPECT_EQ(vex_serv_d_powi(-2.5, 3), -15.625);
  EXPECT_EQ(vex_serv_d_powi(0, 0), 1);
  EXPECT_EQ(vex_serv_d_powi(0, -2), std::numeric_limits<double>::infinity());
  EXPECT_EQ(vex_serv_d_powi(-1, std::numeric_limits<vex_int>::min()), 1);
  EXPECT_EQ(vex_serv_s_powi(2, -149), 0x1p-149f);  // its reciprocal is no single-precision number
  EXPECT_EQ(vex_serv_d_round(-2.5), -3);
  EXPECT_EQ(vex_serv_d_round(0.49999999999999994), 0);  // x + 1/2 would round to 1
  EXPECT_EQ(vex_serv_d_int(-3.999), -3);
  EXPECT_EQ(vex_serv_d_sign(3, -0.0), -3);
}
