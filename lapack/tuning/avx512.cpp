// LU tuning tables of the 512-bit path.
// nb0, nb1 and fts0 of 56 threads are settled values up to m = 1500 and at the orders 1000, 3000, 5000, 10000
// and 20000. Everything else is a first guess by shape, not measured yet.
#include <iterator>

#include "lapack/tuning/leaves.h"

namespace vex::lapack {
namespace {

// clang-format off
// Measured with bench/lu_phases_bench on two cores of an AMD EPYC (Zen 4), orders 200 to 8000. Teams of two lost
// for any part of the panels (n = 500: 25 GFlops with them in the last half, 33 in the last fifth, 47 without).
// The late team of two updates never forms, since no panel is late. It stands here because teams that are all
// of size 1 bind block columns to threads, which left a tenth of the threads' time idle up to n = 1000.
constexpr OrderBand getrf_avx512_2[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  250,    1,    1,  32,  32,         0,       100,    1,    2},
    {  400,    1,    1,  48,  48,         0,       100,    1,    2},
    {  900,    1,    1,  56,  56,         0,       100,    1,    2},
    { 1200,    1,    1,  72,  72,         0,       100,    1,    2},
    { 1800,    1,    1, 112, 112,         0,       100,    1,    2},
    { 2500,    1,    1, 128, 128,         0,       100,    1,    2},
    { 3500,    1,    1, 144, 144,         0,       100,    1,    2},
    { 6000,    1,    1, 160, 160,         0,       100,    1,    2},
    {13500,    1,    1, 192, 192,         0,       100,    1,    2},
    { rest,    1,    1, 224, 224,         0,       100,    1,    2},
};

constexpr OrderBand getrf_avx512_4[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  350,    1,    1,  24,  24,         0,        50,    1,    1},
    {  900,    1,    1,  32,  32,         0,        50,    1,    1},
    { 1500,    1,    1,  48,  48,         0,        50,    1,    1},
    { 4000,    1,    1,  64,  64,         0,        50,    1,    1},
    { 8500,    1,    1, 112, 112,         0,        50,    1,    1},
    {13500,    1,    1, 144, 144,         0,        50,    1,    1},
    { rest,    1,    1, 192, 192,         0,        50,    1,    1},
};

constexpr OrderBand getrf_avx512_8[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  650,    1,    1,  24,  24,         0,        50,    1,    1},
    { 1500,    1,    1,  32,  32,         0,        50,    1,    1},
    { 4000,    1,    1,  48,  48,         0,        50,    1,    1},
    { 8500,    2,    2,  96,  96,         0,        50,    1,    2},
    {13500,    2,    2, 128, 128,         0,        50,    1,    2},
    { rest,    2,    2, 160, 160,         0,        50,    1,    2},
};

constexpr OrderBand getrf_avx512_28[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  650,    1,    1,  24,  24,         0,        60,    1,    1},
    {  900,    1,    1,  48,  32,         0,        60,    1,    1},
    { 1500,    1,    1,  48,  48,         0,        60,    1,    1},
    { 2500,    2,    4,  64,  48,         0,        60,    1,    1},
    { 4000,    4,    4, 112,  48,        30,        60,    2,    4},
    { 8500,    4,    4, 192,  80,        30,        60,    2,    4},
    {13500,    4,    4, 336, 112,        60,        60,    2,    4},
    { rest,    4,    4, 448, 160,        60,        60,    2,    4},
};

constexpr OrderBand getrf_avx512_56[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  350,    1,    1,  24,  24,         0,        60,    1,    1},
    {  650,    1,    1,  32,  24,         0,        60,    1,    1},
    {  900,    1,    1,  32,  32,         0,        60,    1,    1},
    { 1500,    1,    1,  48,  48,         0,        60,    1,    1},
    { 2500,    4,    8,  64,  48,         0,        60,    1,    1},
    { 4000,    8,    8, 112,  48,        30,        60,    4,    8},
    { 6000,    8,    8, 160,  64,        30,        60,    4,    8},
    { 8500,    8,    8, 224,  96,        30,        60,    4,    8},
    {11000,    8,    8, 336, 112,        60,        60,    4,    8},
    {13500,    8,    8, 336, 128,        60,        60,    4,    8},
    {17500,    8,    8, 384, 160,        60,        60,    4,    8},
    { rest,    8,    8, 448, 160,        60,        60,    4,    8},
};

// clang-format on

VEX_GETRF_LEAVES(avx512, 2)
VEX_GETRF_LEAVES(avx512, 4)
VEX_GETRF_LEAVES(avx512, 8)
VEX_GETRF_LEAVES(avx512, 28)
VEX_GETRF_LEAVES_BUT_WIDTHS(avx512, 56)

// Up to 1500 rows the widths follow both dimensions.
vex_int idt_fn_getrf_avx512_56_d_nb0(vex_int m, vex_int n) {
  if (m > 1500) return band_of(getrf_avx512_56, m, n).nb0;
  if (n > 900) return n <= 1500 && m > 900 ? 48 : 24;
  if (n > 650) return 32;
  return n > 350 && m > 350 && m <= 650 ? 32 : 24;
}

vex_int idt_fn_getrf_avx512_56_d_nb1(vex_int m, vex_int n) {
  if (n <= 150) return m <= 150 ? 24 : 16;
  return band_of(getrf_avx512_56, m, n).nb1;
}

constexpr ThreadCountEntry thread_counts[] = {
    VEX_GETRF_ENTRY(avx512, 2),  VEX_GETRF_ENTRY(avx512, 4),  VEX_GETRF_ENTRY(avx512, 8),
    VEX_GETRF_ENTRY(avx512, 28), VEX_GETRF_ENTRY(avx512, 56),
};

}  // namespace

constinit const CodePathEntry getrf_avx512 = {7, std::begin(thread_counts), std::end(thread_counts)};

}  // namespace vex::lapack
