#include "gnr_thumbnailcache/thumbnails/workers.h"

#include "gnr_thumbnailcache/base/format_manager.h"
#include "gnr_thumbnailcache/base/guarded.h"

int CThumbnailWorkers::StartWorkers() {
  m_threadCount = 2;
  m_threads = std::make_unique<SWorkerThread[]>(static_cast<std::size_t>(m_threadCount));
  m_cache.AllowWaiting();
  int result = 0;
  for (std::int32_t i = 0; i < m_threadCount; ++i) {
    result = pthread_create(&m_threads[i].handle, nullptr, RunWorker, this);
    m_threads[i].started = result == 0;
  }
  return result;
}

void CThumbnailWorkers::StopWorkers() {
  m_cache.StopWaiting();
  if (!m_threads) return;
  for (std::int32_t i = 0; i < m_threadCount; ++i) {
    if (m_threads[i].started) pthread_join(m_threads[i].handle, nullptr);
  }
  m_threads.reset();
}

void* CThumbnailWorkers::RunWorker(void* workers) {
  Guarded(false, [&] { return static_cast<CThumbnailWorkers*>(workers)->ThumbnailWorker(), true; });
  return nullptr;
}

void CThumbnailWorkers::ThumbnailWorker() {
  const CQvRef<IQvImageFormatManager> manager = CreateFormatManager();
  CThumbnailWork work(m_cache.PictureCount());
  while (m_cache.WaitAndTake(&work)) {
    m_resolver.Resolve(work, manager.Get());
    m_cache.Publish(work, CThumbnailCache::EPublish::Everything);
    m_onFinished(work.location);
    work.Clear();
  }
}
