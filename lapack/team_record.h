// What the threads of one team share while they work on a task.
#pragma once

#include <atomic>
#include <cstddef>

#include "blas/internal_team.h"
#include "lapack/getrf.h"
#include "lapack/task_callbacks.h"
#include "service/barrier.h"
#include "service/types.h"
#include "service/work_split.h"

namespace vex::lapack {

// A contiguous share of a range: `length` indices from `start`.
struct Share {
  vex_int start, length;
};

// The pivot candidate of one thread: magnitude and row. A value of -1 means that none is posted.
struct PivotSlot {
  std::atomic<double> value;
  vex_int row;
  // Whose packed triangle, and whose packed rows below it, the thread's part of the work buffer holds; -1 for
  // none.
  vex_int kept_triangle, kept_panel;
};

inline constexpr double no_candidate = -1.0;
inline constexpr vex_int no_panel = -1;

// Grows when a task needs more, and stays for the tasks to come.
struct WorkBuffer {
  double* data;
  vex_int capacity;  // elements
};

struct TeamRecord : TeamTask {
  service::CounterBarrier barrier;
  UpdateSplit split;
  blas::FactorCopies* shared;  // with shared_copy
  WorkBuffer buffer;
  vex_int sharers;   // members whose parts the buffer was last cut into
  PivotSlot* slots;  // one per thread of the run
  vex_int threads;
  alignas(64) std::atomic<vex_int> published;  // 1 + the last column whose pivot row is fixed
  int stop;                                    // what the progress callback answered to the master
};

// One thread's place in a team that works on a record.
struct TeamMember {
  TeamRecord* record;
  vex_int rank, size;

  bool is_master() const { return rank == 0; }
  void meet() const {
    if (size > 1) record->barrier.wait(size, is_master());
  }
  // This member's part of n indices, or of n indices cut between multiples of `granule`.
  Share share(vex_int n) const {
    Share part;
    part.start = vex_serv_divbythreads(&rank, &size, &n, &part.length);
    return part;
  }
  Share share(vex_int n, vex_int granule) const {
    Share part;
    part.start = vex_serv_divbythreadsnb(&rank, &size, &n, &granule, &part.length);
    return part;
  }
};

// Records for `teams` teams of a run of `threads` threads, ready for use, in one block for free_records. Null
// when memory is out. `dag` may be null where no tasks are handed out.
TeamRecord* allocate_records(TaskGraph* dag, vex_int teams, vex_int threads);
void free_records(TeamRecord* records, vex_int teams);

// Sees to it that the record's buffer holds `elements` for each of `sharers` members; its content is lost
// when it has to grow or was cut for another number of them. False, with no buffer left, when memory is out.
// By one thread of the team.
bool reserve(TeamRecord& record, vex_int sharers, vex_int elements);

}  // namespace vex::lapack

extern "C" {

// Makes one record ready: no pivot candidate posted in any of its `threads` slots.
void xgetrf_team_ctxt_init(vex::lapack::TeamRecord* record, vex::lapack::TaskGraph* dag, vex_int threads);
}
