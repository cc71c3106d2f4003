// TagPool: where every tag lives, a fixed block of 32-byte slots used as a stack. Internal to
// the trace module. One process-wide counter without a lock: tags are made and released by
// one producing thread at a time.
#pragma once

#include <cstddef>

class TagPool {
 public:
  static constexpr size_t kSlotSize = 32;
  // The counter value at which allocation fails. Slot 0 is never handed out, so the storage
  // spans kLimit + kSlotSize bytes and exactly kLimit / kSlotSize (64) tags can be alive.
  static constexpr size_t kLimit = 2048;
  static constexpr size_t kSlotAlign = alignof(std::max_align_t);

  // The next free slot, or null when 64 tags are alive.
  static void* Allocate();
  // Gives back the slot handed out last; the pool is a stack, so whichever tag is released,
  // the top slot is what becomes free. Nothing happens when no slot is in use.
  static void Release();
  // Bytes in use: 32 per live tag.
  static size_t Used();
};

// Every tag class fits one slot.
template <typename Tag>
constexpr bool FitsTagSlot() {
  return sizeof(Tag) <= TagPool::kSlotSize && alignof(Tag) <= TagPool::kSlotAlign &&
         TagPool::kSlotSize % alignof(Tag) == 0;
}
