#include <sched.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <system_error>

#include "platform/imageformats/base/helper_threads.h"

namespace imageformats {

namespace {

constexpr std::size_t kMostHelpers = 15;
// A third of another program's share: whoever waits for a block that a helper has begun does not wait long.
constexpr int kNiceness = 5;

std::atomic<std::size_t> helpersAtWork = 0;
std::atomic<std::size_t> processorsForTest = 0;

// As it is now: the affinity may change.
std::size_t Processors() noexcept {
  if (const std::size_t processors = processorsForTest; processors != 0) return processors;
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof set, &set) != 0) return 1;
  return static_cast<std::size_t>(std::max(CPU_COUNT(&set), 1));
}

std::size_t MostHelpers() noexcept { return std::min(Processors() - 1, kMostHelpers); }

// How many of `wanted` may be started.
std::size_t TakeHelpers(std::size_t wanted) noexcept {
  const std::size_t most = MostHelpers();
  std::size_t atWork = helpersAtWork;
  std::size_t taken = 0;
  do {
    taken = std::min(wanted, most - std::min(most, atWork));
  } while (!helpersAtWork.compare_exchange_weak(atWork, atWork + taken));
  return taken;
}

}  // namespace

CHelperThreads::CHelperThreads(std::size_t most, const std::function<void()>& work) {
  m_threads.reserve(most);
  const std::size_t taken = TakeHelpers(most);
  try {
    while (m_threads.size() < taken) {
      m_threads.emplace_back([work] {
        setpriority(PRIO_PROCESS, 0, kNiceness);  // of the calling thread
        work();
      });
    }
  } catch (const std::exception&) {
    helpersAtWork -= taken - m_threads.size();
  }
}

CHelperThreads::~CHelperThreads() {
  for (std::thread& thread : m_threads) thread.join();
  helpersAtWork -= m_threads.size();
}

std::size_t CHelperThreads::Available() noexcept {
  const std::size_t most = MostHelpers();
  return most - std::min<std::size_t>(most, helpersAtWork);
}

void SetProcessorsForTest(std::size_t processors) noexcept { processorsForTest = processors; }

}  // namespace imageformats
