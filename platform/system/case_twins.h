#pragma once

#include <chrono>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/system/folder_state.h"

// What is known of the names in one folder that differ in case only. One thread at a time.
class CCaseTwins {
 public:
  // Above this number of names the rest of a folder is not looked at.
  static constexpr std::size_t kMaxNames = std::size_t{1} << 15;

  // The names that equal this one without regard to case, itself among them, in byte order; empty when there is no
  // other, or when they were given before. `state` is the folder's. A folder that keeps changing is read again when
  // many times as long has gone by as that takes, so twins that have just come may be found a moment later.
  std::vector<std::string> TakeUntold(const std::string& folder, const SFolderState& state, const std::string& name);

 private:
  using CClock = std::chrono::steady_clock;

  bool IsDue(const SFolderState& state) const;
  void Read(const std::string& folder, const SFolderState& seen);

  SFolderState m_state;
  bool m_settled = false;
  CClock::time_point m_firstSeen, m_due;
  std::map<std::wstring, std::vector<std::string>> m_names;  // by their folded form, where there are several
  std::set<std::wstring> m_told;
};
