// Recorded processors against ceilings and branches: the fine type, the code path, and what is printed.
#include "service/cpu_dispatch.h"

#include <gtest/gtest.h>

#include <utility>

#include "service/reproducibility.h"
#include "tests/support/recorded_processor.h"

namespace vex::service {
namespace {

constexpr const char* ceilings[] = {"",          "SSE4_2",    "AVX",       "AVX2",    "AVX512",   "AVX512_E1",
                                    "AVX512_E2", "AVX512_E3", "AVX512_E4", "AVX2_E1", "AVX512_E5"};

// The fine type of recorded processors under each of the ceilings above; one number where all are alike.
const struct {
  std::vector<const char*> processors;
  std::vector<int> fine;
} fine_types[] = {
    {{"SSE2"}, {-1}},
    {{"SSE3", "SSSE3", "SSE4.1", "low-power SSSE3", "another vendor, everything"}, {0}},
    {{"SSE4.2", "SSE4.2 with AES", "AVX", "AVX with F16C", "low-power SSE4.2", "hypervisor hides XSAVE",
      "system saves SSE only", "AVX2 without LZCNT", "leaves limited to 3"},
     {3}},
    {{"AVX2", "AVX2 with MPX", "AVX-512 F, CD, ER, PF alone", "system saves AVX only",
      "system saves opmasks only"},
     {5, 3, 3, 5, 5, 5, 5, 5, 5, 5, 5}},
    {{"AVX-512"}, {7, 3, 3, 5, 7, 7, 7, 7, 7, 7, 7}},
    {{"AVX-512 VNNI"}, {9, 3, 3, 5, 7, 9, 9, 9, 9, 9, 9}},
    {{"AVX-512 VAES", "leaf 7 without subleaf 1"}, {10, 3, 3, 5, 7, 9, 10, 10, 10, 10, 10}},
    {{"AVX-512 BF16"}, {12, 3, 3, 5, 7, 9, 12, 12, 12, 12, 12}},
    {{"AVX-512 FP16", "system saves no AMX tiles"}, {14, 3, 3, 5, 7, 9, 10, 12, 14, 15, 14}},
    {{"AMX-FP16"}, {14, 3, 3, 5, 7, 9, 10, 12, 14, 15, 16}},
    {{"hybrid without AVX-512"}, {15, 3, 3, 5, 15, 15, 15, 15, 15, 15, 15}}};

Processor processor_of(const char* name) {
  return read_processor(test::play(test::recorded(name)));
}

std::vector<int> ids(const MessageList& list) {
  return {list.ids.begin(), list.ids.begin() + list.count};
}

// The ceiling that a process with this VEX_ENABLE_INSTRUCTIONS ends up with.
Ceiling ceiling_of(const Processor& processor, const char* text) {
  Ceiling ceiling{parse_enable_instructions(text), 0};
  const CeilingResult result = ceiling_for_level(processor, ceiling.level);
  if (result.accepted) ceiling.flags = result.flags;
  return ceiling;
}

// The kernel set and the vector-math set that serve a fine type when no branch fixes the path.
std::pair<int, int> sets_of(int fine) {
  if (fine < 3) return {0, 0};
  return fine == 3 ? std::pair(3, 5) : fine == 5 || fine == 15 ? std::pair(5, 7) : std::pair(7, 9);
}

TEST(CpuDispatch, AProcessorUnderACeilingGetsAnotherPath) {
  for (const auto& row : fine_types)
    for (const char* name : row.processors)
      for (std::size_t i = 0; i < std::size(ceilings); ++i) {
        SCOPED_TRACE(std::string(name) + " under '" + ceilings[i] + "'");
        const Processor processor = processor_of(name);
        const int expected = row.fine[row.fine.size() == 1 ? 0 : i];
        const Ceiling ceiling = ceiling_of(processor, ceilings[i]);
        const FineDetection found = detect_fine(processor, ceiling.flags);
        EXPECT_EQ(found.type, expected);
        EXPECT_EQ(found.failure_code, expected == -1 ? 1 : 0);
        for (const int branch : {1, 2}) {
          const Dispatch path = choose_code_path(processor, ceiling, branch);
          EXPECT_EQ(std::pair(path.dispatched, path.vector_math), sets_of(expected));
          EXPECT_EQ(path.failure_code, found.failure_code);
          EXPECT_EQ(ids(path.messages), expected == -1 ? std::vector<int>({1223, 1450}) : std::vector<int>());
        }
      }
}

TEST(CpuDispatch, AFixedBranchFollowsTheProcessorOrTheWrongLevel) {
  const Processor processor = processor_of("AVX-512 FP16");
  // A level number below the type number, and one of 4 and 7, hands the choice back: AVX512 is level 4.
  const struct {
    int branch;
    const char* ceiling;
    int path, vector_math;
    std::vector<int> messages;
  } rows[] = {{3, "", 0, 2, {}},          {4, "", 0, 0, {}},          {7, "", 0, 0, {}},
              {8, "", 3, 5, {}},          {9, "", 3, 5, {}},          {10, "", 5, 7, {}},
              {12, "", 7, 9, {}},         {14, "", 7, 9, {}},         {0, "", 7, 9, {1222}},
              {11, "", 7, 9, {1222}},     {0xFFFF, "", 7, 9, {1222}}, {13, "AVX2", 5, 7, {1222}},
              {10, "AVX512", 7, 9, {}},   {8, "AVX512", 3, 5, {}},    {10, "SSE4_2", 5, 7, {}},
              {12, "AVX2", 7, 9, {}},     {3, "SSE4_2", 0, 2, {}},    {14, "AVX512_E2", 7, 9, {}},
              {10, "AVX512_E2", 5, 7, {}}};
  for (const auto& row : rows) {
    const Dispatch path = choose_code_path(processor, ceiling_of(processor, row.ceiling), row.branch);
    EXPECT_EQ(std::pair(path.dispatched, path.vector_math), std::pair(row.path, row.vector_math))
        << row.branch;
    EXPECT_EQ(ids(path.messages), row.messages) << row.branch << " under " << row.ceiling;
  }
  // Where level 4 counts, it asks for AVX, and fine detection may then find less than the branch asked for.
  EXPECT_EQ(choose_code_path(processor_of("hypervisor hides XSAVE"), {4, 0}, 10).dispatched, 5);
  EXPECT_EQ(choose_code_path(processor_of("AVX2 without LZCNT"), {4, 0}, 10).dispatched, 3);
  // Level 7 counts below the ceiling of branch 14, which is 9, and not below that of branch 12. The flags in
  // force are of another level here, as after a call of the program, so the two ways part.
  const LevelFlags avx2_only = ceiling_of(processor, "AVX2").flags;
  EXPECT_EQ(choose_code_path(processor, {7, avx2_only}, 14).dispatched, 5);
  EXPECT_EQ(choose_code_path(processor, {7, avx2_only}, 12).dispatched, 7);
  EXPECT_EQ(choose_code_path(processor_of("AVX2"), {7, 0}, 14).dispatched, 7);
}

TEST(CpuDispatch, ANearMissNamesALevelOrOneOutsideTheTableIsApplied) {
  for (const char* text : {"avx2", "AVX2 ", " AVX2", "AVX512_E", "AVX512_E6", "AVX512_HCX", "2"})
    EXPECT_EQ(parse_enable_instructions(text), -1) << text;
  EXPECT_EQ(parse_enable_instructions(std::string_view("AVX2\0", 5)), -1);
  const Processor processor = processor_of("AMX-FP16");
  for (const int level : {-1, 3, 5, 12, 1 << 30})
    EXPECT_FALSE(ceiling_for_level(processor, level).accepted) << level;
  // Level 8 leaves a hole at E2.
  EXPECT_EQ(ceiling_for_level(processor, 8).flags,
            level_flag::avx512_e2 | level_flag::avx512_e4 | level_flag::avx2_e1);
  EXPECT_EQ(ids(ceiling_for_level(processor, 1).messages), std::vector<int>{1454});
}

}  // namespace
}  // namespace vex::service
