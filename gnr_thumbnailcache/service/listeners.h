#pragma once

#include <list>
#include <string>

#include "gnr_thumbnailcache/base/locking.h"
#include "thumbnailcache/iqvthumbnailcache.h"

// Who wants to be told of finished thumbnails. Any thread. The list has a lock of its own, that no caller ever holds,
// so that a host may add and remove listeners at any time.
class CListeners {
 public:
  CListeners() noexcept { m_mutex.Init(); }
  CListeners(const CListeners&) = delete;
  CListeners& operator=(const CListeners&) = delete;

  void Add(const QvThumbnailListener& listener) QV_EXCLUDES(m_mutex);
  // Removes the first equal one.
  void Remove(const QvThumbnailListener& listener) QV_EXCLUDES(m_mutex);
  // Calls every listener in the order of the list, with no lock held. What a listener throws is swallowed.
  void Call(const std::wstring& location) noexcept QV_EXCLUDES(m_mutex);

 private:
  CMutex m_mutex;  // taken alone
  std::list<QvThumbnailListener> m_listeners QV_GUARDED_BY(m_mutex);
};
