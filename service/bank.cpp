// Which slot serves a request, and what happens to the others.
#include "service/bank.h"

#include "service/memory_statistics.h"
#include "service/system_allocator.h"

namespace vex::service {
namespace {

void* hand_out(Slot& slot, std::size_t size, std::size_t alignment) {
  const auto start = reinterpret_cast<std::uintptr_t>(slot.system_block);
  void* block = reinterpret_cast<void*>((start + alignment - 1) & ~(alignment - 1));
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

// What a scan of the slots that are not in use turns up.
struct Candidates {
  Slot* exact = nullptr;
  Slot* smallest_larger = nullptr;
  Slot* first_smaller = nullptr;
  Slot* first_empty = nullptr;
};

Candidates scan(Slot (&slots)[Bank::most_slots], std::size_t need) {
  Candidates found;
  for (Slot& slot : slots) {
    if (!slot.system_block) {
      if (!found.first_empty) found.first_empty = &slot;
      continue;
    }
    // Acquire pairs with the exchange in give_back: what the last user did to the block is over.
    if (slot.in_use.load(std::memory_order_acquire)) continue;
    if (slot.capacity == need) {
      found.exact = &slot;
      return found;
    }
    if (slot.capacity < need) {
      if (!found.first_smaller) found.first_smaller = &slot;
    } else if (!found.smallest_larger || slot.capacity < found.smallest_larger->capacity) {
      found.smallest_larger = &slot;
    }
  }
  return found;
}

}  // namespace

Taken Bank::take(std::size_t size, std::size_t alignment) {
  const std::size_t need = size + alignment;
  const Candidates found = scan(slots, need);
  if (found.exact) return {hand_out(*found.exact, size, alignment), false};
  if (found.smallest_larger) return {hand_out(*found.smallest_larger, size, alignment), false};
  Slot* slot = found.first_empty ? found.first_empty : found.first_smaller;
  if (!slot) return {nullptr, true};
  if (slot->system_block) empty(*this, *slot);
  if (!fill(*this, *slot, need)) return {nullptr, false};
  return {hand_out(*slot, size, alignment), false};
}

bool Bank::give_back(void* block) {
  for (Slot& slot : slots) {
    if (slot.address.load(std::memory_order_relaxed) != block) continue;
    // Sequentially consistent together with three others: the caller next looks whether the owner has ended,
    // and an ending owner first says so and then looks at this flag. One of the two sees the other's word.
    slot.in_use.exchange(false, std::memory_order_seq_cst);
    return true;
  }
  return false;
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
