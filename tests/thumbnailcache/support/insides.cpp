#include "tests/thumbnailcache/support/insides.h"

#include <algorithm>

#include "gnr_thumbnailcache/service/thumbnailcache_impl.h"

namespace {

std::string Narrow(const std::wstring& key) { return CQvStringUtils::WtoUTF8(key.c_str()).Str(); }

bool GoesBefore(const SThumbnailEntry& a, const SThumbnailEntry& b) {
  return a.lastUse != b.lastUse ? a.lastUse < b.lastUse : *a.key < *b.key;
}

// Of one entry, the queue given.
std::string FindBroken(const std::wstring& key, const SThumbnailEntry& entry,
                       const std::deque<SThumbnailEntry*>& queued) {
  if (entry.key != &key) return "the entry of " + Narrow(key) + " knows another key";
  if (std::count(queued.begin(), queued.end(), &entry) != entry.queueCount) {
    return Narrow(key) + " is queued more or less often than it counts";
  }
  if (entry.inEvictionOrder != entry.IsEvictable()) {
    return Narrow(key) + (entry.IsEvictable() ? " is missing in the eviction order" : " is in the eviction order");
  }
  return {};
}

}  // namespace

std::string CThumbnailCacheForTest::FindBrokenInvariant(CThumbnailCache& cache) {
  const CLockGuard lock(cache.m_mutex);
  const CLockGuard queueLock(cache.m_queueMutex);
  std::int64_t pictures = 0, evictable = 0;
  bool inWork = false;
  for (const auto& [key, entry] : cache.m_CacheMap) {
    std::string broken = FindBroken(key, *entry, cache.m_requestQueue.Entries());
    if (!broken.empty()) return broken;
    pictures += entry->HasPicture() ? 1 : 0;
    evictable += entry->IsEvictable() ? 1 : 0;
    inWork = inWork || entry->workCount != 0;
  }
  for (const SThumbnailEntry* entry : cache.m_requestQueue.Entries()) {
    if (cache.FindEntry(*entry->key) != entry) return "a request points to an entry that is not in the map";
  }
  for (const SThumbnailEntry* entry = cache.m_evictionOrder.First(); entry; entry = entry->evictedAfter) {
    const SThumbnailEntry* next = entry->evictedAfter;
    if (next && !GoesBefore(*entry, *next)) return Narrow(*entry->key) + " stands too early in the eviction order";
    --evictable;
  }
  if (evictable != 0) return "the eviction order holds more or fewer entries than can be evicted";
  if (!inWork && pictures != cache.m_pictureCount.Get()) {
    return "the picture count is " + std::to_string(cache.m_pictureCount.Get()) + ", but there are " +
           std::to_string(pictures);
  }
  return {};
}

void CThumbnailCacheForTest::SetBeforeWait(CThumbnailCache& cache, void (*hook)()) { cache.m_beforeWaitForTest = hook; }

int CThumbnailCacheForTest::CountWaitingWorkers(CThumbnailCache& cache) {
  const CLockGuard lock(cache.m_mutex);
  return cache.m_waitingWorkers;
}

CThumbnailCache& CServiceForTest::Cache(IQvThumbnailCache& service) {
  return dynamic_cast<CQvThumbnailCacheImpl&>(service).m_cache;
}
