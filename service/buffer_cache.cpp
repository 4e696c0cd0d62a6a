// The doors of the caching allocator.
#include "service/buffer_cache.h"

#include "service/cleanup.h"
#include "service/memory.h"
#include "service/system_allocator.h"
#include "service/thread_registry.h"

namespace vex::service {
namespace {

constexpr std::size_t largest_cached = std::size_t{128} << 20;

// Gives the block back to another thread's bank; false when it is not from there.
bool release_into(ThreadRecord& record, void* block) {
  if (!record.bank.give_back(block)) return false;
  // Sequentially consistent after the flag; see Bank::give_back.
  if (record.state.load(std::memory_order_seq_cst) == RecordState::ended) {
    const RegistryStop stop;
    // Somebody else may have seen to it in the meantime.
    if (record.state.load(std::memory_order_relaxed) == RecordState::ended) stop.free_buffers(record);
  }
  return true;
}

bool release_into_any(void* block) {
  ThreadRecord* own = own_record();
  // Should the process be shutting down at this moment, the block waits for vex_serv_free_buffers.
  if (own && own->bank.give_back_own(block)) return true;
  return any_record([&](ThreadRecord& record) { return &record != own && release_into(record, block); });
}

}  // namespace
}  // namespace vex::service

using namespace vex::service;

extern "C" {

void* vex_serv_allocate(std::size_t size, std::size_t requested_alignment) {
  if (size == 0) return nullptr;
  mm_init();
  const std::size_t alignment = effective_alignment(requested_alignment);
  if (size <= largest_cached && alignment <= largest_alignment && !buffer_cache_disabled()) {
    const OwnerSection own;
    if (Bank* bank = own.bank()) {
      const Taken taken = bank->take(size, alignment);
      if (!taken.bank_full) return taken.block;
    }
  }
  return vex_serv_malloc(size, alignment);
}

void vex_serv_deallocate(void* block) {
  if (!block) return;
  mm_init();
  if (buffer_cache_disabled() || !release_into_any(block)) vex_serv_free(block);
}

void* vex_serv_iface_allocate(std::size_t size, std::size_t alignment) {
  return vex_serv_allocate(size, alignment);
}

void vex_serv_iface_deallocate(void* block) {
  vex_serv_deallocate(block);
}

void vex_serv_free_buffers() {
  mm_init();
  vex_serv_call_sycl_destructors();
  const RegistryStop stop;
  for_each_record([&](ThreadRecord& record) { stop.free_buffers(record); });
}

void vex_serv_thread_free_buffers() {
  mm_init();
  if (!own_record()) return;  // it never cached anything
  const OwnerSection own;
  if (Bank* bank = own.bank()) mm_free_all_banks(*bank);
}

int vex_serv_disable_fast_mm() {
  return disable_buffer_cache();
}

int vex_serv_get_fast_mm_status() {
  mm_init();
  return buffer_cache_disabled();
}
}
