// The feature table (names, bits, and the CPUID register that shows each) and the cells that keep what was
// read.
#include "service/cpu_features.h"

#include <atomic>
#include <cstring>
#include <iterator>

#include "service/vendor.h"

namespace vex::service {
namespace {

// The CPUID registers that features are read from, named leaf_subleaf_register.
enum Source : std::uint8_t {
  never,   // no processor that runs this program shows it
  always,  // every one does
  r1_0_ecx,
  r1_0_edx,
  r7_0_ebx,
  r7_0_ecx,
  r7_0_edx,
  r7_1_eax,
  r7_1_ebx,
  r7_1_edx,
  r14_0_ebx,
  r19_0_ebx,
  r24_0_ebx,
  r80000001_ecx,
  r80000008_ebx,
  source_count
};

// State components of XCR0 that the operating system must save before a feature may be used.
enum StateMask : std::uint32_t {
  none = 0,
  ymm = 0x6,         // SSE and AVX registers
  bounds = 0x18,     // MPX bound and configuration registers
  zmm = ymm | 0xE0,  // opmask, upper halves, upper sixteen
  tiles = 0x60000,   // AMX configuration and data
  egprs = 0x80000    // the second sixteen general registers
};

constexpr std::uint32_t bit(int position) {
  return std::uint32_t{1} << position;
}

struct FeatureEntry {
  FeatureName name;
  Source source;
  std::uint32_t mask;  // all of these bits of the source
  StateMask state;
};

// Entry i describes bit i of the two words.
constexpr FeatureEntry feature_table[] = {
    {{"GENERIC_IA32", 0, "generic_ia32"}, always, 0, none},
    {{"X87", 1, "x87"}, r1_0_edx, bit(0), none},
    {{"CMOV", 2, "cmov"}, r1_0_edx, bit(15), none},
    {{"MMX", 3, "mmx"}, r1_0_edx, bit(23), none},
    {{"FXSAVE", 4, "fxsave"}, r1_0_edx, bit(24), none},
    {{"SSE", 5, "sse"}, r1_0_edx, bit(25), none},
    {{"SSE2", 6, "sse2"}, r1_0_edx, bit(26), none},
    {{"SSE3", 7, "sse3"}, r1_0_ecx, bit(0), none},
    {{"SSSE3", 8, "ssse3"}, r1_0_ecx, bit(9), none},
    {{"SSE4_1", 9, "sse4.1"}, r1_0_ecx, bit(19), none},
    {{"SSE4_2", 10, "sse4"}, r1_0_ecx, bit(20), none},
    {{"MOVBE", 11, "movbe"}, r1_0_ecx, bit(22), none},
    {{"POPCNT", 12, "popcnt"}, r1_0_ecx, bit(23), none},
    {{"PCLMULQDQ", 13, "pclmul"}, r1_0_ecx, bit(1), none},
    {{"AES", 14, "aes"}, r1_0_ecx, bit(25), none},
    {{"F16C", 15, "f16c"}, r1_0_ecx, bit(29), ymm},
    {{"AVX", 16, "avx"}, r1_0_ecx, bit(28), ymm},
    {{"RDRND", 17, "rdrnd"}, r1_0_ecx, bit(30), none},
    {{"FMA", 18, "fma"}, r1_0_ecx, bit(12), ymm},
    {{"BMI", 19, "bmi"}, r7_0_ebx, bit(3) | bit(8), none},  // both halves of the extension
    {{"LZCNT", 20, "lzcnt"}, r80000001_ecx, bit(5), none},
    {{"HLE", 21, "hle"}, r7_0_ebx, bit(4), none},
    {{"RTM", 22, "rtm"}, r7_0_ebx, bit(11), none},
    {{"AVX2", 23, "avx2"}, r7_0_ebx, bit(5), ymm},
    {{"AVX512DQ", 24, "avx512dq"}, r7_0_ebx, bit(17), zmm},
    {{"PTWRITE", 25, "ptwrite"}, r14_0_ebx, bit(4), none},
    {{"KNCNI", 26, "kncni"}, never, 0, none},
    {{"AVX512F", 27, "avx512f"}, r7_0_ebx, bit(16), zmm},
    {{"ADX", 28, "adx"}, r7_0_ebx, bit(19), none},
    {{"RDSEED", 29, "rdseed"}, r7_0_ebx, bit(18), none},
    {{"AVX512IFMA52", 30, "avx512ifma"}, r7_0_ebx, bit(21), zmm},
    {{"", -1, ""}, never, 0, none},
    {{"AVX512ER", 32, "avx512er"}, r7_0_ebx, bit(27), zmm},
    {{"AVX512PF", 33, "avx512pf"}, r7_0_ebx, bit(26), zmm},
    {{"AVX512CD", 34, "avx512cd"}, r7_0_ebx, bit(28), zmm},
    {{"SHA", 35, "sha"}, r7_0_ebx, bit(29), none},
    {{"MPX", 36, "mpx"}, r7_0_ebx, bit(14), bounds},
    {{"AVX512BW", 37, "avx512bw"}, r7_0_ebx, bit(30), zmm},
    {{"AVX512VL", 38, "avx512vl"}, r7_0_ebx, bit(31), zmm},
    {{"AVX512VBMI", 39, "avx512vbmi"}, r7_0_ecx, bit(1), zmm},
    {{"AVX512_4FMAPS", 40, "avx512_4fmaps"}, r7_0_edx, bit(3), zmm},
    {{"AVX512_4VNNIW", 41, "avx512_4vnniw"}, r7_0_edx, bit(2), zmm},
    {{"AVX512_VPOPCNTDQ", 42, "avx512_vpopcntdq"}, r7_0_ecx, bit(14), zmm},
    {{"AVX512_BITALG", 43, "avx512_bitalg"}, r7_0_ecx, bit(12), zmm},
    {{"AVX512_VBMI2", 44, "avx512_vbmi2"}, r7_0_ecx, bit(6), zmm},
    {{"GFNI", 45, "gfni"}, r7_0_ecx, bit(8), none},
    {{"VAES", 46, "vaes"}, r7_0_ecx, bit(9), ymm},
    {{"VPCLMULQDQ", 47, "vpclmulqdq"}, r7_0_ecx, bit(10), ymm},
    {{"AVX512_VNNI", 48, "avx512_vnni"}, r7_0_ecx, bit(11), zmm},
    {{"CLWB", 49, "clwb"}, r7_0_ebx, bit(24), none},
    {{"RDPID", 50, "rdpid"}, r7_0_ecx, bit(22), none},
    {{"IBT", 51, "ibt"}, r7_0_edx, bit(20), none},
    {{"SHSTK", 52, "shstk"}, r7_0_ecx, bit(7), none},
    {{"SGX", 53, "sgx"}, r7_0_ebx, bit(2), none},
    {{"WBNOINVD", 54, "wbnoinvd"}, r80000008_ebx, bit(9), none},
    {{"PCONFIG", 55, "pconfig"}, r7_0_edx, bit(18), none},
    {{"AVX512_VP2INTERSECT", 56, "avx512_vp2intersect"}, r7_0_edx, bit(8), zmm},
    {{"", -1, ""}, never, 0, none},
    {{"", -1, ""}, never, 0, none},
    {{"", -1, ""}, never, 0, none},
    {{"AVX512_FP16", 60, "avx512_fp16"}, r7_0_edx, bit(23), zmm},
    {{"", -1, ""}, never, 0, none},
    {{"", -1, ""}, never, 0, none},
    {{"", -1, ""}, never, 0, none},
    {{"CLDEMOTE", 64, "cldemote"}, r7_0_ecx, bit(25), none},
    {{"MOVDIRI", 65, "movdiri"}, r7_0_ecx, bit(27), none},
    {{"MOVDIR64B", 66, "movdir64b"}, r7_0_ecx, bit(28), none},
    {{"WAITPKG", 67, "waitpkg"}, r7_0_ecx, bit(5), none},
    {{"AVX512_BF16", 68, "avx512_bf16"}, r7_1_eax, bit(5), zmm},
    {{"ENQCMD", 69, "enqcmd"}, r7_0_ecx, bit(29), none},
    {{"AVX_VNNI", 70, "avx_vnni"}, r7_1_eax, bit(4), ymm},
    {{"AMX-TILE", 71, "amx-tile"}, r7_0_edx, bit(24), tiles},
    {{"AMX-INT8", 72, "amx-int8"}, r7_0_edx, bit(25), tiles},
    {{"AMX-BF16", 73, "amx-bf16"}, r7_0_edx, bit(22), tiles},
    {{"KL", 74, "kl"}, r7_0_ecx, bit(23), none},
    {{"WIDE-KL", 75, "wide-kl"}, r19_0_ebx, bit(2), none},
    {{"HRESET", 76, "hreset"}, r7_1_eax, bit(22), none},
    {{"UINTR", 77, "uintr"}, r7_0_edx, bit(5), none},
    {{"PREFETCHI", 78, "prefetchi"}, r7_1_edx, bit(14), none},
    {{"AVX_VNNI_INT8", 79, "avx_vnni_int8"}, r7_1_edx, bit(4), ymm},
    {{"CMPCCXADD", 80, "cmpccxadd"}, r7_1_eax, bit(7), none},
    {{"AVX_IFMA", 81, "avx_ifma"}, r7_1_eax, bit(23), ymm},
    {{"AVX_NE_CONVERT", 82, "avx_ne_convert"}, r7_1_edx, bit(5), ymm},
    {{"RAO_INT", 83, "rao_int"}, r7_1_eax, bit(3), none},
    {{"AMX-FP16", 84, "amx-fp16"}, r7_1_eax, bit(21), tiles},
    {{"AMX-COMPLEX", 85, "amx-complex"}, r7_1_edx, bit(8), tiles},
    {{"SHA512", 86, "sha512"}, r7_1_eax, bit(0), ymm},
    {{"SM3", 87, "sm3"}, r7_1_eax, bit(1), ymm},
    {{"SM4", 88, "sm4"}, r7_1_eax, bit(2), ymm},
    {{"AVX_VNNI_INT16", 89, "avx_vnni_int16"}, r7_1_edx, bit(10), ymm},
    {{"USER_MSR", 90, "user_msr"}, r7_1_edx, bit(15), none},
    {{"AVX_10_1", 91, "avx_10_1"},
     r7_1_edx,
     bit(19),
     zmm},  // shown together with version 1 or later of leaf 24H
    {{"AVX_10_1_512", 92, "avx_10_1_512"}, r24_0_ebx, bit(18), zmm},
    {{"APXF", 93, "apxf"}, r7_1_edx, bit(21), egprs},
    {{"MSRLIST", 94, "msrlist"}, r7_1_eax, bit(27), none},
    {{"WRMSRNS", 95, "wrmsrns"}, r7_1_eax, bit(19), none},
    {{"PBNDKB", 96, "pbndkb"}, r7_1_ebx, bit(1), none},
};
static_assert(std::size(feature_table) == feature_entries);

constexpr bool every_entry_stands_at_its_bit() {
  for (int i = 0; i < feature_entries; ++i) {
    const std::int32_t position = feature_table[i].name.position;
    if (position != i && position != -1) return false;
  }
  return true;
}
static_assert(every_entry_stands_at_its_bit());

// Where a table entry's bit stands: position, or the negative answer of the accessors.
int bit_position(int entry) {
  if (entry < 0 || entry >= feature_entries) return -1;
  const std::int32_t position = feature_table[entry].name.position;
  return position >= 128 ? -3 : position;
}

constexpr std::uint32_t last_leaf_mask =
    0x80000000;  // basic and extended leaves each report their own last one

// Cells of this process. -1 (or a zero low word) is unread; several threads may fill one, all with the same
// value.
constinit std::atomic<std::int32_t> korva_cell{-1};
constinit std::atomic<std::uint64_t> low_word{0};
constinit std::atomic<std::uint64_t> high_word{0};
constinit std::atomic<std::int32_t> amx_fp16_cell{-1};
constinit std::atomic<std::int32_t> avx512_fp16_cell{-1};
constinit std::atomic<std::int32_t> avx512_bf16_cell{-1};
constinit std::atomic<std::int32_t> avx_vnni_cell{-1};

std::int32_t amx_fp16_of(const Platform& machine) {
  return static_cast<std::int32_t>(cpuid_or_zero(machine, 7, 1).eax & 0x200000);
}
std::int32_t avx512_fp16_of(const Platform& machine) {
  return static_cast<std::int32_t>(cpuid_or_zero(machine, 7, 0).edx & 0x800000);
}
std::int32_t avx512_bf16_of(const Platform& machine) {
  return static_cast<std::int32_t>(cpuid_or_zero(machine, 7, 1).eax & 0x20);
}
std::int32_t avx_vnni_of(const Platform& machine) {
  return static_cast<std::int32_t>(cpuid_or_zero(machine, 7, 1).eax & 0x10);
}
std::int32_t korva_of(const Platform& machine) {
  return has_vendor(machine, vendor_string) ? 1 : 0;
}

// Relaxed throughout: the value is the whole message, nothing else is published with it.
std::int32_t read_once(std::atomic<std::int32_t>& cell, std::int32_t (*read)(const Platform&)) {
  std::int32_t value = cell.load(std::memory_order_relaxed);
  if (value == -1) {
    value = read(platform());
    cell.store(value, std::memory_order_relaxed);
  }
  return value;
}

}  // namespace

FeatureName feature_name(int entry) {
  return feature_table[entry].name;
}

CpuidResult cpuid_or_zero(const Platform& machine, std::uint32_t leaf, std::uint32_t subleaf) {
  const std::uint32_t range = leaf & last_leaf_mask;
  const std::uint32_t last = machine.cpuid(range, 0).eax;
  // A processor without extended leaves answers their first one with something below the range.
  if (last < leaf || (last & last_leaf_mask) != range) return {};
  if (leaf == 7 && subleaf > 0 && subleaf > machine.cpuid(7, 0).eax) return {};
  return machine.cpuid(leaf, subleaf);
}

bool has_vendor(const Platform& machine, std::string_view vendor) {
  const CpuidResult answer = machine.cpuid(0, 0);
  const std::uint32_t words[3] = {answer.ebx, answer.edx, answer.ecx};
  return vendor.size() == sizeof words && std::memcmp(words, vendor.data(), sizeof words) == 0;
}

FeatureWords read_features(const Platform& machine) {
  const CpuidResult basic = cpuid_or_zero(machine, 1);
  const CpuidResult leaf7 = cpuid_or_zero(machine, 7, 0);
  const CpuidResult leaf7_1 = cpuid_or_zero(machine, 7, 1);
  std::uint32_t registers[source_count] = {};
  registers[r1_0_ecx] = basic.ecx;
  registers[r1_0_edx] = basic.edx;
  registers[r7_0_ebx] = leaf7.ebx;
  registers[r7_0_ecx] = leaf7.ecx;
  registers[r7_0_edx] = leaf7.edx;
  registers[r7_1_eax] = leaf7_1.eax;
  registers[r7_1_ebx] = leaf7_1.ebx;
  registers[r7_1_edx] = leaf7_1.edx;
  registers[r14_0_ebx] = cpuid_or_zero(machine, 0x14).ebx;
  registers[r19_0_ebx] = cpuid_or_zero(machine, 0x19).ebx;
  registers[r24_0_ebx] = cpuid_or_zero(machine, 0x24).ebx;
  registers[r80000001_ecx] = cpuid_or_zero(machine, 0x80000001).ecx;
  registers[r80000008_ebx] = cpuid_or_zero(machine, 0x80000008).ebx;

  constexpr std::uint32_t osxsave = bit(27);  // of leaf 1 ECX: XGETBV may be executed
  const std::uint64_t enabled = (basic.ecx & osxsave) != 0 ? machine.xgetbv(0) : 0;

  std::uint64_t words[2] = {0, 0};
  for (int entry = 0; entry < feature_entries; ++entry) {
    const FeatureEntry& row = feature_table[entry];
    if (row.source == never) continue;
    if ((registers[row.source] & row.mask) != row.mask) continue;
    if ((enabled & row.state) != row.state) continue;
    __libvex_set_cpu_feature(words, entry);
  }
  return {words[0], words[1]};
}

Processor read_processor(const Platform& machine) {
  return {korva_of(machine) != 0,  read_features(machine),  amx_fp16_of(machine),
          avx512_fp16_of(machine), avx512_bf16_of(machine), avx_vnni_of(machine)};
}

bool is_korva() {
  return read_once(korva_cell, korva_of) != 0;
}

FeatureWords features() {
  FeatureWords words;
  // Pairs with the release in the filler: a low word that is not zero shows the high word too.
  while ((words.low = low_word.load(std::memory_order_acquire)) == 0) __korva_vex_features_init_x();
  words.high = high_word.load(std::memory_order_relaxed);
  return words;
}

Processor this_processor() {
  return {is_korva(),
          features(),
          read_once(amx_fp16_cell, amx_fp16_of),
          read_once(avx512_fp16_cell, avx512_fp16_of),
          read_once(avx512_bf16_cell, avx512_bf16_of),
          read_once(avx_vnni_cell, avx_vnni_of)};
}

}  // namespace vex::service

extern "C" {

void __korva_vex_features_init_x() {
  using namespace vex::service;
  const FeatureWords words = read_features(platform());
  high_word.store(words.high, std::memory_order_relaxed);
  low_word.store(words.low, std::memory_order_release);  // pairs with the acquire of features()
}

const char* __libvex_get_feature_name(int entry) {
  using namespace vex::service;
  return entry < 0 || entry >= feature_entries ? nullptr : feature_table[entry].name.upper;
}

int __libvex_get_cpu_feature(const std::uint64_t* words, int entry) {
  const int position = vex::service::bit_position(entry);
  return position < 0 ? position : static_cast<int>(words[position / 64] >> (position % 64) & 1);
}

int __libvex_set_cpu_feature(std::uint64_t* words, int entry) {
  const int position = vex::service::bit_position(entry);
  if (position < 0) return position;
  words[position / 64] |= std::uint64_t{1} << (position % 64);
  return 0;
}
}
