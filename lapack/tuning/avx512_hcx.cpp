// LU tuning tables of the many-core 512-bit path.
// First guesses by shape, not measured yet: wider panels for larger matrices, teams that divide the thread
// count.
#include "lapack/tuning_trees.h"

namespace vex::lapack {
namespace {

// clang-format off

// ---- 34 threads
constexpr vex_int idt_fn_getrf_avx512_hcx_34_d_fts0[][3] = {
    {   0, 2500, rest},
    {2500,    1,    1},
    {rest,    1,    2},
};
constexpr vex_int idt_fn_getrf_avx512_hcx_34_d_fts1[][3] = {
    {   0, 1500, rest},
    {1500,    1,    1},
    {rest,    1,    2},
};
constexpr vex_int idt_fn_getrf_avx512_hcx_34_d_nb0[][8] = {
    {    0, 650, 1500, 2500, 4000, 8500, 13500, rest},
    {  650,  24,   24,   24,   24,   24,    24,   24},
    { 1500,  24,   32,   32,   32,   32,    32,   32},
    { 2500,  24,   32,   64,   64,   64,    64,   64},
    { 4000,  24,   32,   64,  112,  112,   112,  112},
    { 8500,  24,   32,   64,  112,  224,   224,  224},
    {13500,  24,   32,   64,  112,  224,   336,  336},
    { rest,  24,   32,   64,  112,  224,   336,  448},
};
constexpr vex_int idt_fn_getrf_avx512_hcx_34_d_nb1[][6] = {
    {    0, 900, 2500, 6000, 13500, rest},
    {  900,  24,   24,   24,    24,   24},
    { 2500,  24,   32,   32,    32,   32},
    { 6000,  24,   32,   48,    48,   48},
    {13500,  24,   32,   48,    96,   96},
    { rest,  24,   32,   48,    96,  128},
};
constexpr vex_int idt_fn_getrf_avx512_hcx_34_d_nb_switch[][4] = {
    {   0, 2500, 8500, rest},
    {2500,    0,    0,    0},
    {8500,    0,   30,   30},
    {rest,    0,   30,   60},
};
constexpr vex_int idt_fn_getrf_avx512_hcx_34_d_ts_switch[][2] = {{0, rest}, {rest, 60}};
constexpr vex_int idt_fn_getrf_avx512_hcx_34_d_uts0[][2] = {{0, rest}, {rest, 1}};
constexpr auto& idt_fn_getrf_avx512_hcx_34_d_uts1 = idt_fn_getrf_avx512_hcx_34_d_fts0;

// ---- 68 threads
constexpr vex_int idt_fn_getrf_avx512_hcx_68_d_fts0[][4] = {
    {   0, 1500, 2500, rest},
    {1500,    1,    1,    1},
    {2500,    1,    2,    2},
    {rest,    1,    2,    4},
};
constexpr vex_int idt_fn_getrf_avx512_hcx_68_d_fts1[][3] = {
    {   0, 1500, rest},
    {1500,    1,    1},
    {rest,    1,    4},
};
constexpr vex_int idt_fn_getrf_avx512_hcx_68_d_nb0[][8] = {
    {    0, 650, 1500, 2500, 4000, 8500, 13500, rest},
    {  650,  24,   24,   24,   24,   24,    24,   24},
    { 1500,  24,   32,   32,   32,   32,    32,   32},
    { 2500,  24,   32,   64,   64,   64,    64,   64},
    { 4000,  24,   32,   64,  112,  112,   112,  112},
    { 8500,  24,   32,   64,  112,  224,   224,  224},
    {13500,  24,   32,   64,  112,  224,   336,  336},
    { rest,  24,   32,   64,  112,  224,   336,  448},
};
constexpr vex_int idt_fn_getrf_avx512_hcx_68_d_nb1[][6] = {
    {    0, 900, 2500, 6000, 13500, rest},
    {  900,  24,   24,   24,    24,   24},
    { 2500,  24,   32,   32,    32,   32},
    { 6000,  24,   32,   48,    48,   48},
    {13500,  24,   32,   48,    96,   96},
    { rest,  24,   32,   48,    96,  128},
};
constexpr vex_int idt_fn_getrf_avx512_hcx_68_d_nb_switch[][4] = {
    {   0, 2500, 8500, rest},
    {2500,    0,    0,    0},
    {8500,    0,   30,   30},
    {rest,    0,   30,   60},
};
constexpr vex_int idt_fn_getrf_avx512_hcx_68_d_ts_switch[][2] = {{0, rest}, {rest, 60}};
constexpr vex_int idt_fn_getrf_avx512_hcx_68_d_uts0[][3] = {
    {   0, 2500, rest},
    {2500,    1,    1},
    {rest,    1,    2},
};
constexpr vex_int idt_fn_getrf_avx512_hcx_68_d_uts1[][3] = {
    {   0, 2500, rest},
    {2500,    1,    1},
    {rest,    1,    4},
};
// clang-format on

constexpr ThreadCountEntry thread_counts[] = {
    {34,
     {{Parameter::fts0, Tree(idt_fn_getrf_avx512_hcx_34_d_fts0)},
      {Parameter::fts1, Tree(idt_fn_getrf_avx512_hcx_34_d_fts1)},
      {Parameter::nb0, Tree(idt_fn_getrf_avx512_hcx_34_d_nb0)},
      {Parameter::nb1, Tree(idt_fn_getrf_avx512_hcx_34_d_nb1)},
      {Parameter::nb_switch, Tree(idt_fn_getrf_avx512_hcx_34_d_nb_switch)},
      {Parameter::ts_switch, Tree(idt_fn_getrf_avx512_hcx_34_d_ts_switch)},
      {Parameter::uts0, Tree(idt_fn_getrf_avx512_hcx_34_d_uts0)},
      {Parameter::uts1, Tree(idt_fn_getrf_avx512_hcx_34_d_uts1)}}},
    {68,
     {{Parameter::fts0, Tree(idt_fn_getrf_avx512_hcx_68_d_fts0)},
      {Parameter::fts1, Tree(idt_fn_getrf_avx512_hcx_68_d_fts1)},
      {Parameter::nb0, Tree(idt_fn_getrf_avx512_hcx_68_d_nb0)},
      {Parameter::nb1, Tree(idt_fn_getrf_avx512_hcx_68_d_nb1)},
      {Parameter::nb_switch, Tree(idt_fn_getrf_avx512_hcx_68_d_nb_switch)},
      {Parameter::ts_switch, Tree(idt_fn_getrf_avx512_hcx_68_d_ts_switch)},
      {Parameter::uts0, Tree(idt_fn_getrf_avx512_hcx_68_d_uts0)},
      {Parameter::uts1, Tree(idt_fn_getrf_avx512_hcx_68_d_uts1)}}},
};

}  // namespace

constinit const CodePathEntry getrf_avx512_hcx = {6, std::begin(thread_counts), std::end(thread_counts)};

}  // namespace vex::lapack
