// LU tuning tables of the 128-bit and the first 256-bit path.
//
// Two threads are measured; the others are what
//   lu_simulation --path avx --threads T --orders 250,500,800,1200,2000,3200,5000,7200,10000,15000,22000
//     --tune
// found, smoothed where that costs little. Parallel efficiency in percent, as the simulation sees it:
//
//   threads   n =   500  1000  2000  5000 10000 20000
//         4          87   103   100   100   102   103
//         8          64    94    97    98   101   102
//        12          51    85    94    99   101   102
//        24          28    64    88    96   100   102
//
// More than 100: the sequential way has narrower panels, which these kernels like less.
#include <iterator>

#include "lapack/tuning/leaves.h"

namespace vex::lapack {
namespace {

// clang-format off
constexpr OrderBand getrf_avx_2[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  350,    1,    1,  24,  24,         0,        50,    1,    1},
    {  900,    1,    1,  32,  32,         0,        50,    1,    1},
    { 2500,    1,    1,  48,  48,         0,        50,    1,    1},
    { 6000,    1,    1,  64,  64,         0,        50,    1,    1},
    {13500,    1,    1,  96,  96,         0,        50,    1,    1},
    { rest,    1,    1, 128, 128,         0,        50,    1,    1},
};

constexpr OrderBand getrf_avx_4[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  350,    1,    1,  24,  24,         0,        50,    1,    1},
    {  650,    1,    1,  48,  32,        50,        50,    1,    1},
    {  900,    1,    2,  80,  64,        50,        50,    1,    2},
    { 1500,    1,    1, 128,  64,        50,        50,    1,    1},
    { 2500,    1,    1, 224, 112,        50,        50,    1,    1},
    { 4000,    1,    1, 384, 160,        40,        50,    1,    1},
    {13500,    1,    1, 448, 192,        50,        50,    1,    1},
    { rest,    1,    1, 448, 448,         0,        50,    1,    1},
};

constexpr OrderBand getrf_avx_8[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  350,    1,    1,  24,  24,         0,        50,    1,    1},
    {  650,    2,    2,  32,  32,         0,        50,    1,    2},
    {  900,    2,    2,  64,  32,        50,        50,    1,    2},
    { 1500,    2,    2,  80,  48,        50,        50,    1,    2},
    { 2500,    2,    2, 128,  64,        50,        50,    1,    2},
    { 4000,    2,    2, 224,  96,        50,        50,    1,    2},
    { 6000,    2,    2, 336,  96,        50,        50,    1,    2},
    {13500,    2,    2, 336, 256,        50,        50,    1,    2},
    { rest,    2,    2, 448, 336,        50,        50,    1,    2},
};

constexpr OrderBand getrf_avx_12[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  350,    1,    1,  24,  24,         0,        60,    1,    1},
    {  650,    3,    3,  32,  32,         0,        50,    1,    4},
    {  900,    3,    3,  48,  32,        50,        50,    1,    2},
    { 1500,    2,    3,  64,  48,        50,        50,    1,    2},
    { 2500,    2,    2,  96,  64,        50,        50,    1,    2},
    { 4000,    2,    4, 160, 128,        40,        60,    2,    4},
    { 6000,    2,    4, 224, 160,        60,        60,    2,    4},
    { rest,    4,    4, 448, 160,        60,        60,    2,    4},
};

constexpr OrderBand getrf_avx_24[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  350,    1,    1,  24,  24,         0,        60,    1,    1},
    {  900,    3,    3,  24,  24,         0,        60,    1,    1},
    { 1500,    3,    3,  32,  24,        50,        50,    1,    2},
    { 2500,    4,    4,  96,  48,        50,        50,    2,    2},
    { 4000,    4,    4, 128,  64,        50,        50,    2,    2},
    { 8500,    4,    8, 336, 224,        30,        60,    4,    8},
    {13500,    4,    4, 336, 160,        60,        60,    2,    4},
    { rest,    8,    8, 448, 160,        60,        60,    4,    8},
};

// clang-format on

VEX_GETRF_LEAVES(avx, 2)
VEX_GETRF_LEAVES(avx, 4)
VEX_GETRF_LEAVES(avx, 8)
VEX_GETRF_LEAVES(avx, 12)
VEX_GETRF_LEAVES(avx, 24)

constexpr ThreadCountEntry thread_counts[] = {
    VEX_GETRF_ENTRY(avx, 2),  VEX_GETRF_ENTRY(avx, 4),  VEX_GETRF_ENTRY(avx, 8),
    VEX_GETRF_ENTRY(avx, 12), VEX_GETRF_ENTRY(avx, 24),
};

}  // namespace

constinit const CodePathEntry getrf_avx = {4, std::begin(thread_counts), std::end(thread_counts)};

}  // namespace vex::lapack
