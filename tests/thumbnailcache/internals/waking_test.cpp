#include <atomic>
#include <chrono>
#include <thread>

#include "tests/thumbnailcache/support/insides.h"
#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {
namespace {

class WakingTest : public ServiceTest {
 protected:
  void SetBeforeWait(void (*hook)()) { CThumbnailCacheForTest::SetBeforeWait(CServiceForTest::Cache(Cache()), hook); }
};

std::atomic<int> g_waits{0};

// The delay lies between a worker's reading of the stop flag and its waiting, where the wake-up of a stop would be
// lost.
TEST_F(WakingTest, EndsWhateverAWorkerIsAboutToDo) {
  CSql(DatabaseFile()).Run("PRAGMA journal_mode=WAL");
  g_waits = 0;
  SetBeforeWait([] {
    // Every other time long enough for the closing thread to set the flag and to broadcast.
    if (++g_waits % 2 == 0) std::this_thread::sleep_for(std::chrono::microseconds(200));
  });
  for (int cycle = 0; cycle < 2000; ++cycle) {
    ASSERT_EQ(Open(), 0);
    if (cycle % 3 == 0) std::this_thread::sleep_for(std::chrono::microseconds(cycle % 7 * 40));
    if (cycle % 5 == 0) Queue(Cache(), {Describe(L"/nowhere/" + std::to_wstring(cycle))});
    ASSERT_EQ(Close(), 0);
    CSqliteSpy::Clear();
  }
  EXPECT_GT(g_waits, 100);
}

// Both workers wait. The one that the call wakes takes the first entry and wakes the other for the second.
TEST_F(WakingTest, ListInOneCallOccupiesBothWorkers) {
  ASSERT_EQ(Open(), 0);
  CThumbnailCache& cache = CServiceForTest::Cache(Cache());
  while (CThumbnailCacheForTest::CountWaitingWorkers(cache) != 2) std::this_thread::yield();
  CRecordingListener listener(Cache());
  const std::wstring paths[] = {MakeFile("a"), MakeFile("b")};
  for (const std::wstring& path : paths) Script().Block(path);
  Queue(Cache(), {Describe(paths[0]), Describe(paths[1])});
  Script().WaitForBlocked(2);
  Script().UnblockAll();
  listener.Wait(2);
}

// A request for one thumbnail leaves the other worker asleep.
TEST_F(WakingTest, SingleRequestWakesOneWorker) {
  g_waits = 0;
  SetBeforeWait([] { ++g_waits; });
  ASSERT_EQ(Open(), 0);
  const auto waitFor = [](int waits) {
    while (g_waits < waits) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  };
  waitFor(2);
  CRecordingListener listener(Cache());
  Queue(Cache(), {Describe(MakeFile("a"))});
  listener.Wait(1);
  waitFor(3);
  EXPECT_EQ(g_waits, 3);
}

}  // namespace
}  // namespace qvtest
