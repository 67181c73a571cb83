#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>

namespace qvhost {

// How far a long command has come, on standard error: a bar that is redrawn in place on a terminal, else a plain line
// twice a minute. One thread.
class CProgress {
 public:
  // A quiet one shows nothing but the lines given to PrintLine.
  CProgress(std::int64_t total, bool quiet);
  CProgress(const CProgress&) = delete;
  CProgress& operator=(const CProgress&) = delete;
  ~CProgress() { Finish(); }

  void Update(std::int64_t done, const std::string& current);
  // Prints a line above the bar.
  void PrintLine(const std::string& line);
  // Removes the bar.
  void Finish();
  double Seconds() const;

 private:
  using Clock = std::chrono::steady_clock;
  struct SSample {
    Clock::time_point when;
    std::int64_t done;
  };

  void Draw(const std::string& current);
  void PrintSometimes();
  double Rate() const;
  std::string FormatState() const;
  void Erase();

  const std::int64_t m_total;
  const bool m_quiet;
  const bool m_terminal;
  const Clock::time_point m_start = Clock::now();
  std::int64_t m_done = 0;
  Clock::time_point m_drawn = {};
  std::deque<SSample> m_samples;  // of the last seconds, for the rate
  bool m_visible = false;
};

}  // namespace qvhost
