#include "host/watch/watch_run.h"

#include <exception>
#include <utility>

#include "host/files/image_file.h"

namespace qvhost {
namespace {

using namespace std::chrono_literals;

}  // namespace

CWatchRun::CWatchRun(IQvThumbnailCache& service, const std::vector<std::string>& folders,
                     CGrowingFiles::Clock::duration quiet)
    : m_service(service), m_growing(quiet) {
  for (const std::string& folder : folders) m_watch.Add(folder);
  m_thread = std::thread([this] { Run(); });
}

CWatchRun::~CWatchRun() {
  m_ending = true;
  m_thread.join();
}

CWatchRun::SNews CWatchRun::Take() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return std::exchange(m_news, {});
}

void CWatchRun::Follow(const CFolderWatch::SChanges& changes) {
  const auto now = CGrowingFiles::Clock::now();
  for (const CFolderWatch::SChange& change : changes.files) {
    const std::string picture = PictureOf(change.path);
    const CQvStringW location = LowerCaseLocation(picture);
    if (change.isGone && picture == change.path) {
      if (m_growing.Forget(picture)) m_service.IncludeLocation(location.c_str());
    } else if (m_growing.Touch(picture, now)) {
      m_service.ExcludeLocation(location.c_str());
    }
  }
  const std::vector<std::string> settled = m_growing.TakeSettled(now);
  for (const std::string& path : settled) m_service.IncludeLocation(LowerCaseLocation(path).c_str());
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_news.settled.insert(m_news.settled.end(), settled.begin(), settled.end());
  m_news.isEverything = m_news.isEverything || changes.areLost;
}

void CWatchRun::Run() {
  try {
    while (!m_ending) Follow(m_watch.Wait(100ms));
  } catch (const std::exception& error) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_news.problem = error.what();
  }
}

}  // namespace qvhost
