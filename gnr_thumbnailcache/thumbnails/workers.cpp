#include "gnr_thumbnailcache/thumbnails/workers.h"

#include <unistd.h>

#include <algorithm>

#include "gnr_thumbnailcache/base/format_manager.h"
#include "gnr_thumbnailcache/base/guarded.h"
#include "gnr_thumbnailcache/thumbnails/making_thread.h"

int CThumbnailWorkers::StartWorkers() noexcept {
  m_cache.AllowWaiting();
  m_process = getpid();
  int result = 0;
  for (SWorkerThread& thread : m_threads) {
    result = pthread_create(&thread.handle, nullptr, RunWorker, this);
    thread.started = result == 0;
  }
  return result;
}

bool CThumbnailWorkers::AreRunning() const noexcept {
  return std::any_of(m_threads.begin(), m_threads.end(), [](const SWorkerThread& thread) { return thread.started; });
}

bool CThumbnailWorkers::AreOfAnotherProcess() const noexcept { return AreRunning() && m_process != getpid(); }

void CThumbnailWorkers::StopWorkers() noexcept {
  m_cache.StopWaiting();
  for (SWorkerThread& thread : m_threads) {
    if (thread.started) pthread_join(thread.handle, nullptr);
    thread.started = false;
  }
}

void* CThumbnailWorkers::RunWorker(void* workers) {
  static_cast<CThumbnailWorkers*>(workers)->ThumbnailWorker();
  return nullptr;
}

void CThumbnailWorkers::ThumbnailWorker() noexcept {
  // With room for it, the copy of a location needs no memory, and its listeners are told even when there is none.
  constexpr std::size_t kUsualLength = 4096;
  const CMakingThread making;
  CQvRef<IQvImageFormatManager> manager = CreateFormatManager();
  CThumbnailWork work(m_cache.PictureCount());
  Guarded(false, [&] { return work.location.reserve(kUsualLength), true; });
  while (m_cache.WaitAndTake(&work)) {
    if (!manager) manager = CreateFormatManager();
    m_resolver.Resolve(work, manager.Get());
    m_cache.Publish(work, CThumbnailCache::EPublish::Everything);
    m_onFinished(work.location);
    work.Clear();
  }
}
