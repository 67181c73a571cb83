#include "host/session/database_stamp.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "host/output/time_text.h"

namespace qvhost {
namespace {

constexpr double kFreshDays = 0.1 / 86400.0;

// Those of the files that hold something: SQLite makes empty logs, and removes them, without anything having changed.
std::vector<std::pair<const char*, struct stat>> FilesOfDatabase(const std::string& path) {
  std::vector<std::pair<const char*, struct stat>> files;
  for (const char* tail : kDatabaseTails) {
    struct stat status;
    if (stat((path + tail).c_str(), &status) == 0 && status.st_size > 0) files.emplace_back(tail, status);
  }
  return files;
}

}  // namespace

std::string StampOfDatabase(const std::string& path) {
  std::string stamp;
  for (const auto& [tail, status] : FilesOfDatabase(path)) {
    stamp += fmt::format("{} {} {} {}.{:09};", tail, status.st_ino, status.st_size, status.st_mtim.tv_sec,
                         status.st_mtim.tv_nsec);
  }
  return stamp;
}

bool IsStampFresh(const std::string& path) {
  const double fresh = JulianDayNow() - kFreshDays;
  const auto files = FilesOfDatabase(path);
  return std::any_of(files.begin(), files.end(), [fresh](const auto& file) {
    const timespec& written = file.second.st_mtim;
    return JulianDayOf(static_cast<double>(written.tv_sec) + 1e-9 * static_cast<double>(written.tv_nsec)) > fresh;
  });
}

}  // namespace qvhost
