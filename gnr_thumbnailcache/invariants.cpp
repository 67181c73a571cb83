#include <algorithm>

#include "gnr_thumbnailcache/thumbnailcache_impl.h"

bool CQvThumbnailCacheImpl::CheckInvariants() {
  const CQvLockGuard lock(m_mutex);
  const CQvLockGuard queueLock(m_queueMutex);
  std::uint32_t pictures = 0;
  bool inWork = false;
  std::size_t evictable = 0;
  bool holds = true;
  for (const auto& [key, entry] : m_CacheMap) {
    const auto& queued = m_requestQueue.Entries();
    holds = holds && entry->key == &key;
    holds = holds && std::count(queued.begin(), queued.end(), entry.get()) == entry->queueCount;
    holds = holds && entry->inEvictionOrder == entry->IsEvictable();
    pictures += entry->HasPicture() ? 1 : 0;
    evictable += entry->IsEvictable() ? 1 : 0;
    inWork = inWork || entry->workCount != 0;
  }
  for (const CThumbnailEntry* entry : m_requestQueue.Entries()) {
    holds = holds && FindEntry(*entry->key) == entry;
  }
  for (const CThumbnailEntry* entry = m_evictionOrder.First(); entry; entry = entry->evictedAfter) {
    const CThumbnailEntry* next = entry->evictedAfter;
    holds = holds &&
            (!next || entry->lastUse < next->lastUse || (entry->lastUse == next->lastUse && *entry->key < *next->key));
    --evictable;
  }
  return holds && evictable == 0 && (inWork || pictures == m_pictureCount);
}
