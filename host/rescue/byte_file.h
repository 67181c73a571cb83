#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <span>
#include <string>

namespace qvhost {

// A file that is only read, without locks and without a page of it mapped: it may be damaged, or cut off meanwhile.
class CByteFile {
 public:
  // A missing one, and one that is no regular file, is not open.
  explicit CByteFile(const std::string& path);
  CByteFile(const CByteFile&) = delete;
  CByteFile& operator=(const CByteFile&) = delete;
  ~CByteFile();

  bool IsOpen() const noexcept { return m_file >= 0; }
  std::int64_t Size() const noexcept { return m_status.st_size; }
  const struct stat& Status() const noexcept { return m_status; }
  // How many bytes could be read from an offset on: fewer than wanted at the end, or where the disk is damaged.
  std::size_t Read(std::int64_t offset, std::span<std::uint8_t> bytes) const;
  bool ReadWhole(std::int64_t offset, std::span<std::uint8_t> bytes) const {
    return Read(offset, bytes) == bytes.size();
  }

 private:
  int m_file = -1;
  struct stat m_status = {};
};

}  // namespace qvhost
