#pragma once

#include <string>
#include <utility>
#include <vector>

namespace qvhost {

// Files and folders that the user wants left out, by patterns as a shell has them: one without a slash is about a name,
// one with a slash about the end of a path.
class CNameFilter {
 public:
  CNameFilter() = default;
  explicit CNameFilter(std::vector<std::string> patterns) : m_patterns(std::move(patterns)) {}

  bool Excludes(const std::string& path) const;

 private:
  std::vector<std::string> m_patterns;
};

}  // namespace qvhost
