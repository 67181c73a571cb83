#include "host/shards/mount_points.h"

#include <algorithm>
#include <fstream>
#include <sstream>

namespace qvhost {
namespace {

// Blanks, tabs, line breaks and backslashes stand as \nnn, three octal digits (proc(5)).
std::string Unescape(const std::string& text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size()) {
      plain += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0'));
      i += 3;
    } else {
      plain += text[i];
    }
  }
  return plain;
}

bool LiesOn(const std::string& path, const std::string& point) {
  return point == "/" || (path.starts_with(point) && (path.size() == point.size() || path[point.size()] == '/'));
}

}  // namespace

CMountPoints::CMountPoints() {
  std::ifstream mounts("/proc/self/mountinfo");
  for (std::string line; std::getline(mounts, line);) {
    std::istringstream fields(line);
    std::string skipped, point;
    for (int i = 0; i < 4; ++i) fields >> skipped;
    if (fields >> point && point != "/") m_points.push_back(Unescape(point));
  }
  std::sort(m_points.begin(), m_points.end(),
            [](const std::string& a, const std::string& b) { return a.size() > b.size(); });
  m_points.emplace_back("/");
}

const std::string& CMountPoints::Of(const std::string& path) const {
  return *std::find_if(m_points.begin(), m_points.end() - 1,
                       [&path](const std::string& point) { return LiesOn(path, point); });
}

}  // namespace qvhost
