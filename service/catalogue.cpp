// Finding, checking and reading the message catalogue.
#include "service/catalogue.h"

#include <fcntl.h>
#include <nl_types.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "service/environment.h"
#include "service/format.h"
#include "service/message_table.h"
#include "service/spin_lock.h"

namespace vex::service {
namespace {

constexpr char catalogue_name[] = "vex_msg.cat";
constexpr int catalogue_set = 1;
// Where the C library looks after NLSPATH.
constexpr char default_search_path[] =
    "/usr/share/locale/%L/%N:/usr/share/locale/%L/LC_MESSAGES/%N:"
    "/usr/share/locale/%l/%N:/usr/share/locale/%l/LC_MESSAGES/%N";

constexpr int longest_language = 4096;

constinit std::int32_t open_lock = 0;
constinit std::atomic<bool> opened{false};
constinit nl_catd catalogue = nullptr;  // null for none

// A path that never grows past its array: what does not fit makes it unusable.
class Path {
 public:
  void append(const char* text, std::size_t length) {
    fits_ = fits_ && length < sizeof text_ - length_;
    if (!fits_) return;
    std::memcpy(text_ + length_, text, length);
    length_ += length;
    text_[length_] = '\0';
  }
  void append(const char* text) { append(text, std::strlen(text)); }
  bool fits() const { return fits_; }
  const char* text() const { return text_; }

 private:
  char text_[PATH_MAX] = "";
  std::size_t length_ = 0;
  bool fits_ = true;
};

// The parts of a LANG value, language[_territory][.codeset].
struct Language {
  const char* whole;
  const char* territory;
  const char* codeset;

  explicit Language(const char* value)
      : whole(value), territory(std::strchr(value, '_')), codeset(std::strchr(value, '.')) {
    if (territory && codeset && codeset < territory) territory = nullptr;
  }
  std::size_t language_length() const { return std::strcspn(whole, "_."); }
  std::size_t territory_length() const { return std::strcspn(territory + 1, "."); }
};

// Replaces the fields of one search-path element: %N name, %L LANG, %l %t %c its parts. An empty element is
// the name alone, in the current directory.
void expand(const char* at, const char* end, const Language& language, Path& path) {
  if (at == end) path.append(catalogue_name);
  for (; at < end; ++at) {
    if (*at != '%' || at + 1 == end) {
      path.append(at, 1);
      continue;
    }
    switch (*++at) {
      case 'N':
        path.append(catalogue_name);
        break;
      case 'L':
        path.append(language.whole);
        break;
      case 'l':
        path.append(language.whole, language.language_length());
        break;
      case 't':
        if (language.territory) path.append(language.territory + 1, language.territory_length());
        break;
      case 'c':
        if (language.codeset) path.append(language.codeset + 1);
        break;
      default:
        path.append(at, 1);
    }
  }
}

bool is_sound_file(int file) {
  struct stat status;
  if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size <= 0) return false;
  const auto size = static_cast<std::size_t>(status.st_size);
  void* data = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
  if (data == MAP_FAILED) return false;
  const bool sound = is_sound_catalogue(static_cast<const unsigned char*>(data), size);
  munmap(data, size);
  return sound;
}

// Opens the first file that stands at an element of the search path, provided that it is a catalogue.
nl_catd open_first(const char* search_path, const Language& language, bool& found) {
  for (const char* element = search_path;;) {
    const char* end = element + std::strcspn(element, ":");
    Path path;
    expand(element, end, language, path);
    Path named;  // with a slash in it, catopen takes a name as it is
    if (!std::strchr(path.text(), '/')) named.append("./");
    named.append(path.text());
    // Not blocking: a fifo would wait for its writer.
    const int file = path.fits() && named.fits() ? open(named.text(), O_RDONLY | O_NONBLOCK | O_CLOEXEC) : -1;
    if (file >= 0) {
      found = true;
      const bool sound = is_sound_file(file);
      close(file);
      if (!sound) return nullptr;
      const nl_catd result = catopen(named.text(), 0);
      return reinterpret_cast<std::intptr_t>(result) == -1 ? nullptr : result;
    }
    if (!*end) return nullptr;
    element = end + 1;
  }
}

nl_catd open_catalogue() {
  char lang[longest_language + 1];
  const Language language(vex_serv_getenv("LANG", lang, sizeof lang) > 0 ? lang : "C");
  bool found = false;
  // The C library's own variable, read as the C library does, which trusts no path in a privileged process.
  const char* own_path = secure_getenv("NLSPATH");
  nl_catd result = nullptr;
  if (own_path && *own_path) result = open_first(own_path, language, found);
  return found ? result : open_first(default_search_path, language, found);
}

// LANG without its codeset: "de_DE.UTF-8" finds the catalogue of "de_DE".
bool shorten_language() {
  char lang[longest_language + 1];
  if (vex_serv_getenv("LANG", lang, sizeof lang) <= 0) return false;
  char* codeset = std::strchr(lang, '.');
  if (!codeset) return false;
  *codeset = '\0';
  return setenv("LANG", lang, 1) == 0;
}

nl_catd opened_catalogue() {
  // Acquire pairs with the release below: whoever sees the flag sees the descriptor.
  if (!opened.load(std::memory_order_acquire)) {
    SpinGuard guard(open_lock);
    if (!opened.load(std::memory_order_relaxed)) {
      catalogue = open_catalogue();
      if (!catalogue && shorten_language()) catalogue = open_catalogue();
      opened.store(true, std::memory_order_release);
    }
  }
  return catalogue;
}

std::uint32_t word_at(const unsigned char* data, std::uint64_t index) {
  std::uint32_t word;
  std::memcpy(&word, data + 4 * index, sizeof word);
  return word;
}

}  // namespace

// The layout, in 32-bit words: magic, plane size, plane depth; a table of plane size times depth triples
// (set, message, offset of the text), little-endian; the same table big-endian; then the texts.
bool is_sound_catalogue(const unsigned char* data, unsigned long size) {
  constexpr std::uint64_t header_words = 3;
  constexpr std::uint32_t magic = 0x960408de;
  if (size < 4 * header_words || word_at(data, 0) != magic) return false;
  const std::uint64_t entries = std::uint64_t{word_at(data, 1)} * word_at(data, 2);
  if (entries == 0 || entries > size / 24) return false;  // two triples of 4-byte words each
  const std::uint64_t texts = 4 * (header_words + 6 * entries);
  std::uint64_t last = 0;
  for (std::uint64_t entry = 0; entry < entries; ++entry) {
    const std::uint64_t offset = word_at(data, header_words + 3 * entry + 2);
    if (offset > last) last = offset;
  }
  if (texts + last >= size) return false;
  return std::memchr(data + texts + last, '\0', size - texts - last) != nullptr;
}

const char* message_text(int number) {
  const char* built_in = built_in_message(number);
  if (number <= 0 || number >= message_count) return built_in;
  const nl_catd descriptor = opened_catalogue();
  if (!descriptor) return built_in;
  const char* translated = catgets(descriptor, catalogue_set, number, built_in);
  return formats_agree(translated, built_in) ? translated : built_in;
}

}  // namespace vex::service
