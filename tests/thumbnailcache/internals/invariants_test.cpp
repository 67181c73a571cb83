#include <atomic>
#include <filesystem>
#include <random>
#include <thread>

#include "tests/thumbnailcache/support/image_database.h"
#include "tests/thumbnailcache/support/insides.h"
#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {
namespace {

using standin::SFile;

// What holds inside the service after every step: no queued pointer without an entry, the eviction order complete and
// sorted, the picture count right.
class InvariantsTest : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    CSql(DatabaseFile()).Run("PRAGMA journal_mode=WAL");
    ASSERT_EQ(Open(), 0);
    Cache().SetThumbnailBox(16, 12, false);
    m_owner.records[1].fields[L"image"] = SFile();
    m_owner.records[2].fields[L"image"].renderResult = -9;
  }
  std::string FindBroken() { return CThumbnailCacheForTest::FindBrokenInvariant(CServiceForTest::Cache(Cache())); }
  unsigned Below(unsigned limit) { return static_cast<unsigned>(m_random() % limit); }

  CImageDatabase m_owner;
  std::mt19937 m_random{7};
};

TEST_F(InvariantsTest, HoldFromTheStart) {
  EXPECT_EQ(FindBroken(), "");
  RequestNow(Cache(), {Describe(MakeFile("a.tif"))});
  EXPECT_EQ(FindBroken(), "");
}

TEST_F(InvariantsTest, HoldAfterEveryFailure) {
  CRecordingListener listener(Cache());
  SFile files[8];
  files[0].codecResult = files[1].openResult = files[2].metadata.readerResult = -9;
  files[3].info.width = 0;
  files[4].renderResult = -9;
  files[5].renderResult = -3;
  files[6].tags[L"QvCustomTag:ThumbailJpg"] = {1};
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 8; ++i) {
      const std::wstring path = MakeFile(std::string("f") + std::to_string(i) + "-" + std::to_string(round), SFile());
      RequestNow(Cache(), {Describe(path)});
      Script().SetFile(path, files[i]);
      if (i == 7) std::filesystem::remove(Utf8(path));
      PeekState(Cache(), Describe(path, 0, 1.0));
      listener.WaitFor(path);
      Drain(listener);
      EXPECT_EQ(FindBroken(), "") << i;
    }
    Cache().SetCacheLimit(0);
    RequestNow(Cache(), {Describe(L"/nowhere")});
    EXPECT_EQ(FindBroken(), "");
  }
}

TEST_F(InvariantsTest, HoldAfterTwoWorkersMadeOneThumbnail) {
  CRecordingListener listener(Cache());
  const std::wstring location = SQvThumbnailDescription::MakeDBLocation(1, L"image").Str();
  Script().Block(L"db:1:image");
  Queue(Cache(), {Describe(location, 0, 0.0, &m_owner)});
  Script().WaitForBlocked(1);
  // A release with another time makes it stale, so that the second worker takes it as well.
  Cache().ReleaseThumbnail(1, Describe(location, 0, 5.0));
  Script().WaitForBlocked(2);
  Script().UnblockAll();
  listener.WaitFor(location, 2);
  Drain(listener);
  EXPECT_EQ(FindBroken(), "");
}

TEST_F(InvariantsTest, HoldWhileThreadsQueuePurgeAndCancel) {
  std::vector<SQvThumbnailDescription> batch;
  for (int i = 0; i < 8; ++i) batch.push_back(Describe(Folder().Wide("missing-" + std::to_string(i))));
  for (int i = 0; i < 3; ++i) batch.push_back(Describe(MakeFile(std::string("f") + std::to_string(i))));
  for (int i = 1; i < 4; ++i)
    batch.push_back(Describe(SQvThumbnailDescription::MakeDBLocation(i, L"image").Str(), 0, 0.0, &m_owner));
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int number = 0; number < 2; ++number) {
    threads.emplace_back([&] {
      for (int round = 0; round < 400; ++round) {
        Queue(Cache(), batch);
        if (round % 4 == 0) RequestNow(Cache(), {batch[static_cast<std::size_t>(round) % batch.size()]});
      }
      stop = true;
    });
    threads.emplace_back([&] {
      while (!stop) {
        Cache().PurgeUnusedThumbnails();
        Cache().CancelAllRequests();
      }
    });
  }
  threads.emplace_back([&] {
    while (!stop) EXPECT_EQ(FindBroken(), "");
  });
  for (std::thread& thread : threads) thread.join();
  CRecordingListener listener(Cache());
  Drain(listener);
  EXPECT_EQ(FindBroken(), "");
}

// The victims of an eviction against the plain walk: the unreferenced ready picture used longest ago.
TEST_F(InvariantsTest, EvictionChoosesAsAPlainWalkDoes) {
  constexpr std::size_t kPaths = 60;
  struct SItem {
    std::wstring path;
    std::uint64_t used = 0;
    bool shown = false;
    bool hasPicture = false;
  };
  std::vector<SItem> items(kPaths);
  std::uint64_t clock = 0;
  for (std::size_t i = 0; i < kPaths; ++i) items[i].path = MakeFile(std::string("p") + std::to_string(100 + i));
  // In the map's order.
  std::sort(items.begin(), items.end(), [](const SItem& a, const SItem& b) { return a.path < b.path; });
  CRecordingListener listener(Cache());
  OccupyWorkers(listener);
  std::size_t limit = 40;
  Cache().SetCacheLimit(42);  // two are in work
  for (int step = 0; step < 4000; ++step) {
    SItem& item = items[Below(kPaths)];
    const auto desc = Describe(item.path);
    switch (Below(4)) {
      case 0:
      case 1: {
        RequestNow(Cache(), {desc});
        item.used = ++clock;
        const auto held = [&] {
          return static_cast<std::size_t>(
              std::count_if(items.begin(), items.end(), [](const SItem& i) { return i.hasPicture; }));
        };
        const bool had = item.hasPicture;
        // The entry itself is only safe from the walk while it is being made.
        while (held() > limit) {
          SItem* victim = nullptr;
          for (SItem& other : items)
            if (other.hasPicture && !other.shown && (!victim || other.used < victim->used)) victim = &other;
          if (!victim) break;
          victim->hasPicture = false;
        }
        if (!had) item.hasPicture = true;
        break;
      }
      case 2:
        if (item.hasPicture && !item.shown) {
          ASSERT_EQ(Get(Cache(), desc).state, kQvThumbnailReady) << "step " << step;
          item.shown = true;
        } else if (item.shown) {
          Cache().ReleaseThumbnail(1, desc);
          item.used = ++clock;
          item.shown = false;
        }
        break;
      default:
        if (!item.hasPicture) {
          const std::uint32_t state = Get(Cache(), desc).state;
          ASSERT_TRUE(state == kQvThumbnailNone || state == kQvThumbnailQueued)
              << "step " << step << " state " << state;
          Cache().CancelAllRequests();
        } else if (Below(20) == 0) {
          limit = 20 + Below(30);
          Cache().SetCacheLimit(static_cast<std::uint32_t>(limit + 2));
        }
    }
  }
  ASSERT_EQ(FindBroken(), "");
  for (SItem& item : items)
    if (item.shown) Cache().ReleaseThumbnail(1, Describe(item.path));
  FreeWorkers(listener);
  Drain(listener);
}

}  // namespace
}  // namespace qvtest
