// What the library asks of a high-bandwidth memory library, on ordinary memory, with what a test wants to
// know.
#include <cerrno>
#include <cstddef>
#include <cstdlib>

extern "C" {

int stand_in_live;           // blocks handed out and not freed
int stand_in_last_kind;      // of the last block handed out
int stand_in_refused_kinds;  // bit k: no block of page kind k is to be had

int memkind_get_version();
int hbw_posix_memalign_psize(void** block, std::size_t alignment, std::size_t bytes, int page_kind);
void hbw_free(void* block);

int memkind_get_version() {
  return VERSION;
}

int hbw_posix_memalign_psize(void** block, std::size_t alignment, std::size_t bytes, int page_kind) {
  const std::size_t page = page_kind == 2 ? std::size_t{2} << 20 : 4096;
  if (alignment != page || (page_kind != 1 && page_kind != 2)) return EINVAL;
  if (stand_in_refused_kinds >> page_kind & 1) return ENOMEM;
  ++stand_in_live;
  stand_in_last_kind = page_kind;
  return posix_memalign(block, alignment, bytes);
}

#ifndef WITHOUT_FREE
void hbw_free(void* block) {
  --stand_in_live;
  std::free(block);
}
#endif
}
