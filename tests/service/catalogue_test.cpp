// The message catalogue: found, translated from, and refused when it is broken.
#include "service/catalogue.h"

#include <gtest/gtest.h>
#include <nl_types.h>
#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>

#include "service/messages.h"
#include "tests/support/fresh_process.h"
#include "tests/support/run_program.h"

namespace {

namespace fs = std::filesystem;
using vex::test::in_fresh_process;

// A catalogue file holding these texts in set 1, with one slot per message.
std::string catalogue_of(const std::map<int, std::string>& texts) {
  constexpr std::uint32_t plane_size = 2 * 1500;
  std::vector<std::uint32_t> words = {0x960408de, plane_size, 1};
  words.resize(3 + 6 * plane_size);
  std::string strings;
  for (const auto& [id, text] : texts) {
    const std::uint32_t set = 2, number = static_cast<std::uint32_t>(id);  // the set counts from 1
    const std::uint32_t entry[] = {set, number, static_cast<std::uint32_t>(strings.size())};
    const std::size_t slot = set * number % plane_size;
    for (std::size_t i = 0; i < 3; ++i) {
      words[3 + 3 * slot + i] = entry[i];
      words[3 + 3 * (plane_size + slot) + i] = __builtin_bswap32(entry[i]);
    }
    strings += text + '\0';
  }
  return std::string(reinterpret_cast<const char*>(words.data()), 4 * words.size()) + strings;
}

class Catalogue : public testing::Test {
 protected:
  void write(const std::string& place, const std::string& content) {
    const fs::path path = folder_ / place;
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
  }

  // What a process with this search path (below the folder) and LANG prints for an error, and LANG
  // afterwards.
  std::string printed(const std::string& search_path, const char* lang) {
    const std::string nlspath = folder_.string() + "/" + search_path;
    const auto result = in_fresh_process([&] {
      alarm(20);
      setenv("NLSPATH", nlspath.c_str(), 1);
      lang ? setenv("LANG", lang, 1) : unsetenv("LANG");
      vex_serv_print(0, 6, 2, 3, "DGETRF");
      vex_serv_print(0, 0x431, 1, 8);
      std::printf("[%s]", getenv("LANG") ? getenv("LANG") : "");
    });
    return result.output;
  }

  const vex::test::ScratchDirectory scratch_;
  const fs::path folder_ = scratch_.path();
};

constexpr char built_in[] =
    "Korva VEX ERROR: Parameter 3 was incorrect on entry to DGETRF.\nNumber of tests: 8\n";

const std::map<int, std::string> translation = {{6, "Argument %i von %s ist falsch."},
                                                {0x431, "Zahl der Tests: %d"}};
constexpr char translated[] = "Argument 3 von DGETRF ist falsch.\nZahl der Tests: 8\n";

}  // namespace

TEST_F(Catalogue, ATranslationIsNotFound) {
  for (const char* place : {"plain/vex_msg.cat", "de_AT/vex_msg.cat", "fr_FR.UTF-8/vex_msg.cat"})
    write(place, catalogue_of(translation));
  const std::string endless(10000, 'x');
  const struct {
    std::string search_path;
    const char* lang;
    const char* text;
    std::string lang_after;
  } cases[] = {{"plain/%N", nullptr, translated, ""},
               {"none/%N:" + folder_.string() + "/%l_%t/%N", "de_AT.UTF-8", translated, "de_AT.UTF-8"},
               {"%L/%N", "fr_FR.UTF-8", translated, "fr_FR.UTF-8"},
               {"%L/%N", "de_AT.UTF-8", translated, "de_AT"},  // found under the shortened name, which stays
               {"%L/%N", endless.c_str(), built_in, endless},
               {endless + "/%N", "C", built_in, "C"}};
  for (const auto& c : cases)
    EXPECT_EQ(printed(c.search_path, c.lang), c.text + ("[" + c.lang_after + "]")) << c.search_path;
}

TEST_F(Catalogue, AForeignFormatOrAnythingButACatalogueIsUsed) {
  for (const char* wild : {"%s %d", "%d %s %s", "%n %s", "", "%2147483647d %s", "%d %s%"}) {
    write("vex_msg.cat", catalogue_of({{6, wild}, {0x431, "%p"}}));
    EXPECT_EQ(printed("%N", "C"), std::string(built_in) + "[C]") << wild;
  }
  fs::create_directory(folder_ / "directory");
  ASSERT_EQ(mkfifo((folder_ / "fifo").c_str(), 0600), 0);
  write("empty", "");
  write("text", std::string(100000, '%'));
  for (const char* name : {"directory", "fifo", "empty", "text"})
    EXPECT_EQ(printed(name, "C"), std::string(built_in) + "[C]") << name;
}

TEST_F(Catalogue, ADamagedFileIsReadPastItsEnd) {
  const std::string whole = catalogue_of({{6, "a"}, {1454, "text"}, {3, "last"}});
  const auto is_sound =
      [](const std::string& file) {  // on the heap at its exact size, for a sanitizer to guard
        const std::vector<unsigned char> bytes(file.begin(), file.end());
        return vex::service::is_sound_catalogue(bytes.data(), bytes.size());
      };
  EXPECT_TRUE(is_sound(whole));
  for (std::size_t size = 0; size < 64; ++size) EXPECT_FALSE(is_sound(whole.substr(0, size))) << size;
  EXPECT_FALSE(is_sound(whole.substr(0, whole.size() - 1)));

  std::mt19937 random(20240722);
  int sound = 0;
  for (int round = 0; round < 300; ++round) {
    std::string file = whole;
    for (int i = 0; i < 4; ++i)  // half of the rounds near the sizes
      file[random() % (round % 2 ? file.size() : 64)] = static_cast<char>(random());
    file.resize(file.size() - random() % 3);
    if (!is_sound(file)) continue;
    ++sound;
    write("damaged.cat", file);
    const nl_catd opened = catopen((folder_ / "damaged.cat").c_str(), 0);
    if (opened == reinterpret_cast<nl_catd>(-1)) continue;
    std::size_t length = 0;
    for (int id = 0; id < 1500; ++id) length += std::string(catgets(opened, 1, id, "")).size();
    EXPECT_LE(length, 1500 * file.size());
    catclose(opened);
  }
  EXPECT_GT(sound, 10);
}
