#include "gnr_thumbnailcache/memory/request_queue.h"

#include <algorithm>

void CRequestQueue::PushBack(SThumbnailEntry* entry) {
  m_entries.push_back(entry);
  ++entry->queueCount;
}

// The count spares the search for the many entries that are not queued; those that are mostly stand near the front.
void CRequestQueue::MoveToFront(SThumbnailEntry* entry) {
  m_entries.push_front(entry);
  for (; entry->queueCount != 0; --entry->queueCount) {
    m_entries.erase(std::find(m_entries.begin() + 1, m_entries.end(), entry));
  }
  entry->queueCount = 1;
}

SThumbnailEntry* CRequestQueue::PopFront() noexcept {
  SThumbnailEntry* entry = m_entries.front();
  m_entries.pop_front();
  --entry->queueCount;
  return entry;
}

void CRequestQueue::Clear() noexcept {
  for (SThumbnailEntry* entry : m_entries) entry->queueCount = 0;
  m_entries.clear();
}
