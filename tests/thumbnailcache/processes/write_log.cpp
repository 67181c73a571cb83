#include "tests/thumbnailcache/processes/write_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <system_error>

namespace qvtest {
namespace {

constexpr char kBegin = 'B', kAcknowledge = 'A';

}  // namespace

CWriteLog::CWriteLog(const std::string& path)
    : m_file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)) {
  if (m_file < 0) throw std::system_error(errno, std::generic_category(), path);
}

CWriteLog::~CWriteLog() { close(m_file); }

void CWriteLog::Begin(const std::string& key, const std::string& value) { Write(kBegin + (" " + key + " " + value)); }

void CWriteLog::Acknowledge() { Write(std::string(1, kAcknowledge)); }

void CWriteLog::Write(const std::string& line) {
  const std::string text = line + "\n";
  if (write(m_file, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    throw std::system_error(errno, std::generic_category(), "write log");
  }
}

bool SWritten::Allows(const std::optional<std::string>& value) const {
  return value == acknowledged || (value && std::ranges::find(begunSince, *value) != begunSince.end());
}

void ReadWriteLog(const std::string& path, std::map<std::string, SWritten>& written) {
  std::ifstream file(path);
  SWritten* current = nullptr;
  for (char what = 0; file >> what;) {
    if (what == kAcknowledge && current) {
      current->acknowledged = current->begunSince.back();
      current->begunSince.clear();
    } else if (std::string key, value; file >> key >> value) {
      current = &written[key];
      current->begunSince.push_back(value);
    }
  }
}

}  // namespace qvtest
