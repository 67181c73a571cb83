#pragma once

#include <cstddef>
#include <deque>

#include "gnr_thumbnailcache/memory/thumbnail_entry.h"

// The requests for the workers, oldest first. Guarded by the queue mutex; the entries' queueCount by it as well. The
// map owns the entries; one that is queued is never freed.
class CRequestQueue {
 public:
  bool IsEmpty() const noexcept { return m_entries.empty(); }
  void PushBack(SThumbnailEntry* entry);
  // The entry then stands there once. Throws std::bad_alloc with nothing changed.
  void MoveToFront(SThumbnailEntry* entry);
  // The queue must not be empty.
  SThumbnailEntry* PopFront() noexcept;
  void Clear() noexcept;

  const std::deque<SThumbnailEntry*>& Entries() const noexcept { return m_entries; }

 private:
  std::deque<SThumbnailEntry*> m_entries;
};
