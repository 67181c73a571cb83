#include "gnr_thumbnailcache/cache_key.h"
#include "gnr_thumbnailcache/diagnostics.h"
#include "gnr_thumbnailcache/guarded.h"
#include "gnr_thumbnailcache/thumbnailcache_impl.h"
#include "system/qvstatus.h"

void CThumbnailEntry::AddReferrer(std::uint64_t referrer) {
  if (!m_RefSet.Insert(referrer)) ReportAssertion(__LINE__, L"m_RefSet.find(src) != m_RefSet.end()");
}

void CThumbnailEntry::RemoveReferrer(std::uint64_t referrer) {
  if (!m_RefSet.Erase(referrer)) ReportAssertion(__LINE__, L"m_RefSet.find(src) == m_RefSet.end()");
}

CThumbnailEntry* CQvThumbnailCacheImpl::FindEntry(const std::wstring& key) {
  const auto i = m_CacheMap.find(key);
  return i == m_CacheMap.end() ? nullptr : i->second.get();
}

CThumbnailEntry* CQvThumbnailCacheImpl::FindOrInsertEntry(const SQvThumbnailDescription& desc, bool* inserted) {
  std::wstring key = MakeCacheKey(desc);
  const auto place = m_CacheMap.lower_bound(key);
  *inserted = place == m_CacheMap.end() || place->first != key;
  if (!*inserted) return place->second.get();
  auto entry = std::make_unique<CThumbnailEntry>();
  entry->location = key.substr(0, desc.location.GetLength());
  entry->flags = desc.flags;
  const auto i = m_CacheMap.emplace_hint(place, std::move(key), std::move(entry));
  i->second->key = &i->first;
  return i->second.get();
}

void CQvThumbnailCacheImpl::SetState(CThumbnailEntry* entry, std::uint32_t state) noexcept {
  entry->state = state;
  m_evictionOrder.Update(entry);
}

void CQvThumbnailCacheImpl::StampUse(CThumbnailEntry* entry) noexcept {
  entry->lastUse = m_useCounter++;
  m_evictionOrder.Update(entry);
}

void CQvThumbnailCacheImpl::AppendRequest(CThumbnailEntry* entry) {
  const CQvLockGuard lock(m_queueMutex);
  m_requestQueue.PushBack(entry);
}

void CQvThumbnailCacheImpl::PutRequestFirst(CThumbnailEntry* entry) {
  const CQvLockGuard lock(m_queueMutex);
  m_requestQueue.Remove(entry);
  m_requestQueue.PushFront(entry);
}

void CQvThumbnailCacheImpl::LowerPictureCount() noexcept {
  std::uint32_t count = m_pictureCount;
  while (count != 0 && !m_pictureCount.compare_exchange_weak(count, count - 1)) {
  }
}

void CQvThumbnailCacheImpl::FreePicture(CThumbnailEntry* entry) {
  if (!entry->HasPicture()) return;
  LowerPictureCount();
  m_shownPictures.Discard(entry);
}

// A standard picture is outdated once high quality is wanted; any picture is once its file's time differs. Records of
// databases are compared when they are released.
bool CQvThumbnailCacheImpl::IsOutdated(const CThumbnailEntry& entry, const SQvThumbnailDescription& desc) const {
  const bool lowQuality = !entry.highQuality && m_highQuality;
  const bool timesDiffer = entry.lastWritten != 0.0 && desc.lastWritten != 0.0 && entry.lastWritten != desc.lastWritten;
  return lowQuality || (timesDiffer && !SQvThumbnailDescription::IsDBLoc(entry.location));
}

std::int32_t CQvThumbnailCacheImpl::GetCachedThumbnail(std::uint64_t referrer, const SQvThumbnailDescription& desc,
                                                       std::uint32_t* state, SQvPicBuf* picture) {
  return Guarded(kQvFailure, [&] {
    if (!state || !picture) return kQvFailure;
    const std::wstring key = MakeCacheKey(desc);
    const CQvLockGuard lock(m_mutex);
    CThumbnailEntry* entry = FindEntry(key);
    if (!entry) {
      *state = kQvThumbnailNone;
      return kQvOk;
    }
    if (entry->state == kQvThumbnailDormant) {
      AppendRequest(entry);
      SetState(entry, kQvThumbnailQueued);
    }
    if (entry->state == kQvThumbnailQueued) m_workCond.Signal();
    if (entry->state == kQvThumbnailReady && IsOutdated(*entry, desc)) entry->state = kQvThumbnailStale;
    if (entry->state == kQvThumbnailReady || entry->state == kQvThumbnailStale) {
      entry->AddReferrer(referrer);
      m_evictionOrder.Update(entry);
      *picture = entry->picture;
    }
    *state = entry->state;
    return kQvOk;
  });
}

std::int32_t CQvThumbnailCacheImpl::ReleaseThumbnail(std::uint64_t referrer, const SQvThumbnailDescription& desc) {
  return Guarded(kQvFailure, [&] {
    const std::wstring key = MakeCacheKey(desc);
    const CQvLockGuard lock(m_mutex);
    CThumbnailEntry* entry = FindEntry(key);
    m_shownPictures.Release(key, referrer, entry && entry->m_RefSet.Contains(referrer));
    if (!entry) {
      ReportAssertion(__LINE__, L"i == m_CacheMap.end()");
      return kQvOk;
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
    return kQvOk;
  });
}

std::int32_t CQvThumbnailCacheImpl::CancelAllRequests() {
  const CQvLockGuard lock(m_mutex);
  const CQvLockGuard queueLock(m_queueMutex);
  while (!m_requestQueue.IsEmpty()) {
    CThumbnailEntry* entry = m_requestQueue.PopFront();
    if (entry->state == kQvThumbnailQueued) SetState(entry, kQvThumbnailDormant);
    if (entry->state == kQvThumbnailStale) SetState(entry, kQvThumbnailReady);
  }
  return kQvOk;
}

// The location is taken as it is spelled, on purpose. The entries stay queued; a worker passes over them.
std::int32_t CQvThumbnailCacheImpl::CancelRequests(std::uint64_t, const SQvThumbnailDescription* descs,
                                                   std::int32_t count) {
  return Guarded(kQvFailure, [&] {
    const CQvLockGuard lock(m_mutex);
    for (std::int32_t i = 0; descs && i < count; ++i) {
      CThumbnailEntry* entry = FindEntry(MakeCacheKey(descs[i].location.Str(), descs[i].flags));
      if (!entry) continue;
      if (entry->state == kQvThumbnailQueued) SetState(entry, kQvThumbnailDormant);
      if (entry->state == kQvThumbnailStale) SetState(entry, kQvThumbnailReady);
    }
    return kQvOk;
  });
}

void CQvThumbnailCacheImpl::ExcludeLocation(const wchar_t* location) {
  Guarded(false, [&] {
    if (!location) return false;
    std::wstring lowered = LowerCased(location);
    const CQvLockGuard lock(m_mutex);
    return m_excludedLocations.insert(std::move(lowered)).second;
  });
}

void CQvThumbnailCacheImpl::IncludeLocation(const wchar_t* location) {
  Guarded(false, [&] {
    if (!location) return false;
    const std::wstring lowered = LowerCased(location);
    const CQvLockGuard lock(m_mutex);
    return m_excludedLocations.erase(lowered) != 0;
  });
}

// The queue is emptied while the map is locked: a request that came in between would leave the queue a pointer to an
// entry that is freed here.
std::int32_t CQvThumbnailCacheImpl::PurgeUnusedThumbnails() {
  return Guarded(kQvFailure, [&] {
    const CQvLockGuard lock(m_mutex);
    {
      const CQvLockGuard queueLock(m_queueMutex);
      m_requestQueue.Clear();
    }
    for (auto i = m_CacheMap.begin(); i != m_CacheMap.end();) {
      CThumbnailEntry* entry = i->second.get();
      if (entry->state == kQvThumbnailInWork || entry->workCount != 0 || entry->IsReferenced()) {
        ++i;
        continue;
      }
      FreePicture(entry);
      m_evictionOrder.Remove(entry);
      i = m_CacheMap.erase(i);
    }
    return kQvOk;
  });
}
