#include "gnr_thumbnailcache/memory/thumbnail_cache.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "tests/thumbnailcache/support/insides.h"

namespace qvtest {
namespace {

SQvThumbnailDescription Describe(const std::wstring& location, double lastWritten = 0.0) {
  SQvThumbnailDescription desc;
  desc.location = location;
  desc.lastWritten = lastWritten;
  return desc;
}

// The cache in memory by itself: no database, no image formats, no service.
class ThumbnailCacheTest : public ::testing::Test {
 protected:
  ThumbnailCacheTest() {
    m_cache.InitServiceMutex();
    m_cache.InitQueueMutex();
    m_cache.SetLimit(1000);
  }
  ~ThumbnailCacheTest() override {
    EXPECT_EQ(CThumbnailCacheForTest::FindBrokenInvariant(m_cache), "");
    m_cache.Purge();
  }

  std::uint32_t Lookup(const std::wstring& location, std::uint64_t referrer = 1) {
    return m_cache.Lookup(referrer, Describe(location), false, &m_picture);
  }
  void Release(const std::wstring& location, std::uint64_t referrer = 1) {
    m_cache.Release(referrer, Describe(location));
  }
  // The state as a lookup shows it, with nothing held afterwards.
  std::uint32_t StateOf(const std::wstring& location) {
    const std::uint32_t state = Lookup(location, kObserver);
    if (state == kQvThumbnailReady || state == kQvThumbnailStale) Release(location, kObserver);
    return state;
  }
  void Queue(const std::vector<std::wstring>& locations) {
    std::vector<SQvThumbnailDescription> descs;
    for (const std::wstring& location : locations) descs.push_back(Describe(location));
    m_cache.Queue(descs.data(), static_cast<std::uint32_t>(descs.size()));
  }
  void Finish(CThumbnailWork& work, std::uint8_t byte = 7) {
    ASSERT_TRUE(work.ReinitPicture(4, 3, 8));
    std::memset(work.picture.data, byte, work.picture.dataSize);
    work.state = kQvThumbnailReady;
    m_cache.Publish(work, CThumbnailCache::EPublish::Picture);
  }
  void MakeReady(const std::wstring& location, std::uint8_t byte = 7) {
    CThumbnailWork work(m_cache.PictureCount());
    ASSERT_TRUE(m_cache.TakeNow(Describe(location), &work));
    Finish(work, byte);
  }
  std::uint8_t FirstByte() const { return *static_cast<const std::uint8_t*>(m_picture.data); }

  static constexpr std::uint64_t kObserver = 99;
  CThumbnailCache m_cache;
  SQvPicBuf m_picture{};
};

TEST_F(ThumbnailCacheTest, KnowsNothingOfALocationThatNobodyAskedFor) {
  EXPECT_EQ(Lookup(L"/a.tif"), kQvThumbnailNone);
  EXPECT_EQ(m_picture.data, nullptr);
}

TEST_F(ThumbnailCacheTest, HandsOutWhatWasPublishedUntilItIsGivenBack) {
  MakeReady(L"/A.tif", 5);
  ASSERT_EQ(Lookup(L"/a.TIF"), kQvThumbnailReady);
  EXPECT_EQ(FirstByte(), 5);
  m_cache.Purge();
  EXPECT_EQ(StateOf(L"/a.tif"), kQvThumbnailReady);
  Release(L"/a.tif");
  m_cache.Purge();
  EXPECT_EQ(StateOf(L"/a.tif"), kQvThumbnailNone);
}

TEST_F(ThumbnailCacheTest, GivesAnEntryToOneThreadAtATime) {
  CThumbnailWork first(m_cache.PictureCount()), second(m_cache.PictureCount());
  ASSERT_TRUE(m_cache.TakeNow(Describe(L"/a"), &first));
  EXPECT_FALSE(m_cache.TakeNow(Describe(L"/a"), &second));
  EXPECT_EQ(StateOf(L"/a"), kQvThumbnailInWork);
  Finish(first);
  EXPECT_EQ(StateOf(L"/a"), kQvThumbnailReady);
}

TEST_F(ThumbnailCacheTest, TakesRequestsInTheirOrder) {
  Queue({L"/a", L"/b"});
  CThumbnailWork work(m_cache.PictureCount());
  for (const wchar_t* location : {L"/a", L"/b"}) {
    ASSERT_TRUE(m_cache.WaitAndTake(&work));
    EXPECT_EQ(work.location, location);
    Finish(work);
  }
}

TEST_F(ThumbnailCacheTest, PassesOverWithdrawnExcludedAndShownEntries) {
  MakeReady(L"/shown");
  ASSERT_EQ(m_cache.Lookup(1, Describe(L"/shown"), true, &m_picture), kQvThumbnailStale) << "high quality is wanted";
  ASSERT_EQ(Lookup(L"/shown", 2), kQvThumbnailStale);
  Queue({L"/withdrawn", L"/excluded", L"/wanted"});
  const SQvThumbnailDescription withdrawn = Describe(L"/withdrawn");
  m_cache.Cancel(&withdrawn, 1);
  m_cache.Exclude(L"/EXCLUDED");
  CThumbnailWork work(m_cache.PictureCount());
  ASSERT_TRUE(m_cache.WaitAndTake(&work));
  EXPECT_EQ(work.location, L"/wanted");
  Finish(work);
  EXPECT_EQ(Lookup(L"/shown", 3), kQvThumbnailStale);
  for (const std::uint64_t referrer : {1, 2, 3}) Release(L"/shown", referrer);
}

TEST_F(ThumbnailCacheTest, AskingForAWithdrawnEntryQueuesItAgain) {
  Queue({L"/a"});
  m_cache.CancelAll();
  EXPECT_EQ(StateOf(L"/a"), kQvThumbnailQueued);
  CThumbnailWork work(m_cache.PictureCount());
  ASSERT_TRUE(m_cache.WaitAndTake(&work));
  Finish(work);
}

TEST_F(ThumbnailCacheTest, EvictsThePictureUsedLongestAgoWhenTheNextIsTaken) {
  m_cache.SetLimit(2);
  MakeReady(L"/a");
  MakeReady(L"/b");
  EXPECT_EQ(StateOf(L"/a"), kQvThumbnailReady);  // its release is a use
  MakeReady(L"/c");
  MakeReady(L"/d");
  EXPECT_EQ(StateOf(L"/a"), kQvThumbnailReady);
  EXPECT_EQ(StateOf(L"/b"), kQvThumbnailQueued) << "evicted, and asked for again by this lookup";
  EXPECT_EQ(m_cache.PictureCount().Get(), 3);
}

TEST_F(ThumbnailCacheTest, CountsAPictureWhileItIsBeingMade) {
  CThumbnailWork work(m_cache.PictureCount());
  ASSERT_TRUE(m_cache.TakeNow(Describe(L"/a"), &work));
  EXPECT_EQ(m_cache.PictureCount().Get(), 0);
  ASSERT_TRUE(work.ReinitPicture(4, 3, 8));
  EXPECT_EQ(m_cache.PictureCount().Get(), 1);
  work.Fail();
  EXPECT_EQ(m_cache.PictureCount().Get(), 0);
  m_cache.Publish(work, CThumbnailCache::EPublish::Picture);
  EXPECT_EQ(StateOf(L"/a"), kQvThumbnailFailed);
}

TEST_F(ThumbnailCacheTest, CountStaysTrueWhenTwoThreadsDropOnePicture) {
  const std::wstring record = SQvThumbnailDescription::MakeDBLocation(1, L"image").Str();
  MakeReady(record);
  // Each release with another time makes the record stale, also while it is in work.
  CThumbnailWork works[2] = {CThumbnailWork(m_cache.PictureCount()), CThumbnailWork(m_cache.PictureCount())};
  double time = 1.0;
  for (CThumbnailWork& work : works) {
    ASSERT_EQ(m_cache.Lookup(1, Describe(record), false, &m_picture),
              time == 1.0 ? kQvThumbnailReady : kQvThumbnailInWork);
    m_cache.Release(1, Describe(record, time));
    time += 1.0;
    ASSERT_TRUE(m_cache.WaitAndTake(&work));
  }
  for (CThumbnailWork& work : works) work.Fail();
  for (CThumbnailWork& work : works) m_cache.Publish(work, CThumbnailCache::EPublish::Everything);
  EXPECT_EQ(m_cache.PictureCount().Get(), 0);
}

TEST_F(ThumbnailCacheTest, KeepsShownPixelsWhenTheyAreReplaced) {
  const std::wstring record = SQvThumbnailDescription::MakeDBLocation(1, L"image").Str();
  MakeReady(record, 5);
  ASSERT_EQ(m_cache.Lookup(1, Describe(record), false, &m_picture), kQvThumbnailReady);
  // Another viewer's release brings news; a worker took the entry before the first viewer's reference was there.
  m_cache.Release(2, Describe(record, 1.0));
  m_cache.Release(1, Describe(record, 1.0));
  CThumbnailWork work(m_cache.PictureCount());
  ASSERT_TRUE(m_cache.WaitAndTake(&work));
  m_cache.Release(3, Describe(record, 2.0));  // stale in work: a lookup hands its pixels out
  SQvPicBuf shown{};
  ASSERT_EQ(m_cache.Lookup(4, Describe(record), false, &shown), kQvThumbnailStale);
  ASSERT_TRUE(work.ReinitPicture(4, 3, 8));
  work.state = kQvThumbnailReady;
  m_cache.Publish(work, CThumbnailCache::EPublish::Everything);
  EXPECT_EQ(*static_cast<const std::uint8_t*>(shown.data), 5);
  m_cache.Release(4, Describe(record, work.lastWritten));
}

TEST_F(ThumbnailCacheTest, StopEndsWaitingThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      CThumbnailWork work(m_cache.PictureCount());
      EXPECT_FALSE(m_cache.WaitAndTake(&work));
    });
  }
  while (CThumbnailCacheForTest::CountWaitingWorkers(m_cache) != 3) std::this_thread::yield();
  m_cache.StopWaiting();
  for (std::thread& thread : threads) thread.join();
}

// Each thread keeps what it took, so that nobody else could have taken the second entry.
TEST_F(ThumbnailCacheTest, ListQueuedInOneCallReachesEveryWaitingThread) {
  std::atomic<int> taken{0};
  std::atomic<bool> goOn{false};
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      CThumbnailWork work(m_cache.PictureCount());
      ASSERT_TRUE(m_cache.WaitAndTake(&work));
      ++taken;
      while (!goOn) std::this_thread::yield();
      Finish(work);
    });
  }
  while (CThumbnailCacheForTest::CountWaitingWorkers(m_cache) != 2) std::this_thread::yield();
  Queue({L"/a", L"/b"});
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (taken != 2 && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  EXPECT_EQ(taken, 2);
  goOn = true;
  if (taken != 2) m_cache.StopWaiting();
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace qvtest
