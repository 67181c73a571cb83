#include "gnr_thumbnailcache/memory/eviction_order.h"

namespace {

bool GoesBefore(const SThumbnailEntry& a, const SThumbnailEntry& b) {
  return a.lastUse != b.lastUse ? a.lastUse < b.lastUse : *a.key < *b.key;
}

}  // namespace

void CEvictionOrder::Update(SThumbnailEntry* entry) noexcept {
  Remove(entry);
  if (entry->IsEvictable()) Insert(entry);
}

void CEvictionOrder::Remove(SThumbnailEntry* entry) noexcept {
  if (!entry->inEvictionOrder) return;
  (entry->evictedBefore ? entry->evictedBefore->evictedAfter : m_first) = entry->evictedAfter;
  (entry->evictedAfter ? entry->evictedAfter->evictedBefore : m_last) = entry->evictedBefore;
  entry->evictedBefore = entry->evictedAfter = nullptr;
  entry->inEvictionOrder = false;
}

// The use counter only grows, so the place is at or very near the end.
void CEvictionOrder::Insert(SThumbnailEntry* entry) noexcept {
  SThumbnailEntry* before = m_last;
  while (before && GoesBefore(*entry, *before)) before = before->evictedBefore;
  SThumbnailEntry*& next = before ? before->evictedAfter : m_first;
  entry->evictedBefore = before;
  entry->evictedAfter = next;
  (next ? next->evictedBefore : m_last) = entry;
  next = entry;
  entry->inEvictionOrder = true;
}
