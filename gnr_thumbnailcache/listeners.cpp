#include <algorithm>

#include "gnr_thumbnailcache/guarded.h"
#include "gnr_thumbnailcache/thumbnailcache_impl.h"

// The listeners have a lock of their own, that no caller ever holds, so that a host may add and remove them at any
// time.

QvThumbnailListener CQvThumbnailCacheImpl::AddListener(QvThumbnailCallback callback, void* context) {
  const QvThumbnailListener listener(callback, context);
  return Guarded(listener, [&] {
    const CQvLockGuard lock(m_listenerMutex);
    m_listeners.push_back(listener);
    return listener;
  });
}

void CQvThumbnailCacheImpl::RemoveListener(const QvThumbnailListener& listener) {
  const CQvLockGuard lock(m_listenerMutex);
  const auto first = std::find(m_listeners.begin(), m_listeners.end(), listener);
  if (first != m_listeners.end()) m_listeners.erase(first);
}

void CQvThumbnailCacheImpl::CallListeners(const std::wstring& location) {
  Guarded(false, [&] {
    std::vector<QvThumbnailListener> listeners;
    {
      const CQvLockGuard lock(m_listenerMutex);
      listeners.assign(m_listeners.begin(), m_listeners.end());
    }
    for (const QvThumbnailListener& listener : listeners) {
      if (listener.first) Guarded(false, [&] { return listener.first(listener.second, location.c_str()), true; });
    }
    return true;
  });
}
