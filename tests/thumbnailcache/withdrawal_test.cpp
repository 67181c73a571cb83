#include "tests/thumbnailcache/cache_map_fixture.h"

namespace qvtest {
namespace {

TEST_F(CacheMapTest, CancelAllRequestsWithdrawsWhatNoWorkerHasBegun) {
  CRecordingListener listener(Cache());
  const std::wstring stale = MakeReady("stale.tif");
  OccupyWorkers(listener);
  const std::wstring waiting = MakeFile("waiting.tif");
  Queue(Cache(), {Describe(waiting)});
  EXPECT_EQ(PeekState(Cache(), Describe(stale, 0, 1.0)), kQvThumbnailStale);
  EXPECT_EQ(Cache().CancelAllRequests(), 0);
  EXPECT_EQ(PeekState(Cache(), Describe(m_occupiers[0])), kQvThumbnailInWork);
  FreeWorkers(listener);
  Drain(listener);
  EXPECT_EQ(PeekState(Cache(), Describe(stale)), kQvThumbnailReady) << "the stale picture counts as ready again";
  EXPECT_EQ(listener.Count(stale), 0u);
  EXPECT_EQ(listener.Count(waiting), 0u);
  EXPECT_EQ(Get(Cache(), Describe(waiting)).state, kQvThumbnailQueued) << "it was dormant, and is queued again";
  listener.WaitFor(waiting);
}

TEST_F(CacheMapTest, CancelRequestsWantsTheLowerCasedSpelling) {
  CRecordingListener listener(Cache());
  OccupyWorkers(listener);
  const std::wstring exact = MakeFile("exact.tif"), upper = MakeFile("upper.tif"), high = MakeFile("high.tif");
  Queue(Cache(), {Describe(exact), Describe(upper), Describe(high, 1)});
  const SQvThumbnailDescription cancelled[] = {Describe(exact), Describe(Upper(upper)), Describe(high, 0),
                                               Describe(L"unknown")};
  EXPECT_EQ(Cache().CancelRequests(99, cancelled, 4), 0);
  FreeWorkers(listener);
  Drain(listener);
  EXPECT_EQ(listener.Count(exact), 0u);
  EXPECT_EQ(listener.Count(upper), 1u);
  EXPECT_EQ(listener.Count(high), 1u) << "the other quality is another thumbnail";
  EXPECT_EQ(Get(Cache(), Describe(exact)).state, kQvThumbnailQueued);
  listener.WaitFor(exact);
}

TEST_F(CacheMapTest, CancelRequestsMakesAStaleThumbnailReadyAgain) {
  CRecordingListener listener(Cache());
  const std::wstring path = MakeReady("a.tif");
  OccupyWorkers(listener);
  EXPECT_EQ(PeekState(Cache(), Describe(path, 0, 1.0)), kQvThumbnailStale);
  const SQvThumbnailDescription desc = Describe(path);
  EXPECT_EQ(Cache().CancelRequests(0, &desc, 1), 0);
  EXPECT_EQ(PeekState(Cache(), desc), kQvThumbnailReady);
  FreeWorkers(listener);
  Drain(listener);
  EXPECT_EQ(listener.Count(path), 0u);
}

TEST_F(CacheMapTest, CancelRequestsOfNothingDoesNothing) {
  const SQvThumbnailDescription desc = Describe(L"x");
  EXPECT_EQ(Cache().CancelRequests(0, nullptr, 0), 0);
  EXPECT_EQ(Cache().CancelRequests(0, &desc, 0), 0);
  EXPECT_EQ(Cache().CancelRequests(0, &desc, -5), 0);
  EXPECT_EQ(Cache().CancelRequests(0, nullptr, 3), 0);
}

TEST_F(CacheMapTest, CancelledThenRequestedIsMadeOnce) {
  CRecordingListener listener(Cache());
  OccupyWorkers(listener);
  const auto desc = Describe(MakeFile("a.tif"));
  Queue(Cache(), {desc});
  Cache().CancelRequests(0, &desc, 1);
  Queue(Cache(), {desc});
  FreeOneWorker(listener);
  Drain(listener);
  EXPECT_EQ(listener.Count(desc.location.Str()), 1u);
  EXPECT_EQ(Script().RenderCount(desc.location.Str()), 1);
  FreeWorkers(listener);
}

TEST_F(CacheMapTest, ExcludedLocationIsLeftAloneInAnySpellingAndQuality) {
  CRecordingListener listener(Cache());
  const std::wstring path = MakeFile("a.tif");
  Cache().ExcludeLocation(Upper(path).c_str());
  Cache().ExcludeLocation(path.c_str());
  Queue(Cache(), {Describe(path), Describe(path, 1)});
  Drain(listener);
  EXPECT_EQ(listener.Count(path), 0u);
  RequestNow(Cache(), {Describe(path)});
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady) << "the calling thread is no worker";

  Cache().IncludeLocation(Upper(path).c_str());
  EXPECT_EQ(Get(Cache(), Describe(path, 1)).state, kQvThumbnailQueued);
  listener.WaitFor(path);
}

TEST_F(CacheMapTest, StaleThumbnailOfAnExcludedLocationTurnsDormant) {
  CRecordingListener listener(Cache());
  const std::wstring path = MakeReady("a.tif");
  Cache().ExcludeLocation(path.c_str());
  EXPECT_EQ(PeekState(Cache(), Describe(path, 0, 1.0)), kQvThumbnailStale);
  Drain(listener);
  EXPECT_EQ(Get(Cache(), Describe(path)).state, kQvThumbnailQueued);
}

TEST_F(CacheMapTest, NullAndUnknownLocationsAreHarmless) {
  Cache().ExcludeLocation(nullptr);
  Cache().IncludeLocation(nullptr);
  Cache().IncludeLocation(L"never excluded");
  Cache().ExcludeLocation(L"");
  Cache().IncludeLocation(L"");
}

TEST_F(CacheMapTest, PurgeKeepsWhatIsShownAndWhatIsInWork) {
  CRecordingListener listener(Cache());
  const std::wstring shown = MakeReady("shown.tif"), unused = MakeReady("unused.tif");
  standin::SFile damaged;
  damaged.renderResult = -9;
  const std::wstring failed = MakeFile("failed.tif", damaged), dormant = MakeFile("dormant.tif"),
                     waiting = MakeFile("waiting.tif");
  RequestNow(Cache(), {Describe(failed)});
  Cache().ExcludeLocation(dormant.c_str());
  Queue(Cache(), {Describe(dormant)});
  Drain(listener);
  const SLookup look = Get(Cache(), Describe(shown));
  OccupyWorkers(listener);
  Queue(Cache(), {Describe(waiting)});

  EXPECT_EQ(Cache().PurgeUnusedThumbnails(), 0);
  EXPECT_EQ(PeekState(Cache(), Describe(shown)), kQvThumbnailReady);
  EXPECT_EQ(PeekState(Cache(), Describe(m_occupiers[0])), kQvThumbnailInWork);
  for (const std::wstring& gone : {unused, failed, dormant, waiting})
    EXPECT_EQ(PeekState(Cache(), Describe(gone)), kQvThumbnailNone) << Utf8(gone);
  EXPECT_EQ(UniformByte(look.picture), standin::RenderedByte(shown, 0));
  FreeWorkers(listener);
  Drain(listener);
  EXPECT_EQ(Script().RenderCount(waiting), 0) << "the queue was emptied";
  EXPECT_EQ(PeekState(Cache(), Describe(m_occupiers[0])), kQvThumbnailReady);
  Cache().ReleaseThumbnail(1, Describe(shown));
}

TEST_F(CacheMapTest, PurgeFreesPictures) {
  for (int i = 0; i < 10; ++i) MakeReady(std::string("p") + std::to_string(i) + ".tif");
  EXPECT_EQ(CPlatformSpy::LivePictures(), 10);
  Cache().PurgeUnusedThumbnails();
  EXPECT_EQ(CPlatformSpy::LivePictures(), 0);
}

TEST_F(CacheMapTest, EmptyLocationIsHandled) {
  RequestNow(Cache(), {Describe(L"")});
  EXPECT_EQ(PeekState(Cache(), Describe(L"")), kQvThumbnailNone);
}

}  // namespace
}  // namespace qvtest
