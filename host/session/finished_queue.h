#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace qvhost {

// The locations that the workers report as finished, handed over to the thread that waits for them.
class CFinishedQueue {
 public:
  // The service's listener; `context` is the queue. Any thread, never throws.
  static void OnFinished(void* context, const wchar_t* location) noexcept {
    static_cast<CFinishedQueue*>(context)->Push(location);
  }

  // Ends a wait, on any thread, with a location that is nobody's among what it returns.
  void Wake() noexcept { Push(L""); }

  // All locations reported since the last call; waits up to `timeout` for the first one.
  std::vector<std::wstring> Wait(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_arrived.wait_for(lock, timeout, [this] { return !m_locations.empty(); });
    std::vector<std::wstring> taken;
    taken.swap(m_locations);
    return taken;
  }

 private:
  void Push(const wchar_t* location) noexcept {
    try {
      const std::lock_guard<std::mutex> lock(m_mutex);
      m_locations.emplace_back(location);
    } catch (...) {  // out of memory: the waiting thread looks at the state itself after a while
      return;
    }
    m_arrived.notify_one();
  }

  std::mutex m_mutex;
  std::condition_variable m_arrived;
  std::vector<std::wstring> m_locations;  // guarded by m_mutex
};

}  // namespace qvhost
