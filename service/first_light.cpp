// Provisional weak definitions of the doors between rooms, so that every room links while its neighbours are
// being built. Each disappears behind the real one; this file goes when the last room stands.
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "service/buffer_cache.h"
#include "service/cleanup.h"
#include "service/environment.h"
#include "service/memory.h"
#include "service/messages.h"
#include "service/progress.h"
#include "service/safe_string.h"
#include "service/xerbla.h"

#define PROVISIONAL __attribute__((weak))

extern "C" {
PROVISIONAL void* vex_serv_allocate(std::size_t size, std::size_t a) { return vex_serv_malloc(size, a); }
PROVISIONAL void vex_serv_deallocate(void* block) { vex_serv_free(block); }
PROVISIONAL void* vex_serv_iface_allocate(std::size_t size, std::size_t a) { return vex_serv_malloc(size, a); }
PROVISIONAL int vex_serv_get_fast_mm_status() { return 0; }
PROVISIONAL void vex_serv_iface_deallocate(void* block) { vex_serv_free(block); }
}
