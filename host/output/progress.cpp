#include "host/output/progress.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host/output/text.h"

namespace qvhost {
namespace {

using namespace std::chrono_literals;

constexpr auto kRedrawInterval = 100ms;
constexpr auto kPrintInterval = 30s;
// The rate follows a change of pace within this time.
constexpr auto kRateWindow = 10s;
constexpr std::size_t kBarWidth = 24;

bool IsTerminal() {
  const char* term = std::getenv("TERM");
  return isatty(STDERR_FILENO) == 1 && !(term && std::strcmp(term, "dumb") == 0);
}

std::size_t TerminalWidth() {
  winsize size = {};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
  return size.ws_col;
}

std::string Bar(double part) {
  const auto filled = static_cast<std::size_t>(part * static_cast<double>(kBarWidth));
  std::string bar;
  for (std::size_t i = 0; i < kBarWidth; ++i) bar += i < filled ? "█" : "░";
  return bar;
}

// The end of a name says more than its beginning. Cuts between characters.
std::string Shorten(const std::string& name, std::size_t room) {
  std::size_t width = DisplayWidth(name);
  if (width <= room) return name;
  if (room < 4) return {};
  std::size_t from = 0;
  while (width > room - 1 && from < name.size()) {
    do {
      ++from;
    } while (from < name.size() && (static_cast<unsigned char>(name[from]) & 0xC0) == 0x80);
    --width;
  }
  return "…" + name.substr(from);
}

}  // namespace

CProgress::CProgress(std::int64_t total, bool quiet) : m_total(total), m_quiet(quiet), m_terminal(IsTerminal()) {
  if (!m_terminal) m_drawn = m_start;
  m_samples.push_back({m_start, 0});
}

double CProgress::Seconds() const { return std::chrono::duration<double>(Clock::now() - m_start).count(); }

double CProgress::Rate() const {
  const std::chrono::duration<double> span = Clock::now() - m_samples.front().when;
  return span.count() > 0.0 ? static_cast<double>(m_done - m_samples.front().done) / span.count() : 0.0;
}

std::string CProgress::FormatState() const {
  const double rate = Rate();
  std::string text = fmt::format("{} of {}", FormatCount(m_done), FormatCount(m_total));
  if (rate <= 0.0) return text;
  text += rate < 100.0 ? fmt::format("  {:.2g}/s", rate) : "  " + FormatCount(std::llround(rate)) + "/s";
  if (m_done < m_total)
    text += "  " + FormatDuration(std::ceil(static_cast<double>(m_total - m_done) / rate)) + " left";
  return text;
}

void CProgress::Update(std::int64_t done, const std::string& current) {
  m_done = done;
  if (m_quiet) return;
  if (!m_terminal) {
    PrintSometimes();
    return;
  }
  const Clock::time_point now = Clock::now();
  if (now - m_drawn < kRedrawInterval && done < m_total) return;
  m_drawn = now;
  m_samples.push_back({now, done});
  while (m_samples.size() > 2 && now - m_samples[1].when > kRateWindow) m_samples.pop_front();
  Draw(current);
}

void CProgress::PrintSometimes() {
  const Clock::time_point now = Clock::now();
  if (now - m_drawn < kPrintInterval || m_done == m_total) return;
  m_drawn = now;
  std::fprintf(stderr, "%s\n", FormatState().c_str());
}

// As much as fits into the line: the share, how far it is, the bar, the name.
void CProgress::Draw(const std::string& current) {
  const double part = m_total > 0 ? static_cast<double>(m_done) / static_cast<double>(m_total) : 1.0;
  // One column stays free: a full line would wrap on some terminals.
  const std::size_t room = TerminalWidth() - 1;
  std::string line = fmt::format("{:3.0f}%", part * 100.0);
  const std::string state = "  " + FormatState();
  if (DisplayWidth(line) + DisplayWidth(state) <= room) line += state;
  if (DisplayWidth(line) + kBarWidth < room) line = Bar(part) + " " + line;
  const std::size_t used = DisplayWidth(line) + 2;
  if (const std::string name = Shorten(Printable(current), used < room ? room - used : 0); !name.empty()) {
    line += "  " + name;
  }
  std::fprintf(stderr, "\r\x1b[K%s", line.c_str());
  std::fflush(stderr);
  m_visible = true;
}

void CProgress::Erase() {
  if (!m_visible) return;
  std::fputs("\r\x1b[K", stderr);
  m_visible = false;
}

void CProgress::PrintLine(const std::string& line) {
  Erase();
  std::fprintf(stderr, "%s\n", line.c_str());
  if (m_terminal) m_drawn = {};
}

void CProgress::Finish() {
  Erase();
  std::fflush(stderr);
}

}  // namespace qvhost
