// LU tuning tables of the many-core 512-bit path.
//
// They are what
//   lu_simulation --path avx512_hcx --threads T --orders
//   250,500,800,1200,2000,3200,5000,7200,10000,15000,22000
//     --tune
// found, smoothed where that costs little. Parallel efficiency in percent, as the simulation sees it:
//
//   threads   n =   500  1000  2000  5000 10000 20000
//        34           9    25    55    82    90    95
//        68           5    14    38    74    88    94
#include <iterator>

#include "lapack/tuning/leaves.h"

namespace vex::lapack {
namespace {

// clang-format off
constexpr OrderBand getrf_avx512_hcx_34[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  650,    1,    1,  24,  24,         0,        60,    1,    1},
    { 1500,    2,    2,  24,  24,         0,        60,    1,    1},
    { 2500,    2,    2,  32,  32,         0,        60,    1,    1},
    { 4000,    2,    2,  64,  48,        30,        60,    1,    2},
    { 6000,    2,    2,  80,  48,        50,        60,    1,    2},
    { 8500,    2,    2, 112,  80,        30,        60,    1,    2},
    {13500,    2,    2, 128,  64,        60,        60,    1,    2},
    { rest,    2,    2, 256, 128,        60,        60,    1,    2},
};

constexpr OrderBand getrf_avx512_hcx_68[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  350,    1,    1,  24,  24,         0,        60,    1,    1},
    {  900,    4,    4,  32,  32,         0,        60,    1,    1},
    { 2500,    4,    4,  24,  24,         0,        60,    1,    1},
    { 4000,    4,    4,  48,  48,        30,        60,    2,    4},
    { 6000,    4,    4,  80,  48,        30,        60,    2,    4},
    { 8500,    4,    4,  96,  64,        40,        60,    2,    4},
    {13500,    4,    4, 112,  64,        60,        60,    2,    4},
    {17500,    4,    4, 160, 112,        60,        60,    2,    4},
    { rest,    4,    4, 256, 128,        60,        60,    2,    4},
};

// clang-format on

VEX_GETRF_LEAVES(avx512_hcx, 34)
VEX_GETRF_LEAVES(avx512_hcx, 68)

constexpr ThreadCountEntry thread_counts[] = {
    VEX_GETRF_ENTRY(avx512_hcx, 34),
    VEX_GETRF_ENTRY(avx512_hcx, 68),
};

}  // namespace

constinit const CodePathEntry getrf_avx512_hcx = {6, std::begin(thread_counts), std::end(thread_counts)};

}  // namespace vex::lapack
