// Small numeric functions with the meanings that Fortran gives them. Arguments come by value, except complex
// numbers; s is single and d double precision, c and z the complex of each.
#pragma once

#include <complex>

#include "service/types.h"

extern "C" {

// The magnitude of a with the sign of b; the sign of a zero b counts.
float vex_serv_s_sign(float a, float b);
double vex_serv_d_sign(double a, double b);

// x to an integer power, by repeated squaring: x**0 is 1 for every x, 0**n with n < 0 is infinite. The single
// precision one multiplies in double precision.
float vex_serv_s_powi(float x, vex_int n);
double vex_serv_d_powi(double x, vex_int n);

// Towards zero, to a whole number.
float vex_serv_s_int(float x);
double vex_serv_d_int(double x);

// To the nearest whole number, halves away from zero.
float vex_serv_s_round(float x);
double vex_serv_d_round(double x);

// Modulus, without overflow or underflow on the way.
float vex_serv_c_abs(const std::complex<float>* z);
double vex_serv_z_abs(const std::complex<double>* z);

// *root = the square root of *z with a real part that is not negative. root may be z.
void vex_serv_c_sqrt(std::complex<float>* root, const std::complex<float>* z);
void vex_serv_z_sqrt(std::complex<double>* root, const std::complex<double>* z);

// The smallest floating-point number that is not below n.
float vex_serv_int2f_ceil(vex_int n);
double vex_serv_int2d_ceil(vex_int n);
}
