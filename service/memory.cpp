// Plain aligned blocks. Below the address handed out lies a header that says how to give the block back:
//
//   system address | ... padding ... | header (24 bytes) | the block, aligned
#include "service/memory.h"

#include <cstdint>
#include <cstring>

#include "service/alignment.h"
#include "service/memory_statistics.h"
#include "service/system_allocator.h"
#include "service/thread_registry.h"

namespace vex::service {
namespace {

struct BlockHeader {
  void* system_block;      // as the system allocator gave it
  std::size_t total_size;  // asked of the system allocator: size + alignment + header
  std::uint32_t alignment;
};
static_assert(sizeof(BlockHeader) == 24);

BlockHeader& header_of(void* block) {
  return static_cast<BlockHeader*>(block)[-1];
}

std::size_t size_of(const BlockHeader& header) {
  return header.total_size - header.alignment - sizeof(BlockHeader);
}

}  // namespace

}  // namespace vex::service

using namespace vex::service;

extern "C" {

void* vex_serv_malloc(std::size_t size, std::size_t requested_alignment) {
  const std::size_t alignment = effective_alignment(requested_alignment);
  if (alignment > largest_alignment) return nullptr;
  const std::size_t total = size + alignment + sizeof(BlockHeader);
  if (total < size) return nullptr;
  mm_init();
  void* system_block = system_obtain(total);
  if (!system_block) return nullptr;
  count_plain_obtained(total);
  count_obtained(total);
  void* block = align_down(static_cast<char*>(system_block) + alignment + sizeof(BlockHeader), alignment);
  header_of(block) = {system_block, total, static_cast<std::uint32_t>(alignment)};
  return block;
}

void* vex_serv_calloc(std::size_t count, std::size_t size, std::size_t alignment) {
  std::size_t bytes;
  if (__builtin_mul_overflow(count, size, &bytes)) return nullptr;
  void* block = vex_serv_malloc(bytes, alignment);
  if (block) std::memset(block, 0, bytes);
  return block;
}

void* vex_serv_realloc(void* block, std::size_t size) {
  if (!block) return vex_serv_malloc(size, effective_alignment(0));
  const BlockHeader& header = header_of(block);
  void* moved = vex_serv_malloc(size, header.alignment);
  if (!moved) return nullptr;
  const std::size_t old_size = size_of(header);
  std::memcpy(moved, block, size < old_size ? size : old_size);
  vex_serv_free(block);
  return moved;
}

void vex_serv_free(void* block) {
  if (!block) return;
  const BlockHeader header = header_of(block);
  if (!header.system_block) return;
  count_plain_released(header.total_size);
  count_released(header.total_size);
  system_release(header.system_block);
}
}
