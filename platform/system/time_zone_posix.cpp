#include <ctime>

#include "platform/system/calendar.h"
#include "system/qvdatetime.h"

namespace {

CQvDateTime::TimeZone ZoneAt(std::time_t seconds) noexcept {
  std::tm local = {};
  return localtime_r(&seconds, &local) ? static_cast<CQvDateTime::TimeZone>(local.tm_gmtoff / 60) : 0;
}

// Seconds since 1970 of 1601-01-01.
constexpr std::time_t kFirstSecond = -11644473600;

}  // namespace

CQvDateTime::TimeZone CQvDateTime::GetLocalZone() const noexcept {
  return ZoneAt(kFirstSecond + static_cast<std::time_t>(m_ticks / kTicksPerSecond));
}

bool CQvDateTime::SetLocal(const Tm& tm) noexcept {
  CQvDateTime asUtc;
  if (!asUtc.Set(tm, 0)) return false;
  // The zone at the time itself is the one at the time as if it were UTC, unless the clocks were changed in between.
  CQvDateTime near;
  if (!near.Set(tm, asUtc.GetLocalZone())) return false;
  return Set(tm, near.GetLocalZone());
}
