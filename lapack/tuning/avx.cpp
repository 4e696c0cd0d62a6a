// LU tuning tables of the paths below 256-bit multiply-add.
// First guesses by shape, not measured yet: wider panels for larger matrices, teams that divide the thread
// count.
#include "lapack/tuning_trees.h"

namespace vex::lapack {
namespace {

// clang-format off

// ---- 2 threads
constexpr vex_int idt_fn_getrf_avx_2_d_fts0[][2] = {{0, rest}, {rest, 1}};
constexpr vex_int idt_fn_getrf_avx_2_d_fts1[][2] = {{0, rest}, {rest, 1}};
constexpr vex_int idt_fn_getrf_avx_2_d_nb0[][7] = {
    {    0, 350, 900, 2500, 6000, 13500, rest},
    {  350,  24,  24,   24,   24,    24,   24},
    {  900,  24,  32,   32,   32,    32,   32},
    { 2500,  24,  32,   48,   48,    48,   48},
    { 6000,  24,  32,   48,   64,    64,   64},
    {13500,  24,  32,   48,   64,    96,   96},
    { rest,  24,  32,   48,   64,    96,  128},
};
constexpr auto& idt_fn_getrf_avx_2_d_nb1 = idt_fn_getrf_avx_2_d_nb0;
constexpr vex_int idt_fn_getrf_avx_2_d_nb_switch[][2] = {{0, rest}, {rest, 0}};
constexpr vex_int idt_fn_getrf_avx_2_d_ts_switch[][2] = {{0, rest}, {rest, 50}};
constexpr vex_int idt_fn_getrf_avx_2_d_uts0[][2] = {{0, rest}, {rest, 1}};
constexpr vex_int idt_fn_getrf_avx_2_d_uts1[][2] = {{0, rest}, {rest, 1}};

// ---- 4 threads
constexpr vex_int idt_fn_getrf_avx_4_d_fts0[][2] = {{0, rest}, {rest, 1}};
constexpr vex_int idt_fn_getrf_avx_4_d_fts1[][2] = {{0, rest}, {rest, 1}};
constexpr vex_int idt_fn_getrf_avx_4_d_nb0[][7] = {
    {    0, 350, 900, 2500, 6000, 13500, rest},
    {  350,  24,  24,   24,   24,    24,   24},
    {  900,  24,  32,   32,   32,    32,   32},
    { 2500,  24,  32,   48,   48,    48,   48},
    { 6000,  24,  32,   48,   64,    64,   64},
    {13500,  24,  32,   48,   64,    96,   96},
    { rest,  24,  32,   48,   64,    96,  128},
};
constexpr auto& idt_fn_getrf_avx_4_d_nb1 = idt_fn_getrf_avx_4_d_nb0;
constexpr vex_int idt_fn_getrf_avx_4_d_nb_switch[][2] = {{0, rest}, {rest, 0}};
constexpr vex_int idt_fn_getrf_avx_4_d_ts_switch[][2] = {{0, rest}, {rest, 50}};
constexpr vex_int idt_fn_getrf_avx_4_d_uts0[][2] = {{0, rest}, {rest, 1}};
constexpr vex_int idt_fn_getrf_avx_4_d_uts1[][2] = {{0, rest}, {rest, 1}};

// ---- 8 threads
constexpr vex_int idt_fn_getrf_avx_8_d_fts0[][3] = {
    {   0, 4000, rest},
    {4000,    1,    1},
    {rest,    1,    2},
};
constexpr auto& idt_fn_getrf_avx_8_d_fts1 = idt_fn_getrf_avx_8_d_fts0;
constexpr vex_int idt_fn_getrf_avx_8_d_nb0[][6] = {
    {   0, 650, 1500, 4000, 8500, rest},
    { 650,  24,   24,   24,   24,   24},
    {1500,  24,   32,   32,   32,   32},
    {4000,  24,   32,   48,   48,   48},
    {8500,  24,   32,   48,   64,   64},
    {rest,  24,   32,   48,   64,   96},
};
constexpr auto& idt_fn_getrf_avx_8_d_nb1 = idt_fn_getrf_avx_8_d_nb0;
constexpr vex_int idt_fn_getrf_avx_8_d_nb_switch[][2] = {{0, rest}, {rest, 0}};
constexpr vex_int idt_fn_getrf_avx_8_d_ts_switch[][2] = {{0, rest}, {rest, 50}};
constexpr vex_int idt_fn_getrf_avx_8_d_uts0[][2] = {{0, rest}, {rest, 1}};
constexpr auto& idt_fn_getrf_avx_8_d_uts1 = idt_fn_getrf_avx_8_d_fts0;

// ---- 12 threads
constexpr vex_int idt_fn_getrf_avx_12_d_fts0[][4] = {
    {   0, 1500, 2500, rest},
    {1500,    1,    1,    1},
    {2500,    1,    2,    2},
    {rest,    1,    2,    4},
};
constexpr vex_int idt_fn_getrf_avx_12_d_fts1[][3] = {
    {   0, 1500, rest},
    {1500,    1,    1},
    {rest,    1,    4},
};
constexpr vex_int idt_fn_getrf_avx_12_d_nb0[][6] = {
    {   0, 650, 1500, 4000, 8500, rest},
    { 650,  24,   24,   24,   24,   24},
    {1500,  24,   32,   32,   32,   32},
    {4000,  24,   32,   64,   64,   64},
    {8500,  24,   32,   64,  128,  128},
    {rest,  24,   32,   64,  128,  192},
};
constexpr vex_int idt_fn_getrf_avx_12_d_nb1[][5] = {
    {   0, 650, 1500, 6000, rest},
    { 650,  24,   24,   24,   24},
    {1500,  24,   32,   32,   32},
    {6000,  24,   32,   48,   48},
    {rest,  24,   32,   48,   96},
};
constexpr vex_int idt_fn_getrf_avx_12_d_nb_switch[][4] = {
    {   0, 2500, 8500, rest},
    {2500,    0,    0,    0},
    {8500,    0,   30,   30},
    {rest,    0,   30,   60},
};
constexpr vex_int idt_fn_getrf_avx_12_d_ts_switch[][2] = {{0, rest}, {rest, 60}};
constexpr vex_int idt_fn_getrf_avx_12_d_uts0[][3] = {
    {   0, 2500, rest},
    {2500,    1,    1},
    {rest,    1,    2},
};
constexpr vex_int idt_fn_getrf_avx_12_d_uts1[][3] = {
    {   0, 2500, rest},
    {2500,    1,    1},
    {rest,    1,    4},
};

// ---- 24 threads
constexpr vex_int idt_fn_getrf_avx_24_d_fts0[][4] = {
    {   0, 1500, 2500, rest},
    {1500,    1,    1,    1},
    {2500,    1,    4,    4},
    {rest,    1,    4,    8},
};
constexpr vex_int idt_fn_getrf_avx_24_d_fts1[][3] = {
    {   0, 1500, rest},
    {1500,    1,    1},
    {rest,    1,    8},
};
constexpr vex_int idt_fn_getrf_avx_24_d_nb0[][6] = {
    {   0, 650, 1500, 4000, 8500, rest},
    { 650,  24,   24,   24,   24,   24},
    {1500,  24,   32,   32,   32,   32},
    {4000,  24,   32,   64,   64,   64},
    {8500,  24,   32,   64,  128,  128},
    {rest,  24,   32,   64,  128,  192},
};
constexpr vex_int idt_fn_getrf_avx_24_d_nb1[][5] = {
    {   0, 650, 1500, 6000, rest},
    { 650,  24,   24,   24,   24},
    {1500,  24,   32,   32,   32},
    {6000,  24,   32,   48,   48},
    {rest,  24,   32,   48,   96},
};
constexpr vex_int idt_fn_getrf_avx_24_d_nb_switch[][4] = {
    {   0, 2500, 8500, rest},
    {2500,    0,    0,    0},
    {8500,    0,   30,   30},
    {rest,    0,   30,   60},
};
constexpr vex_int idt_fn_getrf_avx_24_d_ts_switch[][2] = {{0, rest}, {rest, 60}};
constexpr vex_int idt_fn_getrf_avx_24_d_uts0[][3] = {
    {   0, 2500, rest},
    {2500,    1,    1},
    {rest,    1,    4},
};
constexpr vex_int idt_fn_getrf_avx_24_d_uts1[][3] = {
    {   0, 2500, rest},
    {2500,    1,    1},
    {rest,    1,    8},
};
// clang-format on

constexpr ThreadCountEntry thread_counts[] = {
    {2,
     {{Parameter::fts0, Tree(idt_fn_getrf_avx_2_d_fts0)},
      {Parameter::fts1, Tree(idt_fn_getrf_avx_2_d_fts1)},
      {Parameter::nb0, Tree(idt_fn_getrf_avx_2_d_nb0)},
      {Parameter::nb1, Tree(idt_fn_getrf_avx_2_d_nb1)},
      {Parameter::nb_switch, Tree(idt_fn_getrf_avx_2_d_nb_switch)},
      {Parameter::ts_switch, Tree(idt_fn_getrf_avx_2_d_ts_switch)},
      {Parameter::uts0, Tree(idt_fn_getrf_avx_2_d_uts0)},
      {Parameter::uts1, Tree(idt_fn_getrf_avx_2_d_uts1)}}},
    {4,
     {{Parameter::fts0, Tree(idt_fn_getrf_avx_4_d_fts0)},
      {Parameter::fts1, Tree(idt_fn_getrf_avx_4_d_fts1)},
      {Parameter::nb0, Tree(idt_fn_getrf_avx_4_d_nb0)},
      {Parameter::nb1, Tree(idt_fn_getrf_avx_4_d_nb1)},
      {Parameter::nb_switch, Tree(idt_fn_getrf_avx_4_d_nb_switch)},
      {Parameter::ts_switch, Tree(idt_fn_getrf_avx_4_d_ts_switch)},
      {Parameter::uts0, Tree(idt_fn_getrf_avx_4_d_uts0)},
      {Parameter::uts1, Tree(idt_fn_getrf_avx_4_d_uts1)}}},
    {8,
     {{Parameter::fts0, Tree(idt_fn_getrf_avx_8_d_fts0)},
      {Parameter::fts1, Tree(idt_fn_getrf_avx_8_d_fts1)},
      {Parameter::nb0, Tree(idt_fn_getrf_avx_8_d_nb0)},
      {Parameter::nb1, Tree(idt_fn_getrf_avx_8_d_nb1)},
      {Parameter::nb_switch, Tree(idt_fn_getrf_avx_8_d_nb_switch)},
      {Parameter::ts_switch, Tree(idt_fn_getrf_avx_8_d_ts_switch)},
      {Parameter::uts0, Tree(idt_fn_getrf_avx_8_d_uts0)},
      {Parameter::uts1, Tree(idt_fn_getrf_avx_8_d_uts1)}}},
    {12,
     {{Parameter::fts0, Tree(idt_fn_getrf_avx_12_d_fts0)},
      {Parameter::fts1, Tree(idt_fn_getrf_avx_12_d_fts1)},
      {Parameter::nb0, Tree(idt_fn_getrf_avx_12_d_nb0)},
      {Parameter::nb1, Tree(idt_fn_getrf_avx_12_d_nb1)},
      {Parameter::nb_switch, Tree(idt_fn_getrf_avx_12_d_nb_switch)},
      {Parameter::ts_switch, Tree(idt_fn_getrf_avx_12_d_ts_switch)},
      {Parameter::uts0, Tree(idt_fn_getrf_avx_12_d_uts0)},
      {Parameter::uts1, Tree(idt_fn_getrf_avx_12_d_uts1)}}},
    {24,
     {{Parameter::fts0, Tree(idt_fn_getrf_avx_24_d_fts0)},
      {Parameter::fts1, Tree(idt_fn_getrf_avx_24_d_fts1)},
      {Parameter::nb0, Tree(idt_fn_getrf_avx_24_d_nb0)},
      {Parameter::nb1, Tree(idt_fn_getrf_avx_24_d_nb1)},
      {Parameter::nb_switch, Tree(idt_fn_getrf_avx_24_d_nb_switch)},
      {Parameter::ts_switch, Tree(idt_fn_getrf_avx_24_d_ts_switch)},
      {Parameter::uts0, Tree(idt_fn_getrf_avx_24_d_uts0)},
      {Parameter::uts1, Tree(idt_fn_getrf_avx_24_d_uts1)}}},
};

}  // namespace

constinit const CodePathEntry getrf_avx = {4, std::begin(thread_counts), std::end(thread_counts)};

}  // namespace vex::lapack
