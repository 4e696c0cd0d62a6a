// LU tuning tables of the 256-bit path.
//
// Two threads are measured; the others are what
//   lu_simulation --path avx2 --threads T --orders 250,500,800,1200,2000,3200,5000,7200,10000,15000,22000
//     --tune
// found, smoothed where that costs little. Parallel efficiency in percent, as the simulation sees it:
//
//   threads   n =   500  1000  2000  5000 10000 20000
//         4          69    85    94    97    98    99
//         8          43    75    89    95    97    98
//        22          16    39    71    88    95    98
//        44           8    20    52    84    93    97
#include <iterator>

#include "lapack/tuning/leaves.h"

namespace vex::lapack {
namespace {

// clang-format off
// Measured with bench/lu_phases_bench on two cores of an AMD EPYC (Zen 4), orders 150 to 8000. Teams of two lost
// for any part of the panels (n = 500: 25 GFlops with them in the last half, 33 in the last fifth, 47 without).
// The late team of two updates never forms, since no panel is late. It stands here because teams that are all
// of size 1 bind block columns to threads, which left a tenth of the threads' time idle up to n = 1000.
constexpr OrderBand getrf_avx2_2[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  160,    1,    1,  32,  32,         0,       100,    1,    2},
    {  225,    1,    1,  40,  40,         0,       100,    1,    2},
    {  400,    1,    1,  48,  48,         0,       100,    1,    2},
    {  600,    1,    1,  56,  56,         0,       100,    1,    2},
    {  800,    1,    1,  64,  64,         0,       100,    1,    2},
    { 1200,    1,    1,  72,  72,         0,       100,    1,    2},
    { 1800,    1,    1, 112, 112,         0,       100,    1,    2},
    { 2500,    1,    1, 128, 128,         0,       100,    1,    2},
    { 3500,    1,    1, 144, 144,         0,       100,    1,    2},
    { 6000,    1,    1, 160, 160,         0,       100,    1,    2},
    {13500,    1,    1, 192, 192,         0,       100,    1,    2},
    { rest,    1,    1, 224, 224,         0,       100,    1,    2},
};

constexpr OrderBand getrf_avx2_4[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  350,    1,    1,  32,  32,         0,        50,    1,    1},
    {  650,    1,    1,  64,  48,        30,        50,    1,    1},
    {  900,    1,    1,  96,  64,        50,        50,    1,    1},
    { 1500,    1,    2, 128,  96,        50,        50,    1,    2},
    { 2500,    1,    1, 112, 112,         0,        50,    1,    1},
    { 4000,    1,    1, 192, 128,        50,        50,    1,    1},
    { 6000,    1,    1, 224, 224,         0,        50,    1,    1},
    {13500,    1,    1, 256, 256,         0,        50,    1,    1},
    { rest,    1,    1, 336, 336,         0,        50,    1,    1},
};

constexpr OrderBand getrf_avx2_8[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  650,    1,    1,  32,  32,         0,        50,    1,    1},
    {  900,    2,    2,  64,  48,        50,        50,    1,    2},
    { 1500,    2,    2,  80,  64,        50,        50,    1,    2},
    { 2500,    1,    2,  80,  80,         0,        50,    1,    1},
    { 4000,    1,    2,  96,  96,         0,        50,    1,    1},
    { 6000,    1,    2, 160, 160,         0,        50,    1,    2},
    { 8500,    2,    2, 256, 192,        50,        50,    1,    2},
    { rest,    2,    2, 336, 336,         0,        50,    1,    2},
};

constexpr OrderBand getrf_avx2_22[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  350,    1,    1,  32,  32,         0,        60,    1,    1},
    {  650,    1,    1,  24,  24,         0,        60,    1,    1},
    {  900,    2,    2,  32,  32,         0,        60,    1,    1},
    { 1500,    2,    2,  32,  32,        50,        50,    1,    2},
    { 2500,    2,    2,  48,  48,         0,        60,    1,    1},
    { 4000,    2,    2,  96,  64,        30,        60,    1,    2},
    { 8500,    2,    2, 160,  96,        50,        60,    1,    2},
    {13500,    2,    2, 224,  96,        60,        60,    1,    2},
    { rest,    2,    2, 320, 160,        60,        60,    1,    2},
};

constexpr OrderBand getrf_avx2_44[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  350,    1,    1,  32,  32,         0,        60,    1,    1},
    {  650,    1,    1,  24,  24,         0,        60,    1,    1},
    { 2500,    4,    4,  32,  32,         0,        60,    1,    1},
    { 4000,    4,    4,  64,  64,        30,        60,    2,    4},
    { 6000,    4,    4,  96,  80,        30,        60,    2,    4},
    {13500,    4,    4, 160,  96,        60,        60,    2,    4},
    { rest,    4,    4, 320, 160,        60,        60,    2,    4},
};

// clang-format on

VEX_GETRF_LEAVES(avx2, 2)
VEX_GETRF_LEAVES(avx2, 4)
VEX_GETRF_LEAVES(avx2, 8)
VEX_GETRF_LEAVES(avx2, 22)
VEX_GETRF_LEAVES(avx2, 44)

constexpr ThreadCountEntry thread_counts[] = {
    VEX_GETRF_ENTRY(avx2, 2),  VEX_GETRF_ENTRY(avx2, 4),  VEX_GETRF_ENTRY(avx2, 8),
    VEX_GETRF_ENTRY(avx2, 22), VEX_GETRF_ENTRY(avx2, 44),
};

}  // namespace

constinit const CodePathEntry getrf_avx2 = {5, std::begin(thread_counts), std::end(thread_counts)};

}  // namespace vex::lapack
