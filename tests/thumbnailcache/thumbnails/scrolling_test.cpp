#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

// What a viewer shows now, while the queue is full of what it may show later.
class ScrollingTest : public ServiceTest {
 protected:
  static constexpr int kQueued = 300;

  void SetUp() override {
    ServiceTest::SetUp();
    ASSERT_EQ(Open(), 0);
    for (int i = 0; i < kQueued; ++i) m_later.push_back(Describe(MakeFile("later-" + std::to_string(10000 + i))));
  }
  // The first that the listener is told of when one worker is free to go through the queue: what that worker had in
  // work, and then what it took.
  std::vector<std::wstring> FirstFinished(CRecordingListener& listener, std::size_t count) {
    FreeOneWorker(listener);
    listener.Wait(count);
    std::vector<std::wstring> finished = listener.Locations();
    finished.resize(count);
    return finished;
  }
  // Lets the rest be done.
  void Finish(CRecordingListener& listener, std::size_t count) {
    Script().UnblockAll();
    listener.Wait(count);
    EXPECT_THAT(listener.Locations(), SizeIs(count));
  }

  std::vector<SQvThumbnailDescription> m_later;
};

TEST_F(ScrollingTest, OutdatedPictureWaitsForTheWorkInProgressOnly) {
  CRecordingListener listener(Cache());
  const std::wstring visible = MakeFile("visible.tif");
  RequestNow(Cache(), {Describe(visible)});
  OccupyWorkers(listener);
  Queue(Cache(), m_later);
  EXPECT_EQ(PeekState(Cache(), Describe(visible, 0, 1.0)), kQvThumbnailStale);
  EXPECT_THAT(FirstFinished(listener, 3), ElementsAre(m_occupiers[0], visible, m_later[0].location.Str()));
  Finish(listener, kQueued + 3);
}

TEST_F(ScrollingTest, NewRequestsAfterAWithdrawalWaitForTheWorkInProgressOnly) {
  CRecordingListener listener(Cache());
  const std::wstring visible = MakeFile("visible.tif");
  OccupyWorkers(listener);
  Queue(Cache(), m_later);
  EXPECT_EQ(Cache().CancelAllRequests(), 0);
  Queue(Cache(), {Describe(visible)});
  Queue(Cache(), m_later);
  EXPECT_THAT(FirstFinished(listener, 3), ElementsAre(m_occupiers[0], visible, m_later[0].location.Str()));
  Finish(listener, kQueued + 3);
}

TEST_F(ScrollingTest, NewRequestsWaitForAllBeforeThemOtherwise) {
  CRecordingListener listener(Cache());
  const std::wstring visible = MakeFile("visible.tif");
  OccupyWorkers(listener);
  Queue(Cache(), m_later);
  Queue(Cache(), {Describe(visible)});
  EXPECT_EQ(FirstFinished(listener, kQueued + 2).back(), visible);
  Finish(listener, kQueued + 3);
}

}  // namespace
}  // namespace qvtest
