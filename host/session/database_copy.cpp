#include "host/session/database_copy.h"

#include <fmt/format.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>

#include "host/host_error.h"
#include "host/session/database_stamp.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

constexpr int kMaxAttempts = 10;
constexpr std::chrono::milliseconds kPause{100};

void CopyFile(const std::string& from, const std::string& to) {
  std::error_code error;
  fs::remove(to, error);
  if (!fs::exists(from, error)) return;
  fs::copy_file(from, to, error);
  if (!error) fs::permissions(to, fs::perms::owner_read | fs::perms::owner_write, error);
  if (error) throw CHostError(fmt::format("cannot open the database {}: {}", from, error.message()));
}

}  // namespace

CDatabaseCopy::CDatabaseCopy(const std::string& path) {
  if (!m_folder.IsMade()) {
    throw CHostError(fmt::format("{} can only be read from a copy, and there is no place for one, {}: {}", path,
                                 m_folder.Path(), std::strerror(errno)));
  }
  m_path = m_folder.Path() + "/copy.db";
  CopyWhileUnchanged(path);
}

void CDatabaseCopy::CopyWhileUnchanged(const std::string& path) {
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    if (attempt > 0) std::this_thread::sleep_for(kPause);
    const std::string before = StampOfDatabase(path);
    for (const char* tail : kDatabaseTails) CopyFile(path + tail, m_path + tail);
    if (StampOfDatabase(path) == before) return;
  }
  throw CHostError(fmt::format("{} is written to all the time; run again when that is done", path));
}

}  // namespace qvhost
