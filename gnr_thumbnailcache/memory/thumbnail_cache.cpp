#include "gnr_thumbnailcache/memory/thumbnail_cache.h"

#include "gnr_thumbnailcache/base/diagnostics.h"
#include "gnr_thumbnailcache/memory/cache_key.h"

namespace {

// A standard picture is outdated once high quality is wanted; any picture is once its file's time differs. Records of
// databases are compared when they are released.
bool IsOutdated(const SThumbnailEntry& entry, const SQvThumbnailDescription& desc, bool highQuality) {
  const bool lowQuality = !entry.highQuality && highQuality;
  const bool timesDiffer = entry.lastWritten != 0.0 && desc.lastWritten != 0.0 && entry.lastWritten != desc.lastWritten;
  return lowQuality || (timesDiffer && !SQvThumbnailDescription::IsDBLoc(entry.location));
}

}  // namespace

void CThumbnailCache::InitServiceMutex() noexcept {
  m_workCond.Init();
  m_mutex.Init();
}

void CThumbnailCache::InitQueueMutex() noexcept {
  if (!m_queueMutex.IsInitialised()) m_queueMutex.Init();
}

void CThumbnailCache::DestroyLocks() noexcept {
  m_workCond.Destroy();
  m_mutex.Destroy();
  m_queueMutex.Destroy();
}

void CThumbnailCache::ResetUseCounter() noexcept {
  const CLockGuard lock(m_mutex);
  m_useCounter = 0;
}

SThumbnailEntry* CThumbnailCache::FindEntry(const std::wstring& key) {
  const auto i = m_CacheMap.find(key);
  return i == m_CacheMap.end() ? nullptr : i->second.get();
}

SThumbnailEntry* CThumbnailCache::FindOrInsertEntry(const SQvThumbnailDescription& desc, bool* inserted) {
  std::wstring key = MakeCacheKey(desc);
  const auto place = m_CacheMap.lower_bound(key);
  *inserted = place == m_CacheMap.end() || place->first != key;
  if (!*inserted) return place->second.get();
  auto entry = std::make_unique<SThumbnailEntry>();
  entry->location = key.substr(0, desc.location.GetLength());
  entry->flags = desc.flags;
  const auto i = m_CacheMap.emplace_hint(place, std::move(key), std::move(entry));
  i->second->key = &i->first;
  return i->second.get();
}

void CThumbnailCache::SetState(SThumbnailEntry* entry, std::uint32_t state) noexcept {
  entry->state = state;
  m_evictionOrder.Update(entry);
}

void CThumbnailCache::StampUse(SThumbnailEntry* entry) noexcept {
  entry->lastUse = m_useCounter++;
  m_evictionOrder.Update(entry);
}

bool CThumbnailCache::DiscardPicture(SThumbnailEntry* entry) noexcept {
  try {
    m_shownPictures.Discard(entry);
    return true;
  } catch (...) {
    return false;
  }
}

bool CThumbnailCache::FreePicture(SThumbnailEntry* entry) noexcept {
  if (!entry->HasPicture()) return true;
  if (!DiscardPicture(entry)) return false;
  m_pictureCount.Add(-1);
  return true;
}

std::uint32_t CThumbnailCache::Lookup(std::uint64_t referrer, const SQvThumbnailDescription& desc, bool highQuality,
                                      SQvPicBuf* picture) {
  const std::wstring key = MakeCacheKey(desc);
  const CLockGuard lock(m_mutex);
  SThumbnailEntry* entry = FindEntry(key);
  if (!entry) return kQvThumbnailNone;
  if (entry->state == kQvThumbnailDormant) {
    AppendRequest(entry);
    SetState(entry, kQvThumbnailQueued);
  }
  if (entry->state == kQvThumbnailQueued) m_workCond.Signal();
  if (entry->state == kQvThumbnailReady && IsOutdated(*entry, desc, highQuality)) entry->state = kQvThumbnailStale;
  if (entry->state == kQvThumbnailReady || entry->state == kQvThumbnailStale) {
    entry->AddReferrer(referrer);
    m_evictionOrder.Update(entry);
    *picture = entry->picture;
  }
  return entry->state;
}

void CThumbnailCache::Release(std::uint64_t referrer, const SQvThumbnailDescription& desc) {
  const std::wstring key = MakeCacheKey(desc);
  const CLockGuard lock(m_mutex);
  SThumbnailEntry* entry = FindEntry(key);
  m_shownPictures.Release(key, referrer, entry && entry->m_RefSet.Contains(referrer));
  if (!entry) {
    ReportAssertion({L"i == m_CacheMap.end()", __LINE__});
    return;
  }
  entry->RemoveReferrer(referrer);
  if (desc.IsDBLoc() && desc.lastWritten != entry->lastWritten) {
    entry->lastWritten = desc.lastWritten;
    entry->state = kQvThumbnailStale;
  }
  StampUse(entry);
  if (!entry->IsReferenced() && entry->state == kQvThumbnailStale) {
    PutRequestFirst(entry);
    m_workCond.Signal();
  }
}

void CThumbnailCache::ForgetOwners() noexcept {
  const CLockGuard lock(m_mutex);
  for (const auto& [key, entry] : m_CacheMap) entry->owner = nullptr;
}

void CThumbnailCache::Exclude(const CQvStringW& location) {
  CQvStringW lowered = SQvThumbnailDescription::LowerCase(location);
  const CLockGuard lock(m_mutex);
  m_excludedLocations.insert(std::move(lowered.Str()));
}

void CThumbnailCache::Include(const CQvStringW& location) {
  const CQvStringW lowered = SQvThumbnailDescription::LowerCase(location);
  const CLockGuard lock(m_mutex);
  m_excludedLocations.erase(lowered.Str());
}

// The queue is emptied while the map is locked: a request that came in between would leave the queue a pointer to an
// entry that is freed here.
void CThumbnailCache::Purge() noexcept {
  const CLockGuard lock(m_mutex);
  {
    const CLockGuard queueLock(m_queueMutex);
    m_requestQueue.Clear();
  }
  for (auto i = m_CacheMap.begin(); i != m_CacheMap.end();) {
    SThumbnailEntry* entry = i->second.get();
    const bool inWork = entry->state == kQvThumbnailInWork || entry->workCount != 0;
    if (inWork || entry->IsReferenced() || !FreePicture(entry)) {
      ++i;
      continue;
    }
    m_evictionOrder.Remove(entry);
    i = m_CacheMap.erase(i);
  }
}
