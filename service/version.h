// The library's version: the record and the strings that vex.h hands out, and the one-line description of the
// processors that the chosen code path serves.
#pragma once

#include <cstddef>

#include "vex.h"

extern "C" {

// The version text of both strings, terminated and cut to capacity - 1 characters.
void VEXGetVerItems(char* text, std::size_t capacity);
}

namespace vex::service {

inline constexpr int version_major = 2024, version_minor = 0, version_update = 2, version_patch = 1;

// What refines the description within a code path; each is the answer of the predicate of that name.
enum ProcessorTrait : unsigned {
  trait_f16c = 1u << 0,
  trait_avx_vnni = 1u << 1,
  trait_amx = 1u << 2,
  trait_amx_fp16 = 1u << 3,
  trait_fp16 = 1u << 4,
  trait_bf16_generation = 1u << 5,
  trait_vaes_generation = 1u << 6,
  trait_vnni_generation = 1u << 7,
};

// korva_cpu: the processor counts as one of the maker's; type: dispatched type; traits: a set of
// ProcessorTrait.
const char* processor_description(bool korva_cpu, int type, unsigned traits);

// The description for the processor at hand; runs detection when it has not run yet.
const char* processor_description();

}  // namespace vex::service
