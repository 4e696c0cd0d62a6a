// Reading, checking and setting VEX_CBWR.
#include "service/reproducibility.h"

#include "service/detection_state.h"
#include "service/environment.h"
#include "service/fine_type.h"
#include "service/spin_lock.h"

namespace vex::service {
namespace {

constexpr int invalid = -2, unsupported = -3, too_late = -8;
constexpr int no_branch = -4;
constexpr int branch_mask = 0xFFFF;

constexpr struct {
  std::string_view name;
  CbwrBranch branch;
} branch_names[] = {
    {"AUTO", cbwr_auto},           {"COMPATIBLE", cbwr_compatible},
    {"SSE2", cbwr_sse2},           {"SSE3", cbwr_sse2},
    {"SSSE3", cbwr_sse2},          {"SSE4_1", cbwr_sse41},
    {"SSE4_2", cbwr_sse42},        {"AVX", cbwr_sse42},  // there are no kernels of its own for it
    {"AVX2", cbwr_avx2},           {"AVX512_HCX", cbwr_avx2},
    {"AVX512_HCX_E1", cbwr_avx2},  {"AVX512", cbwr_avx512},
    {"AVX512_E1", cbwr_avx512_e1},
};

// The highest branch of each fine type; type 2 depends on SSE4.1 and stands here without it.
constexpr struct {
  int fine_type;
  CbwrBranch branch;
} highest_branches[] = {
    {0, cbwr_sse2},       {1, cbwr_sse2},       {2, cbwr_sse2},       {3, cbwr_sse42},
    {4, cbwr_sse42},      {5, cbwr_avx2},       {15, cbwr_avx2},      {7, cbwr_avx512},
    {9, cbwr_avx512_e1},  {10, cbwr_avx512_e1}, {12, cbwr_avx512_e1}, {14, cbwr_avx512_e1},
    {16, cbwr_avx512_e1},
};

constexpr bool is_blank(char c) {
  return c == ' ' || c == '\t';
}

// Cuts a trailing ",STRICT" off (blanks may follow the comma); leaves the text alone when it does not end so.
bool cut_strict(std::string_view& text) {
  constexpr std::string_view word = "STRICT";
  if (!text.ends_with(word)) return false;
  std::string_view rest = text.substr(0, text.size() - word.size());
  while (!rest.empty() && is_blank(rest.back())) rest.remove_suffix(1);
  if (rest.empty() || rest.back() != ',') return false;
  rest.remove_suffix(1);
  text = rest;
  return true;
}

// Call with the detection lock held.
int read_setting() {
  char value[129];
  vex_serv_getenv("VEX_CBWR", value, sizeof value);
  const CbwrText text = parse_cbwr(value);
  const int code = text.branch > cbwr_auto ? check_cbwr_settings(text.branch) : 0;
  return cbwr_setting(text, code);
}

int part_of(int setting, int what) {
  if (what == -1) return setting;
  return what == 1 ? setting & branch_mask : invalid;
}

// The code path is settled, so the branch can no longer change. Call with the detection lock held.
bool detected() {
  return vex_cpu_type.load(std::memory_order_relaxed) != -1;
}

}  // namespace

CbwrText parse_cbwr(std::string_view text) {
  if (text.empty()) return {cbwr_off, false};
  const bool strict = cut_strict(text);
  constexpr std::string_view prefix = "BRANCH=";
  if (text.starts_with(prefix)) text.remove_prefix(prefix.size());
  for (const auto& [name, branch] : branch_names)
    if (name == text) return {branch, strict};
  return {0, false};
}

int cbwr_setting(CbwrText text, int check_code) {
  const bool usable = text.branch == cbwr_off || (text.branch != 0 && check_code == 0);
  return (usable ? text.branch : cbwr_auto) | (text.strict ? cbwr_strict : 0);
}

int highest_cbwr_branch(const Processor& processor, int fine_type) {
  if (!processor.korva) return cbwr_auto;
  if (fine_type == 2 && processor.features.all(feature::sse4_1)) return cbwr_sse41;
  for (const auto& [type, branch] : highest_branches)
    if (type == fine_type) return branch;
  return no_branch;
}

CbwrCheck check_cbwr(const Processor& processor, int fine_type, int setting) {
  CbwrCheck result;
  const auto answer = [&result](int code) {
    result.code = code;
    return result;
  };
  const int branch = setting & branch_mask;
  if (processor.korva) {
    const int highest = highest_cbwr_branch(processor, fine_type);
    if (branch > highest && branch < 15) return answer(unsupported);
    if (highest == cbwr_avx512 && branch == 11) return answer(unsupported);
    if (highest == cbwr_avx512_e1 && (branch == 11 || branch == 13)) return answer(unsupported);
    if (branch == cbwr_ssse3) result.messages.add(ssse3_deprecated_warning);
    if (branch == cbwr_avx) result.messages.add(avx_deprecated_warning);
  }
  if (setting > 0x1FFFF) return answer(unsupported);
  if (branch == cbwr_auto || branch == cbwr_compatible) return answer(0);
  if (branch >= cbwr_sse2 && branch <= cbwr_avx512_e1) return answer(processor.korva ? 0 : unsupported);
  return answer(invalid);
}

}  // namespace vex::service

extern "C" {

int check_cbwr_settings(int setting) {
  using namespace vex::service;
  const CbwrCheck result = check_cbwr(this_processor(), detect_fine_here().type, setting);
  result.messages.print();
  return result.code;
}

int vex_serv_cbwr_get_nolock(int what) {
  using namespace vex::service;
  int setting = vex_cbwr.load(std::memory_order_relaxed);
  if (setting == -1) {
    setting = read_setting();
    vex_cbwr.store(setting, std::memory_order_relaxed);
  }
  return part_of(setting, what);
}

int vex_serv_cbwr_get(int what) {
  using namespace vex::service;
  const int setting = vex_cbwr.load(std::memory_order_relaxed);
  if (setting != -1) return part_of(setting, what);
  SpinGuard guard(VEX_Detect_Cpu_Global_Lock);
  return vex_serv_cbwr_get_nolock(what);
}

int vex_serv_cbwr_set(int setting) {
  using namespace vex::service;
  SpinGuard guard(VEX_Detect_Cpu_Global_Lock);
  if (detected()) return setting == vex_serv_cbwr_get_nolock(-1) ? 0 : too_late;
  if (setting < 0) return invalid;
  if (setting > cbwr_auto) {
    const int code = check_cbwr_settings(setting);
    if (code != 0) return code;
  }
  vex_cbwr.store(setting == 0 ? cbwr_off : setting, std::memory_order_relaxed);
  return 0;
}

int vex_serv_cbwr_get_auto_branch() {
  using namespace vex::service;
  return highest_cbwr_branch(this_processor(), detect_fine_here().type);
}
}
