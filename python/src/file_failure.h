#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "host/files/failure_reason.h"
#include "system/qvthumbnaildescription.h"

namespace qvpython {

// Why there is no thumbnail, or no text, of a file. The numbers are those of FAILURES in _errors.py.
enum class EFailure {
  None = 0,
  Other = 1,        // changes while it is read, or another file has its name
  Unreadable = 2,   // missing, or may not be read
  Damaged = 3,      // of a known format, and broken
  Unsupported = 4,  // of no known format, or with pixels that cannot be shown
};

struct SFailure {
  EFailure kind = EFailure::None;
  std::string reason;  // for people
};

// Of a file that the service could not show or read, which is opened once more to find out: with `reason`, which may
// serve for many. `path` is absolute.
SFailure ExplainFile(const std::string& path, const CQvStringW& location, qvhost::CFailureReason& reason);

// A call about one file failed.
class CFileError : public std::runtime_error {
 public:
  explicit CFileError(const SFailure& failure) : std::runtime_error(failure.reason), m_kind(failure.kind) {}
  EFailure Kind() const noexcept { return m_kind; }

 private:
  EFailure m_kind;
};

}  // namespace qvpython
