#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace qvhost {

// Files that are being written, until they have stopped growing: nothing has been told of one, and its size has not
// changed, for some time. Times are the caller's, so that tests need not wait. One thread at a time.
class CGrowingFiles {
 public:
  using Clock = std::chrono::steady_clock;

  explicit CGrowingFiles(Clock::duration quiet) : m_quiet(quiet) {}

  // Something was written to the file, or it appeared. True when it was not growing before.
  bool Touch(const std::string& path, Clock::time_point now);
  // It is gone. True when it was growing.
  bool Forget(const std::string& path) { return m_files.erase(path) > 0; }
  // Those that have stopped; they are growing no more.
  std::vector<std::string> TakeSettled(Clock::time_point now);
  bool IsEmpty() const noexcept { return m_files.empty(); }

 private:
  struct SFile {
    Clock::time_point quietSince;
    std::int64_t size = -1;
  };

  const Clock::duration m_quiet;
  std::map<std::string, SFile> m_files;  // by path
};

}  // namespace qvhost
