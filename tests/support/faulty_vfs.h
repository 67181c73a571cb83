#pragma once

#include <sqlite3.h>

#include <atomic>

namespace qvtest {

// SQLite's files, of which calls fail as a test says. While it lives, it is the VFS of every connection that names
// none. One at a time; it must outlive the connections that were opened meanwhile.
class CFaultyVfs {
 public:
  enum class EFault {
    IoError,   // of any call: open, delete, look, read, write, cut, sync, size, lock, and of the shared memory's
    DiskFull,  // of those that ask for room
    Kill,      // the process, at any call
  };

  CFaultyVfs();
  CFaultyVfs(const CFaultyVfs&) = delete;
  CFaultyVfs& operator=(const CFaultyVfs&) = delete;
  ~CFaultyVfs();

  // Of the calls that can fail so, the one after `room` others fails, alone or with all after it.
  void Fail(EFault fault, long room, bool fromThenOn);
  // No call fails any more.
  void Heal();
  // Whether one failed since the last Fail.
  bool HasFailed() const { return m_failed; }

  // For the files: SQLite's result of a call that fails, else 0. Each call that is asked for counts.
  int TakeFault(bool needsRoom, int ioError);
  sqlite3_vfs* Real() const { return m_real; }

 private:
  sqlite3_vfs* m_real;
  sqlite3_vfs m_vfs{};
  std::atomic<bool> m_armed{false}, m_failed{false}, m_fromThenOn{false};
  std::atomic<EFault> m_fault{EFault::IoError};
  std::atomic<long> m_room{0};
};

}  // namespace qvtest
