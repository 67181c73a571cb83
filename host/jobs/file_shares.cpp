#include "host/jobs/file_shares.h"

#include <algorithm>
#include <set>
#include <string_view>

namespace qvhost {
namespace {

// Files that are ready to be handed out.
constexpr std::size_t kFewReady = 4096;
// Looked at in one call, so that the caller is not kept for long.
constexpr std::uint32_t kReadAtOnce = 1024;
// The most that a helper holds of each file that it works on.
constexpr std::size_t kMostWaiting = 16;

std::string_view SharedFolder(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return std::string_view(path).substr(0, slash == path.npos ? 0 : slash);
}

}  // namespace

CFileShares::CFileShares(const std::vector<std::string>& files, const std::vector<int>& atOnce, CIsDone isDone)
    : m_files(files), m_isDone(std::move(isDone)) {
  for (const int count : atOnce) {
    m_helpers.push_back({count, {}, m_runs.end()});
    m_allAtOnce += count;
  }
}

void CFileShares::Add(std::uint32_t number) {
  const std::string_view folder = SharedFolder(m_files[number]);
  if (m_runs.empty() || m_runs.back().folder != folder) m_runs.push_back({std::string(folder), {}});
  m_runs.back().numbers.push_back(number);
  ++m_ready;
}

bool CFileShares::ReadOn() {
  if (m_ready >= kFewReady || m_next == m_files.size()) return false;
  const auto size = static_cast<std::uint32_t>(m_files.size());
  for (const std::uint32_t end = std::min(size, m_next + kReadAtOnce); m_next != end; ++m_next) {
    if (!m_isDone(m_next)) Add(m_next);
  }
  return true;
}

// So much that it never waits for more, but less and less towards the end.
std::size_t CFileShares::Room(const SHelper& helper) const {
  const auto atOnce = static_cast<std::size_t>(helper.atOnce);
  const std::size_t left = m_ready + (m_files.size() - m_next);
  const std::size_t share = left * atOnce / (2 * static_cast<std::size_t>(m_allAtOnce));
  const std::size_t wanted = std::clamp(share, atOnce, kMostWaiting * atOnce);
  // Handed out many at a time while there are many.
  const bool isEnough = helper.held.size() > (wanted == atOnce ? atOnce - 1 : wanted / 2);
  return isEnough ? 0 : wanted - helper.held.size();
}

// The larger part of the longest run stays with the one who has it.
std::list<CFileShares::SRun>::iterator CFileShares::Halve() {
  const auto longest = std::max_element(
      m_runs.begin(), m_runs.end(), [](const SRun& a, const SRun& b) { return a.numbers.size() < b.numbers.size(); });
  if (longest == m_runs.end() || longest->numbers.size() < 2) return longest;
  const auto middle = longest->numbers.begin() + static_cast<std::ptrdiff_t>((longest->numbers.size() + 1) / 2);
  SRun half{longest->folder, {middle, longest->numbers.end()}};
  longest->numbers.erase(middle, longest->numbers.end());
  return m_runs.insert(std::next(longest), std::move(half));
}

std::list<CFileShares::SRun>::iterator CFileShares::FindRun() {
  const auto free = std::find_if(m_runs.begin(), m_runs.end(), [](const SRun& run) { return !run.isTaken; });
  return free == m_runs.end() ? Halve() : free;
}

std::vector<std::uint32_t> CFileShares::Take(std::size_t number) {
  SHelper& helper = m_helpers[number];
  std::vector<std::uint32_t> taken;
  for (std::size_t room = Room(helper); room > 0 && m_ready > 0; --room) {
    if (helper.run == m_runs.end()) helper.run = FindRun();
    helper.run->isTaken = true;
    taken.push_back(helper.run->numbers.front());
    helper.run->numbers.pop_front();
    --m_ready;
    if (!helper.run->numbers.empty()) continue;
    const auto emptied = helper.run;
    for (SHelper& any : m_helpers) {
      if (any.run == emptied) any.run = m_runs.end();
    }
    m_runs.erase(emptied);
  }
  // Alone, so that when the helper goes again it is known why.
  if (taken.empty() && helper.held.empty() && m_next == m_files.size() && !m_suspects.empty()) {
    taken.push_back(m_suspects.front());
    m_suspects.pop_front();
  }
  helper.held.insert(taken.begin(), taken.end());
  return taken;
}

bool CFileShares::Finish(std::size_t helper, std::uint32_t number) { return m_helpers[helper].held.erase(number) == 1; }

std::vector<std::uint32_t> CFileShares::Lose(std::size_t number) {
  SHelper& helper = m_helpers[number];
  std::vector<std::uint32_t> givenUp;
  const std::set<std::uint32_t> inOrder(helper.held.begin(), helper.held.end());
  for (const std::uint32_t file : inOrder) {
    if (m_wereLost.insert(file).second) {
      m_suspects.push_back(file);
    } else {
      givenUp.push_back(file);
    }
  }
  helper.held.clear();
  m_allAtOnce = std::max(m_allAtOnce - helper.atOnce, 1);
  if (helper.run != m_runs.end()) helper.run->isTaken = false;
  helper.run = m_runs.end();
  return givenUp;
}

bool CFileShares::IsDone() const {
  return m_next == m_files.size() && m_ready == 0 && m_suspects.empty() &&
         std::all_of(m_helpers.begin(), m_helpers.end(), [](const SHelper& helper) { return helper.held.empty(); });
}

}  // namespace qvhost
