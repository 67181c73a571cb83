#pragma once

#include <string>

namespace qvhost {

// Keeps two processes, also of two machines that share the file system, from making the same shard: a locked file
// beside the database, which goes with the object. A process that dies leaves the file, but not the lock.
class CShardLock {
 public:
  // Throws CHostError when another process has it, or when the folder takes no lock.
  explicit CShardLock(const std::string& database);
  CShardLock(const CShardLock&) = delete;
  CShardLock& operator=(const CShardLock&) = delete;
  ~CShardLock();

  // Whether some process is making the shard now.
  static bool IsHeld(const std::string& database);

 private:
  std::string m_path;
  int m_file = -1;
};

}  // namespace qvhost
