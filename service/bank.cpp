// Which slot serves a request, and what happens to the others.
#include "service/bank.h"

#include "service/alignment.h"
#include "service/memory_statistics.h"
#include "service/system_allocator.h"

namespace vex::service {
namespace {

void* hand_out(Slot& slot, std::size_t size, std::size_t alignment) {
  void* block = align_up(slot.system_block, alignment);
  slot.size = size;
  // Relaxed: another thread looks for this address only after it was given it.
  slot.address.store(block, std::memory_order_relaxed);
  slot.in_use.store(true, std::memory_order_relaxed);
  return block;
}

bool fill(Bank& bank, Slot& slot, std::size_t capacity) {
  slot.system_block = system_obtain(capacity);
  if (!slot.system_block) return false;
  slot.capacity = capacity;
  ++bank.occupied;
  count_obtained(capacity);
  return true;
}

void empty(Bank& bank, Slot& slot) {
  count_released(slot.capacity);
  // The address goes first: once the block is released, the system may give it to somebody whose release must
  // not find it here.
  slot.address.store(nullptr, std::memory_order_relaxed);
  void* block = slot.system_block;
  slot.system_block = nullptr;
  slot.capacity = 0;
  --bank.occupied;
  system_release(block);
}

// The slots that might serve a request which none fits exactly.
struct Candidates {
  Slot* smallest_larger = nullptr;
  Slot* first_smaller = nullptr;
  Slot* first_empty = nullptr;
};

// Acquire pairs with the stores in give_back and give_back_own: what the last user did to the block is over.
bool waits(const Slot& slot) {
  return slot.system_block && !slot.in_use.load(std::memory_order_acquire);
}

Candidates scan(Slot (&slots)[Bank::most_slots], std::size_t need) {
  Candidates found;
  for (Slot& slot : slots) {
    if (!slot.system_block) {
      if (!found.first_empty) found.first_empty = &slot;
    } else if (!waits(slot)) {
      continue;
    } else if (slot.capacity < need) {
      if (!found.first_smaller) found.first_smaller = &slot;
    } else if (!found.smallest_larger || slot.capacity < found.smallest_larger->capacity) {
      found.smallest_larger = &slot;
    }
  }
  return found;
}

Slot* slot_of(Bank& bank, const void* block) {
  for (Slot& slot : bank.slots) {
    if (slot.address.load(std::memory_order_relaxed) == block) return &slot;
  }
  return nullptr;
}

}  // namespace

Taken Bank::take(std::size_t size, std::size_t alignment) {
  const std::size_t need = size + alignment;
  for (Slot& slot : slots) {
    if (slot.capacity == need && waits(slot)) return {hand_out(slot, size, alignment), false};
  }
  const Candidates found = scan(slots, need);
  if (found.smallest_larger) return {hand_out(*found.smallest_larger, size, alignment), false};
  Slot* slot = found.first_empty ? found.first_empty : found.first_smaller;
  if (!slot) return {nullptr, true};
  if (slot->system_block) empty(*this, *slot);
  if (!fill(*this, *slot, need)) return {nullptr, false};
  return {hand_out(*slot, size, alignment), false};
}

bool Bank::give_back(void* block) {
  Slot* slot = slot_of(*this, block);
  // Sequentially consistent together with three others: the caller next looks whether the owner has ended,
  // and an ending owner first says so and then looks at this flag. One of the two sees the other's word.
  if (slot) slot->in_use.store(false, std::memory_order_seq_cst);
  return slot != nullptr;
}

bool Bank::give_back_own(void* block) {
  Slot* slot = slot_of(*this, block);
  // Release pairs with the walker's look. Nothing more is needed, since this thread does not end meanwhile.
  if (slot) slot->in_use.store(false, std::memory_order_release);
  return slot != nullptr;
}

std::size_t Bank::capacity() const {
  std::size_t bytes = 0;
  for (const Slot& slot : slots) bytes += slot.capacity;
  return bytes;
}

bool mm_free_all_banks(Bank& bank) {
  for (Slot& slot : bank.slots) {
    if (slot.system_block && !slot.in_use.load(std::memory_order_seq_cst)) empty(bank, slot);
  }
  return bank.occupied == 0;
}

}  // namespace vex::service
