#include "host/jobs/job_team.h"

#include <fmt/format.h>
#include <poll.h>

#include <algorithm>

#include "host/files/current_files.h"
#include "host/session/interrupt.h"

namespace qvhost {
namespace {

constexpr int kLookForInterrupt = 100;  // milliseconds

std::vector<int> SplitJobs(int jobs) {
  std::vector<int> atOnce(static_cast<std::size_t>(jobs / CJobTeam::kAtOnce), CJobTeam::kAtOnce);
  if (jobs % CJobTeam::kAtOnce != 0) atOnce.push_back(jobs % CJobTeam::kAtOnce);
  return atOnce;
}

std::vector<CJobProcesses::CWork> WorksOf(const std::vector<int>& atOnce, const std::vector<std::string>& files,
                                          const SJobSettings& settings) {
  std::vector<CJobProcesses::CWork> works;
  for (const int count : atOnce) {
    SJobSettings own = settings;
    own.make.sync = count == 1;
    works.emplace_back([&files, own](const CJobChannel& channel) { RunJobWorker(channel, files, own); });
  }
  return works;
}

}  // namespace

struct CJobTeam::SRunning {
  CFileShares& shares;
  IThumbnailObserver& observer;
  const CTell& tell;
};

CJobTeam::CJobTeam(const std::vector<std::string>& files, int jobs, const SJobSettings& settings)
    : m_files(files),
      m_highQuality(settings.make.highQuality),
      m_atOnce(SplitJobs(jobs)),
      m_processes(WorksOf(m_atOnce, files, settings)),
      m_isThere(m_processes.Count(), true),
      m_hasEnded(m_processes.Count(), false) {}

bool CJobTeam::Run(const std::string& databasePath, IThumbnailObserver& observer, const CTell& tell) {
  std::optional<CCurrentFiles> current;
  if (m_files.size() >= CCurrentFiles::kFewest) current.emplace(m_files, m_highQuality, databasePath);
  CFileShares shares(m_files, m_atOnce, [&](std::uint32_t number) {
    if (!current || !current->IsCurrent(number)) return false;
    observer.OnThumbnail({m_files[number], {}}, false, {});
    return true;
  });
  SRunning run{shares, observer, tell};
  while (std::count(m_isThere.begin(), m_isThere.end(), true) > 0) {
    bool readsOn = false;
    if (CInterrupt::Requested() || m_error) {
      TellAll(SJobOrder::EKind::Stop);
    } else {
      readsOn = shares.ReadOn();
      for (std::size_t i = 0; i < m_isThere.size(); ++i) HandOut(shares, i);
      if (shares.IsDone()) TellAll(SJobOrder::EKind::End);
    }
    Listen(run, readsOn ? 0 : kLookForInterrupt);
  }
  if (m_error) throw CHostError(*m_error);
  if (shares.IsDone()) return true;
  if (CInterrupt::Requested()) return false;
  throw CHostError(
      fmt::format("stopped: the processes that make thumbnails were ended, the last one by {}; run again", m_lastLoss),
      kExitSomeFailed);
}

void CJobTeam::HandOut(CFileShares& shares, std::size_t process) {
  if (!m_isThere[process]) return;
  std::vector<std::uint32_t> numbers = shares.Take(process);
  // That it is not there any more is heard soon.
  if (!numbers.empty()) m_processes.Channel(process).Send({SJobOrder::EKind::Files, std::move(numbers)});
}

void CJobTeam::TellAll(SJobOrder::EKind kind) {
  if (m_isTold) return;
  m_isTold = true;
  for (std::size_t i = 0; i < m_isThere.size(); ++i) {
    if (m_isThere[i]) m_processes.Channel(i).Send({kind, {}});
  }
}

void CJobTeam::Listen(SRunning& run, int milliseconds) {
  std::vector<pollfd> sockets;
  for (std::size_t i = 0; i < m_isThere.size(); ++i) {
    // A negative one is passed over.
    sockets.push_back({m_isThere[i] ? m_processes.Channel(i).Socket() : -1, POLLIN, 0});
  }
  if (poll(sockets.data(), sockets.size(), milliseconds) <= 0) return;
  for (std::size_t i = 0; i < sockets.size(); ++i) {
    if (sockets[i].revents != 0) Hear(run, i);
  }
}

void CJobTeam::Hear(SRunning& run, std::size_t process) {
  const std::optional<SJobReport> report = m_processes.Channel(process).ReceiveReport();
  if (!report) return OnLost(run, process);
  switch (report->kind) {
    case SJobReport::EKind::Ended:
      m_hasEnded[process] = true;
      m_supplied += report->number;
      return;
    case SJobReport::EKind::Stopped:
      m_hasEnded[process] = true;
      if (!m_error) m_error.emplace(report->text, static_cast<int>(report->number));
      return;
    case SJobReport::EKind::Made:
    case SJobReport::EKind::Cached:
    case SJobReport::EKind::Failed:
      break;
  }
  if (!run.shares.Finish(process, report->number)) return;
  const std::string& name = m_files[report->number];
  if (report->kind == SJobReport::EKind::Failed) return run.observer.OnFailed(name, report->text);
  run.observer.OnThumbnail({name, {}}, report->kind == SJobReport::EKind::Made, {});
}

void CJobTeam::OnLost(SRunning& run, std::size_t process) {
  m_isThere[process] = false;
  const std::string end = m_processes.WaitForEnd(process);
  if (m_hasEnded[process] || m_isTold) return;
  m_lastLoss = end;
  if (std::count(m_isThere.begin(), m_isThere.end(), true) > 0) {
    run.tell(fmt::format("qvthumbs: a process that makes thumbnails was ended by {}; the others take its files", end));
  }
  for (const std::uint32_t number : run.shares.Lose(process)) {
    run.observer.OnFailed(m_files[number],
                          fmt::format("the process that made its thumbnail was ended twice, now by {}", end));
  }
}

}  // namespace qvhost
