#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "gnr_thumbnailcache/base/locking.h"
#include "thumbnailcache/iqvthumbnailcache.h"

// Who wants to be told of finished thumbnails. Any thread. The list has a lock of its own, that no caller ever holds,
// so that a host may add and remove listeners at any time, from inside a call too.
class CListeners {
 public:
  CListeners() noexcept { m_mutex.Init(); }
  CListeners(const CListeners&) = delete;
  CListeners& operator=(const CListeners&) = delete;

  void Add(const QvThumbnailListener& listener) QV_EXCLUDES(m_mutex);
  // Removes the first equal one. No call of it begins any more, not in the rounds that are under way either.
  void Remove(const QvThumbnailListener& listener) noexcept QV_EXCLUDES(m_mutex);
  // Calls every listener in the order of the list, with no lock held; those that were added before the round. What a
  // listener throws is swallowed.
  void Call(const std::wstring& location) noexcept QV_EXCLUDES(m_mutex);

 private:
  using CNumber = std::uint64_t;

  // Moves on to the first listener behind `*number`, if it was added before `end`. A call begins here: what is removed
  // later comes too late for it.
  bool Next(CNumber* number, CNumber end, QvThumbnailListener* listener) const noexcept QV_EXCLUDES(m_mutex);
  CNumber End() const noexcept QV_EXCLUDES(m_mutex);

  mutable CMutex m_mutex;  // taken alone
  // By the number of their registration, from 1. Numbers are not used again, so that a round keeps its place whatever
  // comes and goes.
  std::map<CNumber, QvThumbnailListener> m_listeners QV_GUARDED_BY(m_mutex);
  CNumber m_nextNumber QV_GUARDED_BY(m_mutex) = 1;
};
