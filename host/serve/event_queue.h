#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

namespace qvhost {

// What a client is to be told, in the form of server-sent events. Any thread.
class CEventQueue {
 public:
  // `data` is one line. A client that does not read is told no more than so much.
  void Push(const std::string& data, const char* kind = nullptr) {
    {
      const std::lock_guard<std::mutex> lock(m_mutex);
      if (m_events.size() > kMaxBytes) return;
      if (kind) m_events += std::string("event: ").append(kind).append("\n");
      m_events += "data: " + data + "\n\n";
    }
    m_changed.notify_one();
  }

  // All that came since the last call; waits up to `timeout` for the first one. False when it was closed.
  bool Wait(std::chrono::milliseconds timeout, std::string* events) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, timeout, [this] { return m_closed || !m_events.empty(); });
    events->clear();
    events->swap(m_events);
    return !m_closed;
  }

  void Close() {
    {
      const std::lock_guard<std::mutex> lock(m_mutex);
      m_closed = true;
    }
    m_changed.notify_one();
  }

 private:
  static constexpr std::size_t kMaxBytes = 8 << 20;

  std::mutex m_mutex;
  std::condition_variable m_changed;
  std::string m_events;   // guarded by m_mutex
  bool m_closed = false;  // guarded by m_mutex
};

}  // namespace qvhost
