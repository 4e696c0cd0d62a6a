// LU tuning tables of the 128-bit and the first 256-bit path.
// First guesses by shape, not measured yet.
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
    {  900,    1,    1,  32,  32,         0,        50,    1,    1},
    { 2500,    1,    1,  48,  48,         0,        50,    1,    1},
    { 6000,    1,    1,  64,  64,         0,        50,    1,    1},
    {13500,    1,    1,  96,  96,         0,        50,    1,    1},
    { rest,    1,    1, 128, 128,         0,        50,    1,    1},
};

constexpr OrderBand getrf_avx_8[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  650,    1,    1,  24,  24,         0,        50,    1,    1},
    { 1500,    1,    1,  32,  32,         0,        50,    1,    1},
    { 4000,    1,    1,  48,  48,         0,        50,    1,    1},
    { 8500,    2,    2,  64,  64,         0,        50,    1,    2},
    { rest,    2,    2,  96,  96,         0,        50,    1,    2},
};

constexpr OrderBand getrf_avx_12[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  650,    1,    1,  24,  24,         0,        60,    1,    1},
    { 1500,    1,    1,  32,  32,         0,        60,    1,    1},
    { 2500,    2,    4,  64,  48,         0,        60,    1,    1},
    { 4000,    4,    4,  64,  48,        30,        60,    2,    4},
    { 6000,    4,    4, 128,  48,        30,        60,    2,    4},
    { 8500,    4,    4, 128,  96,        30,        60,    2,    4},
    { rest,    4,    4, 192,  96,        60,        60,    2,    4},
};

constexpr OrderBand getrf_avx_24[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  650,    1,    1,  24,  24,         0,        60,    1,    1},
    { 1500,    1,    1,  32,  32,         0,        60,    1,    1},
    { 2500,    4,    8,  64,  48,         0,        60,    1,    1},
    { 4000,    8,    8,  64,  48,        30,        60,    4,    8},
    { 6000,    8,    8, 128,  48,        30,        60,    4,    8},
    { 8500,    8,    8, 128,  96,        30,        60,    4,    8},
    { rest,    8,    8, 192,  96,        60,        60,    4,    8},
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
