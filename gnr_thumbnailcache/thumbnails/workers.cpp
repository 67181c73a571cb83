#include "gnr_thumbnailcache/guarded.h"
#include "gnr_thumbnailcache/platform_object.h"
#include "gnr_thumbnailcache/textinfo/text_information.h"
#include "gnr_thumbnailcache/thumbnailcache_impl.h"
#include "gnr_thumbnailcache/thumbnails/thumbnail_work.h"
#include "gnr_thumbnailcache/thumbnails/worker_hooks.h"

std::atomic<void (*)()> g_beforeWorkerWait{nullptr};

int CQvThumbnailCacheImpl::StartWorkers() {
  m_threadCount = 2;
  m_threads = std::make_unique<SWorkerThread[]>(static_cast<std::size_t>(m_threadCount));
  m_stop = false;
  int result = 0;
  for (std::int32_t i = 0; i < m_threadCount; ++i) {
    result = pthread_create(&m_threads[i].handle, nullptr, RunWorker, this);
    m_threads[i].started = result == 0;
  }
  return result;
}

void CQvThumbnailCacheImpl::StopWorkers() {
  m_stop = true;
  m_workCond.Broadcast();
  {
    // A worker that read the flag before it was set holds the mutex until it waits; the second broadcast reaches it.
    const CQvLockGuard lock(m_mutex);
  }
  m_workCond.Broadcast();
  if (!m_threads) return;
  for (std::int32_t i = 0; i < m_threadCount; ++i) {
    if (m_threads[i].started) pthread_join(m_threads[i].handle, nullptr);
  }
  m_threads.reset();
}

void* CQvThumbnailCacheImpl::RunWorker(void* service) {
  Guarded(false, [&] { return static_cast<CQvThumbnailCacheImpl*>(service)->ThumbnailWorker(), true; });
  return nullptr;
}

void CQvThumbnailCacheImpl::ThumbnailWorker() {
  const CFormatManagerRef manager;
  CThumbnailWork work(m_pictureCount);
  for (;;) {
    {
      const CQvLockGuard lock(m_mutex);
      if (!TakeNextRequest(&work)) return;
    }
    ResolveQueued(work, manager.Get());
    {
      const CQvLockGuard lock(m_mutex);
      Publish(work, EPublish::Everything);
    }
    CallListeners(work.location);
    work.Clear();
  }
}

bool CQvThumbnailCacheImpl::TakeNextRequest(CThumbnailWork* work) {
  while (CThumbnailEntry* entry = WaitForRequest()) {
    if (!IsWorthWork(entry)) continue;
    try {
      TakeForWork(entry, work);
    } catch (...) {
      SetState(entry, kQvThumbnailFailed);
      continue;
    }
    EvictThumbnails();
    return true;
  }
  return false;
}

CThumbnailEntry* CQvThumbnailCacheImpl::WaitForRequest() {
  while (!m_stop) {
    {
      const CQvLockGuard lock(m_queueMutex);
      if (!m_requestQueue.IsEmpty()) return m_requestQueue.PopFront();
    }
    if (auto* hook = g_beforeWorkerWait.load()) hook();
    m_workCond.Wait(m_mutex);
  }
  return nullptr;
}

// Entries that somebody shows, or that the host excluded, are left for later.
bool CQvThumbnailCacheImpl::IsWorthWork(CThumbnailEntry* entry) {
  if (entry->IsReferenced() || m_excludedLocations.count(entry->location) != 0) {
    SetState(entry, kQvThumbnailDormant);
    return false;
  }
  return entry->state == kQvThumbnailQueued || entry->state == kQvThumbnailStale;
}

// A stale picture is made anew whatever the database has.
void CQvThumbnailCacheImpl::ResolveQueued(CThumbnailWork& work, IQvImageFormatManager* manager) {
  const bool ended = Guarded(false, [&] {
    if (work.state == kQvThumbnailStale || !ReadThumbnailFromDatabase(work, manager)) CreateAndSave(work, manager);
    return true;
  });
  if (!ended) work.Fail();
}
