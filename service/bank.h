// A thread's cache of released buffers: five slots, each with a block that is either in somebody's hands or
// waiting.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace vex::service {

// The two atomics are looked at by threads that release a block while the owner works on its bank; the rest
// belongs to whoever holds the bank's record: its owner, or the walker of the registry.
struct Slot {
  std::atomic<void*> address;  // last handed out; null while the slot is empty
  std::atomic<bool> in_use;
  void* system_block;  // null while the slot is empty
  std::size_t size;    // last asked for
  std::size_t capacity;
};

struct Taken {
  void* block;     // null when memory is out
  bool bank_full;  // all five slots are in use
};

struct Bank {
  static constexpr int most_slots = 5;

  Slot slots[most_slots];
  int occupied;  // slots with a block

  // A block of `size` bytes: the cached one that fits best, or a new one of exactly size + alignment bytes.
  Taken take(std::size_t size, std::size_t alignment);

  // Marks the slot of `block` as not in use and answers true, or false when no slot holds it. May be called
  // by any thread that was given the block, whatever the owner is doing: the slot of a block in use does not
  // change.
  bool give_back(void* block);
  // The same by the bank's own thread.
  bool give_back_own(void* block);

  // The capacities of all blocks, in use or not.
  std::size_t capacity() const;
};

// Releases every block that is not in use; true when none is left.
bool mm_free_all_banks(Bank& bank);

}  // namespace vex::service
