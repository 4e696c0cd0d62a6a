// From features and ceiling to the fine type.
#include "service/fine_type.h"

namespace vex::service {
namespace {

bool contains(LevelFlags flags, LevelFlags level) {
  return (flags & level) != 0;
}

int avx512_type(const Processor& processor, LevelFlags flags) {
  const bool amx_fp16_allowed = contains(flags, level_flag::avx512_e5);  // the one flag that allows
  if (amx_fp16_allowed && processor.amx_fp16 != 0) return fine::avx512_amx_fp16;
  if (!contains(flags, level_flag::avx512_e4) && processor.avx512_fp16 != 0) return fine::avx512_fp16;
  if (!contains(flags, level_flag::avx512_e3) && processor.avx512_bf16 != 0) return fine::avx512_bf16;
  if (!contains(flags, level_flag::avx512_e2) && processor.features.all(feature::avx512_e2_group))
    return fine::avx512_e2;
  if (contains(flags, level_flag::avx512_e1)) return fine::avx512;
  return processor.features.all(feature::avx512_vnni) ? fine::avx512_vnni : fine::avx512;
}

int avx_type(const Processor& processor, LevelFlags flags) {
  if (!processor.features.all(feature::avx2_group)) return fine::sse42;
  if (processor.features.all(feature::avx512_group) && !contains(flags, level_flag::avx512))
    return avx512_type(processor, flags);
  if (!contains(flags, level_flag::avx2_e1) && processor.avx_vnni != 0) return fine::avx2_vnni;
  return contains(flags, level_flag::avx2) ? fine::sse42 : fine::avx2;
}

}  // namespace

FineDetection detect_fine(const Processor& processor, LevelFlags flags) {
  const auto found = [](int type) { return FineDetection{type, 0, {}}; };
  const FeatureWords& features = processor.features;
  if (!processor.korva) return found(fine::sse3_or_foreign);
  if (features.all(feature::avx) && !contains(flags, level_flag::avx))
    return found(avx_type(processor, flags));
  if (features.all(feature::sse4_2)) return found(fine::sse42);
  if (features.any(feature::any_sse3)) return found(fine::sse3_or_foreign);

  FineDetection failure{fine::below_minimum, 1, {}};
  failure.messages.add(below_minimum_error);
  failure.messages.add(sse3_required_error);
  return failure;
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
