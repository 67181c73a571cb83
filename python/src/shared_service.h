#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>

#include "host/session/session.h"
#include "python/src/waiters.h"

namespace qvpython {

// How a database is opened.
struct SOpening {
  qvhost::SDatabaseOptions database;
  bool writable = true;  // else it must be there, and may be one that may only be read
  bool highQuality = false;
  std::uint32_t inMemory = 0;  // thumbnails that keep their pixels in memory
};

// What was asked for needs an open database, and this one is closed.
class CClosedError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class CHandle;

// The service of the process and the one database that it can have open, which all handles share. It is never
// destroyed, because threads of the interpreter may outlive main(). Any thread; nothing here needs the interpreter's
// lock, and what says so must not be called with it.
class CSharedService {
 public:
  static CSharedService& Get();

  // Closes whatever is open, for good. Waits, without the interpreter's lock.
  void ShutDown() noexcept;
  // True in a process that was forked while a database was open: the workers did not come along.
  bool IsForked() const noexcept;
  CWaiters& Waiters() noexcept { return m_waiters; }

 private:
  friend class CHandle;
  friend class CUse;

  CSharedService() = default;
  // Opens the database, or joins those who have the same one open. Throws CHostError for another one. Waits, without
  // the interpreter's lock.
  std::string Join(const SOpening& opening);
  // The last one closes it. Waits, without the interpreter's lock.
  void Leave() noexcept;
  qvhost::CSession& Enter(const CHandle& handle);
  void Exit() noexcept;

  void RequireSame(const SOpening& opening) const;
  void Open(std::unique_lock<std::mutex>& lock, const SOpening& opening);
  void Close(std::unique_lock<std::mutex>& lock) noexcept;

  CWaiters m_waiters;
  std::mutex m_mutex;
  std::condition_variable m_settled;
  // All guarded by m_mutex.
  std::unique_ptr<qvhost::CSession> m_session;
  SOpening m_opening;
  std::string m_path;
  int m_handles = 0;
  int m_uses = 0;  // calls under way
  bool m_changing = false;
  bool m_down = false;

  std::atomic<int> m_process{0};  // that opened the database; 0: none
};

// One user's hold on the open database.
class CHandle {
 public:
  // As CSharedService::Join.
  explicit CHandle(const SOpening& opening) : m_highQuality(opening.highQuality) {
    m_path = CSharedService::Get().Join(opening);
    m_open = true;
  }
  CHandle(const CHandle&) = delete;
  CHandle& operator=(const CHandle&) = delete;
  ~CHandle() { Close(); }

  // As CSharedService::Leave. Does nothing the second time.
  void Close() noexcept {
    if (m_open.exchange(false)) CSharedService::Get().Leave();
  }
  bool IsOpen() const noexcept { return m_open && !CSharedService::Get().IsForked(); }
  // In the file system's bytes.
  const std::string& Path() const noexcept { return m_path; }
  bool IsHighQuality() const noexcept { return m_highQuality; }

 private:
  const bool m_highQuality;
  std::string m_path;
  std::atomic<bool> m_open{false};
};

// Keeps the database open during a call. Throws CClosedError.
class CUse {
 public:
  explicit CUse(const CHandle& handle) : m_session(CSharedService::Get().Enter(handle)) {}
  CUse(const CUse&) = delete;
  CUse& operator=(const CUse&) = delete;
  ~CUse() { CSharedService::Get().Exit(); }

  qvhost::CSession& Session() const noexcept { return m_session; }

 private:
  qvhost::CSession& m_session;
};

}  // namespace qvpython
