#include "host/jobs/job_worker.h"

#include <deque>
#include <mutex>
#include <thread>
#include <unordered_map>

#include "host/files/file_jobs.h"
#include "host/host_error.h"
#include "host/session/interrupt.h"
#include "host/session/sqlite.h"
#include "host/shards/catalog_supply.h"

namespace qvhost {
namespace {

// The files that have come, received on a thread of its own so that a stop is heard while thumbnails are made.
class CHandedFiles {
 public:
  // Whoever waits for `finished` is woken when something has come.
  CHandedFiles(const CJobChannel& channel, CFinishedQueue& finished, const SJobOrder& first)
      : m_channel(channel), m_finished(finished), m_numbers(first.numbers.begin(), first.numbers.end()) {
    m_thread = std::thread([this] { Receive(); });
  }
  CHandedFiles(const CHandedFiles&) = delete;
  CHandedFiles& operator=(const CHandedFiles&) = delete;
  ~CHandedFiles() {
    m_channel.StopReceiving();
    m_thread.join();
  }

  IThumbnailJobs::ENext Next(std::size_t* number) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_numbers.empty()) return m_isAll ? IThumbnailJobs::ENext::End : IThumbnailJobs::ENext::Later;
    *number = m_numbers.front();
    m_numbers.pop_front();
    return IThumbnailJobs::ENext::Job;
  }

 private:
  void Receive() {
    for (bool goesOn = true; goesOn;) {
      const SJobOrder order = m_channel.ReceiveOrder().value_or(SJobOrder{});
      if (order.kind == SJobOrder::EKind::Stop) CInterrupt::Request();
      goesOn = order.kind == SJobOrder::EKind::Files;
      {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_numbers.insert(m_numbers.end(), order.numbers.begin(), order.numbers.end());
        m_isAll = !goesOn;
      }
      m_finished.Wake();
    }
  }

  const CJobChannel& m_channel;
  CFinishedQueue& m_finished;
  std::mutex m_mutex;
  std::deque<std::uint32_t> m_numbers;  // guarded by m_mutex
  bool m_isAll = false;                 // guarded by m_mutex
  std::thread m_thread;
};

// Tells of each file under its number.
class CJobReporter : public IThumbnailObserver {
 public:
  explicit CJobReporter(const CJobChannel& channel) : m_channel(channel) {}

  void Expect(const std::string& name, std::size_t number) { m_numbers[name] = static_cast<std::uint32_t>(number); }

  void OnThumbnail(const SThumbnailJob& job, bool made, const SQvPicBuf&) override {
    Tell(made ? SJobReport::EKind::Made : SJobReport::EKind::Cached, job.name, {});
  }
  void OnFailed(const std::string& name, const std::string& reason) override {
    Tell(SJobReport::EKind::Failed, name, reason);
  }

 private:
  void Tell(SJobReport::EKind kind, const std::string& name, const std::string& text) {
    const auto found = m_numbers.find(name);
    if (found == m_numbers.end()) return;
    m_channel.Send({kind, found->second, text});
    m_numbers.erase(found);
  }

  const CJobChannel& m_channel;
  std::unordered_map<std::string, std::uint32_t> m_numbers;  // of the files that are not yet told of, by name
};

// How many thumbnails came from the catalogue.
std::int64_t MakeHandedFiles(const CJobChannel& channel, const SJobOrder& first, const std::vector<std::string>& files,
                             const SJobSettings& settings) {
  CSession session;
  session.Open(settings.database, EDatabaseNeed::Fill);
  CFileJobs jobs(files, settings.make.highQuality, session.DatabasePath());
  const std::unique_ptr<CCatalog> catalog = OpenCatalogFor(jobs, session, settings.catalog);
  CJobReporter reporter(channel);
  CHandedFiles handed(channel, session.Finished(), first);
  jobs.SetOrder([&](std::size_t* number) {
    const IThumbnailJobs::ENext next = handed.Next(number);
    if (next == IThumbnailJobs::ENext::Job) reporter.Expect(files[*number], *number);
    return next;
  });
  CThumbnailMaker(session, jobs, reporter, settings.make).Run();
  return catalog ? catalog->Supplied() : 0;
}

}  // namespace

void RunJobWorker(const CJobChannel& channel, const std::vector<std::string>& files,
                  const SJobSettings& settings) noexcept {
  SJobReport last;
  try {
    const std::optional<SJobOrder> first = channel.ReceiveOrder();
    if (!first || first->kind != SJobOrder::EKind::Files) return;
    last.number = static_cast<std::uint32_t>(MakeHandedFiles(channel, *first, files, settings));
  } catch (const CHostError& error) {
    last = {SJobReport::EKind::Stopped, static_cast<std::uint32_t>(error.Status()), error.what()};
  } catch (const std::exception& error) {
    last = {SJobReport::EKind::Stopped, kExitWrongUse, ErrorText(error)};
  }
  channel.Send(last);
}

}  // namespace qvhost
