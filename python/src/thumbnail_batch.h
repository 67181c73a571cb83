#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/session/finished_queue.h"
#include "python/src/file_failure.h"
#include "python/src/shared_service.h"

namespace qvpython {

// 8-bit RGB, rows from top to bottom without gaps.
struct SPixels {
  std::uint32_t width = 0, height = 0;
  std::unique_ptr<std::uint8_t[]> data;  // null: none
};

struct SFinishedThumbnail {
  std::int64_t number = 0;  // as the batch was given it
  SPixels pixels;
  SFailure failure;
};

// Thumbnails that one caller wants, made by the service's workers and handed out as they are ready, each in a copy: the
// service's own pixels are given back at once. Any thread, one at a time; Cancel ends the waiting of another one.
class CThumbnailBatch {
 public:
  explicit CThumbnailBatch(std::shared_ptr<CHandle> handle);
  CThumbnailBatch(const CThumbnailBatch&) = delete;
  CThumbnailBatch& operator=(const CThumbnailBatch&) = delete;
  ~CThumbnailBatch();

  const CHandle& Handle() const noexcept { return *m_handle; }

  // The files' absolute paths in the file system's bytes, each with a number of the caller's. Looks at the files. Does
  // nothing after Cancel: a thread of an event loop may be late.
  void Add(IQvThumbnailCache& service, const std::vector<std::pair<std::int64_t, std::string>>& files);
  // The next one that is ready; waits up to `timeout` for it.
  std::optional<SFinishedThumbnail> Next(IQvThumbnailCache& service, std::chrono::milliseconds timeout);
  // Gives up the rest and withdraws what no worker has begun. `service` is null when the database is closed.
  void Cancel(IQvThumbnailCache* service);
  // Wanted and not handed out yet.
  std::size_t Remaining();

 private:
  struct SWanted {
    std::vector<std::int64_t> numbers;  // a file may be wanted twice
    std::string path;
    SQvThumbnailDescription description;
    int remakes = 0;
  };

  void Request(IQvThumbnailCache& service, const std::vector<std::wstring>& locations);
  void Wait(IQvThumbnailCache& service, std::chrono::milliseconds timeout);
  void Look(IQvThumbnailCache& service, const std::wstring& location);
  void LookAtPicture(IQvThumbnailCache& service, const std::wstring& location, SWanted& wanted);
  void WaitForRemake(const std::wstring& location, SWanted& wanted);
  void Finish(const std::wstring& location, SPixels pixels, const SFailure& failure);

  const std::shared_ptr<CHandle> m_handle;
  qvhost::CFinishedQueue m_queue;
  std::mutex m_mutex;
  // All guarded by m_mutex.
  std::unordered_map<std::wstring, SWanted> m_pending;  // by location
  std::deque<SFinishedThumbnail> m_ready;
  bool m_isCancelled = false;
  int m_idleWaits = 0;
  std::unique_ptr<qvhost::CFailureReason> m_reason;  // has a decoder, a process of its own; made for the first failure
};

}  // namespace qvpython
