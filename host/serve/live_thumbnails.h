#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "host/serve/event_queue.h"
#include "host/serve/served_folder.h"
#include "host/session/session.h"

namespace qvhost {

// The thumbnails that clients have on their screens. What a client wants is requested from the service, what all see
// first, and held while it is wanted; what it no longer wants is given back and withdrawn. Clients are told of each by
// an event as soon as it is there: {"path", "state": "ready" or "failed", "version", "card"}. Any thread.
class CLiveThumbnails {
 public:
  // The session has its database open, and lives longer. From now on its finished thumbnails are this object's.
  CLiveThumbnails(CSession& session, const CServedFolder& folder, bool highQuality);
  CLiveThumbnails(const CLiveThumbnails&) = delete;
  CLiveThumbnails& operator=(const CLiveThumbnails&) = delete;
  ~CLiveThumbnails();

  // A new client, which is told of its thumbnails, and first of its number, through the queue.
  std::uint64_t Connect(std::shared_ptr<CEventQueue> queue);
  void Disconnect(std::uint64_t client);
  // What the client has on its screen, and what it will show next: names as CServedFolder takes them. Replaces what it
  // wanted before. False when there is no such client.
  bool Want(std::uint64_t client, const std::vector<std::string>& visible, const std::vector<std::string>& next);
  // A thumbnail that is in memory, as a JPEG stream; empty when it is not.
  std::string Jpeg(const std::string& path);

 private:
  struct SWanted {
    std::string name, path;
    SQvThumbnailDescription description;
    std::size_t rank = 0;  // the visible ones first
    bool isVisible = false;
    bool isHeld = false;
    bool isDone = false;  // the client was told how it stands
    int versions = 0;
  };
  struct SClient {
    std::shared_ptr<CEventQueue> queue;
    std::unordered_map<std::wstring, SWanted> wanted;  // by lower-case location
  };
  struct SNews {
    std::shared_ptr<CEventQueue> queue;
    std::string name, path;
    bool isReady = false;
    int version = 0;
  };
  using CClients = std::map<std::uint64_t, SClient>;

  std::vector<SWanted> Describe(const std::vector<std::string>& visible, const std::vector<std::string>& next,
                                std::vector<std::string>* missing) const;
  void Look(std::uint64_t client, SClient& state, SWanted& wanted, bool isFinished, std::vector<SNews>* news);
  void GiveBack(std::uint64_t client, SWanted& wanted);
  void RequestAll();
  void Tell(const std::vector<SNews>& news);
  void Run();

  CSession& m_session;
  IQvThumbnailCache& m_service;
  const CServedFolder& m_folder;
  const bool m_highQuality;
  std::mutex m_mutex;
  CClients m_clients;              // guarded by m_mutex
  std::uint64_t m_lastClient = 0;  // guarded by m_mutex
  std::atomic<std::uint64_t> m_lastReader;
  std::atomic<bool> m_ending{false};
  std::thread m_teller;
};

}  // namespace qvhost
