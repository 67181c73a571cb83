#include "python/src/thumbnail_batch.h"

#include <atomic>
#include <cstring>

#include "host/files/image_file.h"

namespace qvpython {
namespace {

using namespace std::chrono_literals;

// After so many waits in vain the states are looked at, should a notice ever have been lost.
constexpr int kMaxIdleWaits = 10;
// A file that an instrument is still writing is given up after so many remakes.
constexpr int kMaxRemakes = 3;
// Requests in this process between two purges.
constexpr int kPurgeInterval = 4096;

std::atomic<int> s_requestsSincePurge{0};

// A viewer holds a thumbnail once, so each look is a viewer of its own.
std::uint64_t NewViewer() {
  static std::atomic<std::uint64_t> s_viewer{0x7079000000000000u};
  return ++s_viewer;
}

SPixels CopyPixels(const SQvPicBuf& picture) {
  SPixels copy{picture.width, picture.height, nullptr};
  const std::size_t rowBytes = std::size_t{picture.width} * 3;
  copy.data = std::make_unique_for_overwrite<std::uint8_t[]>(rowBytes * picture.height);
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    std::memcpy(copy.data.get() + y * rowBytes,
                static_cast<const std::uint8_t*>(picture.data) + std::size_t{y} * picture.widthBytes, rowBytes);
  }
  return copy;
}

SPixels CopyPixels(const SPixels& pixels) {
  if (!pixels.data) return {};
  const std::size_t size = std::size_t{pixels.width} * pixels.height * 3;
  SPixels copy{pixels.width, pixels.height, std::make_unique_for_overwrite<std::uint8_t[]>(size)};
  std::memcpy(copy.data.get(), pixels.data.get(), size);
  return copy;
}

// A look at a thumbnail; what the service hands out is given back at the end.
class CLookedAt {
 public:
  CLookedAt(IQvThumbnailCache& service, const SQvThumbnailDescription& description)
      : m_service(service), m_description(description) {
    CQvPicBufAPI::Init(&m_picture);
    service.GetCachedThumbnail(m_viewer, description, &m_state, &m_picture);
  }
  CLookedAt(const CLookedAt&) = delete;
  CLookedAt& operator=(const CLookedAt&) = delete;
  ~CLookedAt() {
    const bool isHeld = m_state == kQvThumbnailReady || m_state == kQvThumbnailStale;
    if (isHeld) m_service.ReleaseThumbnail(m_viewer, m_description);
  }

  std::uint32_t State() const noexcept { return m_state; }
  const SQvPicBuf& Picture() const noexcept { return m_picture; }

 private:
  IQvThumbnailCache& m_service;
  const SQvThumbnailDescription m_description;  // as it was when the picture was handed out
  const std::uint64_t m_viewer = NewViewer();
  std::uint32_t m_state = kQvThumbnailNone;
  SQvPicBuf m_picture;
};

}  // namespace

CThumbnailBatch::CThumbnailBatch(std::shared_ptr<CHandle> handle) : m_handle(std::move(handle)) {
  CSharedService::Get().Waiters().Add(m_queue);
}

CThumbnailBatch::~CThumbnailBatch() {
  // What another thread of the parent had locked stays locked, and the decoder is the parent's.
  if (CSharedService::Get().IsForked()) {
    (void)m_reason.release();
  } else {
    CSharedService::Get().Waiters().Remove(m_queue);
  }
}

void CThumbnailBatch::Add(IQvThumbnailCache& service, const std::vector<std::pair<std::int64_t, std::string>>& files) {
  const std::lock_guard lock(m_mutex);
  if (m_isCancelled) return;
  if (s_requestsSincePurge >= kPurgeInterval && CSharedService::Get().Waiters().PurgeIfIdle(service)) {
    s_requestsSincePurge = 0;
  }
  std::vector<std::wstring> locations;
  for (const auto& [number, path] : files) {
    SWanted wanted{{number}, path, {}, 0};
    std::string reason;
    if (!qvhost::DescribeFile(path, m_handle->IsHighQuality(), &wanted.description, &reason)) {
      const bool canOpen = qvhost::ExplainOpenFailure(path).empty();
      m_ready.push_back({number, {}, {canOpen ? EFailure::Other : EFailure::Unreadable, std::move(reason)}});
      continue;
    }
    const std::wstring location = wanted.description.location.Str();
    if (const auto found = m_pending.find(location); found != m_pending.end()) {
      found->second.numbers.push_back(number);
      continue;
    }
    CSharedService::Get().Waiters().Want(location, m_queue);
    m_pending.emplace(location, std::move(wanted));
    locations.push_back(location);
  }
  Request(service, locations);
}

void CThumbnailBatch::Request(IQvThumbnailCache& service, const std::vector<std::wstring>& locations) {
  if (locations.empty()) return;
  std::vector<SQvThumbnailDescription> descriptions;
  for (const std::wstring& location : locations) descriptions.push_back(m_pending.at(location).description);
  s_requestsSincePurge += static_cast<int>(descriptions.size());
  service.RequestThumbnails(0, descriptions.data(), static_cast<std::uint32_t>(descriptions.size()), 0, true);
  // Nobody tells of those that were there already.
  for (const std::wstring& location : locations) Look(service, location);
}

std::optional<SFinishedThumbnail> CThumbnailBatch::Next(IQvThumbnailCache& service, std::chrono::milliseconds timeout) {
  const std::lock_guard lock(m_mutex);
  if (m_ready.empty() && !m_pending.empty()) Wait(service, timeout);
  if (m_ready.empty()) return std::nullopt;
  SFinishedThumbnail first = std::move(m_ready.front());
  m_ready.pop_front();
  return first;
}

void CThumbnailBatch::Wait(IQvThumbnailCache& service, std::chrono::milliseconds timeout) {
  std::vector<std::wstring> finished = m_queue.Wait(timeout);
  m_idleWaits = finished.empty() ? m_idleWaits + 1 : 0;
  if (m_idleWaits >= kMaxIdleWaits) {
    m_idleWaits = 0;
    for (const auto& [location, wanted] : m_pending) finished.push_back(location);
  }
  for (const std::wstring& location : finished) Look(service, location);
}

void CThumbnailBatch::Look(IQvThumbnailCache& service, const std::wstring& location) {
  const auto found = m_pending.find(location);
  if (found != m_pending.end()) LookAtPicture(service, location, found->second);
}

void CThumbnailBatch::LookAtPicture(IQvThumbnailCache& service, const std::wstring& location, SWanted& wanted) {
  const CLookedAt seen(service, wanted.description);
  switch (seen.State()) {
    case kQvThumbnailReady:
      return Finish(location, CopyPixels(seen.Picture()), {});
    case kQvThumbnailQueued:
    case kQvThumbnailInWork:
    case kQvThumbnailDormant:
      return;
    case kQvThumbnailNone:
      if (!qvhost::ExplainOpenFailure(wanted.path).empty()) break;
      // It was not there when it was looked for.
      service.RequestThumbnails(0, &wanted.description, 1, 0, true);
      return WaitForRemake(location, wanted);
    case kQvThumbnailStale:
      return WaitForRemake(location, wanted);
    default:
      break;
  }
  if (!m_reason) m_reason = std::make_unique<qvhost::CFailureReason>();
  Finish(location, {}, ExplainFile(wanted.path, wanted.description.location, *m_reason));
}

void CThumbnailBatch::WaitForRemake(const std::wstring& location, SWanted& wanted) {
  if (++wanted.remakes > kMaxRemakes) {
    return Finish(location, {}, {EFailure::Other, "keeps changing while it is read; ask again when it is complete"});
  }
  std::string reason;
  if (qvhost::DescribeFile(wanted.path, m_handle->IsHighQuality(), &wanted.description, &reason)) return;
  Finish(location, {}, {EFailure::Unreadable, std::move(reason)});
}

void CThumbnailBatch::Finish(const std::wstring& location, SPixels pixels, const SFailure& failure) {
  const auto found = m_pending.find(location);
  const std::vector<std::int64_t> numbers = std::move(found->second.numbers);
  CSharedService::Get().Waiters().GiveUp(location, m_queue);
  m_pending.erase(found);
  for (std::size_t i = 1; i < numbers.size(); ++i) m_ready.push_back({numbers[i], CopyPixels(pixels), failure});
  m_ready.push_back({numbers.front(), std::move(pixels), failure});
}

void CThumbnailBatch::Cancel(IQvThumbnailCache* service) {
  m_queue.Wake();
  const std::lock_guard lock(m_mutex);
  m_isCancelled = true;
  std::vector<std::wstring> locations;
  for (const auto& [location, wanted] : m_pending) locations.push_back(location);
  CSharedService::Get().Waiters().Withdraw(service, locations, m_queue);
  m_pending.clear();
  m_ready.clear();
  m_reason.reset();
}

std::size_t CThumbnailBatch::Remaining() {
  const std::lock_guard lock(m_mutex);
  std::size_t count = m_ready.size();
  for (const auto& [location, wanted] : m_pending) count += wanted.numbers.size();
  return count;
}

}  // namespace qvpython
