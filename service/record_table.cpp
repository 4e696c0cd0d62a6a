// Where the records lie.
#include "service/record_table.h"

#include <bit>
#include <new>

#include "service/alignment.h"
#include "service/system_allocator.h"

namespace vex::service {
namespace {

constexpr std::size_t most_segments = 53;

constinit ThreadRecord first[first_records]{};
// Segment s holds the 1024 * 2^s records from index 1024 * 2^s on; segments stay until the process ends.
constinit std::atomic<ThreadRecord*> segments[most_segments]{};
constinit std::atomic<std::size_t> count{0};
constinit std::uint32_t first_vacant = 0;  // index + 1 of the head of the list of vacant records

// Of an index past the first records.
std::size_t segment_of(std::size_t index) {
  return static_cast<std::size_t>(std::bit_width(index) - std::bit_width(first_records));
}

bool make_segment(std::size_t segment) {
  const std::size_t length = first_records << segment;
  void* memory = system_obtain(length * sizeof(ThreadRecord) + alignof(ThreadRecord));
  if (!memory) return false;
  auto* records = reinterpret_cast<ThreadRecord*>(align_up(memory, alignof(ThreadRecord)));
  for (std::size_t i = 0; i < length; ++i) new (&records[i]) ThreadRecord{};
  segments[segment].store(records, std::memory_order_release);  // pairs with mm_vector_fetch
  return true;
}

ThreadRecord* append_record() {
  const std::size_t index = count.load(std::memory_order_relaxed);
  if (index >= first_records) {
    const std::size_t segment = segment_of(index);
    if (segment >= most_segments) return nullptr;
    if (!segments[segment].load(std::memory_order_relaxed) && !make_segment(segment)) return nullptr;
  }
  ThreadRecord* record = mm_vector_fetch(index);
  record->index = static_cast<std::uint32_t>(index);
  count.store(index + 1, std::memory_order_release);  // pairs with record_count
  return record;
}

}  // namespace

ThreadRecord* mm_vector_fetch(std::size_t index) {
  if (index < first_records) return &first[index];
  const std::size_t segment = segment_of(index);
  if (segment >= most_segments) return nullptr;
  // Pairs with the release in make_segment.
  ThreadRecord* records = segments[segment].load(std::memory_order_acquire);
  return records ? &records[index - (first_records << segment)] : nullptr;
}

std::size_t record_count() {
  return count.load(std::memory_order_acquire);
}

ThreadRecord* occupy_record() {
  ThreadRecord* record;
  if (first_vacant != 0) {
    record = mm_vector_fetch(first_vacant - 1);
    first_vacant = record->next_vacant;
  } else {
    record = append_record();
  }
  if (record) record->state.store(RecordState::live, std::memory_order_relaxed);
  return record;
}

void vacate_record(ThreadRecord& record) {
  record.state.store(RecordState::vacant, std::memory_order_relaxed);
  record.next_vacant = first_vacant;
  first_vacant = record.index + 1;
}

}  // namespace vex::service
