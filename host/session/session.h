#pragma once

#include <string>

#include "host/session/database_choice.h"
#include "host/session/finished_queue.h"
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
  CSession();
  CSession(const CSession&) = delete;
  CSession& operator=(const CSession&) = delete;
  ~CSession() { Close(); }

  // Opens the database, made when missing, which starts the workers. Throws CHostError with the reason and what to do.
  void Open(const SDatabaseOptions& options) { Open(options, false); }
  // The same for commands that have nothing to do without a database.
  void OpenExisting(const SDatabaseOptions& options) { Open(options, true); }
  // Waits for the work in progress and closes. Does nothing when no database is open.
  void Close() noexcept;

  IQvThumbnailCache& Service() noexcept { return *m_service; }
  // What the workers have finished since the database was opened.
  CFinishedQueue& Finished() noexcept { return m_finished; }
  // The open database's file, in the file system's bytes.
  const std::string& DatabasePath() const noexcept { return m_choice.path; }

 private:
  void Open(const SDatabaseOptions& options, bool mustExist);

  CFinishedQueue m_finished;
  CQvRef<IQvThumbnailCache> m_service;
  SDatabaseChoice m_choice;
  QvThumbnailListener m_listener{};
  bool m_open = false;
};

}  // namespace qvhost
