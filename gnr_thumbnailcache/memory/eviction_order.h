#pragma once

#include "gnr_thumbnailcache/memory/thumbnail_entry.h"

// The evictable entries in the order in which they are to lose their pictures: by lastUse, equal values in key order,
// the same order that a walk of the whole map would find, at a cost that does not grow with the map. A linked list
// through the entries: an entry that was just used goes to its end. Guarded by the service mutex.
class CEvictionOrder {
 public:
  // Brings an entry whose references, state, work count or lastUse changed to its place: in, out, or elsewhere.
  void Update(SThumbnailEntry* entry) noexcept;
  // Takes an entry out, whatever its state; for entries about to be freed.
  void Remove(SThumbnailEntry* entry) noexcept;

  SThumbnailEntry* First() const noexcept { return m_first; }

 private:
  void Insert(SThumbnailEntry* entry) noexcept;

  SThumbnailEntry* m_first = nullptr;
  SThumbnailEntry* m_last = nullptr;
};
