#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "system/qvref.h"
#include "thumbnailcache/iqvthumbnailcache.h"

namespace qvbench {

// The service, open on a database file.
class COpenCache {
 public:
  explicit COpenCache(const std::string& file);
  ~COpenCache() { m_cache->CloseDatabase(); }
  COpenCache(const COpenCache&) = delete;
  COpenCache& operator=(const COpenCache&) = delete;
  IQvThumbnailCache* operator->() const { return m_cache.Get(); }
  IQvThumbnailCache& operator*() const { return *m_cache; }

 private:
  CQvRef<IQvThumbnailCache> m_cache;
};

// Queues requests, and waits for the workers.
class CQueuedRequests {
 public:
  explicit CQueuedRequests(IQvThumbnailCache& cache);
  CQueuedRequests(const CQueuedRequests&) = delete;
  CQueuedRequests& operator=(const CQueuedRequests&) = delete;
  ~CQueuedRequests() { m_cache.RemoveListener(m_listener); }

  // A list in one call. None of them may be ready.
  void MakeAll(std::span<const SQvThumbnailDescription> descriptions);

 private:
  IQvThumbnailCache& m_cache;
  QvThumbnailListener m_listener;
  std::atomic<std::size_t> m_finished{0}, m_wanted{0};
};

// Makes the database with its tables, in write-ahead mode.
void MakeDatabase(const std::string& file);

// The nth location of a collection, as a host would spell it, and as its row keeps it.
std::wstring LocationOf(std::size_t number);
std::string RowNameOf(std::size_t number);
SQvThumbnailDescription Describe(const std::wstring& location);
std::vector<SQvThumbnailDescription> DescribeFirst(std::size_t count);

// Rows `first` to `end` of the cache table with that JPEG stream, and of the metadata table when asked for.
void FillRows(const std::string& file, std::size_t first, std::size_t end, std::span<const std::uint8_t> stream,
              bool withTexts);

// Reports the reason and ends the program: a benchmark whose preparation fails measures nothing.
[[noreturn]] void Fail(const std::string& reason);

}  // namespace qvbench
