// The records of the threads that use the memory rooms: a static array for the first 1024, then segments
// whose sizes double. A record never moves and is never released; one whose thread has ended serves another.
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
  std::uint32_t index;
  std::atomic<RecordState> state;
  std::uint32_t next_vacant;  // index + 1 of the next vacant record, 0 at the end of the list
  std::atomic<std::int64_t> plain_bytes;
  std::atomic<std::int64_t> plain_blocks;
  Bank bank;
};

inline constexpr std::size_t first_records = 1024;

// The record with this index, or null when there is none yet.
ThreadRecord* mm_vector_fetch(std::size_t index);
// Records that ever served a thread: those with a lower index.
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

// Both with the registry's word held. A live record, the vacant one last used if there is any; null when
// memory is out.
ThreadRecord* occupy_record();
void vacate_record(ThreadRecord& record);

}  // namespace vex::service
