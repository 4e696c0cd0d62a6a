// High-bandwidth memory, with stand-ins for its library and for the processors that have it.
#include "service/fast_memory.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstring>

#include "service/memory.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/recorded_processor.h"

namespace {

using vex::service::Platform;
using vex::test::CountingAllocator;
using vex::test::in_unused_memory;

constexpr char stand_in_folder[] = BINARY_DIR "/tests/stand_in/usable";

// A processor with such memory, whose program and library lie in no folder that holds the library looked for.
Platform& many_core_machine() {
  Platform& table = CountingAllocator::install();
  const Platform played = vex::test::play(vex::test::recorded("AVX-512 F, CD, ER, PF alone"));
  table.cpuid = played.cpuid;
  table.xgetbv = played.xgetbv;
  table.libc_is_shared = [] { return true; };
  table.library_directory = table.program_directory = [](char*, std::size_t) { return false; };
  return table;
}

bool directory_of_library(char* buffer, std::size_t) {
  return std::strcpy(buffer, stand_in_folder) != nullptr;
}

// A variable of the stand-in that is loaded.
int& stand_in(const char* name) {
  void* library = dlopen((stand_in_folder + std::string("/libmemkind.so")).c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (!library) std::abort();
  return *static_cast<int*>(dlsym(library, name));
}

// Whether a block comes from fast memory.
bool served_fast() {
  const long from_heap = CountingAllocator::obtained;
  vex_serv_free(vex_serv_malloc(1000, 64));
  return CountingAllocator::obtained == from_heap;
}

TEST(FastMemory, UsedWhereItIsNotOrMissedWhereItIs) {
  struct {
    bool used;
    void (*change)(Platform& machine);
  } const cases[] = {
      {true, [](Platform&) {}},
      {true, [](Platform& machine) { std::swap(machine.library_directory, machine.program_directory); }},
      {false, [](Platform& machine) { machine.libc_is_shared = [] { return false; }; }},
      {false, [](Platform& machine) { machine.allocator_is_libcs = [] { return false; }; }},
      {false, [](Platform& machine) { machine.xgetbv = [](std::uint32_t) -> std::uint64_t { return 7; }; }},
      {false, [](Platform&) { vex::test::play(vex::test::recorded("AVX-512")); }}};
  for (const auto& c : cases) {
    in_unused_memory([&] {
      Platform& machine = many_core_machine();
      machine.library_directory = directory_of_library;
      c.change(machine);
      EXPECT_EQ(served_fast(), c.used);
      if (!c.used && machine.allocator_is_libcs()) {
        EXPECT_EQ(vex_serv_set_memory_limit(1, 5), 0);
      }
    });
  }
}

TEST(FastMemory, LimitPassedOrBytesNotGivenBack) {
  in_unused_memory([] {
    setenv("VEX_FAST_MEMORY_LIMIT", "1", 1);
    many_core_machine().library_directory = directory_of_library;
    EXPECT_TRUE(served_fast());
    EXPECT_EQ(stand_in("stand_in_last_kind"), 2);
    constexpr std::size_t beneath = 64 + 24 + 32;  // alignment and the two headers of a plain block
    vex_serv_free(vex_serv_malloc((1 << 20) - beneath, 64));  // all of the limit: one byte too many
    EXPECT_EQ(CountingAllocator::obtained, 1);
    void* all_but_one = vex_serv_malloc((1 << 20) - beneath - 1, 64);
    EXPECT_EQ(stand_in("stand_in_live"), 1);
    EXPECT_FALSE(served_fast());
    vex_serv_free(all_but_one);
    EXPECT_TRUE(served_fast());
    stand_in("stand_in_refused_kinds") = 1 << 2;
    EXPECT_TRUE(served_fast());
    EXPECT_EQ(stand_in("stand_in_last_kind"), 1);
    stand_in("stand_in_refused_kinds") = 1 << 2 | 1 << 1;
    for (int i = 0; i < 2000; ++i) EXPECT_FALSE(served_fast());  // refusals must not use the limit up
    stand_in("stand_in_refused_kinds") = 0;
    EXPECT_TRUE(served_fast());
    EXPECT_EQ(stand_in("stand_in_live"), 0);
    EXPECT_EQ(CountingAllocator::live(), 0);
  });
}

TEST(FastMemory, LimitMisread) {
  constexpr std::uint64_t none = vex::service::unlimited, mebibyte = 1 << 20;
  const std::pair<const char*, std::uint64_t> cases[] = {{"0", 0},
                                                         {"16384", 16384 * mebibyte},
                                                         {"17592186044415", none - 0xFFFFF},
                                                         {"", none},
                                                         {"17592186044416", none},
                                                         {"99999999999999999999999", none},
                                                         {"-0", none},
                                                         {"5x", none},
                                                         {" 5", none},
                                                         {"0x10", none}};
  for (const auto& [text, bytes] : cases)
    EXPECT_EQ(vex::service::parse_fast_memory_limit(text), bytes) << text;
}

}  // namespace
