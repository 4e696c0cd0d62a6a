// LU tuning tables of the 512-bit path.
// nb0, nb1 and fts0 of 56 threads are settled: up to m = 1500 as the two functions below say, and at the
// orders 1000, 3000, 5000, 10000 and 20000.
//
// Two threads are measured; the others are what
//   lu_simulation --path avx512 --threads T --orders 250,500,800,1200,2000,3200,5000,7200,10000,15000,22000
//     --tune
// found (for 56 with --keep-settled), smoothed where that costs little. Parallel efficiency in percent, as
// the simulation sees it:
//
//   threads   n =   500  1000  2000  5000 10000 20000
//         4          72    90   100    97    99    99
//         8          48    77    94    95    98    98
//        28          15    34    71    90    96    98
//        56           7    15    48    81    92    97
#include <iterator>

#include "lapack/tuning/leaves.h"

namespace vex::lapack {
namespace {

// clang-format off
// Measured with bench/lu_phases_bench on two cores of an AMD EPYC (Zen 4), orders 150 to 8000. Teams of two lost
// for any part of the panels (n = 500: 25 GFlops with them in the last half, 33 in the last fifth, 47 without).
// The late team of two updates never forms, since no panel is late. It stands here because teams that are all
// of size 1 bind block columns to threads, which left a tenth of the threads' time idle up to n = 1000.
// Percent of a peak taken for as long, medians of 4 to 24 runs, with panels of 160, 192, 240 to 256 and 288:
// n = 4000 87, 84, 85, -; 6000 90.3, 89.5, 90.0, 90.2; 8000 -, 91.0, 91.8, 92.6; 10000 -, 92.7, -, 92.7.
constexpr OrderBand getrf_avx512_2[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  160,    1,    1,  32,  32,         0,       100,    1,    2},
    {  225,    1,    1,  40,  40,         0,       100,    1,    2},
    {  600,    1,    1,  56,  56,         0,       100,    1,    2},
    {  800,    1,    1,  64,  64,         0,       100,    1,    2},
    { 1200,    1,    1,  72,  72,         0,       100,    1,    2},
    { 1800,    1,    1, 112, 112,         0,       100,    1,    2},
    { 2500,    1,    1, 128, 128,         0,       100,    1,    2},
    { 3500,    1,    1, 144, 144,         0,       100,    1,    2},
    { 6000,    1,    1, 160, 160,         0,       100,    1,    2},
    { 9000,    1,    1, 288, 288,         0,       100,    1,    2},
    {13500,    1,    1, 192, 192,         0,       100,    1,    2},
    { rest,    1,    1, 224, 224,         0,       100,    1,    2},
};

constexpr OrderBand getrf_avx512_4[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  350,    1,    1,  48,  32,        20,       100,    1,    2},
    {  650,    1,    1,  64,  48,        30,       100,    1,    2},
    {  900,    1,    1,  80,  64,        50,       100,    1,    2},
    { 1500,    1,    1, 128,  80,        50,       100,    1,    2},
    { 2500,    1,    1, 192,  96,        50,       100,    1,    2},
    { 4000,    1,    1, 224, 160,        50,       100,    1,    2},
    { 8500,    1,    1, 336, 256,        50,       100,    1,    2},
    { rest,    1,    1, 448, 336,        50,       100,    1,    2},
};

constexpr OrderBand getrf_avx512_8[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  650,    1,    1,  32,  32,         0,       100,    1,    2},
    {  900,    1,    1,  48,  32,        50,       100,    1,    2},
    { 1500,    2,    2,  80,  64,        50,        50,    1,    1},
    { 2500,    1,    2,  96,  80,        50,        50,    1,    2},
    { 4000,    2,    2, 224, 112,        50,        50,    1,    2},
    { 8500,    2,    2, 256, 192,        50,        50,    1,    2},
    {13500,    1,    2, 336, 224,        80,        50,    1,    2},
    { rest,    2,    2, 448, 448,         0,        50,    1,    2},
};

constexpr OrderBand getrf_avx512_28[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  350,    1,    2,  32,  32,         0,       100,    1,    1},
    {  900,    1,    2,  24,  24,         0,       100,    1,    1},
    { 1500,    2,    2,  32,  32,         0,       100,    1,    1},
    { 2500,    2,    2,  48,  32,        40,        50,    1,    1},
    { 4000,    4,    4, 112,  80,        50,        60,    2,    4},
    { 6000,    4,    4, 192, 112,        50,        60,    2,    4},
    { 8500,    4,    4, 224, 160,        60,        60,    2,    4},
    {13500,    4,    4, 336, 160,        60,        60,    2,    4},
    { rest,    4,    4, 448, 224,        60,        60,    2,    4},
};

constexpr OrderBand getrf_avx512_56[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  350,    1,    2,  24,  24,         0,       100,    1,    1},
    {  650,    1,    2,  32,  24,         0,       100,    1,    1},
    {  900,    1,    2,  32,  32,         0,       100,    1,    1},
    { 1500,    1,    4,  48,  48,         0,         0,    1,    4},
    { 2500,    4,    4,  64,  48,         0,        60,    2,    2},
    { 4000,    8,    8, 112,  48,        30,        60,    4,    8},
    { 6000,    8,    8, 160,  64,        50,        60,    4,    8},
    { 8500,    8,    8, 224,  96,        60,        60,    4,    8},
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
