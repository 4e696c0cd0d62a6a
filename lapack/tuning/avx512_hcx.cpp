// LU tuning tables of the many-core 512-bit path.
// First guesses by shape, not measured yet.
#include <iterator>

#include "lapack/tuning/leaves.h"

namespace vex::lapack {
namespace {

// clang-format off
constexpr OrderBand getrf_avx512_hcx_34[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  650,    1,    1,  24,  24,         0,        60,    1,    1},
    {  900,    1,    1,  32,  24,         0,        60,    1,    1},
    { 1500,    1,    1,  32,  32,         0,        60,    1,    1},
    { 2500,    1,    2,  64,  32,         0,        60,    1,    1},
    { 4000,    2,    2, 112,  48,        30,        60,    1,    2},
    { 6000,    2,    2, 224,  48,        30,        60,    1,    2},
    { 8500,    2,    2, 224,  96,        30,        60,    1,    2},
    {13500,    2,    2, 336,  96,        60,        60,    1,    2},
    { rest,    2,    2, 448, 128,        60,        60,    1,    2},
};

constexpr OrderBand getrf_avx512_hcx_68[] = {
    // to, fts0, fts1, nb0, nb1, nb_switch, ts_switch, uts0, uts1
    {  650,    1,    1,  24,  24,         0,        60,    1,    1},
    {  900,    1,    1,  32,  24,         0,        60,    1,    1},
    { 1500,    1,    1,  32,  32,         0,        60,    1,    1},
    { 2500,    2,    4,  64,  32,         0,        60,    1,    1},
    { 4000,    4,    4, 112,  48,        30,        60,    2,    4},
    { 6000,    4,    4, 224,  48,        30,        60,    2,    4},
    { 8500,    4,    4, 224,  96,        30,        60,    2,    4},
    {13500,    4,    4, 336,  96,        60,        60,    2,    4},
    { rest,    4,    4, 448, 128,        60,        60,    2,    4},
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
