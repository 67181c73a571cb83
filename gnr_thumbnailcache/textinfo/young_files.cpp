#include "gnr_thumbnailcache/textinfo/young_files.h"

#include <cstdlib>

namespace {

constexpr std::int64_t kSecond = 1'000'000'000;
// The coarsest stamps in use count two seconds.
constexpr std::int64_t kYoung = 2 * kSecond;
// Twice what the slowest kernels take between two stamps.
constexpr std::int64_t kTick = kSecond / 50;
// More young files than a viewer opens within two seconds.
constexpr std::size_t kMostReadings = 4096;

bool HasCoarseStamp(const SFileState& state) noexcept { return state.lastWrite % kSecond == 0; }

}  // namespace

// A stamp of the future is another clock's, and old by it as far as anybody knows.
bool SFileReading::IsYoung() const noexcept { return found && std::llabs(time - state.lastWrite) < kYoung; }

bool SFileReading::IsWorthStoring() const noexcept { return !IsYoung() || !HasCoarseStamp(state); }

SFileReading BeginFileReading(const CQvStringW& path) {
  SFileReading reading;
  reading.time = ReadFileClock();
  reading.found = ReadFileState(path, &reading.state);
  return reading;
}

void CYoungFiles::Remember(const std::wstring& row, const SFileReading& reading) {
  if (!reading.IsYoung()) return Forget(row);
  const CLockGuard lock(m_mutex);
  m_order.push_back(row);
  m_readings[row] = reading;
  if (m_order.size() > kMostReadings) {
    m_readings.erase(m_order.front());
    m_order.pop_front();
  }
  m_any = true;
}

bool CYoungFiles::IsOutdated(const std::wstring& row, const CQvStringW& path) {
  SFileReading reading;
  SFileState now;
  if (!m_any || !Find(row, &reading) || !ReadFileState(path, &now)) return false;
  const bool unchanged = now == reading.state;
  if (unchanged && ReadFileClock() - now.lastWrite < kYoung) return false;
  Forget(row);
  return !unchanged || reading.time - now.lastChange < kTick;
}

bool CYoungFiles::Find(const std::wstring& row, SFileReading* reading) {
  const CLockGuard lock(m_mutex);
  const auto known = m_readings.find(row);
  if (known == m_readings.end()) return false;
  *reading = known->second;
  return true;
}

void CYoungFiles::Forget(const std::wstring& row) {
  if (!m_any) return;
  const CLockGuard lock(m_mutex);
  m_readings.erase(row);
  m_any = !m_readings.empty();
}
