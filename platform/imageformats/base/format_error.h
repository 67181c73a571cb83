#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "system/qvstatus.h"

namespace imageformats {

// How codec code reports that it cannot go on. Thrown by codec folders, caught by the adapters of
// component/picture_source.h, which turn it into the status and the error text; it never leaves an interface operation.
// Texts are UTF-8 sentences for people, without a full stop: what is wrong with the file, not where in the code.
class CFormatError : public std::runtime_error {
 public:
  std::int32_t Status() const noexcept { return m_status; }

 protected:
  CFormatError(std::int32_t status, const std::string& text) : std::runtime_error(text), m_status(status) {}

 private:
  std::int32_t m_status;
};

// Damaged, unreadable, not an image, over a limit, wrong arguments: -9.
class CDamagedError : public CFormatError {
 public:
  explicit CDamagedError(const std::string& text) : CFormatError(kQvFailure, text) {}
};

// A sound file with a pixel type or compression that this build cannot treat: -3. For nothing else.
class CUnsupportedError : public CFormatError {
 public:
  explicit CUnsupportedError(const std::string& text) : CFormatError(kQvUnsupported, text) {}
};

// For arguments of operations and what files must have. Throws CDamagedError.
inline void Require(bool condition, const char* text) {
  if (!condition) throw CDamagedError(text);
}

}  // namespace imageformats
