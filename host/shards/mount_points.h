#pragma once

#include <string>
#include <vector>

namespace qvhost {

// Where the file systems of this machine are mounted, as it was when this was made.
class CMountPoints {
 public:
  CMountPoints();

  // The one that an absolute path lies on, by its name alone: no file is looked at.
  const std::string& Of(const std::string& path) const;

 private:
  std::vector<std::string> m_points;  // the longest first; "/" is the last
};

}  // namespace qvhost
