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

void free_records(TeamRecord* records) {
  vex_serv_deallocate(records);
}

}  // namespace vex::lapack

void xgetrf_team_ctxt_init(vex::lapack::TeamRecord* record, vex::lapack::TaskGraph* dag, vex_int threads) {
  record->graph = dag;
  for (vex_int t = 0; t < threads; ++t) {
    record->slots[t].value.store(vex::lapack::no_candidate, std::memory_order_relaxed);
    record->slots[t].row = 0;
  }
}
