// Pages for generated code: written first, executable afterwards, never both.
#pragma once

#include <cstddef>

extern "C" {

// Readable and writable pages for `size` bytes, on a page boundary; null for a size of 0 and when memory is
// out.
void* vex_serv_jit_alloc(std::size_t size);
// Makes them readable and executable, and no longer writable. size as given to vex_serv_jit_alloc. 0 on
// success, -2 for a null pointer or a size of 0, -3 when the system refuses.
int vex_serv_jit_set_exec(void* pages, std::size_t size);
// Null is ignored.
void vex_serv_jit_free(void* pages, std::size_t size);
}
