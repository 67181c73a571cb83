#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace qvtest {

// What a process wanted to write to a shared file and what it was told is written. Lines go to a file at once, so that
// they outlive a kill. Keys and values have no spaces and no line ends.
class CWriteLog {
 public:
  // Throws std::system_error when the file cannot be made.
  explicit CWriteLog(const std::string& path);
  ~CWriteLog();
  CWriteLog(const CWriteLog&) = delete;
  CWriteLog& operator=(const CWriteLog&) = delete;

  void Begin(const std::string& key, const std::string& value);
  // Of the write that was begun last.
  void Acknowledge();

 private:
  void Write(const std::string& line);

  int m_file = -1;
};

// What may stand under a key after its writer was killed: the last acknowledged value, or one that was begun after it.
struct SWritten {
  std::optional<std::string> acknowledged;
  std::vector<std::string> begunSince;

  bool Allows(const std::optional<std::string>& value) const;
};

// Adds what a log says; keys of several logs must not be the same.
void ReadWriteLog(const std::string& path, std::map<std::string, SWritten>& written);

}  // namespace qvtest
