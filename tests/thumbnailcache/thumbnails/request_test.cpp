#include "tests/thumbnailcache/support/image_database.h"
#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {
namespace {

using standin::RenderedByte;
using standin::SFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class RequestTest : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    ASSERT_EQ(Open(), 0);
  }

  double StoredTime(const std::wstring& path) {
    return CSql(DatabaseFile()).Number("SELECT lastWritten FROM cache WHERE filename='" + Utf8(path) + "'");
  }
  // A file that fails, so that its entry's time is the file's.
  std::wstring MakeFailed(const std::string& name) {
    SFile file;
    file.renderResult = -9;
    const std::wstring path = MakeFile(name, file);
    RequestNow(Cache(), {Describe(path)});
    return path;
  }
};

TEST_F(RequestTest, EmptyBatchReturnsAtOnce) {
  CPlatformSpy::Record(true);
  EXPECT_EQ(Cache().RequestThumbnails(0, nullptr, 0, 0, false), 0);
  EXPECT_THAT(CPlatformSpy::TakeCalls({"CreateAndQuery", "Release"}), SizeIs(2))
      << "a manager is obtained and given back all the same";
  EXPECT_EQ(Cache().RequestThumbnails(0, nullptr, 0, 0, true), 0);
  EXPECT_THAT(CPlatformSpy::TakeCalls({"CreateAndQuery", "Release"}), IsEmpty());
}

TEST_F(RequestTest, OneManagerServesABatch) {
  CPlatformSpy::Record(true);
  RequestNow(Cache(), {Describe(MakeFile("a.tif")), Describe(MakeFile("b.tif")), Describe(MakeFile("c.tif"))});
  EXPECT_THAT(CPlatformSpy::TakeCalls({"CreateAndQuery"}), SizeIs(1));
}

TEST_F(RequestTest, SpellingsShareAnEntryAndQualitiesDoNot) {
  const std::wstring path = MakeFile("a.tif");
  RequestNow(Cache(), {Describe(path), Describe(Upper(path)), Describe(path, 2), Describe(Upper(path), 1)});
  EXPECT_EQ(Script().RenderCount(path), 2);
  EXPECT_EQ(CPlatformSpy::LivePictures(), 2);
}

TEST_F(RequestTest, SynchronousRequestsCallNoListener) {
  CRecordingListener listener(Cache());
  RequestNow(Cache(), {Describe(MakeFile("a.tif"))});
  EXPECT_THAT(listener.Locations(), IsEmpty());
}

TEST_F(RequestTest, ReadyThumbnailIsNeverRemadeByARequest) {
  CRecordingListener listener(Cache());
  const std::wstring path = MakeFile("a.tif");
  RequestNow(Cache(), {Describe(path)});
  RequestNow(Cache(), {Describe(path, 0, 3000000.0)});
  Queue(Cache(), {Describe(path, 0, 3000000.0)});
  Drain(listener);
  EXPECT_EQ(Script().RenderCount(path), 1);
}

TEST_F(RequestTest, StaleAndUnavailableAreLeftAlone) {
  CRecordingListener listener(Cache());
  SFile unsupported;
  unsupported.renderResult = -3;
  const std::wstring path = MakeFile("unsupported.tif", unsupported), stale = MakeFile("stale.tif");
  RequestNow(Cache(), {Describe(path), Describe(stale)});
  ASSERT_EQ(Get(Cache(), Describe(stale, 0, 1.0)).state, kQvThumbnailStale);
  RequestNow(Cache(), {Describe(path, 0, 1.0), Describe(stale, 0, 1.0)});
  Queue(Cache(), {Describe(path, 0, 1.0), Describe(stale, 0, 1.0)});
  Drain(listener);
  EXPECT_EQ(Script().RenderCount(path), 1);
  EXPECT_EQ(Script().RenderCount(stale), 1);
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailUnavailable);
  const SQvThumbnailDescription desc = Describe(stale);
  Cache().CancelRequests(0, &desc, 1);
  Cache().ReleaseThumbnail(1, Describe(stale));
}

TEST_F(RequestTest, FailedThumbnailIsRemadeOnlyForAnotherTime) {
  const std::wstring path = MakeFailed("a.tif");
  // The time of the file, as the row of another, good entry of it tells.
  Script().SetFile(path, SFile());
  RequestNow(Cache(), {Describe(path, 1)});
  const double time = StoredTime(path);
  ASSERT_EQ(Script().RenderCount(path), 2);

  RequestNow(Cache(), {Describe(path, 0, time)});
  EXPECT_EQ(Script().RenderCount(path), 2);
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailFailed);
  RequestNow(Cache(), {Describe(path, 0, time + 1)});
  EXPECT_EQ(Script().RenderCount(path), 3);
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady);
}

TEST_F(RequestTest, QueuedModeRemakesFailedOnlyForAnotherTime) {
  CRecordingListener listener(Cache());
  const std::wstring path = MakeFailed("a.tif");
  Script().SetFile(path, SFile());
  RequestNow(Cache(), {Describe(path, 1)});
  const double time = StoredTime(path);
  Queue(Cache(), {Describe(path, 0, time)});
  Drain(listener);
  EXPECT_EQ(listener.Count(path), 0u);
  Queue(Cache(), {Describe(path, 0, 0.0)});
  listener.WaitFor(path);
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady);
}

TEST_F(RequestTest, EntryWithoutATimeIsNotQueuedAgainButResolvedNow) {
  CRecordingListener listener(Cache());
  const std::wstring path = Folder().Wide("missing.tif");
  RequestNow(Cache(), {Describe(path)});
  ASSERT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailNone);
  MakeFile("missing.tif");
  Queue(Cache(), {Describe(path, 0, 0.0), Describe(path, 0, 5.0)});
  Drain(listener);
  EXPECT_EQ(listener.Count(path), 0u);
  RequestNow(Cache(), {Describe(path, 0, 0.0)});
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailNone) << "0.0 equals the entry's time";
  RequestNow(Cache(), {Describe(path, 0, 5.0)});
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady);
}

TEST_F(RequestTest, DormantThumbnailIsQueuedOncePerRequest) {
  CRecordingListener listener(Cache());
  const std::wstring path = MakeFile("a.tif");
  RequestNow(Cache(), {Describe(path)});
  const double time = StoredTime(path);
  Cache().SetCacheLimit(0);
  OccupyWorkers(listener);
  Queue(Cache(), {Describe(path, 0, time), Describe(path, 0, time), Describe(path)});
  FreeWorkers(listener);
  Drain(listener);
  EXPECT_EQ(listener.Count(path), 1u);
  // Evicted by the drain, it may be queued again.
  Queue(Cache(), {Describe(path)});
  listener.WaitFor(path, 2);
}

TEST_F(RequestTest, QueuedThumbnailIsTakenBySynchronousRequest) {
  CRecordingListener listener(Cache());
  OccupyWorkers(listener);
  const std::wstring path = MakeFile("a.tif");
  Queue(Cache(), {Describe(path)});
  RequestNow(Cache(), {Describe(path)});
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady);
  FreeWorkers(listener);
  Drain(listener);
  EXPECT_EQ(listener.Count(path), 0u) << "the worker finds it ready and skips it";
  EXPECT_EQ(Script().RenderCount(path), 1);
}

TEST_F(RequestTest, ThumbnailInWorkIsLeftToItsWorker) {
  CRecordingListener listener(Cache());
  OccupyWorkers(listener);
  RequestNow(Cache(), {Describe(m_occupiers[0], 0, 1.0)});
  Queue(Cache(), {Describe(m_occupiers[0], 0, 1.0)});
  EXPECT_EQ(PeekState(Cache(), Describe(m_occupiers[0])), kQvThumbnailInWork);
  FreeWorkers(listener);
  Drain(listener);
  EXPECT_EQ(Script().RenderCount(m_occupiers[0]), 1);
}

TEST_F(RequestTest, BatchIsServedInOrder) {
  CRecordingListener listener(Cache());
  OccupyWorkers(listener);
  std::vector<SQvThumbnailDescription> batch;
  std::vector<std::wstring> expected;
  for (int i = 0; i < 20; ++i) {
    expected.push_back(MakeFile(std::string("f") + std::to_string(i * 7 % 20) + ".tif"));
    batch.push_back(Describe(expected.back()));
  }
  Queue(Cache(), batch);
  FreeOneWorker(listener);
  listener.WaitFor(expected.back());
  auto told = listener.Locations();
  told.erase(told.begin());
  EXPECT_EQ(told, expected);
  FreeWorkers(listener);
}

TEST_F(RequestTest, RowIsAcceptedWithoutComparingItsTime) {
  const std::wstring path = MakeFile("a.tif");
  RequestNow(Cache(), {Describe(path)});
  CSql(DatabaseFile()).Run("UPDATE cache SET lastWritten = 1");
  Cache().PurgeUnusedThumbnails();
  RequestNow(Cache(), {Describe(path, 0, 3000000.0)});
  EXPECT_EQ(Script().RenderCount(path), 1);
  EXPECT_EQ(PeekState(Cache(), Describe(path, 0, 1.0)), kQvThumbnailReady) << "the entry's time is the row's";
}

TEST_F(RequestTest, LatestRequestsOwnerIsUsed) {
  CRecordingListener listener(Cache());
  CImageDatabase first, second;
  second.records[1].fields[L"image"] = SFile();
  const std::wstring location = SQvThumbnailDescription::MakeDBLocation(1, L"image").Str();
  OccupyWorkers(listener);
  Queue(Cache(), {Describe(location, 0, 0.0, &first)});
  Queue(Cache(), {Describe(location, 0, 0.0, &second)});
  FreeWorkers(listener);
  listener.WaitFor(location);
  EXPECT_THAT(first.TakeCalls(), IsEmpty());
  EXPECT_EQ(PeekState(Cache(), Describe(location)), kQvThumbnailReady);
}

TEST_F(RequestTest, OwnerOfAReadyThumbnailIsReplacedForItsNextMaking) {
  CRecordingListener listener(Cache());
  CImageDatabase second;
  const std::wstring location = SQvThumbnailDescription::MakeDBLocation(1, L"image").Str();
  second.records[1].fields[L"image"] = SFile();
  {
    CImageDatabase first;
    first.records[1].fields[L"image"] = SFile();
    RequestNow(Cache(), {Describe(location, 0, 0.0, &first)});
    RequestNow(Cache(), {Describe(location, 0, 0.0, &second)});
  }
  Get(Cache(), Describe(location));
  Cache().ReleaseThumbnail(1, Describe(location, 0, 7.0));
  listener.WaitFor(location);
  EXPECT_FALSE(second.TakeCalls().empty());
}

TEST_F(RequestTest, MissingManagerIsSurvived) {
  CRecordingListener listener(Cache());
  const std::wstring path = MakeFile("a.tif"), other = MakeFile("b.tif");
  RequestNow(Cache(), {Describe(path)});
  Cache().PurgeUnusedThumbnails();
  m_diag.Take();
  for (const bool impostor : {false, true}) {
    Script().FailFactory(!impostor, impostor);
    RequestNow(Cache(), {Describe(path), Describe(other)});
    EXPECT_FALSE(Get(Cache(), Describe(path)).HasPicture());
    EXPECT_NE(PeekState(Cache(), Describe(path)), kQvThumbnailInWork);
    Cache().PurgeUnusedThumbnails();
  }
  EXPECT_EQ(Script().Live().managers, 2) << "only the workers' own";
  Script().FailFactory(false, false);
  RequestNow(Cache(), {Describe(path)});
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady);
}

TEST_F(RequestTest, NullArrayWithACountIsSurvived) {
  EXPECT_EQ(Cache().RequestThumbnails(0, nullptr, 5, 0, false), 0);
  EXPECT_EQ(Cache().RequestThumbnails(0, nullptr, 5, 0, true), 0);
}

TEST_F(RequestTest, CallersInParallelShareOneMaking) {
  const std::wstring path = MakeFile("a.tif");
  Script().Block(path);
  std::thread first([&] { RequestNow(Cache(), {Describe(path)}); });
  Script().WaitForBlocked(1);
  RequestNow(Cache(), {Describe(path)});
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailInWork);
  Script().Unblock(path);
  first.join();
  EXPECT_EQ(Script().RenderCount(path), 1);
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady);
}

}  // namespace
}  // namespace qvtest
