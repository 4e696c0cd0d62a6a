// From the fine type, or a fixed reproducibility branch, to the published types.
#include "service/cpu_dispatch.h"

#include "service/cleanup.h"
#include "service/detection_state.h"
#include "service/reproducibility.h"
#include "service/spin_lock.h"

namespace vex::service {
namespace {

constexpr int fatal = 1;

// Types served by another type's kernels.
constexpr struct {
  int type, kernels;
} folded_types[] = {{6, 5}, {8, 5}, {15, 5}, {9, 7}, {10, 7}, {12, 7}, {14, 7}, {16, 7}};

constexpr int types_with_kernels[] = {0, 1, 3, 5, 7};

// Branches that fix the type whatever the processor is. The ceiling is what an enable-instructions level is
// compared with: the type itself, but for the last.
struct FixedBranch {
  int branch, type, ceiling;
};
constexpr FixedBranch fixed_branches[] = {
    {3, 1, 1}, {4, 0, 0}, {5, 0, 0},  {6, 0, 0},  {7, 0, 0},
    {8, 3, 3}, {9, 3, 3}, {10, 5, 5}, {12, 7, 7}, {14, 7, 9},
};

int fold(int type) {
  for (const auto& [from, kernels] : folded_types)
    if (from == type) return kernels;
  return type;
}

bool has_kernels(int type) {
  for (const int served : types_with_kernels)
    if (served == type) return true;
  return false;
}

const FixedBranch* fixed_branch(int branch) {
  for (const FixedBranch& fixed : fixed_branches)
    if (fixed.branch == branch) return &fixed;
  return nullptr;
}

// An enable-instructions level below a fixed type's ceiling hands the choice back to the processor. Level
// numbers are compared with type numbers as they stand, and only levels 4 and 7 count.
bool level_reopens_choice(const Processor& processor, int level, int ceiling) {
  if (level < 0 || level >= ceiling) return false;
  if (level == 4) return processor.features.all(feature::avx);
  if (level == 7) return processor.features.all(feature::avx512_group);
  return false;
}

Dispatch published(int type, const MessageList& messages) {
  Dispatch result;
  result.messages = messages;
  if (!has_kernels(type)) {
    result.failure_code = fatal;
  } else {
    result.dispatched = type == fine::compatible ? 0 : type;
    result.vector_math = type == 0 ? 0 : type == fine::compatible ? 2 : type + 2;
  }
  return result;
}

}  // namespace

Dispatch choose_code_path(const Processor& processor, const Ceiling& ceiling, int branch) {
  MessageList messages;
  const FixedBranch* fixed = fixed_branch(branch);
  if (fixed != nullptr && !level_reopens_choice(processor, ceiling.level, fixed->ceiling))
    return published(fixed->type, messages);

  if (fixed == nullptr && !follows_processor(branch)) messages.add(unknown_branch_warning);
  const FineDetection detected = detect_fine(processor, ceiling.flags);
  messages.append(detected.messages);
  return published(fold(detected.type), messages);
}

namespace {

int detected_type(const std::atomic<std::int32_t>& cell) {
  const int type = cell.load(std::memory_order_relaxed);
  if (type != -1) return type;
  // The exit handler runs without the detection lock, so it may ask again.
  if (const int code = __vex_cpu_detect_and_load_dll(); code != 0) vex_serv_exit(code);
  return cell.load(std::memory_order_relaxed);
}

}  // namespace
}  // namespace vex::service

extern "C" {

int __vex_cpu_detect_and_load_dll() {
  using namespace vex::service;
  SpinGuard guard(VEX_Detect_Cpu_Global_Lock);
  if (vex_cpu_type.load(std::memory_order_relaxed) != -1 &&
      vex_elem_cpu_type.load(std::memory_order_relaxed) != -1)
    return 0;
  const int branch = vex_serv_cbwr_get_nolock(1);
  const Ceiling ceiling = current_ceiling();
  const Dispatch result = choose_code_path(this_processor(), ceiling, branch);
  result.messages.print();
  // A failure publishes type 0, so that an exit handler which returns, or asks again, meets a settled state.
  vex_elem_cpu_type.store(result.vector_math, std::memory_order_relaxed);
  vex_cpu_type.store(result.dispatched, std::memory_order_relaxed);
  return result.failure_code;
}

int vex_serv_cpu_detect() {
  return vex::service::detected_type(vex::service::vex_cpu_type);
}

int vex_serv_elem_cpu_detect() {
  return vex::service::detected_type(vex::service::vex_elem_cpu_type);
}

int vex_serv_get_cpu_type(int fresh) {
  if (fresh == 0) return vex::service::vex_cpu_type.load(std::memory_order_relaxed);
  int failure_code = 0;
  const int type = __detect_real_cpu(&failure_code);
  if (failure_code != 0) vex_serv_exit(failure_code);
  return type;
}
}
