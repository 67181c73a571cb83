#pragma once

#include <pthread.h>
#include <sys/types.h>

#include <array>
#include <functional>
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

  // The result of the last pthread_create. What was started runs, whatever became of the others.
  int StartWorkers() noexcept;
  bool AreRunning() const noexcept;
  // True in a process that was forked while they ran: they stayed in the other one.
  bool AreOfAnotherProcess() const noexcept;
  // Returns when both have ended what they are at; what is queued stays queued.
  void StopWorkers() noexcept;

 private:
  struct SWorkerThread {
    pthread_t handle{};
    bool started = false;
  };

  static void* RunWorker(void* workers);
  void ThumbnailWorker() noexcept;

  CThumbnailCache& m_cache;
  CThumbnailResolver& m_resolver;
  std::function<void(const std::wstring& location)> m_onFinished;
  std::array<SWorkerThread, 2> m_threads;
  pid_t m_process = 0;  // that started them
};
