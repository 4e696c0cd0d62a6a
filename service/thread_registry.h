// Which record belongs to which thread, and who may touch a bank:
//
//   - its owner, inside an OwnerSection, which keeps out while the registry is stopped. An owner inside holds
//     its record's lock word (the first 1024 records) or is counted among the later owners;
//   - a walker of all banks, inside a RegistryStop. It holds the registry's word, then every record's word in
//     the order of the records, and has waited for the later owners to leave;
//   - whoever releases a block, anywhere, through the atomics of the slots alone.
//
// Nobody waits for a section or a stop from inside one. Inside, only innermost locks are taken: those of the
// statistics, of the fast memory and of the system's allocator.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "service/record_table.h"
#include "service/spin_lock.h"

namespace vex::service {

// What every way in looks at.
struct RegistryGate {
  std::int32_t word = 0;  // held while the registry is stopped or a record changes hands
  // Identities of an earlier generation are void. Changes while the registry is stopped.
  std::atomic<std::uint32_t> generation{1};

  // Acquire pairs with the release in unlock: what a walker did is over once the word reads 0.
  bool closed() { return std::atomic_ref<std::int32_t>(word).load(std::memory_order_acquire) != 0; }
};
extern constinit RegistryGate registry_gate;

// A thread's identity: the registry's generation at the time in the upper half, its record's index + 1 in the
// lower one. 0: none yet.
std::uint64_t mm_get_tinfo();
// Also sees to it that the end of the thread is noticed; false, with nothing stored, when that is impossible.
bool mm_set_tinfo(std::uint64_t identity);

// Called with the place of the ending thread's identity: its record becomes vacant, or ended while somebody
// uses a block of it.
void mm_cleanup_thread_cbk(void* identity);

// The calling thread's identity and the record that it names, which is another thread's when the identity is
// void.
struct OwnIdentity {
  std::uint64_t identity = 0;
  ThreadRecord* record = nullptr;

  bool is_void() const { return identity >> 32 != registry_gate.generation.load(std::memory_order_relaxed); }
};
extern constinit thread_local OwnIdentity own_identity;

// The calling thread's record, or null. Good for looking at its atomics.
inline ThreadRecord* own_record() {
  return own_identity.is_void() ? nullptr : own_identity.record;
}
// The same, made when it is missing; null when memory is out.
ThreadRecord* own_record_or_new();

// The calling thread's hold on its own bank.
class OwnerSection {
 public:
  OwnerSection() {
    if (!enter_at_once()) record_ = enter();
  }
  ~OwnerSection() {
    if (record_) leave(*record_);
  }
  OwnerSection(const OwnerSection&) = delete;
  OwnerSection& operator=(const OwnerSection&) = delete;

  Bank* bank() const { return record_ ? &record_->bank : nullptr; }  // null: the thread has none

 private:
  // The usual case: one of the first records, and nobody walks.
  bool enter_at_once() {
    record_ = own_identity.record;
    if (!record_ || record_->index >= first_records || registry_gate.closed()) return false;
    if (!try_lock(record_->lock_word)) return false;
    // Generations stand still inside. If they moved on before, the record may be another thread's by now.
    if (!own_identity.is_void()) return true;
    unlock(record_->lock_word);
    return false;
  }
  static ThreadRecord* enter();
  static void leave(ThreadRecord& record) {
    record.index < first_records ? unlock(record.lock_word) : leave_late();
  }
  static void leave_late();

  ThreadRecord* record_;
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
