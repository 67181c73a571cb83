#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/host_error.h"
#include "host/jobs/file_shares.h"
#include "host/jobs/job_processes.h"
#include "host/jobs/job_worker.h"

namespace qvhost {

// Processes of this program that make the thumbnails of a list of files together: each with a service of its own, whose
// two workers share the work on its files, all on one database file. This process only shares the files out and hears
// what became of them.
class CJobTeam {
 public:
  // The most thumbnails that one process makes at once.
  static constexpr int kAtOnce = 2;

  // Starts the processes, which wait. This one must have no other threads yet; the list must outlive the object.
  // `jobs`: how many thumbnails are made at once. Throws CHostError.
  CJobTeam(const std::vector<std::string>& files, int jobs, const SJobSettings& settings);

  using CTell = std::function<void(const std::string& line)>;
  // Makes them. The database has its tables. Tells the observer of each file once, and people of a process that has
  // died: what it was at is left to the others. True; or false when interrupted, after the work in progress. Throws
  // CHostError when no thumbnail can be made any more.
  bool Run(const std::string& databasePath, IThumbnailObserver& observer, const CTell& tell);

  // How many thumbnails came from the catalogue.
  std::int64_t Supplied() const noexcept { return m_supplied; }

 private:
  struct SRunning;
  void HandOut(CFileShares& shares, std::size_t process);
  void TellAll(SJobOrder::EKind kind);
  void Listen(SRunning& run, int milliseconds);
  void Hear(SRunning& run, std::size_t process);
  void OnLost(SRunning& run, std::size_t process);

  const std::vector<std::string>& m_files;
  const bool m_highQuality;
  const std::vector<int> m_atOnce;  // of each process
  CJobProcesses m_processes;
  std::vector<bool> m_isThere;   // of each process
  std::vector<bool> m_hasEnded;  // it has told so
  bool m_isTold = false;         // to end or to stop
  std::string m_lastLoss;        // how the last one that died did
  std::optional<CHostError> m_error;
  std::int64_t m_supplied = 0;
};

}  // namespace qvhost
