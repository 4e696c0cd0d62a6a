// Sign transfer, integer powers, rounding, complex modulus and root.
#include "service/numeric.h"

#include <cmath>
#include <limits>

namespace {

double power(double x, vex_int n) {
  auto left = static_cast<std::uint64_t>(n);
  if (n < 0) left = 0 - left;  // unsigned: the lowest integer has no opposite
  double result = 1;
  for (double square = x; left != 0; left >>= 1, square *= square) {
    if (left & 1) result *= square;
  }
  return n < 0 ? 1 / result : result;
}

template <typename Float>
Float ceiling(vex_int n) {
  constexpr Float beyond_integers = 0x1p63;
  const auto nearest = static_cast<Float>(n);
  if (nearest >= beyond_integers || static_cast<vex_int>(nearest) >= n) return nearest;
  return std::nextafter(nearest, std::numeric_limits<Float>::infinity());
}

}  // namespace

extern "C" {

float vex_serv_s_sign(float a, float b) {
  return std::copysign(a, b);
}
double vex_serv_d_sign(double a, double b) {
  return std::copysign(a, b);
}

float vex_serv_s_powi(float x, vex_int n) {
  return static_cast<float>(power(static_cast<double>(x), n));
}
double vex_serv_d_powi(double x, vex_int n) {
  return power(x, n);
}

float vex_serv_s_int(float x) {
  return std::trunc(x);
}
double vex_serv_d_int(double x) {
  return std::trunc(x);
}

float vex_serv_s_round(float x) {
  return std::round(x);
}
double vex_serv_d_round(double x) {
  return std::round(x);
}

float vex_serv_c_abs(const std::complex<float>* z) {
  return std::hypot(z->real(), z->imag());
}
double vex_serv_z_abs(const std::complex<double>* z) {
  return std::hypot(z->real(), z->imag());
}

void vex_serv_c_sqrt(std::complex<float>* root, const std::complex<float>* z) {
  *root = std::sqrt(*z);
}
void vex_serv_z_sqrt(std::complex<double>* root, const std::complex<double>* z) {
  *root = std::sqrt(*z);
}

float vex_serv_int2f_ceil(vex_int n) {
  return ceiling<float>(n);
}
double vex_serv_int2d_ceil(vex_int n) {
  return ceiling<double>(n);
}
}
