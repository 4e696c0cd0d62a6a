// Thin over the platform's page calls, which round sizes up to whole pages.
#include "service/executable_pages.h"

#include "service/platform.h"

using namespace vex::service;

extern "C" {

void* vex_serv_jit_alloc(std::size_t size) {
  return size == 0 ? nullptr : platform().map_pages(size);
}

int vex_serv_jit_set_exec(void* pages, std::size_t size) {
  if (!pages || size == 0) return -2;
  return platform().make_pages_executable(pages, size) ? 0 : -3;
}

void vex_serv_jit_free(void* pages, std::size_t size) {
  if (pages && size != 0) platform().unmap_pages(pages, size);
}
}
