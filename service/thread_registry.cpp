// How threads come by their records and lose them, how everybody is stopped, and what stays when a thread
// ends.
#include "service/thread_registry.h"

#include <pthread.h>

#include "service/cleanup.h"

namespace vex::service {

constinit RegistryGate registry_gate;
constinit thread_local OwnIdentity own_identity;

namespace {

// Owners of records past the first 1024 that are in their sections.
constinit std::atomic<std::int32_t> later_inside{0};

// Plain blocks of ended threads and of threads that could not get a record.
struct PlainBlocks {
  std::atomic<std::int64_t> bytes{0};
  std::atomic<std::int64_t> blocks{0};
};
constinit PlainBlocks process_blocks;

struct ThreadEnd {
  std::int32_t lock = 0;
  std::atomic<bool> key_made{false};
  std::atomic<bool> shutdown_registered{false};
  pthread_key_t key{};
};
constinit ThreadEnd thread_end;

constexpr std::uint64_t identity_of(std::uint32_t generation, std::uint32_t index) {
  return std::uint64_t{generation} << 32 | (index + 1);
}

constexpr std::size_t index_of(std::uint64_t identity) {
  return static_cast<std::uint32_t>(identity) - std::size_t{1};
}

bool try_enter(ThreadRecord& record) {
  if (record.index < first_records) return try_lock(record.lock_word);
  // Read-modify-writes of one counter by owner and walker: either the walker's comes first, and then the
  // owner sees the gate closed, or the walker sees the owner inside.
  later_inside.fetch_add(1, std::memory_order_acq_rel);
  if (!registry_gate.closed()) return true;
  later_inside.fetch_sub(1, std::memory_order_release);
  return false;
}

void end_record(const RegistryStop& stop, ThreadRecord& record) {
  // Exchanged, since a thread that outlives its identity may still be adding.
  process_blocks.bytes.fetch_add(record.plain_bytes.exchange(0, std::memory_order_relaxed),
                                 std::memory_order_relaxed);
  process_blocks.blocks.fetch_add(record.plain_blocks.exchange(0, std::memory_order_relaxed),
                                  std::memory_order_relaxed);
  // Before the flags of the bank are looked at; see Bank::give_back.
  record.state.store(RecordState::ended, std::memory_order_seq_cst);
  stop.free_buffers(record);
}

// Ends all threads' records at once: the caches go, every identity is void, and blocks still in use are
// released when they are given back.
void end_all_records() {
  const RegistryStop stop;
  registry_gate.generation.fetch_add(1, std::memory_order_relaxed);
  for_each_record([&](ThreadRecord& record) {
    if (record.state.load(std::memory_order_relaxed) == RecordState::live) end_record(stop, record);
  });
}

void shut_down(void*) {
  thread_end.shutdown_registered.store(false, std::memory_order_relaxed);
  end_all_records();
}

// Without the key no thread's end is noticed any more, so all records end here.
void delete_key(void*) {
  end_all_records();
  SpinGuard guard(thread_end.lock);
  if (thread_end.key_made.exchange(false, std::memory_order_relaxed)) pthread_key_delete(thread_end.key);
}

bool make_key() {
  if (thread_end.key_made.load(std::memory_order_acquire)) return true;
  {
    SpinGuard guard(thread_end.lock);
    if (thread_end.key_made.load(std::memory_order_relaxed)) return true;
    if (pthread_key_create(&thread_end.key, mm_cleanup_thread_cbk) != 0) return false;
    thread_end.key_made.store(true, std::memory_order_release);  // pairs with the acquire above
  }
  // With the lock released: whoever runs the clean-up holds that registry's lock and comes for this one.
  vex_serv_thr_register_cleanup(delete_key, nullptr);
  return true;
}

ThreadRecord* register_thread() {
  if (!make_key()) return nullptr;
  if (!thread_end.shutdown_registered.exchange(true, std::memory_order_relaxed)) {
    vex_serv_core_register_cleanup(shut_down, nullptr);
  }
  ThreadRecord* record;
  std::uint32_t generation;
  {
    SpinGuard guard(registry_gate.word);
    record = occupy_record();
    if (!record) return nullptr;
    generation = registry_gate.generation.load(std::memory_order_relaxed);
  }
  if (mm_set_tinfo(identity_of(generation, record->index))) return record;
  SpinGuard guard(registry_gate.word);
  // After a shutdown in between the record is vacant already, or another thread's.
  if (generation == registry_gate.generation.load(std::memory_order_relaxed)) vacate_record(*record);
  return nullptr;
}

}  // namespace

std::uint64_t mm_get_tinfo() {
  return own_identity.identity;
}

bool mm_set_tinfo(std::uint64_t identity) {
  // The key's destructor is given the place where the identity stands.
  if (pthread_setspecific(thread_end.key, &own_identity) != 0) return false;
  own_identity = {identity, mm_vector_fetch(index_of(identity))};
  return true;
}

void mm_cleanup_thread_cbk(void* identity) {
  auto& ending = *static_cast<OwnIdentity*>(identity);
  {
    const RegistryStop stop;
    if (!ending.is_void()) end_record(stop, *ending.record);
  }
  ending = {};  // should this thread's other destructors come here again, it gets a new one
}

ThreadRecord* own_record_or_new() {
  ThreadRecord* record = own_record();
  return record ? record : register_thread();
}

ThreadRecord* OwnerSection::enter() {
  while (ThreadRecord* record = own_record_or_new()) {
    SpinWait wait;
    // A first look at the gate lets a walker through that would otherwise race for this record's word.
    while (registry_gate.closed() || !try_enter(*record)) wait.once();
    if (!own_identity.is_void()) return record;
    leave(*record);
  }
  return nullptr;
}

void OwnerSection::leave_late() {
  later_inside.fetch_sub(1, std::memory_order_release);  // pairs with the walker's waiting look
}

RegistryStop::RegistryStop() {
  vex_serv_lock(&registry_gate.word);
  const std::size_t count = record_count();
  for (std::size_t i = 0; i < count && i < first_records; ++i) vex_serv_lock(&mm_vector_fetch(i)->lock_word);
  SpinWait wait;
  // Adding nothing, rather than loading; see try_enter.
  while (later_inside.fetch_add(0, std::memory_order_acq_rel) != 0) wait.once();
}

RegistryStop::~RegistryStop() {
  const std::size_t count = record_count();
  for (std::size_t i = 0; i < count && i < first_records; ++i)
    vex_serv_unlock(&mm_vector_fetch(i)->lock_word);
  vex_serv_unlock(&registry_gate.word);
}

void RegistryStop::free_buffers(ThreadRecord& record) const {
  const bool empty = mm_free_all_banks(record.bank);
  if (empty && record.state.load(std::memory_order_relaxed) == RecordState::ended) vacate_record(record);
}

Holdings RegistryStop::holdings() const {
  Holdings held{process_blocks.bytes.load(std::memory_order_relaxed),
                process_blocks.blocks.load(std::memory_order_relaxed)};
  for_each_record([&](const ThreadRecord& record) {
    held.bytes += record.plain_bytes.load(std::memory_order_relaxed);
    held.blocks += record.plain_blocks.load(std::memory_order_relaxed);
    held.bytes += static_cast<std::int64_t>(record.bank.capacity());
    held.blocks += record.bank.occupied;
  });
  return held;
}

namespace {

void count_plain(ThreadRecord* record, std::int64_t bytes, std::int64_t blocks) {
  std::atomic<std::int64_t>& byte_count = record ? record->plain_bytes : process_blocks.bytes;
  std::atomic<std::int64_t>& block_count = record ? record->plain_blocks : process_blocks.blocks;
  byte_count.fetch_add(bytes, std::memory_order_relaxed);
  block_count.fetch_add(blocks, std::memory_order_relaxed);
}

}  // namespace

void count_plain_obtained(std::size_t bytes) {
  count_plain(own_record_or_new(), static_cast<std::int64_t>(bytes), 1);
}

void count_plain_released(std::size_t bytes) {
  count_plain(own_record(), -static_cast<std::int64_t>(bytes), -1);
}

}  // namespace vex::service
