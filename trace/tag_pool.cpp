// The tag pool: one static block and a stack counter.
#include "trace/tag_pool.h"

namespace {

alignas(TagPool::kSlotAlign) unsigned char gStorage[TagPool::kLimit + TagPool::kSlotSize];
size_t gCounter = 0;

}  // namespace

void* TagPool::Allocate() {
  if (gCounter >= kLimit) return nullptr;
  gCounter += kSlotSize;
  return gStorage + gCounter;
}

void TagPool::Release() {
  if (gCounter >= kSlotSize) gCounter -= kSlotSize;
}

size_t TagPool::Used() {
  return gCounter;
}
