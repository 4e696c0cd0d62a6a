// The records of all teams and their slots lie in one block: the records first, then a row of slots for each.
#include "lapack/team_record.h"

#include <new>

#include "service/buffer_cache.h"

namespace vex::lapack {

TeamRecord* allocate_records(TaskGraph* dag, vex_int teams, vex_int threads) {
  const auto count = static_cast<std::size_t>(teams);
  const auto slots = static_cast<std::size_t>(threads);
  const std::size_t bytes = count * (sizeof(TeamRecord) + slots * sizeof(PivotSlot));
  void* block = vex_serv_allocate(bytes, alignof(TeamRecord));
  if (!block) return nullptr;
  auto* records = static_cast<TeamRecord*>(block);
  auto* slot = reinterpret_cast<PivotSlot*>(records + count);
  for (std::size_t team = 0; team < count; ++team, slot += slots) {
    new (&records[team]) TeamRecord{};
    for (std::size_t t = 0; t < slots; ++t) new (&slot[t]) PivotSlot{};
    records[team].slots = slot;
    xgetrf_team_ctxt_init(&records[team], dag, threads);
  }
  return records;
}

void free_records(TeamRecord* records, vex_int teams) {
  for (vex_int team = 0; team < teams; ++team) vex_serv_deallocate(records[team].buffer.data);
  vex_serv_deallocate(records);
}

bool reserve(TeamRecord& record, vex_int sharers, vex_int elements) {
  WorkBuffer& buffer = record.buffer;
  const bool grows = sharers * elements > buffer.capacity;
  if (grows || sharers != record.sharers)
    for (vex_int t = 0; t < record.threads; ++t)
      record.slots[t].kept_triangle = record.slots[t].kept_panel = no_panel;
  record.sharers = sharers;
  if (!grows) return true;
  vex_serv_deallocate(buffer.data);
  buffer.data = static_cast<double*>(
      vex_serv_allocate(static_cast<std::size_t>(sharers * elements) * sizeof(double), 128));
  buffer.capacity = buffer.data ? sharers * elements : 0;
  return buffer.data != nullptr;
}

}  // namespace vex::lapack

void xgetrf_team_ctxt_init(vex::lapack::TeamRecord* record, vex::lapack::TaskGraph* dag, vex_int threads) {
  record->graph = dag;
  record->threads = threads;
  for (vex_int t = 0; t < threads; ++t) {
    record->slots[t].value.store(vex::lapack::no_candidate, std::memory_order_relaxed);
    record->slots[t].row = 0;
    record->slots[t].kept_triangle = record->slots[t].kept_panel = vex::lapack::no_panel;
  }
}
