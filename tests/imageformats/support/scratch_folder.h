#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "system/qvstring.h"

// A folder of its own for one test, removed with everything in it.
class CScratchFolder {
 public:
  CScratchFolder();
  CScratchFolder(const CScratchFolder&) = delete;
  CScratchFolder& operator=(const CScratchFolder&) = delete;
  ~CScratchFolder();

  const std::string& Path() const noexcept { return m_path; }
  // Writes a file; returns its path.
  CQvStringW Write(const std::string& name, std::span<const std::uint8_t> bytes) const;
  CQvStringW Write(const std::string& name, const std::string& text) const;
  CQvStringW PathOf(const std::string& name) const;

 private:
  std::string m_path;
};
