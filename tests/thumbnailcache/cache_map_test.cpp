#include "tests/thumbnailcache/cache_map_fixture.h"
#include "tests/thumbnailcache/support/image_database.h"

namespace qvtest {
namespace {

using ::testing::ElementsAre;

constexpr const wchar_t* kAlreadyReferenced = L"m_RefSet.find(src) != m_RefSet.end()";
constexpr const wchar_t* kNotReferenced = L"m_RefSet.find(src) == m_RefSet.end()";
constexpr const wchar_t* kNoEntry = L"i == m_CacheMap.end()";

TEST_F(CacheMapTest, UnknownKeyYieldsNothing) {
  const SQvThumbnailDescription desc = Describe(L"/no/such/file.tif");
  std::uint32_t state = 77;
  SQvPicBuf picture{};
  picture.width = 1234;
  EXPECT_EQ(Cache().GetCachedThumbnail(1, desc, &state, &picture), 0);
  EXPECT_EQ(state, kQvThumbnailNone);
  EXPECT_EQ(picture.width, 1234u);
  EXPECT_TRUE(m_diag.Take().empty());
  Cache().ReleaseThumbnail(1, desc);
  ExpectAssertion(kNoEntry);
}

TEST_F(CacheMapTest, ReadyThumbnailIsHandedOutWithSharedPixels) {
  const auto desc = Describe(MakeReady("a.tif"));
  const SLookup first = Get(Cache(), desc, 1), second = Get(Cache(), desc, 2);
  EXPECT_EQ(first.state, kQvThumbnailReady);
  EXPECT_EQ(first.picture.width, 240u);
  EXPECT_EQ(first.picture.height, 180u);
  EXPECT_EQ(first.picture.components, 3u);
  EXPECT_EQ(first.picture.bpc, 8u);
  EXPECT_EQ(UniformByte(first.picture), standin::RenderedByte(desc.location.Str(), 0));
  EXPECT_EQ(first.picture.data, second.picture.data);
  Cache().ReleaseThumbnail(1, desc);
  Cache().ReleaseThumbnail(2, desc);
  EXPECT_TRUE(m_diag.Take().empty());
}

TEST_F(CacheMapTest, LetterCaseDoesNotMatterAndEveryNonZeroFlagIsOneKey) {
  const std::wstring path = MakeReady("mixed case.tif");
  EXPECT_EQ(PeekState(Cache(), Describe(Upper(path))), kQvThumbnailReady);
  EXPECT_EQ(PeekState(Cache(), Describe(path, 1)), kQvThumbnailNone);
  RequestNow(Cache(), {Describe(path, 1)});
  EXPECT_EQ(PeekState(Cache(), Describe(path, 2)), kQvThumbnailReady);
  EXPECT_EQ(PeekState(Cache(), Describe(path, 0x80000000u)), kQvThumbnailReady);
}

TEST_F(CacheMapTest, SecondGetOfTheSameReferrerIsReportedAndLeavesOneReference) {
  const auto desc = Describe(MakeReady("a.tif"));
  Get(Cache(), desc, 7);
  EXPECT_TRUE(m_diag.Take().empty());
  const SLookup again = Get(Cache(), desc, 7);
  EXPECT_EQ(again.state, kQvThumbnailReady);
  EXPECT_TRUE(again.HasPicture());
  ExpectAssertion(kAlreadyReferenced);

  Cache().ReleaseThumbnail(7, desc);
  EXPECT_TRUE(m_diag.Take().empty());
  Cache().PurgeUnusedThumbnails();
  EXPECT_EQ(PeekState(Cache(), desc), kQvThumbnailNone) << "one release must have sufficed";
}

TEST_F(CacheMapTest, ReleaseByAStrangerIsReportedAndTakesNothing) {
  const auto desc = Describe(MakeReady("a.tif"));
  Get(Cache(), desc, 7);
  Cache().ReleaseThumbnail(8, desc);
  ExpectAssertion(kNotReferenced);
  Cache().PurgeUnusedThumbnails();
  EXPECT_EQ(PeekState(Cache(), desc), kQvThumbnailReady);
  Cache().ReleaseThumbnail(7, desc);
  Cache().ReleaseThumbnail(7, desc);
  ExpectAssertion(kNotReferenced);
}

TEST_F(CacheMapTest, ReferrersMayBeAny64BitValue) {
  const auto desc = Describe(MakeReady("a.tif"));
  for (const std::uint64_t referrer : {std::uint64_t{0}, ~std::uint64_t{0}, std::uint64_t{1} << 32}) {
    Get(Cache(), desc, referrer);
    Cache().ReleaseThumbnail(referrer, desc);
  }
  EXPECT_TRUE(m_diag.Take().empty());
}

TEST_F(CacheMapTest, DormantThumbnailIsQueuedAgainByALookup) {
  CRecordingListener listener(Cache());
  const std::wstring path = MakeFile("a.tif");
  Cache().ExcludeLocation(path.c_str());
  Queue(Cache(), {Describe(path)});
  Drain(listener);
  EXPECT_EQ(listener.Count(path), 0u);
  Cache().IncludeLocation(path.c_str());

  // Both workers wait, so the lookup must also wake one.
  EXPECT_EQ(Get(Cache(), Describe(path)).state, kQvThumbnailQueued);
  listener.WaitFor(path);
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady);
}

TEST_F(CacheMapTest, LookupOfAQueuedThumbnailDoesNotQueueItTwice) {
  CRecordingListener listener(Cache());
  OccupyWorkers(listener);
  const std::wstring path = MakeFile("a.tif");
  Queue(Cache(), {Describe(path)});
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Get(Cache(), Describe(path)).state, kQvThumbnailQueued);
  FreeWorkers(listener);
  Drain(listener);
  EXPECT_EQ(listener.Count(path), 1u);
}

TEST_F(CacheMapTest, LookupInWorkGivesNoPicture) {
  CRecordingListener listener(Cache());
  OccupyWorkers(listener);
  const SLookup look = Get(Cache(), Describe(m_occupiers[0]));
  EXPECT_EQ(look.state, kQvThumbnailInWork);
  EXPECT_FALSE(look.HasPicture());
  FreeWorkers(listener);
}

TEST_F(CacheMapTest, FailedAndUnavailableAreReportedWithoutAPicture) {
  standin::SFile damaged, unsupported;
  damaged.renderResult = -9;
  unsupported.renderResult = -3;
  const std::wstring first = MakeFile("damaged.tif", damaged), second = MakeFile("unsupported.tif", unsupported);
  RequestNow(Cache(), {Describe(first), Describe(second)});
  EXPECT_EQ(Get(Cache(), Describe(first)).state, kQvThumbnailFailed);
  EXPECT_EQ(Get(Cache(), Describe(second)).state, kQvThumbnailUnavailable);
  EXPECT_FALSE(Get(Cache(), Describe(first)).HasPicture());
  EXPECT_FALSE(Get(Cache(), Describe(second)).HasPicture());
}

TEST_F(CacheMapTest, NewerSourceMakesAThumbnailStaleOnce) {
  CRecordingListener listener(Cache());
  const std::wstring path = MakeReady("a.tif");
  EXPECT_EQ(PeekState(Cache(), Describe(path, 0, 0.0)), kQvThumbnailReady) << "an unknown time is no news";
  const SLookup look = Get(Cache(), Describe(path, 0, 1.0), 5);
  EXPECT_EQ(look.state, kQvThumbnailStale);
  EXPECT_TRUE(look.HasPicture()) << "a stale picture is still shown";
  EXPECT_EQ(Script().RenderCount(path), 1) << "nobody remakes what is shown";

  Cache().ReleaseThumbnail(5, Describe(path, 0, 1.0));
  listener.WaitFor(path);
  const SLookup fresh = Get(Cache(), Describe(path), 6);
  EXPECT_EQ(fresh.state, kQvThumbnailReady);
  EXPECT_EQ(UniformByte(fresh.picture), standin::RenderedByte(path, 1));
  Cache().ReleaseThumbnail(6, Describe(path));
}

TEST_F(CacheMapTest, EqualTimeIsNotStale) {
  const std::wstring path = MakeReady("a.tif");
  const double written = CSql(DatabaseFile()).Number("SELECT lastWritten FROM cache");
  EXPECT_EQ(PeekState(Cache(), Describe(path, 0, written)), kQvThumbnailReady);
  EXPECT_EQ(PeekState(Cache(), Describe(path, 0, written + 1e-6)), kQvThumbnailStale);
}

TEST_F(CacheMapTest, RemakingAStaleThumbnailDoesNotAskTheDatabase) {
  CRecordingListener listener(Cache());
  const std::wstring path = MakeReady("a.tif");
  CSqliteSpy::Clear();
  EXPECT_EQ(PeekState(Cache(), Describe(path, 0, 1.0)), kQvThumbnailStale);
  listener.WaitFor(path);
  for (const std::string& text : CSqliteSpy::TakePrepared())
    EXPECT_FALSE(text.starts_with("SELECT lastWritten, binData")) << text;
}

TEST_F(CacheMapTest, StaleThumbnailGoesWhenTheLastViewerLeaves) {
  CRecordingListener listener(Cache());
  const std::wstring path = MakeReady("a.tif");
  Get(Cache(), Describe(path, 0, 1.0), 1);
  Get(Cache(), Describe(path, 0, 1.0), 2);
  Cache().ReleaseThumbnail(1, Describe(path));
  Drain(listener);
  EXPECT_EQ(listener.Count(path), 0u);
  Cache().ReleaseThumbnail(2, Describe(path));
  listener.WaitFor(path);
}

TEST_F(CacheMapTest, HighQualityMakesStandardThumbnailsStale) {
  CRecordingListener listener(Cache());
  const std::wstring first = MakeReady("a.tif"), second = MakeReady("b.tif");
  Cache().SetHighQuality(true);
  EXPECT_EQ(PeekState(Cache(), Describe(first)), kQvThumbnailStale);
  EXPECT_EQ(PeekState(Cache(), Describe(second)), kQvThumbnailStale);
  listener.WaitFor(first);
  listener.WaitFor(second);

  const SLookup look = Get(Cache(), Describe(first));
  EXPECT_EQ(look.state, kQvThumbnailReady) << "made in high quality now";
  EXPECT_EQ(look.picture.width, 320u);
  EXPECT_EQ(look.picture.height, 240u);
  Cache().ReleaseThumbnail(1, Describe(first));
  Cache().SetHighQuality(false);
  EXPECT_EQ(PeekState(Cache(), Describe(first)), kQvThumbnailReady) << "better than wanted is good enough";
}

TEST_F(CacheMapTest, StaleThumbnailGoesToTheFrontOfTheQueue) {
  CRecordingListener listener(Cache());
  const std::wstring stale = MakeReady("stale.tif");
  OccupyWorkers(listener);
  const std::wstring first = MakeFile("first.tif"), second = MakeFile("second.tif");
  Queue(Cache(), {Describe(first), Describe(second)});
  EXPECT_EQ(PeekState(Cache(), Describe(stale, 0, 1.0)), kQvThumbnailStale);
  FreeOneWorker(listener);
  listener.WaitFor(second);
  const auto told = listener.Locations();
  ASSERT_GE(told.size(), 4u);
  EXPECT_THAT(std::vector<std::wstring>(told.begin() + 1, told.begin() + 4), ElementsAre(stale, first, second));
  FreeWorkers(listener);
}

TEST_F(CacheMapTest, StaleThumbnailIsMovedToTheFrontNotQueuedTwice) {
  CRecordingListener listener(Cache());
  const std::wstring stale = MakeReady("stale.tif"), other = MakeReady("other.tif");
  OccupyWorkers(listener);
  PeekState(Cache(), Describe(stale, 0, 1.0));
  PeekState(Cache(), Describe(other, 0, 1.0));
  PeekState(Cache(), Describe(stale, 0, 1.0));
  FreeOneWorker(listener);
  Drain(listener);
  const auto told = listener.Locations();
  ASSERT_GE(told.size(), 4u);
  EXPECT_THAT(std::vector<std::wstring>(told.begin() + 1, told.begin() + 3), ElementsAre(stale, other));
  EXPECT_EQ(listener.Count(stale), 1u);
  FreeWorkers(listener);
}

TEST_F(CacheMapTest, ReleaseOfADatabaseLocationWithNewsMakesItStale) {
  CRecordingListener listener(Cache());
  CImageDatabase owner;
  owner.records[3].fields[L"image"] = standin::SFile();
  const std::wstring location = SQvThumbnailDescription::MakeDBLocation(3, L"Image").Str();
  std::wstring told = location;
  CQvStringUtils::ToLower(told);
  RequestNow(Cache(), {Describe(location, 0, 0.0, &owner)});

  EXPECT_EQ(Get(Cache(), Describe(location, 0, 5.0), 1).state, kQvThumbnailReady) << "a lookup alone is not enough";
  EXPECT_EQ(Get(Cache(), Describe(location, 0, 5.0), 2).state, kQvThumbnailReady);
  Cache().ReleaseThumbnail(1, Describe(location, 0, 5.0));
  EXPECT_EQ(Get(Cache(), Describe(location, 0, 5.0), 3).state, kQvThumbnailStale)
      << "stale, still shown to the second viewer";
  Cache().ReleaseThumbnail(2, Describe(location, 0, 5.0));
  Cache().ReleaseThumbnail(3, Describe(location, 0, 5.0));
  listener.WaitFor(told);
  EXPECT_EQ(PeekState(Cache(), Describe(location, 0, 5.0)), kQvThumbnailReady);
  Drain(listener);
  EXPECT_EQ(listener.Count(told), 1u) << "the new time was kept, so it is no news any more";
}

TEST_F(CacheMapTest, DatabaseLocationIsRemadeBeforeAllOthers) {
  CRecordingListener listener(Cache());
  CImageDatabase owner;
  owner.records[3].fields[L"image"] = standin::SFile();
  const std::wstring location = SQvThumbnailDescription::MakeDBLocation(3, L"image").Str();
  RequestNow(Cache(), {Describe(location, 0, 0.0, &owner)});
  OccupyWorkers(listener);
  const std::wstring other = MakeFile("other.tif");
  Queue(Cache(), {Describe(other)});
  Get(Cache(), Describe(location));
  Cache().ReleaseThumbnail(1, Describe(location, 0, 9.0));
  FreeOneWorker(listener);
  listener.WaitFor(other);
  EXPECT_EQ(listener.Locations()[1], location);
  FreeWorkers(listener);
}

TEST_F(CacheMapTest, DatabaseLocationTurnsStaleWithTheQualitySwitch) {
  CImageDatabase owner;
  owner.records[3].fields[L"image"] = standin::SFile();
  const std::wstring location = SQvThumbnailDescription::MakeDBLocation(3, L"image").Str();
  RequestNow(Cache(), {Describe(location, 0, 0.0, &owner)});
  Cache().SetHighQuality(true);
  EXPECT_EQ(Get(Cache(), Describe(location)).state, kQvThumbnailStale);
  Cache().ReleaseThumbnail(1, Describe(location));
  // The release queued it, and a worker may be inside the owner.
  Close();
}

TEST_F(CacheMapTest, ReleaseStoresTheNewTimeWhateverTheState) {
  // A failed one: no record, so creation leaves the state that the missing row gave.
  const std::wstring location = SQvThumbnailDescription::MakeDBLocation(9, L"image").Str();
  RequestNow(Cache(), {Describe(location)});
  EXPECT_EQ(PeekState(Cache(), Describe(location)), kQvThumbnailNone);
  CRecordingListener listener(Cache());
  Cache().ReleaseThumbnail(1, Describe(location, 0, 4.0));
  ExpectAssertion(kNotReferenced);
  listener.WaitFor(location);
}

}  // namespace
}  // namespace qvtest
