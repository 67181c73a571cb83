#include "host/serve/shown_folders.h"

#include <algorithm>

#include "host/host_error.h"
#include "host/output/json.h"

namespace qvhost {
namespace {

using namespace std::chrono_literals;

constexpr auto kLookEvery = 200ms;
// So long nothing is written to a file that is complete.
constexpr auto kQuietFor = 1s;

}  // namespace

CShownFolders::SFolder::SFolder(const std::string& path) : growing(kQuietFor) { watch.AddAlone(path); }

bool CShownFolders::SFolder::HasChanged() {
  const auto now = CGrowingFiles::Clock::now();
  const CFolderWatch::SChanges changes = watch.Wait(0ms);
  bool hasChanged = changes.areLost;
  for (const CFolderWatch::SChange& change : changes.files) {
    const std::string picture = PictureOf(change.path);
    if (change.isGone && picture == change.path) {
      growing.Forget(picture);
      hasChanged = true;
    } else {
      growing.Touch(picture, now);
    }
  }
  return !growing.TakeSettled(now).empty() || hasChanged;
}

CShownFolders::CShownFolders() : m_watcher([this] { Run(); }) {}

CShownFolders::~CShownFolders() {
  m_ending = true;
  m_watcher.join();
}

void CShownFolders::Connect(std::uint64_t client, std::shared_ptr<CEventQueue> queue) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_clients[client].queue = std::move(queue);
}

void CShownFolders::Disconnect(std::uint64_t client) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_clients.erase(client);
  ForgetUnshown();
}

void CShownFolders::Show(std::uint64_t client, const std::string& name, const std::string& path) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto found = m_clients.find(client);
  if (found == m_clients.end() || found->second.path == path) return;
  found->second.name = name;
  found->second.path = path;
  ForgetUnshown();
  if (m_folders.contains(path)) return;
  try {
    m_folders[path] = std::make_unique<SFolder>(path);
  } catch (const CHostError&) {  // the system allows no more: it is shown as it was when it was opened
    m_folders.erase(path);
  }
}

void CShownFolders::ForgetUnshown() {
  std::erase_if(m_folders, [this](const auto& folder) {
    return std::none_of(m_clients.begin(), m_clients.end(),
                        [&folder](const auto& client) { return client.second.path == folder.first; });
  });
}

void CShownFolders::TellOf(const std::string& path) {
  for (const auto& [number, client] : m_clients) {
    if (client.path != path) continue;
    const CJson event = {{"folder", client.name}};
    client.queue->Push(event.dump(-1, ' ', false, CJson::error_handler_t::replace), "folder");
  }
}

void CShownFolders::Run() {
  while (!m_ending) {
    std::this_thread::sleep_for(kLookEvery);
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (auto& [path, folder] : m_folders) {
      try {
        if (folder->HasChanged()) TellOf(path);
      } catch (const CHostError&) {  // of a folder below that cannot be watched
        TellOf(path);
      }
    }
  }
}

}  // namespace qvhost
