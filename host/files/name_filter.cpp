#include "host/files/name_filter.h"

#include <fnmatch.h>

#include <algorithm>

namespace qvhost {
namespace {

// The last names of the path, as many as the pattern has.
std::string EndOf(const std::string& path, const std::string& pattern) {
  auto slashes = std::count(pattern.begin(), pattern.end(), '/');
  std::size_t at = path.size();
  while (at > 0) {
    const std::size_t slash = path.rfind('/', at - 1);
    if (slash == path.npos) return path;
    if (slashes-- == 0) return path.substr(slash + 1);
    at = slash;
  }
  return path;
}

bool Matches(const std::string& path, const std::string& pattern) {
  const std::string tail = pattern.starts_with('/') ? path : EndOf(path, pattern);
  return fnmatch(pattern.c_str(), tail.c_str(), FNM_PATHNAME) == 0;
}

}  // namespace

bool CNameFilter::Excludes(const std::string& path) const {
  return std::any_of(m_patterns.begin(), m_patterns.end(),
                     [&](const std::string& pattern) { return Matches(path, pattern); });
}

}  // namespace qvhost
