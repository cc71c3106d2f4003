#include "trace/tag_pool.h"

namespace {

alignas(TagPool::kSlotAlign) unsigned char g_storage[TagPool::kLimit + TagPool::kSlotSize];
size_t g_counter = 0;

}  // namespace

void* TagPool::Allocate() {
  if (g_counter >= kLimit) return nullptr;
  g_counter += kSlotSize;
  return g_storage + g_counter;
}

void TagPool::Release() {
  if (g_counter >= kSlotSize) g_counter -= kSlotSize;
}

size_t TagPool::Used() {
  return g_counter;
}
