#include "tests/thumbnailcache/thumbnails/creation_fixture.h"

namespace qvtest {
namespace {

using standin::RenderedByte;

class EvictionTest : public CreationTest {
 protected:
  std::wstring MakeReady(const std::string& name) {
    const std::wstring path = MakeFile(name);
    RequestNow(Cache(), {Describe(path)});
    return path;
  }
};

TEST_F(EvictionTest, LeastRecentlyUsedPictureGoesFirst) {
  const std::wstring a = MakeReady("a.tif"), b = MakeReady("b.tif"), c = MakeReady("c.tif");
  PeekState(Cache(), Describe(a));  // its release counts as use
  Cache().SetCacheLimit(2);
  const std::wstring d = MakeReady("d.tif");
  EXPECT_EQ(CPlatformSpy::LivePictures(), 3) << "room is made before the new one, which is one too many for a moment";
  const std::wstring e = MakeReady("e.tif");
  EXPECT_EQ(CPlatformSpy::LivePictures(), 3);
  // Order of use: b, c, a, d, e. The request for d evicted b; that for e evicted c.
  CRecordingListener listener(Cache());
  OccupyWorkers(listener);
  EXPECT_EQ(Get(Cache(), Describe(b)).state, kQvThumbnailQueued);
  EXPECT_EQ(Get(Cache(), Describe(c)).state, kQvThumbnailQueued);
  EXPECT_EQ(PeekState(Cache(), Describe(e)), kQvThumbnailReady);
  Cache().CancelAllRequests();
  FreeWorkers(listener);
}

TEST_F(EvictionTest, ShownPicturesStay) {
  const std::wstring a = MakeReady("a.tif"), b = MakeReady("b.tif");
  const SLookup look = Get(Cache(), Describe(a));
  Cache().SetCacheLimit(0);
  MakeReady("c.tif");
  EXPECT_EQ(CPlatformSpy::LivePictures(), 2) << "the shown one and the new one";
  EXPECT_EQ(UniformByte(look.picture), RenderedByte(a, 0));
  EXPECT_EQ(Get(Cache(), Describe(b)).state, kQvThumbnailQueued);
  Cache().ReleaseThumbnail(1, Describe(a));
}

TEST_F(EvictionTest, ReleaseKeepsAnEvictedLookingEntryEvictable) {
  const std::wstring a = MakeReady("a.tif");
  Get(Cache(), Describe(a));
  Cache().SetCacheLimit(0);
  MakeReady("b.tif");
  Cache().ReleaseThumbnail(1, Describe(a));
  MakeReady("c.tif");
  EXPECT_EQ(CPlatformSpy::LivePictures(), 1);
}

TEST_F(EvictionTest, EvictedPictureComesBackFromItsRow) {
  CRecordingListener listener(Cache());
  const std::wstring a = MakeReady("a.tif");
  Cache().SetCacheLimit(0);
  MakeReady("b.tif");
  Cache().SetCacheLimit(10);
  EXPECT_EQ(Get(Cache(), Describe(a)).state, kQvThumbnailQueued);
  listener.WaitFor(a);
  EXPECT_EQ(PeekState(Cache(), Describe(a)), kQvThumbnailReady);
  EXPECT_EQ(Script().RenderCount(a), 1);
}

TEST_F(EvictionTest, WorkersEvictTooAndQueuedRequestsDoNot) {
  CRecordingListener listener(Cache());
  const std::wstring a = MakeReady("a.tif");
  Cache().SetCacheLimit(0);
  OccupyWorkers(listener);
  EXPECT_EQ(Get(Cache(), Describe(a)).state, kQvThumbnailQueued) << "taking the occupier evicted it";
  Cache().CancelAllRequests();
  FreeWorkers(listener);

  Cache().SetCacheLimit(1000);
  const std::wstring b = MakeReady("b.tif");
  OccupyWorkers(listener);
  Cache().SetCacheLimit(0);
  Queue(Cache(), {Describe(MakeFile("c.tif"))});
  EXPECT_EQ(PeekState(Cache(), Describe(b)), kQvThumbnailReady) << "queuing evicts nothing";
  FreeWorkers(listener);
  Drain(listener);
  EXPECT_EQ(Get(Cache(), Describe(b)).state, kQvThumbnailQueued);
}

TEST_F(EvictionTest, EveryRequestEvictsEvenIfItTakesNothing) {
  const std::wstring a = MakeReady("a.tif"), b = MakeReady("b.tif");
  Cache().SetCacheLimit(1);
  RequestNow(Cache(), {Describe(b)});
  EXPECT_EQ(CPlatformSpy::LivePictures(), 1);
  EXPECT_EQ(PeekState(Cache(), Describe(b)), kQvThumbnailReady);
}

TEST_F(EvictionTest, StalePicturesMayGo) {
  CRecordingListener listener(Cache());
  const std::wstring a = MakeReady("a.tif");
  OccupyWorkers(listener);
  EXPECT_EQ(PeekState(Cache(), Describe(a, 0, 1.0)), kQvThumbnailStale);
  Cache().SetCacheLimit(0);
  RequestNow(Cache(), {Describe(Folder().Wide("missing.tif"))});
  EXPECT_EQ(CPlatformSpy::LivePictures(), 2) << "only what the two workers are making";
  FreeWorkers(listener);
  Drain(listener);
  EXPECT_EQ(Script().RenderCount(a), 1) << "dormant, so the queued pointer is skipped";
}

TEST_F(EvictionTest, TheMostUsedOfManyStay) {
  std::vector<std::wstring> paths;
  for (int i = 0; i < 40; ++i) paths.push_back(MakeReady(std::string("p") + std::to_string(100 + i * 7 % 40) + ".tif"));
  Cache().SetCacheLimit(10);
  RequestNow(Cache(), {Describe(Folder().Wide("missing.tif"))});
  EXPECT_EQ(CPlatformSpy::LivePictures(), 10);
  CRecordingListener listener(Cache());
  for (int i = 30; i < 40; ++i)
    EXPECT_EQ(PeekState(Cache(), Describe(paths[static_cast<std::size_t>(i)])), kQvThumbnailReady) << i;
}

}  // namespace
}  // namespace qvtest
