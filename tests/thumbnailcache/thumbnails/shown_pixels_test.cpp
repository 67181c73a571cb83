#include <filesystem>

#include "tests/thumbnailcache/support/image_database.h"
#include "tests/thumbnailcache/support/service_test.h"

// A viewer's pixels stay valid and unchanged from its lookup to its release, whatever comes between.
namespace qvtest {
namespace {

using standin::RenderedByte;
using standin::SFile;
using ::testing::IsEmpty;

constexpr std::uint64_t kViewer = 9;

class ShownPixelsTest : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    ASSERT_EQ(Open(), 0);
    m_owner.records[1].fields[L"image"] = SFile();
  }

  // A thumbnail that kViewer shows and that a worker left dormant because of that: the one way in which a shown
  // picture gets remade.
  SLookup MakeShownAndDormant(const std::wstring& path) {
    CRecordingListener listener(Cache());
    RequestNow(Cache(), {Describe(path)});
    OccupyWorkers(listener);
    EXPECT_EQ(PeekState(Cache(), Describe(path, 0, 1.0)), kQvThumbnailStale);
    const SLookup look = Get(Cache(), Describe(path), kViewer);
    EXPECT_EQ(look.state, kQvThumbnailStale);
    FreeWorkers(listener);
    Drain(listener);
    return look;
  }

  void ForgetRows() { CSql(DatabaseFile()).Run("DELETE FROM cache"); }

  CImageDatabase m_owner;
  const std::wstring m_record = SQvThumbnailDescription::MakeDBLocation(1, L"image").Str();
};

TEST_F(ShownPixelsTest, StayWhenTheThumbnailIsRemadeFromTheFile) {
  const std::wstring path = MakeFile("a.tif");
  const SLookup shown = MakeShownAndDormant(path);
  ForgetRows();
  RequestNow(Cache(), {Describe(path)});
  EXPECT_EQ(Script().RenderCount(path), 2);
  EXPECT_EQ(UniformByte(shown.picture), RenderedByte(path, 0));

  const SLookup fresh = Get(Cache(), Describe(path), 10);
  EXPECT_EQ(fresh.state, kQvThumbnailReady);
  EXPECT_EQ(UniformByte(fresh.picture), RenderedByte(path, 1));
  Cache().ReleaseThumbnail(kViewer, Describe(path));
  EXPECT_EQ(UniformByte(fresh.picture), RenderedByte(path, 1));
  EXPECT_EQ(Script().Live().sources, 0);
  Cache().ReleaseThumbnail(10, Describe(path));
  EXPECT_THAT(m_diag.Take(), IsEmpty());
  Cache().PurgeUnusedThumbnails();
  EXPECT_EQ(CPlatformSpy::LivePictures(), 0) << "what was set aside went with its viewer";
}

TEST_F(ShownPixelsTest, StayWhenTheThumbnailIsReadFromItsRow) {
  const std::wstring path = MakeFile("a.tif");
  const SLookup shown = MakeShownAndDormant(path);
  const auto stream = standin::MakeStream(240, 180, 3, 8, 0xEE);
  const std::string hex = Hex(stream);
  CSql(DatabaseFile()).Run("UPDATE cache SET binData = x'" + hex + "' WHERE filename = '" + Utf8(path) + "'");
  RequestNow(Cache(), {Describe(path)});
  EXPECT_EQ(UniformByte(shown.picture), RenderedByte(path, 0));
  const SLookup fresh = Get(Cache(), Describe(path), 10);
  EXPECT_EQ(UniformByte(fresh.picture), 0xEE);
  Cache().ReleaseThumbnail(10, Describe(path));
  EXPECT_EQ(UniformByte(shown.picture), RenderedByte(path, 0));
  Cache().ReleaseThumbnail(kViewer, Describe(path));
}

TEST_F(ShownPixelsTest, StayWhenTheRowIsDamaged) {
  const std::wstring path = MakeFile("a.tif");
  const SLookup shown = MakeShownAndDormant(path);
  CSql(DatabaseFile()).Run("UPDATE cache SET binData = x'00'");
  RequestNow(Cache(), {Describe(path)});
  EXPECT_EQ(UniformByte(shown.picture), RenderedByte(path, 0));
  Cache().ReleaseThumbnail(kViewer, Describe(path));
}

TEST_F(ShownPixelsTest, StayWhenTheSizeChanges) {
  const std::wstring path = MakeFile("a.tif");
  const SLookup shown = MakeShownAndDormant(path);
  ForgetRows();
  Cache().SetThumbnailBox(60, 60, false);
  RequestNow(Cache(), {Describe(path)});
  EXPECT_EQ(UniformByte(shown.picture), RenderedByte(path, 0));
  Cache().ReleaseThumbnail(kViewer, Describe(path));
}

TEST_F(ShownPixelsTest, StayWhenRemakingFails) {
  for (const std::int32_t result : {-9, -3}) {
    const std::wstring path = MakeFile("failing" + std::to_string(result) + ".tif");
    const SLookup shown = MakeShownAndDormant(path);
    ForgetRows();
    SFile damaged;
    damaged.renderResult = result;
    Script().SetFile(path, damaged);
    RequestNow(Cache(), {Describe(path)});
    EXPECT_FALSE(Get(Cache(), Describe(path), 10).HasPicture());
    EXPECT_EQ(UniformByte(shown.picture), RenderedByte(path, 0));
    Cache().ReleaseThumbnail(kViewer, Describe(path));
    EXPECT_THAT(m_diag.Take(), IsEmpty());
  }
}

TEST_F(ShownPixelsTest, StayWhenTheFileIsGone) {
  const std::wstring path = MakeFile("a.tif");
  const SLookup shown = MakeShownAndDormant(path);
  ForgetRows();
  std::filesystem::remove(Utf8(path));
  RequestNow(Cache(), {Describe(path)});
  EXPECT_EQ(Get(Cache(), Describe(path), 10).state, kQvThumbnailNone);
  EXPECT_EQ(UniformByte(shown.picture), RenderedByte(path, 0));
  Cache().ReleaseThumbnail(kViewer, Describe(path));
}

TEST_F(ShownPixelsTest, StayUnderPurgeAndEviction) {
  const std::wstring path = MakeFile("a.tif");
  const SLookup shown = MakeShownAndDormant(path);
  ForgetRows();
  RequestNow(Cache(), {Describe(path)});
  Cache().SetCacheLimit(0);
  RequestNow(Cache(), {Describe(MakeFile("b.tif"))});
  Cache().PurgeUnusedThumbnails();
  EXPECT_EQ(UniformByte(shown.picture), RenderedByte(path, 0));
  Cache().ReleaseThumbnail(kViewer, Describe(path));
  EXPECT_THAT(m_diag.Take(), IsEmpty());
}

TEST_F(ShownPixelsTest, ManyRemakesUnderManyViewers) {
  const std::wstring path = MakeFile("a.tif");
  SLookup first = MakeShownAndDormant(path);
  ForgetRows();
  RequestNow(Cache(), {Describe(path)});
  std::vector<SQvPicBuf> shown = {first.picture};
  CRecordingListener listener(Cache());
  for (int round = 1; round < 6; ++round) {
    const std::uint64_t viewer = kViewer + static_cast<std::uint64_t>(round);
    const SLookup look = Get(Cache(), Describe(path, 0, 1.0), viewer);
    ASSERT_EQ(look.state, kQvThumbnailStale);
    shown.push_back(look.picture);
    // Cancelled, it counts as ready; the next viewer finds it stale again. Every viewer has left the queue alone.
    const auto desc = Describe(path);
    Cache().CancelRequests(0, &desc, 1);
  }
  for (std::size_t i = 0; i < shown.size(); ++i)
    EXPECT_EQ(UniformByte(shown[i]), RenderedByte(path, i == 0 ? 0 : 1)) << i;
  for (std::uint64_t viewer = kViewer; viewer < kViewer + 6; ++viewer) Cache().ReleaseThumbnail(viewer, Describe(path));
  EXPECT_THAT(m_diag.Take(), IsEmpty());
}

// A record's thumbnail is marked stale by a release while a worker remakes it, is shown to a viewer in that moment, and
// the worker's copy is published over it.
class PublishedOverTest : public ShownPixelsTest {
 protected:
  SLookup ShowDuringWork(CRecordingListener& listener) {
    RequestNow(Cache(), {Describe(m_record, 0, 0.0, &m_owner)});
    OccupyWorkers(listener);
    FreeOneWorker(listener);
    Script().Block(L"db:1:image");
    Get(Cache(), Describe(m_record), 1);
    Cache().ReleaseThumbnail(1, Describe(m_record, 0, 5.0));
    Script().WaitForBlocked(2);
    Cache().ReleaseThumbnail(1, Describe(m_record, 0, 6.0));
    m_diag.Take();
    const SLookup look = Get(Cache(), Describe(m_record), kViewer);
    EXPECT_EQ(look.state, kQvThumbnailStale);
    return look;
  }
};

TEST_F(PublishedOverTest, PixelsStay) {
  CRecordingListener listener(Cache());
  const SLookup shown = ShowDuringWork(listener);
  EXPECT_EQ(UniformByte(shown.picture), RenderedByte(L"db:1:image", 0)) << "the worker must not draw into them";
  Cache().CancelAllRequests();
  Script().UnblockAll();
  listener.WaitFor(m_record);
  EXPECT_EQ(UniformByte(shown.picture), RenderedByte(L"db:1:image", 0));
  const SLookup fresh = Get(Cache(), Describe(m_record), 10);
  EXPECT_EQ(UniformByte(fresh.picture), RenderedByte(L"db:1:image", 1));
  Cache().ReleaseThumbnail(kViewer, Describe(m_record));
  Cache().ReleaseThumbnail(10, Describe(m_record));
}

TEST_F(PublishedOverTest, PixelsOutliveThePurgeOfTheirEntry) {
  CRecordingListener listener(Cache());
  const SLookup shown = ShowDuringWork(listener);
  Cache().CancelAllRequests();
  Script().UnblockAll();
  listener.WaitFor(m_record);
  Cache().PurgeUnusedThumbnails();
  EXPECT_EQ(UniformByte(shown.picture), RenderedByte(L"db:1:image", 0));
  Cache().ReleaseThumbnail(kViewer, Describe(m_record));
  FreeWorkers(listener);
  Drain(listener);
  Cache().PurgeUnusedThumbnails();
  EXPECT_EQ(CPlatformSpy::LivePictures(), 0);
}

TEST_F(PublishedOverTest, TwoWorkersOnOneThumbnailBothPublish) {
  CRecordingListener listener(Cache());
  ShowDuringWork(listener);
  Cache().ReleaseThumbnail(kViewer, Describe(m_record, 0, 7.0));
  // The second worker takes it as well.
  Script().Unblock(m_occupiers[1]);
  listener.WaitFor(m_occupiers[1]);
  Script().WaitForBlocked(2);
  Script().UnblockAll();
  listener.WaitFor(m_record, 2);
  Drain(listener);
  const SLookup fresh = Get(Cache(), Describe(m_record), 10);
  EXPECT_EQ(fresh.state, kQvThumbnailReady);
  EXPECT_GE(UniformByte(fresh.picture), 0);
  Cache().ReleaseThumbnail(10, Describe(m_record));
  Cache().PurgeUnusedThumbnails();
  EXPECT_EQ(CPlatformSpy::LivePictures(), 0) << "neither copy's picture was lost";
}

TEST_F(ShownPixelsTest, OutliveTheClosing) {
  const std::wstring path = MakeFile("a.tif");
  RequestNow(Cache(), {Describe(path)});
  const SLookup shown = Get(Cache(), Describe(path), kViewer);
  EXPECT_EQ(Close(), 0);
  EXPECT_EQ(UniformByte(shown.picture), RenderedByte(path, 0));
  ASSERT_EQ(Open(), 0);
  EXPECT_EQ(UniformByte(shown.picture), RenderedByte(path, 0));
  EXPECT_EQ(Get(Cache(), Describe(path), 10).picture.data, shown.picture.data);
  Cache().ReleaseThumbnail(10, Describe(path));
  Cache().ReleaseThumbnail(kViewer, Describe(path));
  EXPECT_THAT(m_diag.Take(), IsEmpty());
}

TEST_F(ShownPixelsTest, NeverReleasedGoWithTheService) {
  const std::wstring path = MakeFile("a.tif");
  RequestNow(Cache(), {Describe(path)});
  Get(Cache(), Describe(path), kViewer);
  CRecordingListener listener(Cache());
  Close();
  EXPECT_EQ(CPlatformSpy::LivePictures(), 1);
}

}  // namespace
}  // namespace qvtest
