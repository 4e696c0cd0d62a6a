// Every thread that uses the memory rooms has a record here, with its bank of cached buffers and its count of
// plain blocks. Who may touch a bank:
//
//   owner    inside an OwnerSection: holds its record's lock word (the first 1024 records) or counts among
//   the later
//            owners inside, and keeps out while the registry is stopped;
//   walker   inside a RegistryStop: holds the registry's word, then every record's word in the order of the
//   records,
//            and has waited for the later owners to leave;
//   anybody  looks for a block to release, through the atomics of the slots alone.
//
// Nobody waits for a section or a stop from inside one. Inside, only innermost locks are taken: those of the
// statistics, of the fast memory and of the system's allocator.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "service/bank.h"

namespace vex::service {

enum class RecordState : std::int32_t {
  vacant,  // nobody's; the bank is empty
  live,
  ended,  // its thread is gone, and blocks of its bank are still in use
};

struct alignas(64) ThreadRecord {
  std::int32_t lock_word;  // of the first 1024 records
  std::atomic<RecordState> state;
  std::uint32_t index;
  std::uint32_t next_vacant;  // index + 1 of the next vacant record, 0 at the end of the list
  std::atomic<std::int64_t> plain_bytes;
  std::atomic<std::int64_t> plain_blocks;
  Bank bank;
};

// A thread's identity: the registry's generation at the time in the upper half, its record's index + 1 in the
// lower one. 0: none yet.
std::uint64_t mm_get_tinfo();
// Also sees to it that the end of the thread is noticed; false, with nothing stored, when that is impossible.
bool mm_set_tinfo(std::uint64_t identity);

// Called with the ending thread's identity: its record becomes vacant, or ended when somebody uses a block of
// it.
void mm_cleanup_thread_cbk(void* identity);

// The record with this index, or null when there is none yet.
ThreadRecord* mm_vector_fetch(std::size_t index);
std::size_t record_count();

// Visits every record until a visit answers true; says whether one did.
template <typename Visit>
bool any_record(Visit visit) {
  const std::size_t count = record_count();
  for (std::size_t i = 0; i < count; ++i) {
    ThreadRecord* record = mm_vector_fetch(i);
    if (record && visit(*record)) return true;
  }
  return false;
}

template <typename Visit>
void for_each_record(Visit visit) {
  any_record([&](ThreadRecord& record) {
    visit(record);
    return false;
  });
}

// The calling thread's record, or null. Good for looking at its atomics.
ThreadRecord* own_record();
// The same, made when it is missing; null when memory is out.
ThreadRecord* own_record_or_new();

// The calling thread's hold on its own bank.
class OwnerSection {
 public:
  OwnerSection();
  ~OwnerSection();
  OwnerSection(const OwnerSection&) = delete;
  OwnerSection& operator=(const OwnerSection&) = delete;

  Bank* bank() const { return record_ ? &record_->bank : nullptr; }  // null: the thread has none

 private:
  ThreadRecord* record_ = nullptr;
};

// Plain blocks, and cached buffers with their whole capacity.
struct Holdings {
  std::int64_t bytes;
  std::int64_t blocks;
};

// Keeps all owners out while it lives.
class RegistryStop {
 public:
  RegistryStop();
  ~RegistryStop();
  RegistryStop(const RegistryStop&) = delete;
  RegistryStop& operator=(const RegistryStop&) = delete;

  // Releases the unused blocks of a record, which becomes vacant when its thread has ended and none is left.
  void free_buffers(ThreadRecord& record) const;
  Holdings holdings() const;
};

// Count plain blocks for the calling thread, or for the process as a whole when the thread has no record.
void count_plain_obtained(std::size_t bytes);
void count_plain_released(std::size_t bytes);

}  // namespace vex::service
