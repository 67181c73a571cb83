#include "host/session/database_stamp.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include "host/output/time_text.h"

namespace qvhost {
namespace {

constexpr double kFreshDays = 0.1 / 86400.0;

}  // namespace

std::string StampOfDatabase(const std::string& path) {
  std::string stamp;
  for (const char* tail : kDatabaseTails) {
    struct stat status;
    // SQLite makes empty logs and removes them without anything having changed.
    if (stat((path + tail).c_str(), &status) != 0 || (*tail != '\0' && status.st_size == 0)) continue;
    stamp += fmt::format("{} {} {} {}.{:09};", tail, status.st_ino, status.st_size, status.st_mtim.tv_sec,
                         status.st_mtim.tv_nsec);
  }
  return stamp;
}

bool IsStampFresh(const std::string& path) {
  for (const char* tail : kDatabaseTails) {
    struct stat status;
    if (stat((path + tail).c_str(), &status) != 0) continue;
    const double written =
        static_cast<double>(status.st_mtim.tv_sec) + 1e-9 * static_cast<double>(status.st_mtim.tv_nsec);
    if (JulianDayOf(written) > JulianDayNow() - kFreshDays) return true;
  }
  return false;
}

}  // namespace qvhost
