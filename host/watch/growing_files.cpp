#include "host/watch/growing_files.h"

#include <sys/stat.h>

namespace qvhost {
namespace {

// -1 when it is not there.
std::int64_t SizeOf(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? status.st_size : -1;
}

}  // namespace

bool CGrowingFiles::Touch(const std::string& path, Clock::time_point now) {
  const auto [file, isNew] = m_files.try_emplace(path);
  file->second = {now, SizeOf(path)};
  return isNew;
}

std::vector<std::string> CGrowingFiles::TakeSettled(Clock::time_point now) {
  std::vector<std::string> settled;
  for (auto file = m_files.begin(); file != m_files.end();) {
    if (now - file->second.quietSince < m_quiet) {
      ++file;
      continue;
    }
    // A file that is mapped into memory grows without a word.
    const std::int64_t size = SizeOf(file->first);
    if (size != file->second.size) {
      file->second = {now, size};
      ++file;
      continue;
    }
    if (size >= 0) settled.push_back(file->first);
    file = m_files.erase(file);
  }
  return settled;
}

}  // namespace qvhost
