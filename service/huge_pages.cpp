// Which part of a block huge pages can back.
#include "service/huge_pages.h"

#include "service/alignment.h"
#include "service/platform.h"

namespace vex::service {
namespace {

constexpr std::size_t huge_page = std::size_t{2} << 20;

}  // namespace

void advise_huge_pages(void* start, std::size_t bytes) {
  if (bytes < huge_page) return;
  char* first = align_up(start, huge_page);
  char* last = align_down(static_cast<char*>(start) + bytes, huge_page);
  if (first < last) platform().advise_huge_pages(first, static_cast<std::size_t>(last - first));
}

}  // namespace vex::service
