#include "host/thumbnails/thumbnail_maker.h"

#include <thread>

#include "host/host_error.h"
#include "host/session/database_error.h"
#include "host/session/diagnostics.h"
#include "host/session/interrupt.h"

namespace qvhost {
namespace {

using namespace std::chrono_literals;

// Identifies this host's view to the service.
constexpr std::uint64_t kReferrer = 0x71767468756D6273u;
constexpr std::size_t kBatchSize = 16;
// Enough to keep both workers busy while the main thread explains a failure.
constexpr std::size_t kMaxPending = 64;
// Pictures kept in memory. A finished one must survive until it is fetched, so the limit lies above the pending ones.
constexpr std::uint32_t kCacheLimit = 2 * kMaxPending;
// Requests between two purges.
constexpr std::size_t kPurgeInterval = 4096;
constexpr std::size_t kMaxUnsaved = 256;
// A row that another process is replacing is back after a few milliseconds.
constexpr int kMaxSaveChecks = 5;
constexpr auto kSaveCheckInterval = 20ms;
constexpr auto kWaitTimeout = 100ms;
// After so many waits without news the states are polled, should a notice ever have been lost.
constexpr int kMaxIdleWaits = 100;
// A file that an instrument is still writing is given up after so many remakes.
constexpr int kMaxRemakes = 3;

std::wstring PendingKey(const SQvThumbnailDescription& description) {
  return SQvThumbnailDescription::LowerCase(description.location).Str();
}

SQvPicBuf NoPicture() noexcept {
  SQvPicBuf picture;
  CQvPicBufAPI::Init(&picture);
  return picture;
}

}  // namespace

CThumbnailMaker::CThumbnailMaker(CSession& session, IThumbnailJobs& jobs, IThumbnailObserver& observer,
                                 const SMakeOptions& options)
    : m_session(session), m_service(session.Service()), m_jobs(jobs), m_observer(observer), m_options(options) {
  m_service.SetHighQuality(options.highQuality);
  m_service.SetCacheLimit(kCacheLimit);
}

bool CThumbnailMaker::Run() {
  bool isDone = false;
  while (!isDone && !CInterrupt::Requested() && m_lastingError.empty()) {
    RequestMore();
    if (!m_pending.empty() || m_moreComes) {
      WaitForWorkers();
    } else if (m_allFetched) {
      isDone = true;
    }
  }
  if (!isDone) Stop();
  RecheckUnsaved();
  if (m_lastingError.empty()) return isDone;
  if (isDone) Stop();
  throw CHostError("stopped: " + ExplainDatabaseError(m_lastingError), kExitSomeFailed);
}

void CThumbnailMaker::RequestMore() {
  m_moreComes = false;
  if (m_requestedSincePurge >= kPurgeInterval) {
    if (!m_pending.empty()) return;
    m_service.PurgeUnusedThumbnails();
    m_requestedSincePurge = 0;
  }
  // A thumbnail made in place is a batch of its own, so that Ctrl-C need not wait for many.
  const std::size_t size = m_options.sync ? 1 : kBatchSize;
  while (!m_allFetched && m_pending.size() + kBatchSize <= kMaxPending && m_requestedSincePurge < kPurgeInterval) {
    std::vector<SPending> batch;
    SPending next;
    while (batch.size() < size && FetchNext(&next)) batch.push_back(std::move(next));
    if (batch.empty()) return;
    RequestBatch(std::move(batch));
  }
}

bool CThumbnailMaker::FetchNext(SPending* next) {
  for (*next = {}; !CInterrupt::Requested(); *next = {}) {
    std::string reason;
    switch (m_jobs.Next(&next->job, &reason)) {
      case IThumbnailJobs::ENext::End:
        m_allFetched = true;
        return false;
      case IThumbnailJobs::ENext::Later:
        m_moreComes = true;
        return false;
      case IThumbnailJobs::ENext::Cached:
        m_observer.OnThumbnail(next->job, false, NoPicture());
        continue;
      case IThumbnailJobs::ENext::Failed:
        m_observer.OnFailed(next->job.name, reason);
        continue;
      case IThumbnailJobs::ENext::Job:
        break;
    }
    next->wasCached = m_jobs.IsCached(next->job);
    if (!next->wasCached || m_options.picturesWanted) return true;
    m_observer.OnThumbnail(next->job, false, NoPicture());
  }
  return false;
}

void CThumbnailMaker::RequestBatch(std::vector<SPending> batch) {
  std::vector<SQvThumbnailDescription> descriptions;
  for (SPending& pending : batch) {
    descriptions.push_back(pending.job.description);
    m_pending.insert_or_assign(PendingKey(pending.job.description), std::move(pending));
  }
  m_requestedSincePurge += batch.size();
  const auto count = static_cast<std::uint32_t>(descriptions.size());
  m_service.RequestThumbnails(0, descriptions.data(), count, 0, !m_options.sync);
  if (m_options.sync) HandleFinished(PendingKey(descriptions.front()));
}

void CThumbnailMaker::WaitForWorkers() {
  std::vector<std::wstring> finished = m_session.Finished().Wait(kWaitTimeout);
  m_idleWaits = finished.empty() ? m_idleWaits + 1 : 0;
  if (m_idleWaits >= kMaxIdleWaits) {
    m_idleWaits = 0;
    for (const auto& [location, pending] : m_pending) finished.push_back(location);
  }
  for (const std::wstring& location : finished) HandleFinished(location);
}

void CThumbnailMaker::HandleFinished(const std::wstring& location) {
  const auto found = m_pending.find(location);
  if (found == m_pending.end()) return;
  SPending& pending = found->second;
  std::string reason;
  const IThumbnailJobs::ERefresh refresh = m_jobs.Refresh(&pending.job, &reason);
  if (refresh == IThumbnailJobs::ERefresh::Gone) return Fail(location, reason);
  std::uint32_t state = kQvThumbnailNone;
  SQvPicBuf picture = NoPicture();
  m_service.GetCachedThumbnail(kReferrer, pending.job.description, &state, &picture);
  switch (state) {
    case kQvThumbnailReady:
      // Of a record the service learns at the release that it has changed.
      if (refresh == IThumbnailJobs::ERefresh::Changed && pending.job.description.IsDBLoc()) {
        return Remake(location, pending);
      }
      return HandleReady(location, pending, picture);
    case kQvThumbnailStale:
      return Remake(location, pending);
    case kQvThumbnailQueued:
    case kQvThumbnailInWork:
    case kQvThumbnailDormant:
      return;
    default:
      return Fail(location, m_jobs.ExplainFailure(pending.job));
  }
}

void CThumbnailMaker::HandleReady(const std::wstring& location, SPending& pending, const SQvPicBuf& picture) {
  const bool saved = m_options.picturesWanted || !m_jobs.ArePersistent() || m_jobs.IsCached(pending.job);
  if (saved) m_observer.OnThumbnail(pending.job, !pending.wasCached, picture);
  m_service.ReleaseThumbnail(kReferrer, pending.job.description);
  if (!saved) m_unsaved.emplace_back(std::move(pending.job), CDiagnostics::Get().TakeMessages());
  m_pending.erase(location);
  const bool isLasting = !m_unsaved.empty() && IsLastingError(m_unsaved.back().second);
  if (isLasting || m_unsaved.size() >= kMaxUnsaved) RecheckUnsaved();
}

void CThumbnailMaker::RecheckUnsaved() {
  for (int check = 0; check < kMaxSaveChecks && !m_unsaved.empty(); ++check) {
    if (check > 0) std::this_thread::sleep_for(kSaveCheckInterval);
    std::erase_if(m_unsaved, [this](const auto& unsaved) {
      if (!m_jobs.IsCached(unsaved.first)) return false;
      m_observer.OnThumbnail(unsaved.first, true, NoPicture());
      return true;
    });
  }
  for (const auto& [job, said] : m_unsaved) {
    if (IsLastingError(said)) m_lastingError = said;
  }
  if (!m_lastingError.empty()) return m_unsaved.clear();
  for (const auto& [job, said] : m_unsaved) {
    m_observer.OnFailed(
        job.name, "made, but the database did not take it" + (said.empty() ? said : ": " + ExplainDatabaseError(said)));
  }
  m_unsaved.clear();
}

void CThumbnailMaker::Remake(const std::wstring& location, SPending& pending) {
  m_service.ReleaseThumbnail(kReferrer, pending.job.description);
  pending.wasCached = false;
  if (++pending.remakes <= kMaxRemakes) return;
  m_service.CancelRequests(kReferrer, &pending.job.description, 1);
  Fail(location, "keeps changing while it is read; run again when it is complete");
}

void CThumbnailMaker::Fail(const std::wstring& location, const std::string& reason) {
  const auto found = m_pending.find(location);
  m_observer.OnFailed(found->second.job.name, reason);
  m_pending.erase(found);
}

void CThumbnailMaker::Stop() {
  m_service.CancelAllRequests();
  m_session.Close();
  // What the workers were at when they were stopped is finished and stored, and counts.
  for (const std::wstring& location : m_session.Finished().Wait(0ms)) {
    const auto found = m_pending.find(location);
    if (found == m_pending.end() || !m_jobs.ArePersistent() || !m_jobs.IsCached(found->second.job)) continue;
    m_observer.OnThumbnail(found->second.job, !found->second.wasCached, NoPicture());
    m_pending.erase(found);
  }
}

}  // namespace qvhost
