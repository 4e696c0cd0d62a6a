// The records, how threads come by them and lose them, and how everybody is stopped.
#include "service/thread_registry.h"

#include <pthread.h>

#include <bit>
#include <new>

#include "service/cleanup.h"
#include "service/spin_lock.h"
#include "service/system_allocator.h"

namespace vex::service {
namespace {

constexpr std::size_t first_records = 1024;
constexpr std::size_t most_segments = 53;

constinit ThreadRecord first[first_records]{};
// Segment s holds the 1024 * 2^s records from index 1024 * 2^s on; segments stay until the process ends.
constinit std::atomic<ThreadRecord*> segments[most_segments]{};

struct Registry {
  std::int32_t word = 0;                      // held while the registry is stopped or a record changes hands
  std::atomic<std::int32_t> later_inside{0};  // owners of records past the first 1024 in their sections
  std::atomic<std::size_t> count{0};          // records that ever had an owner; grows under the word
  std::uint32_t vacant = 0;                   // index + 1 of the first vacant record; under the word
  // Identities of an earlier generation are void. Changes while the registry is stopped.
  std::atomic<std::uint32_t> generation{1};
  // Plain blocks of ended threads and of threads that could not get a record.
  std::atomic<std::int64_t> plain_bytes{0};
  std::atomic<std::int64_t> plain_blocks{0};
};
constinit Registry registry;

constinit thread_local std::uint64_t own_identity = 0;

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

// Pairs with the release in vex_serv_unlock: what a walker did is over once the word reads 0.
bool stopped() {
  return std::atomic_ref<std::int32_t>(registry.word).load(std::memory_order_acquire) != 0;
}

bool try_enter(ThreadRecord& record) {
  if (record.index < first_records) return vex_serv_trylock(&record.lock_word);
  // Read-modify-writes of one counter by owner and walker: either the walker's comes first, and then the
  // owner sees the registry's word held, or the walker sees the owner inside.
  registry.later_inside.fetch_add(1, std::memory_order_acq_rel);
  if (!stopped()) return true;
  registry.later_inside.fetch_sub(1, std::memory_order_release);
  return false;
}

void enter(ThreadRecord& record) {
  SpinWait wait;
  // A first look at the registry's word lets a walker through that would otherwise race for this record's
  // word.
  while (stopped() || !try_enter(record)) wait.once();
}

void leave(ThreadRecord& record) {
  if (record.index < first_records) {
    vex_serv_unlock(&record.lock_word);
  } else {
    registry.later_inside.fetch_sub(1, std::memory_order_release);  // pairs with the walker's waiting look
  }
}

int segment_of(std::size_t index) {
  return std::bit_width(index) - std::bit_width(first_records);
}

bool make_segment(int segment) {
  const std::size_t length = first_records << segment;
  void* memory = system_obtain(length * sizeof(ThreadRecord) + alignof(ThreadRecord));
  if (!memory) return false;
  const std::size_t mask = alignof(ThreadRecord) - 1;
  auto* records = reinterpret_cast<ThreadRecord*>((reinterpret_cast<std::uintptr_t>(memory) + mask) & ~mask);
  for (std::size_t i = 0; i < length; ++i) new (&records[i]) ThreadRecord{};
  segments[segment].store(records, std::memory_order_release);  // pairs with mm_vector_fetch
  return true;
}

// The three below: with the registry's word held.

ThreadRecord* append_record() {
  const std::size_t index = registry.count.load(std::memory_order_relaxed);
  if (index >= first_records) {
    const std::size_t segment = segment_of(index);
    if (segment >= most_segments) return nullptr;
    if (!segments[segment].load(std::memory_order_relaxed) && !make_segment(segment)) return nullptr;
  }
  ThreadRecord* record = mm_vector_fetch(index);
  record->index = static_cast<std::uint32_t>(index);
  registry.count.store(index + 1, std::memory_order_release);  // pairs with record_count
  return record;
}

ThreadRecord* occupy_record() {
  ThreadRecord* record;
  if (registry.vacant != 0) {
    record = mm_vector_fetch(registry.vacant - 1);
    registry.vacant = record->next_vacant;
  } else {
    record = append_record();
  }
  if (record) record->state.store(RecordState::live, std::memory_order_relaxed);
  return record;
}

void vacate(ThreadRecord& record) {
  record.state.store(RecordState::vacant, std::memory_order_relaxed);
  record.next_vacant = registry.vacant;
  registry.vacant = record.index + 1;
}

void end_record(const RegistryStop& stop, ThreadRecord& record) {
  // Exchanged, since a thread that outlives its identity may still be adding.
  registry.plain_bytes.fetch_add(record.plain_bytes.exchange(0, std::memory_order_relaxed),
                                 std::memory_order_relaxed);
  registry.plain_blocks.fetch_add(record.plain_blocks.exchange(0, std::memory_order_relaxed),
                                  std::memory_order_relaxed);
  // Before the flags of the bank are looked at; see Bank::give_back.
  record.state.store(RecordState::ended, std::memory_order_seq_cst);
  stop.free_buffers(record);
}

// Ends all threads' records at once: the caches go, every identity is void, and blocks still in use are
// released when they are given back.
void shut_down(void*) {
  const RegistryStop stop;
  thread_end.shutdown_registered.store(false, std::memory_order_relaxed);
  registry.generation.fetch_add(1, std::memory_order_relaxed);
  for_each_record([&](ThreadRecord& record) {
    if (record.state.load(std::memory_order_relaxed) == RecordState::live) end_record(stop, record);
  });
}

// Without the key no thread's end is noticed any more, so all records end here.
void delete_key(void*) {
  shut_down(nullptr);
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
    SpinGuard guard(registry.word);
    record = occupy_record();
    if (!record) return nullptr;
    generation = registry.generation.load(std::memory_order_relaxed);
  }
  if (mm_set_tinfo(identity_of(generation, record->index))) return record;
  SpinGuard guard(registry.word);
  // After a shutdown in between the record is vacant already, or another thread's.
  if (generation == registry.generation.load(std::memory_order_relaxed)) vacate(*record);
  return nullptr;
}

}  // namespace

std::uint64_t mm_get_tinfo() {
  return own_identity;
}

bool mm_set_tinfo(std::uint64_t identity) {
  // The identity is the key's value as it is; nothing is allocated for it.
  static_assert(sizeof(void*) == sizeof identity);
  if (pthread_setspecific(thread_end.key, reinterpret_cast<void*>(identity)) != 0) return false;
  own_identity = identity;
  return true;
}

void mm_cleanup_thread_cbk(void* ending) {
  const auto identity = reinterpret_cast<std::uint64_t>(ending);
  own_identity = 0;  // should this thread's other destructors come here again, it gets a new one
  const RegistryStop stop;
  if (identity >> 32 != registry.generation.load(std::memory_order_relaxed)) return;
  ThreadRecord* record = mm_vector_fetch(static_cast<std::uint32_t>(identity) - std::size_t{1});
  if (record) end_record(stop, *record);
}

ThreadRecord* mm_vector_fetch(std::size_t index) {
  if (index < first_records) return &first[index];
  const std::size_t segment = segment_of(index);
  if (segment >= most_segments) return nullptr;
  // Pairs with the release in make_segment.
  ThreadRecord* records = segments[segment].load(std::memory_order_acquire);
  return records ? &records[index - (first_records << segment)] : nullptr;
}

std::size_t record_count() {
  return registry.count.load(std::memory_order_acquire);
}

ThreadRecord* own_record() {
  // An identity is only compared with a generation that this thread, at the latest when it entered its
  // section, knows of.
  if (own_identity >> 32 != registry.generation.load(std::memory_order_relaxed)) return nullptr;
  return mm_vector_fetch(static_cast<std::uint32_t>(own_identity) - std::size_t{1});
}

ThreadRecord* own_record_or_new() {
  ThreadRecord* record = own_record();
  return record ? record : register_thread();
}

OwnerSection::OwnerSection() {
  while (ThreadRecord* record = own_record_or_new()) {
    enter(*record);
    // The generation stands still inside. If it changed on the way in, the record may be another thread's by
    // now.
    if (own_record() == record) {
      record_ = record;
      return;
    }
    leave(*record);
  }
}

OwnerSection::~OwnerSection() {
  if (record_) leave(*record_);
}

RegistryStop::RegistryStop() {
  vex_serv_lock(&registry.word);
  const std::size_t count = record_count();
  for (std::size_t i = 0; i < count && i < first_records; ++i) vex_serv_lock(&first[i].lock_word);
  SpinWait wait;
  // Adding nothing, rather than loading; see try_enter.
  while (registry.later_inside.fetch_add(0, std::memory_order_acq_rel) != 0) wait.once();
}

RegistryStop::~RegistryStop() {
  const std::size_t count = record_count();
  for (std::size_t i = 0; i < count && i < first_records; ++i) vex_serv_unlock(&first[i].lock_word);
  vex_serv_unlock(&registry.word);
}

void RegistryStop::free_buffers(ThreadRecord& record) const {
  const bool empty = mm_free_all_banks(record.bank);
  if (empty && record.state.load(std::memory_order_relaxed) == RecordState::ended) vacate(record);
}

Holdings RegistryStop::holdings() const {
  Holdings held{registry.plain_bytes.load(std::memory_order_relaxed),
                registry.plain_blocks.load(std::memory_order_relaxed)};
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
  std::atomic<std::int64_t>& byte_count = record ? record->plain_bytes : registry.plain_bytes;
  std::atomic<std::int64_t>& block_count = record ? record->plain_blocks : registry.plain_blocks;
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
