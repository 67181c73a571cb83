#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <string>

#include "gnr_thumbnailcache/base/file_state.h"
#include "gnr_thumbnailcache/base/locking.h"
#include "system/qvstring.h"

// What was known of a file before it was read.
struct SFileReading {
  bool found = false;
  SFileState state;
  std::int64_t time = 0;  // of this look

  // Whether the file was written so lately that a further write could leave its last-write time as it is.
  bool IsYoung() const noexcept;
  // Whether what the file says may be kept: a row can be checked later, or need not be.
  bool IsWorthStoring() const noexcept;
};

// To be called before a file is read.
SFileReading BeginFileReading(const CQvStringW& path);

// The rows that were made from young files, so that they are looked at once more: a last-write time is only as good as
// the clock that it comes from, which ticks every few milliseconds, or every second or two on some media. Any thread.
//
// A young file's row is served while the file is what it was to the last detail. When it is no longer young, a row that
// was made within one tick of the last write is made again, once. Where stamps are whole seconds, nothing short of a
// new look at the content tells a file from the one before, so nothing is stored of a young one (IsWorthStoring).
//
// The rows of earlier processes are not known here; what is left is a write within a tick of the reading, by a program
// that leaves the size, after which this process ends.
class CYoungFiles {
 public:
  CYoungFiles() noexcept { m_mutex.Init(); }
  CYoungFiles(const CYoungFiles&) = delete;
  CYoungFiles& operator=(const CYoungFiles&) = delete;

  // Of a reading that a row was made from: if the file was young, else there is nothing to look at once more. `row`
  // names the row among all rows.
  void Remember(const std::wstring& row, const SFileReading& reading) QV_EXCLUDES(m_mutex);
  // Whether the row is to be made again; it is not remembered then.
  bool IsOutdated(const std::wstring& row, const CQvStringW& path) QV_EXCLUDES(m_mutex);

 private:
  bool Find(const std::wstring& row, SFileReading* reading) QV_EXCLUDES(m_mutex);
  void Forget(const std::wstring& row) QV_EXCLUDES(m_mutex);

  std::atomic<bool> m_any{false};
  CMutex m_mutex;  // taken alone
  std::map<std::wstring, SFileReading> m_readings QV_GUARDED_BY(m_mutex);
  std::deque<std::wstring> m_order QV_GUARDED_BY(m_mutex);  // as they were first remembered
};
