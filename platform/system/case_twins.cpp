#include "platform/system/case_twins.h"

#include <algorithm>
#include <utility>

bool CCaseTwins::IsDue(const SFolderState& state) const {
  return (!m_settled || !(m_state == state)) && CClock::now() >= m_due;
}

void CCaseTwins::Read(const std::string& folder, const SFolderState& seen) {
  // Reading takes at most this part of the time.
  constexpr int kShare = 20;
  const CClock::time_point begin = CClock::now();
  std::vector<std::pair<std::wstring, std::string>> names;
  SFolderState state = seen;
  const bool read = ForEachName(folder, &state, [&](const char* name) {
    names.emplace_back(FoldName(name), name);
    return names.size() != kMaxNames;
  });
  if (!(m_state == state)) m_firstSeen = begin;
  m_state = state;
  m_settled = !read || IsSettled(state, WallClockNow(), begin - m_firstSeen);
  m_names.clear();
  std::sort(names.begin(), names.end());
  for (auto first = names.begin(); first != names.end();) {
    const auto last = std::find_if(first, names.end(), [&](const auto& other) { return other.first != first->first; });
    for (auto name = first; last - first > 1 && name != last; ++name) m_names[first->first].push_back(name->second);
    first = last;
  }
  const CClock::time_point end = CClock::now();
  m_due = end + kShare * (end - begin);
}

std::vector<std::string> CCaseTwins::TakeUntold(const std::string& folder, const SFolderState& state,
                                                const std::string& name) {
  if (IsDue(state)) Read(folder, state);
  if (m_names.empty()) return {};
  const auto twins = m_names.find(FoldName(name));
  if (twins == m_names.end() || !m_told.insert(twins->first).second) return {};
  return twins->second;
}
