#include "imageformats/qvdetachableimagedatabase.h"
#include "tests/thumbnailcache/support/image_database.h"
#include "tests/thumbnailcache/thumbnails/creation_fixture.h"

namespace qvtest {
namespace {

using standin::MakeStream;
using standin::RenderedByte;
using standin::SFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const std::wstring kEmbeddedTag = L"QvCustomTag:ThumbailJpg";

class OwnedRecordTest : public CreationTest {
 protected:
  static std::wstring Location(const std::wstring& field = L"image") {
    return SQvThumbnailDescription::MakeDBLocation(7, field).Str();
  }
  SLookup MakeOwned(IQvInterface* owner, const std::wstring& field = L"Image") {
    const auto desc = Describe(Location(field), 0, 0.0, owner);
    RequestNow(Cache(), {desc});
    return Get(Cache(), desc);
  }
  void ReleaseOwned() { Cache().ReleaseThumbnail(1, Describe(Location())); }

  CImageDatabase m_owner;
};

TEST_F(OwnedRecordTest, OwnerIsAskedWithinItsAccess) {
  SFile file;
  file.tags[kEmbeddedTag] = MakeStream(60, 45, 3, 8, 0x33);
  m_owner.records[7].fields[L"image"] = file;
  Script().RecordCalls(true);
  CSqliteSpy::Clear();
  const SLookup look = MakeOwned(&m_owner);
  EXPECT_EQ(look.state, kQvThumbnailReady);
  EXPECT_EQ(UniformByte(look.picture), RenderedByte(L"db:7:image", 0)) << "embedded thumbnails are not tried";
  EXPECT_THAT(m_owner.TakeCalls(), ElementsAre("BeginAccess", "GetRecord 7 changeable", "Open",
                                               "GetPictureSource image", "Record.Release", "EndAccess"));
  EXPECT_THAT(Script().TakeCalls(), ElementsAre("GetPictureInfo", "RenderPicture 240x180 1 1 0 0 4294967295",
                                                "Source.Release", "Manager.Release"));
  EXPECT_THAT(CSqliteSpy::TakeTraced(), SizeIs(1)) << "it is looked up, and never saved";
  EXPECT_EQ(m_owner.inside, 0);
  EXPECT_EQ(m_owner.liveRecords, 0);
  EXPECT_EQ(m_owner.references, 1);
  ReleaseOwned();
}

TEST_F(OwnedRecordTest, QueuedRequestUsesTheOwnerToo) {
  CRecordingListener listener(Cache());
  m_owner.records[7].fields[L"image"] = SFile();
  const std::wstring location = Location();
  Queue(Cache(), {Describe(location, 0, 0.0, &m_owner)});
  listener.WaitFor(location);
  EXPECT_EQ(PeekState(Cache(), Describe(location)), kQvThumbnailReady);
  EXPECT_EQ(m_owner.inside, 0);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM cache"), "0");
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM metadata"), "0");
}

TEST_F(OwnedRecordTest, WithoutAnOwnerNothingChanges) {
  EXPECT_EQ(MakeOwned(nullptr).state, kQvThumbnailNone);
  IQvInterface* service = Cache().QueryInterface("IQvThumbnailCache");
  EXPECT_EQ(MakeOwned(service, L"other").state, kQvThumbnailNone) << "an owner that is no image database";
  service->Release();
}

TEST_F(OwnedRecordTest, UnusableRecordsEndTheAccess) {
  EXPECT_EQ(MakeOwned(&m_owner).state, kQvThumbnailNone);
  EXPECT_THAT(m_owner.TakeCalls(), ElementsAre("BeginAccess", "GetRecord 7 changeable", "EndAccess"));

  m_owner.records[7].openResult = -9;
  EXPECT_EQ(MakeOwned(&m_owner, L"b").state, kQvThumbnailNone);
  EXPECT_THAT(m_owner.TakeCalls(),
              ElementsAre("BeginAccess", "GetRecord 7 changeable", "Open", "Record.Release", "EndAccess"));

  m_owner.records[7].openResult = 0;
  EXPECT_EQ(MakeOwned(&m_owner, L"c").state, kQvThumbnailNone);
  EXPECT_THAT(m_owner.TakeCalls(), ElementsAre("BeginAccess", "GetRecord 7 changeable", "Open", "GetPictureSource c",
                                               "Record.Release", "EndAccess"));
  EXPECT_EQ(m_owner.liveRecords, 0);
}

TEST_F(OwnedRecordTest, FailuresAreFailedAndNeverUnavailable) {
  m_owner.records[7].fields[L"a"].sourceInfoResult = -9;
  m_owner.records[7].fields[L"b"].renderResult = -9;
  m_owner.records[7].fields[L"c"].renderResult = -3;
  for (const wchar_t* field : {L"a", L"b", L"c"}) {
    EXPECT_EQ(MakeOwned(&m_owner, field).state, kQvThumbnailFailed) << Utf8(field);
    EXPECT_EQ(m_owner.TakeCalls().back(), "EndAccess");
  }
  EXPECT_EQ(CPlatformSpy::LivePictures(), 0);
  EXPECT_EQ(m_owner.inside, 0);
}

TEST_F(OwnedRecordTest, RecordWithoutAreaFailsCleanly) {
  m_owner.records[7].fields[L"image"] = SFile(0, 0);
  const SLookup look = MakeOwned(&m_owner);
  EXPECT_EQ(look.state, kQvThumbnailFailed);
  EXPECT_EQ(m_owner.inside, 0);
}

// A picture that somebody holds outlives the close; its owner is the host's again from then on.
TEST_F(OwnedRecordTest, ClosingLetsTheOwnerGo) {
  m_owner.records[7].fields[L"image"] = SFile();
  EXPECT_EQ(MakeOwned(&m_owner).state, kQvThumbnailReady);
  Close();
  m_owner.TakeCalls();
  ASSERT_EQ(Open(), 0);
  CRecordingListener listener(Cache());
  // News of the record: the thumbnail is to be made again.
  Cache().ReleaseThumbnail(1, Describe(Location(), 0, 5.0));
  listener.WaitFor(Location());
  EXPECT_THAT(m_owner.TakeCalls(), IsEmpty());
  EXPECT_EQ(PeekState(Cache(), Describe(Location())), kQvThumbnailStale) << "what there was is still shown";
}

TEST_F(OwnedRecordTest, DetachableOwnerIsTransparent) {
  m_owner.records[7].fields[L"image"] = SFile();
  CQvDetachableImageDatabase owner(m_owner);
  EXPECT_EQ(MakeOwned(&owner).state, kQvThumbnailReady);
  EXPECT_THAT(m_owner.TakeCalls(), ElementsAre("BeginAccess", "GetRecord 7 changeable", "Open",
                                               "GetPictureSource image", "Record.Release", "EndAccess"));
  ReleaseOwned();
}

TEST_F(OwnedRecordTest, DetachedOwnerIsNotAskedAgain) {
  m_owner.records[7].fields[L"image"] = SFile();
  CQvDetachableImageDatabase owner(m_owner);
  EXPECT_EQ(MakeOwned(&owner).state, kQvThumbnailReady);
  owner.Detach();
  m_owner.TakeCalls();
  CRecordingListener listener(Cache());
  Cache().ReleaseThumbnail(1, Describe(Location(), 0, 5.0));
  listener.WaitFor(Location());
  EXPECT_EQ(MakeOwned(&owner, L"other").state, kQvThumbnailNone);
  EXPECT_THAT(m_owner.TakeCalls(), IsEmpty());
  owner.Detach();
}

TEST_F(OwnedRecordTest, DetachingWaitsForTheAccessUnderWay) {
  m_owner.records[7].fields[L"image"] = SFile();
  CQvDetachableImageDatabase owner(m_owner);
  CRecordingListener listener(Cache());
  Script().Block(L"db:7:image");
  Queue(Cache(), {Describe(Location(), 0, 0.0, &owner)});
  Script().WaitForBlocked(1);
  std::atomic<bool> detached{false};
  std::thread host([&] {
    owner.Detach();
    EXPECT_EQ(m_owner.inside, 0);
    detached = true;
  });
  // Refused at once, while the other is still inside.
  while (owner.BeginAccess() == kQvOk) owner.EndAccess();
  owner.EndAccess();
  EXPECT_FALSE(detached);
  Script().Unblock(L"db:7:image");
  host.join();
  listener.WaitFor(Location());
  EXPECT_EQ(PeekState(Cache(), Describe(Location())), kQvThumbnailReady);
}

}  // namespace
}  // namespace qvtest
