#pragma once

#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/session/finished_queue.h"
#include "thumbnailcache/iqvthumbnailcache.h"

namespace qvpython {

// Who in this process waits for thumbnails, and for which. Any thread.
class CWaiters {
 public:
  // The service's listener; `context` is this object.
  static void OnFinished(void* context, const wchar_t* location) noexcept;

  // A queue has to be added before it wants anything, and removed before it goes; it gives up what it still wants.
  void Add(qvhost::CFinishedQueue& queue);
  void Remove(qvhost::CFinishedQueue& queue) noexcept;
  // Ends the present waiting of all; they receive an empty location.
  void WakeAll() noexcept;

  // The queue hears of the location until it gives it up.
  void Want(const std::wstring& location, qvhost::CFinishedQueue& queue);
  void GiveUp(const std::wstring& location, qvhost::CFinishedQueue& queue) noexcept;
  // Gives these up, and withdraws the requests of those that nobody else wants. `service` may be null.
  void Withdraw(IQvThumbnailCache* service, const std::vector<std::wstring>& locations, qvhost::CFinishedQueue& queue);
  // Lets the service forget what it has made, unless somebody is waiting for something. True when it has.
  bool PurgeIfIdle(IQvThumbnailCache& service);

 private:
  bool Drop(const std::wstring& location, const qvhost::CFinishedQueue& queue) noexcept;

  // Held while the service withdraws or purges, so that nobody begins to want what is just being withdrawn. The service
  // calls the listener without a lock of its own.
  std::mutex m_mutex;
  std::vector<qvhost::CFinishedQueue*> m_queues;                            // guarded by m_mutex
  std::unordered_multimap<std::wstring, qvhost::CFinishedQueue*> m_wanted;  // guarded by m_mutex
};

}  // namespace qvpython
