// From features and ceiling to the fine type.
#include "service/fine_type.h"

namespace vex::service {
namespace {

FineType avx512_type(const Processor& processor, LevelFlags flags) {
  const auto disabled = [flags](LevelFlags level) { return (flags & level) != 0; };
  const bool amx_fp16_allowed = disabled(level_flag::avx512_e5);  // the reversed flag
  if (amx_fp16_allowed && processor.amx_fp16 != 0) return avx512_amx_fp16;
  if (!disabled(level_flag::avx512_e4) && processor.avx512_fp16 != 0) return avx512_fp16;
  if (!disabled(level_flag::avx512_e3) && processor.avx512_bf16 != 0) return avx512_bf16;
  if (!disabled(level_flag::avx512_e2) && processor.features.all(feature::avx512_e2_group)) return avx512_e2;
  if (disabled(level_flag::avx512_e1)) return avx512;
  return processor.features.all(feature::avx512_vnni) ? avx512_vnni : avx512;
}

FineType avx_type(const Processor& processor, LevelFlags flags) {
  const auto disabled = [flags](LevelFlags level) { return (flags & level) != 0; };
  if (!processor.features.all(feature::avx2_group)) return sse42;
  if (processor.features.all(feature::avx512_group) && !disabled(level_flag::avx512))
    return avx512_type(processor, flags);
  if (!disabled(level_flag::avx2_e1) && processor.avx_vnni != 0) return avx2_vnni;
  return disabled(level_flag::avx2) ? sse42 : avx2;
}

}  // namespace

FineDetection detect_fine(const Processor& processor, LevelFlags flags) {
  FineDetection result;
  if (!processor.korva) {
    result.type = sse3_or_foreign;
  } else if (processor.features.all(feature::avx) && (flags & level_flag::avx) == 0) {
    result.type = avx_type(processor, flags);
  } else if (processor.features.all(feature::sse4_2)) {
    result.type = sse42;
  } else if (processor.features.any(feature::any_sse3)) {
    result.type = sse3_or_foreign;
  } else {
    result.failure_code = 1;
    result.messages.add(below_minimum_error);
    result.messages.add(sse3_required_error);
  }
  return result;
}

FineDetection detect_fine_here() {
  const LevelFlags flags = current_ceiling().flags;  // first: this may read the environment and print
  return detect_fine(this_processor(), flags);
}

}  // namespace vex::service

extern "C" int __detect_real_cpu(int* failure_code) {
  const vex::service::FineDetection result = vex::service::detect_fine_here();
  result.messages.print();
  *failure_code = result.failure_code;
  return result.type;
}
