// LU tuning tables of the 512-bit path.
// nb0, nb1 and fts0 of 56 threads are settled values in the bands up to m = 1500 and at the sizes 1000, 3000,
// 5000, 10000 and 20000. Everything else is a first guess by shape, not measured yet.
#include "lapack/tuning_trees.h"

namespace vex::lapack {
namespace {

// clang-format off

// ---- 2 threads
constexpr vex_int idt_fn_getrf_avx512_2_d_fts0[][2] = {{0, rest}, {rest, 1}};
constexpr vex_int idt_fn_getrf_avx512_2_d_fts1[][2] = {{0, rest}, {rest, 1}};
constexpr vex_int idt_fn_getrf_avx512_2_d_nb0[][9] = {
    {    0, 350, 900, 1500, 2500, 4000, 8500, 13500, rest},
    {  350,  24,  24,   24,   24,   24,   24,    24,   24},
    {  900,  24,  32,   32,   32,   32,   32,    32,   32},
    { 1500,  24,  32,   48,   48,   48,   48,    48,   48},
    { 2500,  24,  32,   48,   64,   64,   64,    64,   64},
    { 4000,  24,  32,   48,   64,   96,   96,    96,   96},
    { 8500,  24,  32,   48,   64,   96,  144,   144,  144},
    {13500,  24,  32,   48,   64,   96,  144,   192,  192},
    { rest,  24,  32,   48,   64,   96,  144,   192,  224},
};
constexpr auto& idt_fn_getrf_avx512_2_d_nb1 = idt_fn_getrf_avx512_2_d_nb0;
constexpr vex_int idt_fn_getrf_avx512_2_d_nb_switch[][2] = {{0, rest}, {rest, 0}};
constexpr vex_int idt_fn_getrf_avx512_2_d_ts_switch[][2] = {{0, rest}, {rest, 50}};
constexpr vex_int idt_fn_getrf_avx512_2_d_uts0[][2] = {{0, rest}, {rest, 1}};
constexpr vex_int idt_fn_getrf_avx512_2_d_uts1[][2] = {{0, rest}, {rest, 1}};

// ---- 4 threads
constexpr vex_int idt_fn_getrf_avx512_4_d_fts0[][2] = {{0, rest}, {rest, 1}};
constexpr vex_int idt_fn_getrf_avx512_4_d_fts1[][2] = {{0, rest}, {rest, 1}};
constexpr vex_int idt_fn_getrf_avx512_4_d_nb0[][8] = {
    {    0, 350, 900, 1500, 4000, 8500, 13500, rest},
    {  350,  24,  24,   24,   24,   24,    24,   24},
    {  900,  24,  32,   32,   32,   32,    32,   32},
    { 1500,  24,  32,   48,   48,   48,    48,   48},
    { 4000,  24,  32,   48,   64,   64,    64,   64},
    { 8500,  24,  32,   48,   64,  112,   112,  112},
    {13500,  24,  32,   48,   64,  112,   144,  144},
    { rest,  24,  32,   48,   64,  112,   144,  192},
};
constexpr auto& idt_fn_getrf_avx512_4_d_nb1 = idt_fn_getrf_avx512_4_d_nb0;
constexpr vex_int idt_fn_getrf_avx512_4_d_nb_switch[][2] = {{0, rest}, {rest, 0}};
constexpr vex_int idt_fn_getrf_avx512_4_d_ts_switch[][2] = {{0, rest}, {rest, 50}};
constexpr vex_int idt_fn_getrf_avx512_4_d_uts0[][2] = {{0, rest}, {rest, 1}};
constexpr vex_int idt_fn_getrf_avx512_4_d_uts1[][2] = {{0, rest}, {rest, 1}};

// ---- 8 threads
constexpr vex_int idt_fn_getrf_avx512_8_d_fts0[][3] = {
    {   0, 4000, rest},
    {4000,    1,    1},
    {rest,    1,    2},
};
constexpr auto& idt_fn_getrf_avx512_8_d_fts1 = idt_fn_getrf_avx512_8_d_fts0;
constexpr vex_int idt_fn_getrf_avx512_8_d_nb0[][7] = {
    {    0, 650, 1500, 4000, 8500, 13500, rest},
    {  650,  24,   24,   24,   24,    24,   24},
    { 1500,  24,   32,   32,   32,    32,   32},
    { 4000,  24,   32,   48,   48,    48,   48},
    { 8500,  24,   32,   48,   96,    96,   96},
    {13500,  24,   32,   48,   96,   128,  128},
    { rest,  24,   32,   48,   96,   128,  160},
};
constexpr auto& idt_fn_getrf_avx512_8_d_nb1 = idt_fn_getrf_avx512_8_d_nb0;
constexpr vex_int idt_fn_getrf_avx512_8_d_nb_switch[][2] = {{0, rest}, {rest, 0}};
constexpr vex_int idt_fn_getrf_avx512_8_d_ts_switch[][2] = {{0, rest}, {rest, 50}};
constexpr vex_int idt_fn_getrf_avx512_8_d_uts0[][2] = {{0, rest}, {rest, 1}};
constexpr auto& idt_fn_getrf_avx512_8_d_uts1 = idt_fn_getrf_avx512_8_d_fts0;

// ---- 28 threads
constexpr vex_int idt_fn_getrf_avx512_28_d_fts0[][4] = {
    {   0, 1500, 2500, rest},
    {1500,    1,    1,    1},
    {2500,    1,    2,    2},
    {rest,    1,    2,    4},
};
constexpr vex_int idt_fn_getrf_avx512_28_d_fts1[][3] = {
    {   0, 1500, rest},
    {1500,    1,    1},
    {rest,    1,    4},
};
constexpr vex_int idt_fn_getrf_avx512_28_d_nb0[][8] = {
    {    0, 650, 1500, 2500, 4000, 8500, 13500, rest},
    {  650,  24,   24,   24,   24,   24,    24,   24},
    { 1500,  24,   48,   48,   48,   48,    48,   48},
    { 2500,  24,   48,   64,   64,   64,    64,   64},
    { 4000,  24,   48,   64,  112,  112,   112,  112},
    { 8500,  24,   48,   64,  112,  192,   192,  192},
    {13500,  24,   48,   64,  112,  192,   336,  336},
    { rest,  24,   48,   64,  112,  192,   336,  448},
};
constexpr vex_int idt_fn_getrf_avx512_28_d_nb1[][7] = {
    {    0, 650, 900, 4000, 8500, 13500, rest},
    {  650,  24,  24,   24,   24,    24,   24},
    {  900,  24,  32,   32,   32,    32,   32},
    { 4000,  24,  32,   48,   48,    48,   48},
    { 8500,  24,  32,   48,   80,    80,   80},
    {13500,  24,  32,   48,   80,   112,  112},
    { rest,  24,  32,   48,   80,   112,  160},
};
constexpr vex_int idt_fn_getrf_avx512_28_d_nb_switch[][4] = {
    {   0, 2500, 8500, rest},
    {2500,    0,    0,    0},
    {8500,    0,   30,   30},
    {rest,    0,   30,   60},
};
constexpr vex_int idt_fn_getrf_avx512_28_d_ts_switch[][2] = {{0, rest}, {rest, 60}};
constexpr vex_int idt_fn_getrf_avx512_28_d_uts0[][3] = {
    {   0, 2500, rest},
    {2500,    1,    1},
    {rest,    1,    2},
};
constexpr vex_int idt_fn_getrf_avx512_28_d_uts1[][3] = {
    {   0, 2500, rest},
    {2500,    1,    1},
    {rest,    1,    4},
};

// ---- 56 threads
constexpr vex_int idt_fn_getrf_avx512_56_d_fts0[][4] = {
    {   0, 1500, 2500, rest},
    {1500,    1,    1,    1},
    {2500,    1,    4,    4},
    {rest,    1,    4,    8},
};
constexpr vex_int idt_fn_getrf_avx512_56_d_fts1[][3] = {
    {   0, 1500, rest},
    {1500,    1,    1},
    {rest,    1,    8},
};
constexpr vex_int idt_fn_getrf_avx512_56_d_nb0[][12] = {
    {    0, 350, 650, 900, 1500, 2500, 4000, 6000, 8500, 13500, 17500, rest},
    {  350,  24,  24,  32,   24,   24,   24,   24,   24,    24,    24,   24},
    {  650,  24,  32,  32,   24,   24,   24,   24,   24,    24,    24,   24},
    {  900,  24,  24,  32,   24,   24,   24,   24,   24,    24,    24,   24},
    { 1500,  24,  24,  32,   48,   24,   24,   24,   24,    24,    24,   24},
    { 2500,  24,  32,  32,   48,   64,   64,   64,   64,    64,    64,   64},
    { 4000,  24,  32,  32,   48,   64,  112,  112,  112,   112,   112,  112},
    { 6000,  24,  32,  32,   48,   64,  112,  160,  160,   160,   160,  160},
    { 8500,  24,  32,  32,   48,   64,  112,  160,  224,   224,   224,  224},
    {13500,  24,  32,  32,   48,   64,  112,  160,  224,   336,   336,  336},
    {17500,  24,  32,  32,   48,   64,  112,  160,  224,   336,   384,  384},
    { rest,  24,  32,  32,   48,   64,  112,  160,  224,   336,   384,  448},
};
constexpr vex_int idt_fn_getrf_avx512_56_d_nb1[][10] = {
    {    0, 150, 650, 900, 4000, 6000, 8500, 11000, 13500, rest},
    {  150,  24,  24,  24,   24,   24,   24,    24,    24,   24},
    {  650,  16,  24,  24,   24,   24,   24,    24,    24,   24},
    {  900,  16,  24,  32,   32,   32,   32,    32,    32,   32},
    { 4000,  16,  24,  32,   48,   48,   48,    48,    48,   48},
    { 6000,  16,  24,  32,   48,   64,   64,    64,    64,   64},
    { 8500,  16,  24,  32,   48,   64,   96,    96,    96,   96},
    {11000,  16,  24,  32,   48,   64,   96,   112,   112,  112},
    {13500,  16,  24,  32,   48,   64,   96,   112,   128,  128},
    { rest,  16,  24,  32,   48,   64,   96,   112,   128,  160},
};
constexpr vex_int idt_fn_getrf_avx512_56_d_nb_switch[][4] = {
    {   0, 2500, 8500, rest},
    {2500,    0,    0,    0},
    {8500,    0,   30,   30},
    {rest,    0,   30,   60},
};
constexpr vex_int idt_fn_getrf_avx512_56_d_ts_switch[][2] = {{0, rest}, {rest, 60}};
constexpr vex_int idt_fn_getrf_avx512_56_d_uts0[][3] = {
    {   0, 2500, rest},
    {2500,    1,    1},
    {rest,    1,    4},
};
constexpr vex_int idt_fn_getrf_avx512_56_d_uts1[][3] = {
    {   0, 2500, rest},
    {2500,    1,    1},
    {rest,    1,    8},
};
// clang-format on

constexpr ThreadCountEntry thread_counts[] = {
    {2,
     {{Parameter::fts0, Tree(idt_fn_getrf_avx512_2_d_fts0)},
      {Parameter::fts1, Tree(idt_fn_getrf_avx512_2_d_fts1)},
      {Parameter::nb0, Tree(idt_fn_getrf_avx512_2_d_nb0)},
      {Parameter::nb1, Tree(idt_fn_getrf_avx512_2_d_nb1)},
      {Parameter::nb_switch, Tree(idt_fn_getrf_avx512_2_d_nb_switch)},
      {Parameter::ts_switch, Tree(idt_fn_getrf_avx512_2_d_ts_switch)},
      {Parameter::uts0, Tree(idt_fn_getrf_avx512_2_d_uts0)},
      {Parameter::uts1, Tree(idt_fn_getrf_avx512_2_d_uts1)}}},
    {4,
     {{Parameter::fts0, Tree(idt_fn_getrf_avx512_4_d_fts0)},
      {Parameter::fts1, Tree(idt_fn_getrf_avx512_4_d_fts1)},
      {Parameter::nb0, Tree(idt_fn_getrf_avx512_4_d_nb0)},
      {Parameter::nb1, Tree(idt_fn_getrf_avx512_4_d_nb1)},
      {Parameter::nb_switch, Tree(idt_fn_getrf_avx512_4_d_nb_switch)},
      {Parameter::ts_switch, Tree(idt_fn_getrf_avx512_4_d_ts_switch)},
      {Parameter::uts0, Tree(idt_fn_getrf_avx512_4_d_uts0)},
      {Parameter::uts1, Tree(idt_fn_getrf_avx512_4_d_uts1)}}},
    {8,
     {{Parameter::fts0, Tree(idt_fn_getrf_avx512_8_d_fts0)},
      {Parameter::fts1, Tree(idt_fn_getrf_avx512_8_d_fts1)},
      {Parameter::nb0, Tree(idt_fn_getrf_avx512_8_d_nb0)},
      {Parameter::nb1, Tree(idt_fn_getrf_avx512_8_d_nb1)},
      {Parameter::nb_switch, Tree(idt_fn_getrf_avx512_8_d_nb_switch)},
      {Parameter::ts_switch, Tree(idt_fn_getrf_avx512_8_d_ts_switch)},
      {Parameter::uts0, Tree(idt_fn_getrf_avx512_8_d_uts0)},
      {Parameter::uts1, Tree(idt_fn_getrf_avx512_8_d_uts1)}}},
    {28,
     {{Parameter::fts0, Tree(idt_fn_getrf_avx512_28_d_fts0)},
      {Parameter::fts1, Tree(idt_fn_getrf_avx512_28_d_fts1)},
      {Parameter::nb0, Tree(idt_fn_getrf_avx512_28_d_nb0)},
      {Parameter::nb1, Tree(idt_fn_getrf_avx512_28_d_nb1)},
      {Parameter::nb_switch, Tree(idt_fn_getrf_avx512_28_d_nb_switch)},
      {Parameter::ts_switch, Tree(idt_fn_getrf_avx512_28_d_ts_switch)},
      {Parameter::uts0, Tree(idt_fn_getrf_avx512_28_d_uts0)},
      {Parameter::uts1, Tree(idt_fn_getrf_avx512_28_d_uts1)}}},
    {56,
     {{Parameter::fts0, Tree(idt_fn_getrf_avx512_56_d_fts0)},
      {Parameter::fts1, Tree(idt_fn_getrf_avx512_56_d_fts1)},
      {Parameter::nb0, Tree(idt_fn_getrf_avx512_56_d_nb0)},
      {Parameter::nb1, Tree(idt_fn_getrf_avx512_56_d_nb1)},
      {Parameter::nb_switch, Tree(idt_fn_getrf_avx512_56_d_nb_switch)},
      {Parameter::ts_switch, Tree(idt_fn_getrf_avx512_56_d_ts_switch)},
      {Parameter::uts0, Tree(idt_fn_getrf_avx512_56_d_uts0)},
      {Parameter::uts1, Tree(idt_fn_getrf_avx512_56_d_uts1)}}},
};

}  // namespace

constinit const CodePathEntry getrf_avx512 = {7, std::begin(thread_counts), std::end(thread_counts)};

}  // namespace vex::lapack
