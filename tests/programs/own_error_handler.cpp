// A program that links the library and defines HANDLER, one of the standard names of the error handler, as
// LAPACK's users do. Checks that its handler gets each error once, and that an error handed on from there is
// printed once.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "tests/support/text.h"
#include "vex.h"

static int reports = 0;
static std::string reported;

// The spelling that this program leaves to the library.
#define HAND_ON_xerbla_ XERBLA
#define HAND_ON_xerbla XERBLA_
#define HAND_ON_XERBLA xerbla_
#define HAND_ON_XERBLA_ xerbla
#define HAND_ON_TO_(name) HAND_ON_##name
#define HAND_ON_TO(name) HAND_ON_TO_(name)

extern "C" void HANDLER(const char* name, const int64_t* code, int64_t name_length) {
  ++reports;
  reported = std::string(name, static_cast<std::size_t>(name_length)) + " " + std::to_string(*code);
  HAND_ON_TO(HANDLER)(name, code, name_length);
}

static bool is_reported_once(const char* expected, int info, int expected_info) {
  const bool right = reports == 1 && reported == expected && info == expected_info;
  if (!right) {
    std::fprintf(stderr, "%d reports, '%s' instead of '%s', info %d\n", reports, reported.c_str(), expected,
                 info);
  }
  reports = 0;
  return right;
}

int main() {
  const int bad = -1, one = 1, many = 20;
  const int64_t bad_64 = -1, one_64 = 1;
  double a[1] = {1}, b[20] = {};
  int pivot = 1, info = 0;
  int64_t pivot_64 = 1, info_64 = 0;

  // What the library prints goes to a file that can be looked at.
  std::FILE* printed = std::tmpfile();
  const int terminal = dup(STDOUT_FILENO);
  if (!printed || dup2(fileno(printed), STDOUT_FILENO) < 0) return 2;

  DGETRF(&one, &bad, a, &one, &pivot, &info);
  bool right = is_reported_once("DGETRF 2", info, -2);
  dgetrs_("N", &bad, &many, a, &one, &pivot, b, &one, &info, 1);
  right &= is_reported_once("DGETRS 2", info, -2);
  dgetrf_64_(&bad_64, &one_64, a, &one_64, &pivot_64, &info_64);
  right &= is_reported_once("DGETRF 1", static_cast<int>(info_64), -1);

  std::fflush(stdout);
  dup2(terminal, STDOUT_FILENO);
  const std::string text = vex::test::contents_of(printed);
  const std::string expected =
      "\nKorva VEX ERROR: Parameter 2 was incorrect on entry to DGETRF.\n"
      "\nKorva VEX ERROR: Parameter 2 was incorrect on entry to DGETRS.\n"
      "\nKorva VEX ERROR: Parameter 1 was incorrect on entry to DGETRF.\n";
  if (text != expected) std::fprintf(stderr, "printed:\n%s", text.c_str());
  return right && text == expected ? 0 : 1;
}
