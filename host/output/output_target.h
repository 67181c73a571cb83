#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>

namespace qvhost {

// Where a command writes what the user named: a file, or a stream (standard output for "-" and for any name of it, a
// pipe, a device but no disk). A symbolic link is followed and stays a link.
class COutputTarget {
 public:
  // Whether a file that begins so was written by this program, so that it may be replaced.
  using IsOwn = bool (*)(std::string_view head);

  // Only looks. Throws CHostError when the name leads to a folder, or to a file with another content than this program
  // writes there: images and other programs' files are never replaced.
  COutputTarget(const std::string& name, IsOwn isOwn);

  // Throws CHostError when the output would replace that file, under whatever name and through whatever link.
  void RequireOtherThan(const std::string& input) const;

  // For people.
  const std::string& Name() const noexcept { return m_name; }
  bool IsStandardOutput() const noexcept { return m_isStandardOutput; }
  bool IsStream() const noexcept { return m_isStream; }
  // Where a file is to stand, links resolved; what a stream is to be opened by.
  const std::string& Path() const noexcept { return m_path; }
  // What stands there, if anything does.
  const std::optional<struct stat>& Present() const noexcept { return m_present; }

 private:
  void RequireOwn(IsOwn isOwn) const;

  std::string m_name;
  std::string m_path;
  std::optional<struct stat> m_present;
  bool m_isStandardOutput = false, m_isStream = false;
};

}  // namespace qvhost
