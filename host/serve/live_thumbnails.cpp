#include "host/serve/live_thumbnails.h"

#include <algorithm>

#include "host/files/image_file.h"
#include "host/files/text_info.h"
#include "host/output/picture.h"
#include "host/page/card.h"

namespace qvhost {
namespace {

using namespace std::chrono_literals;

// Those of all screens are held anyway; so many more stay for scrolling back.
constexpr std::uint32_t kPicturesInMemory = 400;
// More than any screen shows.
constexpr std::size_t kMaxWanted = 600;
// A file that keeps changing is shown as it was.
constexpr int kMaxVersions = 4;
// Numbers of readers, which hold a picture for one answer, lie above those of clients.
constexpr std::uint64_t kFirstReader = std::uint64_t{1} << 32;

}  // namespace

CLiveThumbnails::CLiveThumbnails(CSession& session, const CServedFolder& folder, bool highQuality)
    : m_session(session),
      m_service(session.Service()),
      m_folder(folder),
      m_highQuality(highQuality),
      m_lastReader(kFirstReader) {
  m_service.SetHighQuality(highQuality);
  m_service.SetCacheLimit(kPicturesInMemory);
  m_teller = std::thread([this] { Run(); });
}

CLiveThumbnails::~CLiveThumbnails() {
  m_ending = true;
  m_teller.join();
  for (auto& [client, state] : m_clients) {
    for (auto& [location, wanted] : state.wanted) GiveBack(client, wanted);
  }
  m_service.CancelAllRequests();
}

std::uint64_t CLiveThumbnails::Connect(std::shared_ptr<CEventQueue> queue) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const std::uint64_t client = ++m_lastClient;
  queue->Push(std::to_string(client), "hello");
  m_clients[client].queue = std::move(queue);
  return client;
}

void CLiveThumbnails::Disconnect(std::uint64_t client) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto found = m_clients.find(client);
  if (found == m_clients.end()) return;
  for (auto& [location, wanted] : found->second.wanted) GiveBack(client, wanted);
  m_clients.erase(found);
  RequestAll();
}

std::vector<CLiveThumbnails::SWanted> CLiveThumbnails::Describe(const std::vector<std::string>& visible,
                                                                const std::vector<std::string>& next,
                                                                std::vector<std::string>* missing) const {
  std::vector<SWanted> all;
  const auto add = [&](const std::string& name, bool isVisible) {
    if (all.size() >= kMaxWanted) return;
    SWanted wanted;
    std::string reason;
    const std::optional<std::string> path = m_folder.Resolve(name);
    if (!path || !DescribeFile(*path, m_highQuality, &wanted.description, &reason)) return missing->push_back(name);
    wanted.name = name;
    wanted.path = *path;
    wanted.isVisible = isVisible;
    wanted.rank = all.size();
    all.push_back(std::move(wanted));
  };
  for (const std::string& name : visible) add(name, true);
  for (const std::string& name : next) add(name, false);
  return all;
}

bool CLiveThumbnails::Want(std::uint64_t client, const std::vector<std::string>& visible,
                           const std::vector<std::string>& next) {
  std::vector<std::string> missing;
  std::vector<SWanted> all = Describe(visible, next, &missing);
  std::vector<SNews> news;
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_clients.find(client);
    if (found == m_clients.end()) return false;
    SClient& state = found->second;
    std::unordered_map<std::wstring, SWanted> before;
    before.swap(state.wanted);
    for (SWanted& wanted : all) {
      const std::wstring location = wanted.description.location.Str();
      const auto old = before.find(location);
      if (old != before.end() && old->second.description.lastWritten == wanted.description.lastWritten) {
        old->second.rank = wanted.rank;
        old->second.isVisible = wanted.isVisible;
        state.wanted.insert(before.extract(old));
      } else {
        // A viewer holds one picture of a file: the old one goes, so that the new one can be made.
        if (old != before.end()) GiveBack(client, old->second);
        const auto added = state.wanted.emplace(location, std::move(wanted));
        if (added.second) Look(client, state, added.first->second, false, &news);
      }
    }
    for (auto& [location, wanted] : before) GiveBack(client, wanted);
    for (const std::string& name : missing) news.push_back({state.queue, name, {}, false, 0});
    RequestAll();
  }
  Tell(news);
  return true;
}

void CLiveThumbnails::Look(std::uint64_t client, SClient& state, SWanted& wanted, bool isFinished,
                           std::vector<SNews>* news) {
  std::uint32_t status = kQvThumbnailNone;
  SQvPicBuf picture{};
  m_service.GetCachedThumbnail(client, wanted.description, &status, &picture);
  const bool isStale = status == kQvThumbnailStale;
  if (status == kQvThumbnailReady || isStale) {
    wanted.isHeld = true;
    ++wanted.versions;
    // Nobody may hold what is to be made again.
    const bool isRemade = isStale && wanted.versions < kMaxVersions;
    if (isRemade) GiveBack(client, wanted);
    wanted.isDone = !isRemade;
    news->push_back({state.queue, wanted.name, wanted.path, true, wanted.versions});
  } else if (isFinished && status != kQvThumbnailQueued && status != kQvThumbnailInWork &&
             status != kQvThumbnailDormant) {
    wanted.isDone = true;
    news->push_back({state.queue, wanted.name, wanted.path, false, 0});
  }
}

void CLiveThumbnails::GiveBack(std::uint64_t client, SWanted& wanted) {
  if (wanted.isHeld) m_service.ReleaseThumbnail(client, wanted.description);
  wanted.isHeld = false;
}

// The queue is first in, first out: it is filled anew, so that what was scrolled away is not made, and nothing stands
// before what is on a screen.
void CLiveThumbnails::RequestAll() {
  std::vector<const SWanted*> open;
  for (const auto& [client, state] : m_clients) {
    for (const auto& [location, wanted] : state.wanted) {
      if (!wanted.isDone) open.push_back(&wanted);
    }
  }
  std::sort(open.begin(), open.end(), [](const SWanted* a, const SWanted* b) {
    return a->isVisible != b->isVisible ? a->isVisible : a->rank < b->rank;
  });
  std::vector<SQvThumbnailDescription> descriptions;
  for (const SWanted* wanted : open) descriptions.push_back(wanted->description);
  m_service.CancelAllRequests();
  m_service.RequestThumbnails(0, descriptions.data(), static_cast<std::uint32_t>(descriptions.size()), 0, true);
}

void CLiveThumbnails::Tell(const std::vector<SNews>& news) {
  for (const SNews& each : news) {
    CJson event = {{"path", each.name}, {"state", each.isReady ? "ready" : "failed"}, {"version", each.version}};
    STextInfo info;
    if (each.isReady && info.Read(m_service, each.path)) {
      CJson card = CardOf(each.name, "");
      AddFacts(info, false, &card);
      event["card"] = std::move(card);
    }
    each.queue->Push(event.dump(-1, ' ', false, CJson::error_handler_t::replace));
  }
}

void CLiveThumbnails::Run() {
  while (!m_ending) {
    const std::vector<std::wstring> finished = m_session.Finished().Wait(100ms);
    std::vector<SNews> news;
    {
      const std::lock_guard<std::mutex> lock(m_mutex);
      for (const std::wstring& location : finished) {
        for (auto& [client, state] : m_clients) {
          const auto found = state.wanted.find(location);
          if (found == state.wanted.end() || found->second.isDone) continue;
          Look(client, state, found->second, true, &news);
        }
      }
    }
    Tell(news);
  }
}

std::string CLiveThumbnails::Jpeg(const std::string& path) {
  SQvThumbnailDescription description;
  std::string reason;
  if (!DescribeFile(path, m_highQuality, &description, &reason)) return {};
  const std::uint64_t reader = ++m_lastReader;
  std::uint32_t status = kQvThumbnailNone;
  SQvPicBuf picture{};
  m_service.GetCachedThumbnail(reader, description, &status, &picture);
  if (status != kQvThumbnailReady && status != kQvThumbnailStale) return {};
  std::string jpeg;
  try {
    if (picture.data) jpeg = EncodeJpeg(picture);
  } catch (...) {
    m_service.ReleaseThumbnail(reader, description);
    throw;
  }
  m_service.ReleaseThumbnail(reader, description);
  return jpeg;
}

}  // namespace qvhost
