// What is wanted and what is in work: the queue, taking, publishing, and the eviction that goes with it.

#include "gnr_thumbnailcache/memory/cache_key.h"
#include "gnr_thumbnailcache/memory/thumbnail_cache.h"

namespace {

bool IsWithoutPicture(const SThumbnailEntry& entry) {
  return entry.state == kQvThumbnailNone || entry.state == kQvThumbnailFailed;
}

bool IsTakenNow(const SThumbnailEntry& entry, const SQvThumbnailDescription& desc) {
  if (entry.state == kQvThumbnailDormant || entry.state == kQvThumbnailQueued) return true;
  return IsWithoutPicture(entry) && entry.lastWritten != desc.lastWritten;
}

bool IsQueuedByRequest(const SThumbnailEntry& entry, const SQvThumbnailDescription& desc) {
  if (entry.state == kQvThumbnailDormant) return true;
  return IsWithoutPicture(entry) && entry.lastWritten != desc.lastWritten && entry.lastWritten != 0.0;
}

}  // namespace

// A new entry is dormant until it is taken or queued: should memory run out before that, the next lookup asks again.
SThumbnailEntry* CThumbnailCache::FindForRequest(const SQvThumbnailDescription& desc) {
  bool inserted = false;
  SThumbnailEntry* entry = FindOrInsertEntry(desc, &inserted);
  if (entry->state != kQvThumbnailInWork) entry->owner = desc.owner;
  if (inserted) entry->state = kQvThumbnailDormant;
  return entry;
}

void CThumbnailCache::Queue(const SQvThumbnailDescription* descs, std::uint32_t count) noexcept {
  const CLockGuard lock(m_mutex);
  for (std::uint32_t i = 0; i < count; ++i) {
    try {
      QueueOne(descs[i]);
    } catch (...) {
      // The others are queued all the same.
    }
  }
  m_workCond.Signal();
}

void CThumbnailCache::QueueOne(const SQvThumbnailDescription& desc) {
  SThumbnailEntry* entry = FindForRequest(desc);
  if (IsQueuedByRequest(*entry, desc)) {
    AppendRequest(entry);
    SetState(entry, kQvThumbnailQueued);
  }
  StampUse(entry);
}

void CThumbnailCache::AppendRequest(SThumbnailEntry* entry) {
  const CLockGuard lock(m_queueMutex);
  m_requestQueue.PushBack(entry);
}

// An entry that there is no memory for stays stale; whoever gives it back next tries again.
void CThumbnailCache::PutRequestFirst(SThumbnailEntry* entry) noexcept {
  const CLockGuard lock(m_queueMutex);
  try {
    m_requestQueue.MoveToFront(entry);
  } catch (...) {
  }
}

void CThumbnailCache::Withdraw(SThumbnailEntry* entry) noexcept {
  if (entry->state == kQvThumbnailQueued) SetState(entry, kQvThumbnailDormant);
  if (entry->state == kQvThumbnailStale) SetState(entry, kQvThumbnailReady);
}

void CThumbnailCache::CancelAll() noexcept {
  const CLockGuard lock(m_mutex);
  const CLockGuard queueLock(m_queueMutex);
  while (!m_requestQueue.IsEmpty()) Withdraw(m_requestQueue.PopFront());
}

// The location is taken as it is spelled, on purpose. The entries stay queued; a worker passes over them.
void CThumbnailCache::Cancel(const SQvThumbnailDescription* descs, std::int32_t count) {
  const CLockGuard lock(m_mutex);
  for (std::int32_t i = 0; i < count; ++i) {
    if (SThumbnailEntry* entry = FindEntry(MakeCacheKey(descs[i].location.Str(), descs[i].flags))) Withdraw(entry);
  }
}

bool CThumbnailCache::TakeNow(const SQvThumbnailDescription& desc, CThumbnailWork* work) {
  const CLockGuard lock(m_mutex);
  SThumbnailEntry* entry = FindForRequest(desc);
  const bool taken = IsTakenNow(*entry, desc);
  if (taken) Take(entry, work);
  StampUse(entry);
  Evict();
  return taken;
}

bool CThumbnailCache::WaitAndTake(CThumbnailWork* work) noexcept {
  const CLockGuard lock(m_mutex);
  while (SThumbnailEntry* entry = WaitForRequest()) {
    if (!IsToBeMade(entry)) continue;
    Take(entry, work);
    Evict();
    WakeNextWorker();
    return true;
  }
  return false;
}

SThumbnailEntry* CThumbnailCache::WaitForRequest() noexcept {
  while (!m_stop) {
    {
      const CLockGuard lock(m_queueMutex);
      if (!m_requestQueue.IsEmpty()) return m_requestQueue.PopFront();
    }
    if (auto* hook = m_beforeWaitForTest.load()) hook();
    ++m_waitingWorkers;
    m_workCond.Wait(m_mutex);
    --m_waitingWorkers;
  }
  return nullptr;
}

// Entries that somebody shows, or that the host excluded, are left for later.
bool CThumbnailCache::IsToBeMade(SThumbnailEntry* entry) noexcept {
  if (entry->IsReferenced() || m_excludedLocations.count(entry->location) != 0) {
    SetState(entry, kQvThumbnailDormant);
    return false;
  }
  return entry->state == kQvThumbnailQueued || entry->state == kQvThumbnailStale;
}

void CThumbnailCache::WakeNextWorker() noexcept {
  if (m_waitingWorkers == 0) return;
  const CLockGuard lock(m_queueMutex);
  if (!m_requestQueue.IsEmpty()) m_workCond.Signal();
}

// A worker that read the flag before it was set holds the mutex until it waits; the second broadcast reaches it.
void CThumbnailCache::StopWaiting() noexcept {
  m_stop = true;
  m_workCond.Broadcast();
  { const CLockGuard lock(m_mutex); }
  m_workCond.Broadcast();
}

void CThumbnailCache::Take(SThumbnailEntry* entry, CThumbnailWork* work) noexcept {
  work->Borrow(entry);
  ++entry->workCount;
  SetState(entry, kQvThumbnailInWork);
}

void CThumbnailCache::Publish(CThumbnailWork& work, EPublish what) noexcept {
  const CLockGuard lock(m_mutex);
  SThumbnailEntry* entry = work.m_entry;
  const bool published = PublishPicture(work) && work.IsComplete();
  if (published) {
    entry->highQuality = work.highQuality;
    entry->fileSize = work.fileSize;
    if (what == EPublish::Everything || work.knowsLastWritten) entry->lastWritten = work.lastWritten;
    if (what == EPublish::Everything) PublishCopy(work);
  }
  --entry->workCount;
  SetState(entry, published ? work.state : std::uint32_t{kQvThumbnailFailed});
}

// What other threads changed meanwhile is overwritten.
void CThumbnailCache::PublishCopy(CThumbnailWork& work) noexcept {
  SThumbnailEntry* entry = work.m_entry;
  try {
    m_shownPictures.LoseReferences(*entry);
    entry->m_RefSet = std::move(work.m_RefSet);
  } catch (...) {
    // They stay references.
  }
  entry->owner = work.owner;
  entry->lastUse = m_useCounter++;
}

// Swaps the new picture in. The count follows what really happened to the entry: another thread may have worked on it
// at the same time.
bool CThumbnailCache::PublishPicture(CThumbnailWork& work) noexcept {
  SThumbnailEntry* entry = work.m_entry;
  const int before = entry->HasPicture() ? 1 : 0;
  const bool swapped = work.m_onLoan || DiscardPicture(entry);
  if (!work.m_onLoan && swapped) entry->picture = work.DetachPicture();
  const int after = entry->HasPicture() ? 1 : 0;
  m_pictureCount.Add(after - before - work.m_counted);
  return swapped;
}

void CThumbnailCache::Evict() noexcept {
  while (m_pictureCount.Get() > std::int64_t{m_cacheLimit}) {
    SThumbnailEntry* victim = m_evictionOrder.First();
    if (!victim || !FreePicture(victim)) return;
    SetState(victim, kQvThumbnailDormant);
  }
}
