// The clean-up registries under awkward entries, and the exit handler.
#include "service/cleanup.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "service/messages.h"
#include "tests/support/fresh_process.h"

namespace {

using vex::test::in_fresh_process;

void print_letter(void* letter) {
  std::printf("%c", *static_cast<char*>(letter));
}

char letters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";

const struct {
  void (*add)(vex_cleanup_function, void*);
  void (*run)();
} registries[] = {{vex_serv_core_register_cleanup, vex_serv_core_cleanup},
                  {vex_serv_thr_register_cleanup, vex_serv_thr_cleanup}};

}  // namespace

TEST(Cleanup, EntriesRunInTheWrongOrderOrTwiceOrAThirtyThirdIsTaken) {
  for (const auto& registry : registries) {
    const auto fill = [&] {
      for (int i = 0; i < 33; ++i) registry.add(print_letter, letters + i);
    };
    EXPECT_EQ(in_fresh_process(fill).status, 3);
    const auto survived = in_fresh_process([&] {
      vex_serv_set_exit_handler([](int code) { std::printf("<%d>", code); });
      fill();
      registry.run();
      registry.run();
    });
    EXPECT_EQ(survived.output, "<3>FEDCBAzyxwvutsrqponmlkjihgfedcba");
  }
}

TEST(Cleanup, AnEntryThatRegistersOrCleansUpHangs) {
  const auto result = in_fresh_process([] {
    alarm(20);
    const auto tangled = [](void*) {
      vex_serv_core_register_cleanup(print_letter, letters + 1);
      vex_serv_thr_register_cleanup([](void*) { vex_serv_core_cleanup(); }, nullptr);
      vex_serv_thr_cleanup();
      std::printf("|");
    };
    vex_serv_core_register_cleanup(print_letter, letters);
    vex_serv_core_register_cleanup(tangled, nullptr);
    vex_serv_core_cleanup();
  });
  EXPECT_EQ(result.output, "ba|");
}

TEST(Cleanup, TwoThreadsRunAnEntryTwice) {
  static std::atomic<int> runs{0}, inside{0}, overlaps{0};
  const auto entry = [](void*) {
    overlaps += inside.fetch_add(1) != 0;
    ++runs;
    --inside;
  };
  for (int i = 0; i < 32; ++i) vex_serv_core_register_cleanup(entry, nullptr);
  std::thread other(vex_serv_core_cleanup);
  vex_serv_core_cleanup();
  EXPECT_EQ(runs, 32);
  other.join();
  EXPECT_EQ(overlaps, 0);
}

TEST(Cleanup, NothingIsCleanedAtTheEndOrAHandlerIsPassedBy) {
  const auto result = in_fresh_process([] {
    vex_serv_core_register_cleanup(print_letter, letters);
    vex_serv_thr_register_cleanup(print_letter, letters + 1);
    vex_serv_set_exit_handler([](int code) { std::printf("%d", code); });
    vex_serv_exit(1);
    vex_serv_set_exit_handler(nullptr);
    vex_serv_exit(7);
  });
  EXPECT_EQ(result.output + std::to_string(result.status), "1ba7");
}

TEST(Exit, AWorkingDirectoryThatIsGonePassesUnnoticed) {
  EXPECT_EQ(in_fresh_process(vex::service::require_working_directory).status, 0);
  const auto result = in_fresh_process([] {
    char gone[] = "/tmp/vex_test_XXXXXX";
    if (!mkdtemp(gone) || chdir(gone) != 0 || rmdir(gone) != 0) std::exit(9);
    vex::service::require_working_directory();
  });
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.output, "Korva VEX FATAL ERROR: Cannot load the working directory.\n");
}
