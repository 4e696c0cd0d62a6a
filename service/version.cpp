// Version record and strings. The processor description is looked up in a table of code paths and traits.
#include "service/version.h"

#include <algorithm>
#include <cstring>

#include "service/bounded_text.h"
#include "service/cpu_dispatch.h"
#include "service/cpu_predicates.h"

namespace vex::service {
namespace {

constexpr char product_status[] = "Product";
constexpr char build[] = "20240722";
constexpr char platform_name[] = "Korva(R) 64 architecture";

struct Description {
  int type;
  unsigned required;  // traits that must all be there
  const char* text;
};

// The first row that holds for the type decides, so within a type the most telling traits stand first. Types
// that detection folds onto another one before it publishes them have their rows all the same.
constexpr Description descriptions[] = {
    {0, 0, "SSE2-enabled processors"},
    {2, 0, "SSSE3-enabled processors"},
    {3, 0, "SSE4.2-enabled processors"},
    {4, trait_f16c, "AVX-enabled processors with half-precision conversion"},
    {4, 0, "AVX-enabled processors"},
    {5, trait_avx_vnni, "AVX2-enabled processors with AVX-VNNI"},
    {5, 0, "AVX2-enabled processors"},
    {7, trait_amx_fp16 | trait_amx, "AVX-512-enabled processors with AMX-FP16 and AMX tiles"},
    {7, trait_amx_fp16, "AVX-512-enabled processors with AMX-FP16"},
    {7, trait_fp16 | trait_amx, "AVX-512-enabled processors with FP16 and AMX tiles"},
    {7, trait_fp16, "AVX-512-enabled processors with FP16"},
    {7, trait_bf16_generation, "AVX-512-enabled processors with bfloat16"},
    {7, trait_vaes_generation, "AVX-512-enabled processors with vector AES and carry-less multiply"},
    {7, trait_vnni_generation, "AVX-512-enabled processors with VNNI"},
    {7, 0, "AVX-512-enabled processors"},
    {9, 0, "AVX-512-enabled processors with VNNI"},
    {10, 0, "AVX-512-enabled processors with vector AES and carry-less multiply"},
    {12, 0, "AVX-512-enabled processors with bfloat16"},
    {14, trait_amx, "AVX-512-enabled processors with FP16 and AMX tiles"},
    {14, 0, "AVX-512-enabled processors with FP16"},
    {16, trait_amx, "AVX-512-enabled processors with AMX-FP16 and AMX tiles"},
    {16, 0, "AVX-512-enabled processors with AMX-FP16"},
};

constexpr char any_processor[] = "processors of the Korva(R) architecture";

struct TraitQuestion {
  ProcessorTrait trait;
  int (*answer)();
};

constexpr TraitQuestion trait_questions[] = {
    {trait_f16c, vex_serv_cpuhasf16c},
    {trait_avx_vnni, vex_serv_cpuhasavxvnni},
    {trait_amx, vex_serv_cpuhasamx},
    {trait_amx_fp16, vex_serv_cpuhasamxfp16},
    {trait_fp16, vex_serv_cpuhasfp16},
    {trait_bf16_generation, vex_serv_cpuisbf16gen},
    {trait_vaes_generation, vex_serv_cpuisvaesgen},
    {trait_vnni_generation, vex_serv_cpuisvnnigen},
};

constexpr std::size_t version_text_capacity = 512;

}  // namespace

const char* processor_description(bool korva_cpu, int type, unsigned traits) {
  if (!korva_cpu) return any_processor;
  for (const Description& row : descriptions)
    if (row.type == type && (row.required & ~traits) == 0) return row.text;
  return any_processor;
}

const char* processor_description() {
  if (vex_serv_korva_cpu() == 0) return any_processor;
  unsigned traits = 0;
  for (const TraitQuestion& question : trait_questions)
    if (question.answer() == 1) traits |= question.trait;
  return processor_description(true, vex_serv_cpu_detect(), traits);
}

}  // namespace vex::service

extern "C" {

void VEXGetVerItems(char* text, std::size_t capacity) {
  using namespace vex::service;
  BoundedText<version_text_capacity> version;
  version.append("Korva(R) Aptum VEX Library Version %d.%d.%d-%s Build %s for %s applications", version_major,
                 version_update, version_patch, product_status, build, platform_name);
  const std::size_t length = std::min(version.length(), capacity - 1);
  std::memcpy(text, version.text(), length);
  text[length] = '\0';
}

void vex_serv_get_version(vex_version* record) {
  using namespace vex::service;
  if (record == nullptr) return;
  *record = {version_major, version_minor,           version_update, product_status,
             build,         processor_description(), platform_name};
}

void vex_serv_get_version_string(char* buffer, int length) {
  if (buffer == nullptr || length <= 0) return;
  char text[vex::service::version_text_capacity];
  VEXGetVerItems(text, sizeof text);
  const std::size_t width = static_cast<std::size_t>(length), shown = std::min(std::strlen(text), width);
  std::copy_n(text, shown, buffer);
  std::fill_n(buffer + shown, width - shown, ' ');
}

void vex_serv_get_version_string_c(char* buffer, int length) {
  if (buffer == nullptr || length <= 0) return;
  VEXGetVerItems(buffer, static_cast<std::size_t>(length));
}
}
