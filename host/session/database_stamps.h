#pragma once

#include <sys/types.h>

#include <array>
#include <string>

namespace qvhost {

// A database, its write-ahead log and its rollback journal: what stands behind its name.
constexpr std::array<const char*, 3> kDatabaseTails = {"", "-wal", "-journal"};

// SQLite keeps the log and the journal beside the file itself, not beside a link to it. The path as it is when it leads
// nowhere.
std::string WithoutLinks(const std::string& path);

// What these files were like at a moment: equal as long as nobody has written to them. Of a path
// without links.
class CDatabaseStamps {
 public:
  explicit CDatabaseStamps(const std::string& path);
  bool operator==(const CDatabaseStamps& other) const = default;

 private:
  struct SStamp {
    ino_t inode = 0;
    off_t size = -1;  // no such file
    time_t seconds = 0;
    long nanoseconds = 0;

    bool operator==(const SStamp& other) const = default;
  };
  static SStamp StampOf(const std::string& path);

  std::array<SStamp, kDatabaseTails.size()> m_stamps;
};

}  // namespace qvhost
