#pragma once

#include <cstddef>
#include <deque>

#include "gnr_thumbnailcache/thumbnail_entry.h"

// The requests for the workers, oldest first. Guarded by the queue mutex; the entries' queueCount by it as well. The
// map owns the entries; one that is queued is never freed.
class CRequestQueue {
 public:
  bool IsEmpty() const noexcept { return m_entries.empty(); }
  void PushBack(CThumbnailEntry* entry);
  void PushFront(CThumbnailEntry* entry);
  // The queue must not be empty.
  CThumbnailEntry* PopFront() noexcept;
  // Takes every occurrence out.
  void Remove(CThumbnailEntry* entry) noexcept;
  void Clear() noexcept;

  const std::deque<CThumbnailEntry*>& Entries() const noexcept { return m_entries; }

 private:
  std::deque<CThumbnailEntry*> m_entries;
};
