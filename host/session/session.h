#pragma once

#include <optional>
#include <string>

#include "host/session/finished_queue.h"
#include "host/session/prepared_database.h"
#include "system/qvref.h"
#include "thumbnailcache/iqvthumbnailcache.h"

namespace qvhost {

// Lets the registry find the components, which lie beside the platform's libraries. Throws CHostError when that folder
// cannot be read.
void LoadComponents();

// The service, of which there is one in the process; empty when its component is missing.
CQvRef<IQvThumbnailCache> FindService();

// The service, and the database that it has open. One per process; used by the main thread.
class CSession {
 public:
  // Loads the components and gets the service; no database yet. Throws CHostError.
  CSession() : CSession({&CFinishedQueue::OnFinished, &m_finished}) {}
  // The same, for a host that hears of finished thumbnails by itself instead of through Finished().
  explicit CSession(const QvThumbnailListener& listener);
  CSession(const CSession&) = delete;
  CSession& operator=(const CSession&) = delete;
  ~CSession() { Close(); }

  // Opens the database, which starts the workers. Throws CHostError with the reason and what to do.
  void Open(const SDatabaseOptions& options, EDatabaseNeed need);
  // Waits for the work in progress and closes. Does nothing when no database is open.
  void Close() noexcept;

  IQvThumbnailCache& Service() noexcept { return *m_service; }
  // What the workers have finished since the database was opened.
  CFinishedQueue& Finished() noexcept { return m_finished; }
  // The open database's file, in the file system's bytes; of one that may only be read it is a copy.
  const std::string& DatabasePath() const noexcept { return m_database->Path(); }

 private:
  CFinishedQueue m_finished;
  CQvRef<IQvThumbnailCache> m_service;
  std::optional<CPreparedDatabase> m_database;
  const QvThumbnailListener m_listener;
  bool m_open = false;
};

}  // namespace qvhost
