#pragma once

#include <cstddef>
#include <functional>
#include <thread>
#include <vector>

namespace imageformats {

// Threads that help one picture along. All pictures of the process share them: there are one fewer than the processors
// that it may use, so that whoever decodes alone has all, and several divide them. They live as long as the picture:
// a process that decodes small ones has none. They step back behind other programs' work (nice 5).
class CHelperThreads {
 public:
  // Starts as many as there are, `most` at most, perhaps none. `work` runs on each of them; it must throw nothing.
  CHelperThreads(std::size_t most, const std::function<void()>& work);
  CHelperThreads(const CHelperThreads&) = delete;
  CHelperThreads& operator=(const CHelperThreads&) = delete;
  // Waits for the end of the work, which somebody must have asked for.
  ~CHelperThreads();

  std::size_t Count() const noexcept { return m_threads.size(); }
  // How many could be started now. Any thread.
  static std::size_t Available() noexcept;

 private:
  std::vector<std::thread> m_threads;
};

// As if the process might use so many processors; 0: those that it may use. Not while helpers are at work.
void SetProcessorsForTest(std::size_t processors) noexcept;

}  // namespace imageformats
