#pragma once

#include <pthread.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "gnr_thumbnailcache/memory/thumbnail_cache.h"
#include "gnr_thumbnailcache/thumbnails/resolver.h"

// The two threads that resolve queued requests. Started and stopped by one thread.
class CThumbnailWorkers {
 public:
  // `onFinished` is called on a worker, with no lock held, with the location of each entry that was worked on.
  CThumbnailWorkers(CThumbnailCache& cache, CThumbnailResolver& resolver,
                    std::function<void(const std::wstring& location)> onFinished)
      : m_cache(cache), m_resolver(resolver), m_onFinished(std::move(onFinished)) {}

  // The result of the last pthread_create.
  int StartWorkers();
  // Returns when both have ended what they are at; what is queued stays queued.
  void StopWorkers();

 private:
  struct SWorkerThread {
    pthread_t handle{};
    bool started = false;
  };

  static void* RunWorker(void* workers);
  void ThumbnailWorker();

  CThumbnailCache& m_cache;
  CThumbnailResolver& m_resolver;
  std::function<void(const std::wstring& location)> m_onFinished;
  std::unique_ptr<SWorkerThread[]> m_threads;
  std::int32_t m_threadCount = 0;
};
