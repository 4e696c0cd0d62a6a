// The bounded family at capacity - 1, capacity and capacity + 1, and with arguments that make no sense.
// Destinations are heap blocks of exactly their capacity, so that a sanitizer sees a step outside.
#include "service/safe_string.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/fresh_process.h"
#include "tests/support/text.h"

namespace {

using vex::test::in_fresh_process;

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
struct Destination {
  explicit Destination(std::size_t capacity) : bytes(capacity, 'x') {}
  char* data() { return bytes.data(); }
  std::size_t capacity() const { return bytes.size(); }
  std::string text() const { return std::string(bytes.data(), strnlen(bytes.data(), bytes.size())); }
  std::vector<char> bytes;
};

// Each way of putting a text of any length into a destination that must hold it all. The value is a code, 0
// or positive, or a length or minus a code.
struct Way {
  const char* name;
  std::function<int(char*, std::size_t, const char*)> put;
};

const Way whole_or_nothing[] = {
    {"strncpy_s", [](char* d, std::size_t n, const char* s) { return vex_serv_strncpy_s(d, n, s, 1000); }},
    {"strcpy", vex_serv_strcpy},
    {"strncat_s",
     [](char* d, std::size_t n, const char* s) {
       if (d && n > 0) d[0] = '\0';
       return vex_serv_strncat_s(d, n, s, 1000);
     }},
    {"strcat2 second", [](char* d, std::size_t n, const char* s) { return vex_serv_strcat2(d, n, "", s); }},
    {"sprintf_s",
     [](char* d, std::size_t n, const char* s) { return vex_serv_sprintf_s(d, n, s ? "%s" : nullptr, s); }},
    {"sprintf_char_s",
     [](char* d, std::size_t n, const char* s) {
       if (!s || !*s) return vex_serv_sprintf_char_s(d, n, s, 'v');
       return vex_serv_sprintf_char_s(d, n, (std::string(s + 1) + "%c").c_str(), 'v');
     }},
};

bool is_refused(int result, int code) {
  return result == code || result == -code;
}

}  // namespace

TEST_F(SafeString, ATextThatDoesNotFitIsWrittenOrCut) {
  for (const Way& way : whole_or_nothing) {
    for (const auto& [capacity, length] : {std::pair(1u, 1u), {2, 1}, {2, 2}, {64, 63}, {64, 64}}) {
      SCOPED_TRACE(way.name + std::to_string(length) + " into " + std::to_string(capacity));
      violations = 0;
      Destination into(capacity);
      const std::string text(length, 'v');
      const int result = way.put(into.data(), capacity, text.c_str());
      const bool fits = length < capacity;
      EXPECT_TRUE(fits ? result == 0 || result == static_cast<int>(length) : is_refused(result, ERANGE));
      EXPECT_EQ(into.text(), fits ? text : "");
      EXPECT_EQ(violations, fits ? 0 : 1);
    }
    SCOPED_TRACE(way.name);
    Destination into(4);
    violations = 0;
    EXPECT_TRUE(is_refused(way.put(nullptr, 4, "v"), EINVAL));
    EXPECT_TRUE(is_refused(way.put(into.data() + 4, 0, "v"), EINVAL));
    EXPECT_TRUE(is_refused(way.put(into.data(), static_cast<std::size_t>(-4), "v"), EINVAL));
    EXPECT_TRUE(is_refused(way.put(into.data(), 4, nullptr), EINVAL));
    EXPECT_EQ(into.text(), "");
    EXPECT_EQ(violations, 4);
  }
}

TEST_F(SafeString, ABlockOfBytesOverflowsOrACountReadsPastAnUnterminatedSource) {
  const std::vector<char> source = {'a', 'b', 'c', 'd', 'e'};
  const struct {
    std::size_t count;
    int result;
    std::string left;
  } cases[] = {{0, 0, "xxxx"}, {3, 0, "abcx"}, {4, 0, "abcd"}, {5, ERANGE, std::string(4, '\0')}};
  for (const auto& c : cases) {
    Destination into(4);
    const std::vector<char> exact(source.begin(), source.begin() + static_cast<std::ptrdiff_t>(c.count));
    EXPECT_EQ(vex_serv_memcpy_s(into.data(), 4, c.count ? exact.data() : "", c.count), c.result);
    EXPECT_EQ(std::string(into.bytes.begin(), into.bytes.end()), c.left);
  }
  Destination into(6);
  EXPECT_EQ(vex_serv_memcpy_s(into.data(), 6, nullptr, 1), EINVAL);
  EXPECT_EQ(vex_serv_memcpy_s(nullptr, 4, "a", 1), EINVAL);
  violations = 0;
  EXPECT_EQ(vex_serv_strncpy_s(into.data(), 6, source.data(), 5), 0);
  EXPECT_EQ(into.text(), "abcde");
  EXPECT_EQ(vex_serv_strnlen_s(source.data(), 5), 5u);
  EXPECT_EQ(violations, 0);
}

TEST_F(SafeString, ACutTextIsReportedLongerThanItIs) {
  for (const std::size_t capacity : {1u, 6u, 7u, 8u}) {
    for (const std::size_t count : {0u, 1u, 6u, 1000u}) {
      Destination into(capacity);
      const std::string text(6, 'v');
      const std::size_t kept = std::min({capacity - 1, count, text.size()});
      EXPECT_EQ(vex_serv_snprintf_s(into.data(), capacity, count, "%s", text.c_str()),
                static_cast<int>(kept));
      EXPECT_EQ(into.text(), text.substr(0, kept));
    }
  }
  EXPECT_EQ(violations, 0);
  Destination into(8);
  EXPECT_EQ(vex_serv_snprintf_s(into.data(), 0, 5, "a"), -EINVAL);
  EXPECT_EQ(vex_serv_snprintf_s(nullptr, 8, 5, "a"), -EINVAL);
  const char* volatile wild = "%d%n";  // volatile: no compiler looks into it
  EXPECT_EQ(vex_serv_snprintf_s(into.data(), 8, 5, wild, 1, nullptr), -EINVAL);
  EXPECT_EQ(vex_serv_sprintf_char_s(into.data(), 8, "%s", 'v'), -EINVAL);
  EXPECT_EQ(into.text(), "");
}

TEST_F(SafeString, TokensAreSplitWrongOrReadPastTheEnd) {
  const struct {
    std::string text;
    std::vector<std::string> tokens;
  } cases[] = {{"   ", {}}, {"1\t2 3\n", {"1\t2", "3\n"}}, {"  a  b c ", {"a", "b", "c"}}};
  for (const auto& row : cases) {
    std::vector<char> buffer(row.text.begin(), row.text.end());
    buffer.push_back('\0');
    std::size_t remaining = row.text.size();
    char *context = nullptr, *from = buffer.data();
    std::vector<std::string> tokens;
    while (const char* token = vex_serv_strtok_s(from, &remaining, " ", &context)) {
      tokens.emplace_back(token);
      from = nullptr;
    }
    EXPECT_EQ(tokens, row.tokens) << row.text;
    EXPECT_EQ(vex_serv_strtok_s(nullptr, &remaining, " ", &context), nullptr);
  }
  EXPECT_EQ(violations, 0);

  char text[] = {'a', ' ', 'b', 'c', 'd', '\0'};
  std::size_t remaining = 4;  // ends inside "bcd"
  char *context = nullptr, *none = nullptr;
  EXPECT_STREQ(vex_serv_strtok_s(text, &remaining, " ", &context), "a");
  EXPECT_EQ(vex_serv_strtok_s(nullptr, &remaining, " ", &context), nullptr);
  EXPECT_EQ(violations, 1);
  EXPECT_EQ(vex_serv_strtok_s(text, nullptr, " ", &context), nullptr);
  EXPECT_EQ(vex_serv_strtok_s(text, &remaining, nullptr, &context), nullptr);
  EXPECT_EQ(vex_serv_strtok_s(text, &remaining, " ", nullptr), nullptr);
  EXPECT_EQ(vex_serv_strtok_s(nullptr, &remaining, " ", &none), nullptr);
  EXPECT_EQ(violations, 5);
}

TEST_F(SafeString, AScannedTextOverflows) {
  for (const std::size_t capacity : {1u, 4u, 5u, 6u}) {  // for five letters and a terminator
    for (const char* format : {"%i %s %i", "%i %[a-z] %i"}) {
      SCOPED_TRACE(format + std::string(" ") + std::to_string(capacity));
      Destination word(capacity);
      int before = 0, after = 0;
      violations = 0;
      const int stored = vex_serv_sscanf_s("7 apple 0x10", format, &before, word.data(), capacity, &after);
      const bool fits = capacity == 6;
      EXPECT_EQ(stored, fits ? 3 : 1);
      EXPECT_EQ(before, 7);
      EXPECT_EQ(after, fits ? 16 : 0);
      EXPECT_EQ(word.text(), fits ? "apple" : "");
      EXPECT_EQ(violations, fits ? 0 : 1);
    }
    Destination letters(capacity);
    EXPECT_EQ(vex_serv_sscanf_s("apple", "%5c", letters.data(), capacity), capacity < 5 ? 0 : 1);
  }
  Destination word(4);  // a width that fits cuts, as it always does
  char next = 0;
  EXPECT_EQ(vex_serv_sscanf_s("apple", "%3s%c", word.data(), word.capacity(), &next, std::size_t{1}), 2);
  EXPECT_EQ(word.text() + next, "appl");
  EXPECT_EQ(vex_serv_sscanf_s("apple", "%9s", word.data(), word.capacity()), 0);
  EXPECT_EQ(vex_serv_sscanf_s("app]", "%[^]]", word.data(), word.capacity()), 1);
}

TEST_F(SafeString, AScanDisagreesWithTheCLibrary) {
  for (const char* format : {"%i", "%li", "%d,%d", "%d %d", "%*d %d", "x%dy", " %d%%%d", "%2d%2d", "%lf:%x",
                             "%hhd", "", "literal", "%u%*[a-z]%u"}) {
    for (const char* text : {"", " ", "5", "017 0x1F", "12,34", "1234", "x9y x9", "5%6", "-1 -2", "literal",
                             "lit", "1.5e3:ff", "99999999999999999999", "7abc8"}) {
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

TEST_F(SafeString, AScanTakesAFormatThatItCannotGuard) {
  int value = 3;
  const std::string endless(5000, 'x');
  for (const char* format :
       {"%n", "%ms", "%1$d", "%ls", "%[abc", "%", "%0d", "%y", "%d%n", endless.c_str()}) {
    EXPECT_EQ(vex_serv_sscanf_s("5 6", format, &value, &value), -EINVAL) << format;
  }
  EXPECT_EQ(value, 3);
  EXPECT_EQ(vex_serv_sscanf_s(nullptr, "%d", &value), -EINVAL);
  EXPECT_EQ(vex_serv_sscanf_s("5", nullptr), -EINVAL);
  EXPECT_EQ(vex_serv_fscanf_s(nullptr, "%d", &value), -EINVAL);
  EXPECT_EQ(vex_serv_sscanf_s("5", "%d", nullptr), -EINVAL);
  EXPECT_EQ(vex_serv_sscanf_s("a", "%s", nullptr, std::size_t{4}), -EINVAL);
  EXPECT_EQ(violations, 15);
}

TEST_F(SafeString, AViolationPassesInSilenceOrSpeaksWhenIgnored) {
  const auto result = in_fresh_process([] {
    vex_serv_set_str_constraint_handler_s(nullptr);
    vex_serv_strcpy(nullptr, 1, "a");
    const auto previous = vex_serv_set_str_constraint_handler_s(vex_serv_ignore_handler_s);
    vex_serv_strcpy(nullptr, 1, "a");
    if (vex_serv_set_str_constraint_handler_s(previous) != vex_serv_ignore_handler_s) std::exit(1);
  });
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors, "VEX: vex_serv_strcpy: the destination is null\n");
}
