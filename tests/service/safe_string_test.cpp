// The bounded family at capacity - 1, capacity and capacity + 1, and with arguments that make no sense.
// Destinations are heap blocks of exactly their capacity, so that a sanitizer sees a step outside.
#include "service/safe_string.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "tests/support/fresh_process.h"
#include "tests/support/text.h"

namespace {

int violations;

class SafeString : public testing::Test {
 protected:
  void SetUp() override {
    violations = 0;
    vex_serv_set_str_constraint_handler_s([](const char*, const char*, int) { ++violations; });
  }
  void TearDown() override { vex_serv_set_str_constraint_handler_s(nullptr); }
};

// A destination filled with something that is no text.
struct Destination : std::vector<char> {
  explicit Destination(std::size_t capacity) : std::vector<char>(capacity, 'x') {}
  std::string text() const { return std::string(data(), strnlen(data(), size())); }
};

// The ways of putting a text of any length into a destination that must hold it all. The value is a code, 0
// or positive, or a length or minus a code.
int (*const whole_or_nothing[])(char* d, std::size_t n, const char* s) = {
    [](char* d, std::size_t n, const char* s) {
      const std::string_view text(s ? s : "");
      const std::vector<char> unterminated(text.begin(), text.end());
      return vex_serv_strncpy_s(d, n, s ? unterminated.data() : nullptr, text.size());
    },
    [](char* d, std::size_t n, const char* s) { return vex_serv_memcpy_s(d, n, s, s ? strlen(s) + 1 : 0); },
    vex_serv_strcpy,
    [](char* d, std::size_t n, const char* s) {
      if (d && n > 0) d[0] = '\0';
      return vex_serv_strncat_s(d, n, s, 1000);
    },
    [](char* d, std::size_t n, const char* s) { return vex_serv_strcat2(d, n, "", s); },
    [](char* d, std::size_t n, const char* s) { return vex_serv_sprintf_s(d, n, s ? "%s" : nullptr, s); },
    [](char* d, std::size_t n, const char* s) {
      return vex_serv_sprintf_char_s(d, n, s ? (std::string(s + 1) + "%c").c_str() : s, 'v');
    }};

}  // namespace

TEST_F(SafeString, ATextThatDoesNotFitIsWrittenOrCut) {
  for (const auto put : whole_or_nothing) {
    SCOPED_TRACE(&put - whole_or_nothing);
    const auto is_refused = [&](char* d, std::size_t capacity, const char* s, int code) {
      violations = 0;
      return std::abs(put(d, capacity, s)) == code && violations == 1;
    };
    for (const auto& [capacity, length] : {std::pair(1u, 1u), {2, 1}, {2, 2}, {64, 63}, {64, 64}}) {
      Destination into(capacity);
      const std::string text(length, 'v');
      if (length >= capacity) {
        EXPECT_TRUE(is_refused(into.data(), capacity, text.c_str(), ERANGE)) << capacity;
        EXPECT_EQ(into.text(), "");
      } else {
        const int result = put(into.data(), capacity, text.c_str());
        EXPECT_TRUE(result == 0 || result == static_cast<int>(length)) << capacity;
        EXPECT_EQ(into.text(), text);
      }
    }
    Destination into(4);
    EXPECT_TRUE(is_refused(nullptr, 4, "v", EINVAL) && is_refused(into.data() + 4, 0, "v", EINVAL) &&
                is_refused(into.data(), static_cast<std::size_t>(-4), "v", EINVAL) &&
                is_refused(into.data(), 4, nullptr, EINVAL));
    EXPECT_EQ(into.text(), "");
  }
}

TEST_F(SafeString, ACutTextIsReportedLongerThanItIs) {
  for (const std::size_t capacity : {1u, 6u, 7u, 8u})
    for (const std::size_t count : {0u, 1u, 6u, 1000u}) {
      Destination into(capacity);
      const std::size_t kept = std::min({capacity - 1, count, std::size_t{6}});
      EXPECT_EQ(vex_serv_snprintf_s(into.data(), capacity, count, "%s", "vvvvvv"), static_cast<int>(kept));
      EXPECT_EQ(into.text(), std::string(kept, 'v'));
    }
}

TEST_F(SafeString, TokensAreSplitWrongOrReadPastTheEnd) {
  const struct {
    std::string text;
    std::size_t length;  // told
    std::vector<std::string> tokens;
    int violations;
  } cases[] = {{"   ", 3, {}, 0},
               {"1\t2 3\n", 6, {"1\t2", "3\n"}, 0},
               {"  a  b c ", 9, {"a", "b", "c"}, 0},
               {"a bcd", 4, {"a"}, 1}};
  for (const auto& c : cases) {
    std::string buffer = c.text;
    std::size_t remaining = c.length;
    char *context = nullptr, *from = buffer.data();
    std::vector<std::string> tokens;
    for (; const char* token = vex_serv_strtok_s(from, &remaining, " ", &context); from = nullptr)
      tokens.emplace_back(token);
    EXPECT_EQ(tokens, c.tokens) << c.text;
    EXPECT_EQ(violations, c.violations) << c.text;
  }
  std::size_t remaining = 1;
  char* none = nullptr;
  EXPECT_EQ(vex_serv_strtok_s(nullptr, &remaining, " ", &none), nullptr);
}

TEST_F(SafeString, AScannedTextOverflows) {
  for (const std::size_t capacity : {1u, 4u, 5u, 6u})  // for five letters and a terminator
    for (const char* format : {"%i %s %i", "%i %[a-z] %i", "%i %9s %i"}) {
      const bool fits = capacity == 6;
      Destination word(capacity);
      int before = 0, after = 0;
      violations = 0;
      EXPECT_EQ(vex_serv_sscanf_s("7 apple 0x10", format, &before, word.data(), capacity, &after),
                fits ? 3 : 1);
      EXPECT_EQ(before + after, fits ? 23 : 7);
      EXPECT_EQ(word.text(), fits ? "apple" : "");
      EXPECT_EQ(violations, fits ? 0 : 1);
    }
}

TEST_F(SafeString, AScanDisagreesWithTheCLibrary) {
  for (const char* format : {"%i", "%li", "%d,%d", "%*d %d", "x%dy", " %d%%%d", "%2d%2d", "%lf:%x", "%hhd",
                             "", "literal", "%u%*[a-z]%u"}) {
    for (const char* text : {"", " ", "5", "017 0x1F", "12,34", "1234", "x9y x9", "5%6", "-1 -2", "literal",
                             "1.5e3:ff", "99999999999999999999", "7abc8"}) {
      SCOPED_TRACE(std::string(text) + " | " + format);
      std::int64_t own[2][2] = {}, from_file[2][2] = {}, library[2][2] = {};
      const int expected = std::sscanf(text, format, library[0], library[1]);
      EXPECT_EQ(vex_serv_sscanf_s(text, format, own[0], own[1]), expected);
      EXPECT_EQ(std::memcmp(own, library, sizeof own), 0);
      std::FILE* file = vex::test::stream_of(text);
      EXPECT_EQ(vex_serv_fscanf_s(file, format, from_file[0], from_file[1]), expected);
      EXPECT_EQ(std::memcmp(from_file, library, sizeof own), 0);
      std::fclose(file);
    }
  }
  EXPECT_EQ(violations, 0);
}

TEST_F(SafeString, AScanTakesWhatItCannotGuard) {
  int value = 3;
  const std::string endless(5000, 'x');
  for (const char* format : {"%n", "%ms", "%1$d", "%ls", "%[abc", "%", "%0d", "%y", "%d%n", endless.c_str()})
    EXPECT_EQ(vex_serv_sscanf_s("5 6", format, &value, &value), -EINVAL) << format;
  EXPECT_EQ(vex_serv_sscanf_s("5", "%d", nullptr), -EINVAL);
  EXPECT_EQ(value, 3);
  EXPECT_EQ(violations, 11);
}

TEST_F(SafeString, AViolationPassesInSilenceOrSpeaksWhenIgnored) {
  EXPECT_EQ(vex::test::in_fresh_process([] {
              for (const auto handler : {vex_constraint_handler{nullptr}, vex_serv_ignore_handler_s}) {
                vex_serv_set_str_constraint_handler_s(handler);
                vex_serv_strcpy(nullptr, 1, "a");
              }
            }).errors,
            "VEX: vex_serv_strcpy: the destination is null\n");
}
