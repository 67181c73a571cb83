#include "gnr_thumbnailcache/service/listeners.h"

#include <algorithm>

#include "gnr_thumbnailcache/base/guarded.h"

void CListeners::Add(const QvThumbnailListener& listener) {
  const CLockGuard lock(m_mutex);
  m_listeners.emplace_hint(m_listeners.end(), m_nextNumber, listener);
  ++m_nextNumber;
}

void CListeners::Remove(const QvThumbnailListener& listener) noexcept {
  const CLockGuard lock(m_mutex);
  const auto first = std::find_if(m_listeners.begin(), m_listeners.end(),
                                  [&](const auto& registered) { return registered.second == listener; });
  if (first != m_listeners.end()) m_listeners.erase(first);
}

void CListeners::Call(const std::wstring& location) noexcept {
  const CNumber end = End();
  QvThumbnailListener listener;
  for (CNumber number = 0; Next(&number, end, &listener);) {
    if (listener.first) Guarded(false, [&] { return listener.first(listener.second, location.c_str()), true; });
  }
}

bool CListeners::Next(CNumber* number, CNumber end, QvThumbnailListener* listener) const noexcept {
  const CLockGuard lock(m_mutex);
  const auto next = m_listeners.upper_bound(*number);
  if (next == m_listeners.end() || next->first >= end) return false;
  *number = next->first;
  *listener = next->second;
  return true;
}

CListeners::CNumber CListeners::End() const noexcept {
  const CLockGuard lock(m_mutex);
  return m_nextNumber;
}
