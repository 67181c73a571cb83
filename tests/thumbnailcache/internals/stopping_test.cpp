#include <atomic>
#include <chrono>
#include <thread>

#include "gnr_thumbnailcache/thumbnails/worker_hooks.h"
#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {
namespace {

class StoppingTest : public ServiceTest {
 protected:
  void TearDown() override {
    g_beforeWorkerWait = nullptr;
    ServiceTest::TearDown();
  }
};

std::atomic<int> g_waits{0};

// The delay lies between a worker's reading of the stop flag and its waiting, where the wake-up of a stop would be
// lost.
TEST_F(StoppingTest, EndsWhateverAWorkerIsAboutToDo) {
  Sql(DatabaseFile()).Run("PRAGMA journal_mode=WAL");
  g_waits = 0;
  g_beforeWorkerWait = [] {
    // Every other time long enough for the closing thread to set the flag and to broadcast.
    if (++g_waits % 2 == 0) std::this_thread::sleep_for(std::chrono::microseconds(200));
  };
  for (int cycle = 0; cycle < 2000; ++cycle) {
    ASSERT_EQ(Open(), 0);
    if (cycle % 3 == 0) std::this_thread::sleep_for(std::chrono::microseconds(cycle % 7 * 40));
    if (cycle % 5 == 0) Queue(Cache(), {Describe(L"/nowhere/" + std::to_wstring(cycle))});
    ASSERT_EQ(Close(), 0);
    SqliteSpy::Clear();
  }
  EXPECT_GT(g_waits, 100);
}

// Both workers wait; the one that the batch wakes serves it alone and waits again.
TEST_F(StoppingTest, BatchWakesOneWorker) {
  g_waits = 0;
  g_beforeWorkerWait = [] { ++g_waits; };
  ASSERT_EQ(Open(), 0);
  const auto waitFor = [](int waits) {
    while (g_waits < waits) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  };
  waitFor(2);
  Listener listener(Cache());
  std::vector<SQvThumbnailDescription> batch;
  for (int i = 0; i < 50; ++i) batch.push_back(Describe(MakeFile(std::string("f") + std::to_string(i))));
  Queue(Cache(), batch);
  listener.Wait(50);
  waitFor(3);
  EXPECT_EQ(g_waits, 3);
}

}  // namespace
}  // namespace qvtest
