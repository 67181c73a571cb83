#include "tests/thumbnailcache/support/image_database.h"
#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {
namespace {

using standin::RenderedByte;
using standin::SFile;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;

class WorkersTest : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    ASSERT_EQ(Open(), 0);
  }
};

TEST_F(WorkersTest, QueuedThumbnailIsMadeSavedAndTold) {
  CRecordingListener listener(Cache());
  SFile file;
  file.metadata.text.author = L"Ada";
  const std::wstring path = MakeFile("a.tif", file);
  CSqliteSpy::Clear();
  Queue(Cache(), {Describe(path)});
  listener.Wait(1);
  EXPECT_THAT(listener.Locations(), ElementsAre(path));
  const auto traced = CSqliteSpy::TakeTraced();
  ASSERT_THAT(traced, SizeIs(5));
  EXPECT_TRUE(traced[0].starts_with("SELECT lastWritten, binData, quality"));
  EXPECT_TRUE(traced[1].starts_with("DELETE FROM cache"));
  EXPECT_TRUE(traced[2].starts_with("INSERT INTO cache"));
  EXPECT_TRUE(traced[3].starts_with("DELETE FROM metadata"));
  EXPECT_TRUE(traced[4].starts_with("INSERT INTO metadata"));
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT filename, M_author FROM metadata"), Utf8(path) + "|Ada");
  const SLookup look = Get(Cache(), Describe(path));
  EXPECT_EQ(look.state, kQvThumbnailReady);
  EXPECT_EQ(UniformByte(look.picture), RenderedByte(path, 0));
  Cache().ReleaseThumbnail(1, Describe(path));
}

TEST_F(WorkersTest, EveryEndIsToldOnce) {
  CRecordingListener listener(Cache());
  SFile damaged, unsupported;
  damaged.renderResult = -9;
  unsupported.renderResult = -3;
  const std::wstring good = MakeFile("good.tif"), bad = MakeFile("bad.tif", damaged),
                     odd = MakeFile("odd.tif", unsupported), missing = Folder().Wide("missing.tif");
  Queue(Cache(), {Describe(good), Describe(bad), Describe(odd), Describe(missing)});
  Drain(listener);
  for (const std::wstring& path : {good, bad, odd, missing}) EXPECT_EQ(listener.Count(path), 1u) << Utf8(path);
  EXPECT_EQ(PeekState(Cache(), Describe(good)), kQvThumbnailReady);
  EXPECT_EQ(PeekState(Cache(), Describe(bad)), kQvThumbnailFailed);
  EXPECT_EQ(PeekState(Cache(), Describe(odd)), kQvThumbnailUnavailable);
  EXPECT_EQ(PeekState(Cache(), Describe(missing)), kQvThumbnailNone);
}

TEST_F(WorkersTest, ListenerGetsTheLowerCasedLocation) {
  CRecordingListener listener(Cache());
  const std::wstring path = MakeFile("Mixed.TIF");
  Queue(Cache(), {Describe(path)});
  listener.Wait(1);
  EXPECT_THAT(listener.Locations(), ElementsAre(Folder().Wide("mixed.tif")));
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady) << "the file is found by its lower-cased name";
}

TEST_F(WorkersTest, TwoWorkersWorkAtOnce) {
  CRecordingListener listener(Cache());
  OccupyWorkers(listener);
  EXPECT_EQ(Script().RenderCount(m_occupiers[0]) + Script().RenderCount(m_occupiers[1]), 2);
  FreeWorkers(listener);
}

TEST_F(WorkersTest, EachWorkerHasItsOwnManager) {
  CRecordingListener listener(Cache());
  OccupyWorkers(listener);
  EXPECT_EQ(Script().Live().managers, 2);
  FreeWorkers(listener);
  Close();
  EXPECT_EQ(Script().Live().managers, 0);
}

TEST_F(WorkersTest, OneBatchMayBeDrainedByOneWorker) {
  CRecordingListener listener(Cache());
  std::vector<SQvThumbnailDescription> batch;
  for (int i = 0; i < 50; ++i) batch.push_back(Describe(MakeFile(std::string("f") + std::to_string(i) + ".tif")));
  Queue(Cache(), batch);
  listener.Wait(50);
  for (const auto& desc : batch) EXPECT_EQ(PeekState(Cache(), desc), kQvThumbnailReady);
  EXPECT_EQ(Script().TotalRenders(), 50);
}

TEST_F(WorkersTest, ShownThumbnailIsNotRemade) {
  CRecordingListener listener(Cache());
  const std::wstring path = MakeFile("a.tif");
  RequestNow(Cache(), {Describe(path)});
  OccupyWorkers(listener);
  PeekState(Cache(), Describe(path, 0, 1.0));
  const SLookup look = Get(Cache(), Describe(path), 9);
  EXPECT_EQ(look.state, kQvThumbnailStale);
  FreeWorkers(listener);
  Drain(listener);
  EXPECT_EQ(Script().RenderCount(path), 1);
  EXPECT_EQ(listener.Count(path), 0u);
  EXPECT_EQ(UniformByte(look.picture), RenderedByte(path, 0));
  EXPECT_EQ(Get(Cache(), Describe(path), 10).state, kQvThumbnailQueued) << "it was left dormant";
  Cache().ReleaseThumbnail(9, Describe(path));
  // A worker may have found it shown once more before it was given back.
  PeekState(Cache(), Describe(path));
  listener.WaitFor(path);
}

TEST_F(WorkersTest, StopLeavesWhatIsQueued) {
  CRecordingListener listener(Cache());
  OccupyWorkers(listener);
  const std::wstring path = MakeFile("later.tif");
  std::vector<SQvThumbnailDescription> batch = {Describe(path)};
  for (int i = 0; i < 20; ++i) batch.push_back(Describe(MakeFile(std::string("l") + std::to_string(i) + ".tif")));
  Queue(Cache(), batch);
  std::thread closer([&] { EXPECT_EQ(Close(), 0); });
  // The stop flag is set before the workers go on; a worker that is in a rendering cannot see it earlier.
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  Script().UnblockAll();
  closer.join();
  for (const std::wstring& occupier : m_occupiers) EXPECT_EQ(listener.Count(occupier), 1u) << "finished, not dropped";
  ASSERT_EQ(Open(), 0);
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailNone) << "purged by the close";
}

TEST_F(WorkersTest, ListenersMayCallTheService) {
  struct SContext {
    IQvThumbnailCache& cache;
    std::wstring path;
    std::atomic<int> state{-1};
    std::atomic<bool> done{false};
  } context{Cache(), MakeFile("a.tif")};
  const auto call = [](void* given, const wchar_t* location) {
    auto* self = static_cast<SContext*>(given);
    const auto desc = Describe(location);
    self->state = static_cast<int>(Get(self->cache, desc, 55).state);
    self->cache.ReleaseThumbnail(55, desc);
    Queue(self->cache, {desc});
    self->cache.ExcludeLocation(L"x");
    self->done = true;
  };
  const QvThumbnailListener handle = Cache().AddListener(call, &context);
  CRecordingListener listener(Cache());
  Queue(Cache(), {Describe(context.path)});
  listener.WaitFor(context.path);
  EXPECT_TRUE(context.done);
  EXPECT_EQ(context.state, 4);
  Cache().RemoveListener(handle);
}

TEST_F(WorkersTest, ListenersMayComeAndGoWhileWorkersCall) {
  CRecordingListener listener(Cache());
  std::atomic<bool> stop{false};
  std::atomic<int> calls{0};
  const auto count = [](void* context, const wchar_t*) { ++*static_cast<std::atomic<int>*>(context); };
  std::thread host([&] {
    while (!stop) {
      const QvThumbnailListener handle = Cache().AddListener(count, &calls);
      std::this_thread::yield();
      Cache().RemoveListener(handle);
    }
  });
  std::vector<SQvThumbnailDescription> batch;
  for (int i = 0; i < 200; ++i) batch.push_back(Describe(Folder().Wide("missing" + std::to_string(i))));
  Queue(Cache(), batch);
  listener.Wait(200);
  stop = true;
  host.join();
  // A call that a worker has begun may still be running.
  Drain(listener);
}

TEST_F(WorkersTest, QueuedTwiceIsMadeOnce) {
  CRecordingListener listener(Cache());
  OccupyWorkers(listener);
  const auto desc = Describe(MakeFile("a.tif"));
  Queue(Cache(), {desc});
  Cache().CancelRequests(0, &desc, 1);
  EXPECT_EQ(Get(Cache(), desc).state, kQvThumbnailQueued);
  FreeWorkers(listener);
  Drain(listener);
  EXPECT_EQ(listener.Count(desc.location.Str()), 1u);
}

TEST_F(WorkersTest, WorkerOfAFailedFactoryEndsEveryRequest) {
  Close();
  Script().FailFactory(true, false);
  ASSERT_EQ(Open(), 0);
  CRecordingListener listener(Cache());
  const std::wstring path = MakeFile("a.tif");
  Queue(Cache(), {Describe(path)});
  listener.WaitFor(path);
  EXPECT_FALSE(Get(Cache(), Describe(path)).HasPicture());
  EXPECT_NE(PeekState(Cache(), Describe(path)), kQvThumbnailInWork);
}

TEST_F(WorkersTest, ShownStateIsInWorkWhileBeingMade) {
  CRecordingListener listener(Cache());
  const std::wstring path = MakeFile("a.tif");
  RequestNow(Cache(), {Describe(path)});
  Script().Block(path);
  EXPECT_EQ(PeekState(Cache(), Describe(path, 0, 1.0)), kQvThumbnailStale);
  Script().WaitForBlocked(1);
  EXPECT_EQ(Get(Cache(), Describe(path)).state, kQvThumbnailInWork);
  EXPECT_FALSE(Get(Cache(), Describe(path)).HasPicture());
  Script().Unblock(path);
  listener.WaitFor(path);
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady);
}

TEST_F(WorkersTest, PublishedCopyWinsOverChangesMeanwhile) {
  // The release during the work stores a new time and marks the entry stale; the worker's copy replaces both.
  CRecordingListener listener(Cache());
  CImageDatabase owner;
  owner.records[1].fields[L"image"] = SFile();
  const std::wstring location = SQvThumbnailDescription::MakeDBLocation(1, L"image").Str();
  OccupyWorkers(listener);
  FreeOneWorker(listener);
  Script().Block(L"db:1:image");
  Queue(Cache(), {Describe(location, 0, 0.0, &owner)});
  Script().WaitForBlocked(2);
  Cache().ReleaseThumbnail(1, Describe(location, 0, 5.0));
  m_diag.Take();
  Cache().CancelAllRequests();
  Script().UnblockAll();
  listener.WaitFor(location);
  EXPECT_EQ(Get(Cache(), Describe(location, 0, 9.0)).state, kQvThumbnailReady);
  // Its time is unknown again, as the copy had it, so this release is news once more.
  Cache().ReleaseThumbnail(1, Describe(location, 0, 5.0));
  listener.WaitFor(location, 2);
}

}  // namespace
}  // namespace qvtest
