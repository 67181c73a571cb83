#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <string>
#include <unordered_set>
#include <vector>

namespace qvhost {

// Shares a list of files out among helpers as they finish what they have, so that none is idle while another has a
// heap: at the end of the list each holds only what it is at. A helper stays in a folder while it has files, since
// files that are read together lie together; a folder is shared once every folder has a helper. Files are numbered as
// in the list, of which only a part is looked at ahead. One thread.
class CFileShares {
 public:
  // Whether nothing is to be done about a file; asked once for each, with numbers that ascend.
  using CIsDone = std::function<bool(std::uint32_t number)>;

  // The list must outlive the object. `atOnce`: how many files each helper works on at once.
  CFileShares(const std::vector<std::string>& files, const std::vector<int>& atOnce, CIsDone isDone);
  CFileShares(const CFileShares&) = delete;
  CFileShares& operator=(const CFileShares&) = delete;

  // Looks at some more of the list when little of it is ready; false when nothing can be read now.
  bool ReadOn();
  // What to hand to the helper now; empty when it has enough, or when nothing is left for it.
  std::vector<std::uint32_t> Take(std::size_t helper);
  // False when the helper does not hold that file.
  bool Finish(std::size_t helper, std::uint32_t number);
  // The helper is gone. What it held is handed out again, one file at a time and last; the file that a second helper
  // held alone when it went is given up and returned.
  std::vector<std::uint32_t> Lose(std::size_t helper);
  // Whether all is finished or given up.
  bool IsDone() const;

 private:
  // Neighbours in the list that lie in one folder.
  struct SRun {
    std::string folder;
    std::deque<std::uint32_t> numbers;
    bool isTaken = false;
  };
  struct SHelper {
    int atOnce = 0;
    std::unordered_set<std::uint32_t> held;
    std::list<SRun>::iterator run;
  };

  std::size_t Room(const SHelper& helper) const;
  std::list<SRun>::iterator FindRun();
  std::list<SRun>::iterator Halve();
  void Add(std::uint32_t number);

  const std::vector<std::string>& m_files;
  const CIsDone m_isDone;
  std::uint32_t m_next = 0;  // of the list, not yet looked at
  std::size_t m_ready = 0;   // in all runs
  std::list<SRun> m_runs;    // none of them is empty
  std::vector<SHelper> m_helpers;
  int m_allAtOnce = 0;                   // of the helpers that are there
  std::deque<std::uint32_t> m_suspects;  // lost once, to be handed out again
  std::unordered_set<std::uint32_t> m_wereLost;
};

}  // namespace qvhost
