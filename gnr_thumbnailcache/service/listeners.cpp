#include "gnr_thumbnailcache/service/listeners.h"

#include <algorithm>
#include <vector>

#include "gnr_thumbnailcache/base/guarded.h"

void CListeners::Add(const QvThumbnailListener& listener) {
  const CLockGuard lock(m_mutex);
  m_listeners.push_back(listener);
}

void CListeners::Remove(const QvThumbnailListener& listener) {
  const CLockGuard lock(m_mutex);
  const auto first = std::find(m_listeners.begin(), m_listeners.end(), listener);
  if (first != m_listeners.end()) m_listeners.erase(first);
}

void CListeners::Call(const std::wstring& location) noexcept {
  Guarded(false, [&] {
    std::vector<QvThumbnailListener> listeners;
    {
      const CLockGuard lock(m_mutex);
      listeners.assign(m_listeners.begin(), m_listeners.end());
    }
    for (const QvThumbnailListener& listener : listeners) {
      if (listener.first) Guarded(false, [&] { return listener.first(listener.second, location.c_str()), true; });
    }
    return true;
  });
}
