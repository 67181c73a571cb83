#include "host/session/database_stamps.h"

#include <sys/stat.h>

#include <filesystem>

namespace qvhost {

std::string WithoutLinks(const std::string& path) {
  std::error_code error;
  const std::filesystem::path real = std::filesystem::canonical(path, error);
  return error ? path : real.string();
}

CDatabaseStamps::CDatabaseStamps(const std::string& path) {
  for (std::size_t i = 0; i < kDatabaseTails.size(); ++i) m_stamps[i] = StampOf(path + kDatabaseTails[i]);
}

CDatabaseStamps::SStamp CDatabaseStamps::StampOf(const std::string& path) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0) return {};
  return {status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

}  // namespace qvhost
