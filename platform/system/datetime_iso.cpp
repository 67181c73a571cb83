#include "platform/system/calendar.h"
#include "system/qvdatetime.h"

namespace {

// Walks over an ISO 8601 text; every step either succeeds or leaves the position where it is.
class CIsoCursor {
 public:
  explicit CIsoCursor(const char* text) noexcept : m_at(text) {}

  bool AtEnd() const noexcept { return *m_at == '\0'; }
  char Peek() const noexcept { return *m_at; }

  bool Skip(char c) noexcept {
    if (*m_at != c) return false;
    ++m_at;
    return true;
  }

  // Exactly `count` decimal digits.
  bool Digits(int count, std::int32_t* value) noexcept {
    std::int32_t sum = 0;
    for (int i = 0; i < count; ++i) {
      if (!IsDigit(m_at[i])) return false;
      sum = sum * 10 + (m_at[i] - '0');
    }
    m_at += count;
    *value = sum;
    return true;
  }

  // One digit or more as a fraction of a second; what is finer than 100 ns is cut off.
  bool Fraction(std::int32_t* ticks) noexcept {
    if (!IsDigit(*m_at)) return false;
    std::int32_t sum = 0;
    for (auto unit = static_cast<std::int32_t>(kTicksPerSecond); IsDigit(*m_at); ++m_at) {
      unit /= 10;
      sum += unit * (*m_at - '0');
    }
    *ticks = sum;
    return true;
  }

 private:
  static bool IsDigit(char c) noexcept { return c >= '0' && c <= '9'; }

  const char* m_at;
};

bool ParseDate(CIsoCursor& at, CQvDateTime::Tm* tm) noexcept {
  return at.Digits(4, &tm->year) && at.Skip('-') && at.Digits(2, &tm->month) && at.Skip('-') && at.Digits(2, &tm->day);
}

bool ParseTime(CIsoCursor& at, CQvDateTime::Tm* tm) noexcept {
  if (!at.Digits(2, &tm->hour) || !at.Skip(':') || !at.Digits(2, &tm->minute)) return false;
  if (!at.Skip(':')) return true;
  if (!at.Digits(2, &tm->second)) return false;
  return !at.Skip('.') || at.Fraction(&tm->ticks);
}

bool ParseZone(CIsoCursor& at, CQvDateTime::TimeZone* zone) noexcept {
  if (at.Skip('Z')) return true;
  const bool west = at.Peek() == '-';
  if (!at.Skip('-') && !at.Skip('+')) return true;
  std::int32_t hours = 0, minutes = 0;
  if (!at.Digits(2, &hours) || !at.Skip(':') || !at.Digits(2, &minutes) || hours > 23 || minutes > 59) return false;
  *zone = (west ? -1 : 1) * (hours * 60 + minutes);
  return true;
}

}  // namespace

bool CQvDateTime::SetIso(const char* text) noexcept {
  if (!text) return false;
  CIsoCursor at(text);
  Tm tm;
  TimeZone zone = 0;
  if (!ParseDate(at, &tm)) return false;
  if ((at.Skip('T') || at.Skip(' ')) && !ParseTime(at, &tm)) return false;
  return ParseZone(at, &zone) && at.AtEnd() && Set(tm, zone);
}
