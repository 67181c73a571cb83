#pragma once

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/session/session.h"
#include "host/thumbnails/thumbnail_jobs.h"

namespace qvhost {

struct SMakeOptions {
  bool highQuality = false;
  bool sync = false;  // on the calling thread instead of the workers
  // Hand out pictures, also of thumbnails that the database holds, and whether it has taken them or not.
  bool picturesWanted = false;
};

// Has thumbnails made as a viewer does: requests them in batches, waits for the listener, gets each with
// its source's modification time and releases it; a stale one is waited for again. What the database already holds is
// not requested. Memory stays bounded however many jobs there are: a limited number is pending at any time, and what is
// finished is purged now and then.
class CThumbnailMaker {
 public:
  CThumbnailMaker(CSession& session, IThumbnailJobs& jobs, IThumbnailObserver& observer, const SMakeOptions& options);

  // Until all is done. True; or false when interrupted: requests are then withdrawn, the work in progress is waited
  // for, and the session's database is closed. Throws CHostError when the database cannot be read, or takes nothing any
  // more.
  bool Run();

 private:
  struct SPending {
    SThumbnailJob job;
    bool wasCached = false;
    int remakes = 0;
  };

  void RequestMore();
  bool FetchNext(SPending* next);
  void RequestBatch(std::vector<SPending> batch);
  void WaitForWorkers();
  void HandleFinished(const std::wstring& location);
  void HandleReady(const std::wstring& location, SPending& pending, const SQvPicBuf& picture);
  void RecheckUnsaved();
  void Remake(const std::wstring& location, SPending& pending);
  void Fail(const std::wstring& location, const std::string& reason);
  void Stop();

  CSession& m_session;
  IQvThumbnailCache& m_service;
  IThumbnailJobs& m_jobs;
  IThumbnailObserver& m_observer;
  const SMakeOptions m_options;
  std::unordered_map<std::wstring, SPending> m_pending;  // by lower-case location
  // Made, but not found in the database: for a moment that may be so because another process is replacing the row, so
  // they are looked up again before they count as failed.
  std::vector<std::pair<SThumbnailJob, std::string>> m_unsaved;  // with what the service said
  std::string m_lastingError;  // what the service said when it could not save; nothing will be saved after it
  bool m_allFetched = false;
  bool m_moreComes = false;  // but nothing is there now
  std::size_t m_requestedSincePurge = 0;
  int m_idleWaits = 0;
};

}  // namespace qvhost
