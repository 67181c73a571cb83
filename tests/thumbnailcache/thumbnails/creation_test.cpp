#include <fcntl.h>
#include <sys/stat.h>

#include <cmath>
#include <filesystem>

#include "system/qvdatetime.h"
#include "system/qvfile.h"
#include "tests/thumbnailcache/thumbnails/creation_fixture.h"

namespace qvtest {
namespace {

using standin::MakeStream;
using standin::RenderedByte;
using standin::SFile;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

const std::wstring kJpegTag = L"QvCustomTag:ThumbailJpg";
const std::wstring kPixelsTag = L"QvCustomTag:ThumbailPicbuf";

std::size_t DataSize(std::uint32_t width, std::uint32_t height) {
  SQvPicBuf picture;
  CQvPicBufAPI::Init(&picture);
  CQvPicBufAPI::Reinit(&picture, width, height, 0, 8, 3, false);
  const std::size_t size = picture.dataSize;
  CQvPicBufAPI::Free(&picture);
  return size;
}

TEST_F(CreationTest, PictureIsFittedIntoTheBox) {
  EXPECT_EQ(Size(4000, 3000), "240x180");
  EXPECT_EQ(Size(100, 5000), "3x180");
  EXPECT_EQ(Size(5000, 1), "480x1");
  EXPECT_EQ(Size(1, 5000), "1x180");
  EXPECT_EQ(Size(480, 180), "480x180");
  EXPECT_EQ(Size(481, 180), "480x179");
  EXPECT_EQ(Size(10, 3), "480x144") << "small pictures are enlarged";
  EXPECT_EQ(Size(8, 3), "480x180");
}

TEST_F(CreationTest, BoxIsTheServicesAndNotTheRequests) {
  const std::wstring path = MakeFile("a.tif", SFile(4000, 3000));
  EXPECT_EQ(Make(path, 1).picture.height, 180u);
  Cache().ReleaseThumbnail(1, Describe(path, 1));
  Cache().SetHighQuality(true);
  const std::wstring other = MakeFile("b.tif", SFile(4000, 3000));
  EXPECT_EQ(Make(other).picture.height, 240u);
  Cache().ReleaseThumbnail(1, Describe(other));
}

TEST_F(CreationTest, ZeroBoxGivesOnePixel) {
  Cache().SetThumbnailBox(0, 0, false);
  EXPECT_EQ(Size(400, 300), "1x1");
}

TEST_F(CreationTest, FittingWrapsAt32Bits) {
  // 134217728 x 480 is 15 x 2^32.
  EXPECT_EQ(Size(100, 134217728), "480x1");
}

TEST_F(CreationTest, ImpossibleBoxFailsCleanly) {
  Cache().SetThumbnailBox(0xFFFFFFFFu, 0xFFFFFFFFu, false);
  const std::wstring path = MakeFile("a.tif", SFile(1, 1));
  const SLookup look = Make(path);
  EXPECT_NE(look.state, kQvThumbnailReady);
  EXPECT_FALSE(look.HasPicture());
  EXPECT_EQ(CPlatformSpy::LivePictures(), 0);
}

TEST_F(CreationTest, RenderingIsAskedForTheOverview) {
  Script().RecordCalls(true);
  CPlatformSpy::Record(true);
  Make(MakeFile("a.tif"));
  EXPECT_THAT(Script().TakeCalls(), Contains("RenderPicture 240x180 1 1 0 0 4294967295"));
  EXPECT_THAT(CPlatformSpy::TakeCalls({"Reinit"}), ElementsAre("Reinit 240x180 0 8 3 true"));
  Make(MakeFile("b.tif"), 1);
  EXPECT_THAT(Script().TakeCalls(), Contains("RenderPicture 240x180 1 0 0 0 4294967295"));
}

TEST_F(CreationTest, CallsComeInOrder) {
  const std::wstring path = MakeFile("a.tif");
  Script().RecordCalls(true);
  RequestNow(Cache(), {Describe(path)});
  const auto calls = Script().TakeCalls();
  const auto end = std::find(calls.begin(), calls.end(), "GetCodecByName JPG");
  EXPECT_THAT(std::vector<std::string>(calls.begin(), end),
              ElementsAre("GetCodecForFile " + Utf8(path), "OpenInputFile", "Codec.Release", "Source.GetMetadataReader",
                          "GetImageInfo", "GetTextInfo", "GetCalibration 0", "GetPictureMetadata 0 0",
                          "GetAcquisitionTime", "GetExperiment 0", "Destroy", "GetCustomTag QvCustomTag:ThumbailJpg",
                          "GetCustomTag QvCustomTag:ThumbailPicbuf", "RenderPicture 240x180 1 1 0 0 4294967295",
                          "Source.Release"));
}

TEST_F(CreationTest, FileIsOpenedForItsIdentity) {
  const std::wstring path = MakeFile("a.tif");
  CPlatformSpy::Record(true);
  RequestNow(Cache(), {Describe(path)});
  const auto calls = CPlatformSpy::TakeCalls({"QV_OpenFile", "QV_GetFile", "QV_CloseFile"});
  EXPECT_THAT(calls, ::testing::UnorderedElementsAre("QV_OpenFile " + Utf8(path) + " 1 3 4294967295", "QV_GetFileSize",
                                                     "QV_GetFileTimes 1 0 1", "QV_CloseFile"));
  EXPECT_EQ(calls.front().substr(0, 11), "QV_OpenFile");
  EXPECT_EQ(calls.back(), "QV_CloseFile");
}

TEST_F(CreationTest, ManagerIsAskedForByNameAndReleased) {
  CPlatformSpy::Record(true);
  RequestNow(Cache(), {});
  const auto calls = CPlatformSpy::TakeCalls({"CreateAndQuery", "Release"});
  ASSERT_THAT(calls, SizeIs(2));
  EXPECT_TRUE(calls[0].starts_with("CreateAndQuery CQvImageFormatManagerImpl IQvImageFormatManager no file"))
      << calls[0];
  EXPECT_EQ(calls[1], "Release CQvImageFormatManagerImpl");
}

// The later of creation and last write, as a Julian day number.
TEST_F(CreationTest, TimeIsTheLaterOfCreationAndLastWrite) {
  const std::wstring future = MakeFile("future.tif"), past = MakeFile("past.tif");
  const timespec late[2] = {{0, UTIME_OMIT}, {4102444800, 0}};  // 2100-01-01
  const timespec early[2] = {{0, UTIME_OMIT}, {946684800, 0}};  // 2000-01-01
  utimensat(AT_FDCWD, Utf8(future).c_str(), late, 0);
  utimensat(AT_FDCWD, Utf8(past).c_str(), early, 0);
  RequestNow(Cache(), {Describe(future), Describe(past)});
  CSql sql(DatabaseFile());
  EXPECT_EQ(sql.Value("SELECT lastWritten = 2488069.5 FROM cache WHERE filename LIKE '%future.tif'"), "1");

  SQvFindData data;
  QvFindHandle find = {};
  ASSERT_EQ(QV_FindFileFirst(past.c_str(), &data, &find), 0);
  QV_FindFileClose(find);
  const double created = CQvDateTime(data.creationTime).GetJulianDayNumber();
  const double expected = std::max(created, 2451544.5);
  EXPECT_EQ(sql.Number("SELECT lastWritten FROM cache WHERE filename LIKE '%past.tif'"), expected);
}

TEST_F(CreationTest, EmbeddedJpegIsPreferred) {
  SFile file;
  file.tags[kJpegTag] = MakeStream(60, 45, 3, 8, 0x33);
  file.tags[kPixelsTag] = std::vector<std::uint8_t>(DataSize(400, 300), 0x44);
  const std::wstring path = MakeFile("a.tif", file);
  Script().RecordCalls(true);
  CPlatformSpy::Record(true);
  const SLookup look = Make(path);
  EXPECT_EQ(look.state, kQvThumbnailReady);
  EXPECT_EQ(look.picture.width, 240u);
  EXPECT_EQ(UniformByte(look.picture), 0x33);
  EXPECT_EQ(Script().RenderCount(path), 0);
  EXPECT_THAT(Script().TakeCalls(), Not(Contains("GetCustomTag QvCustomTag:ThumbailPicbuf")));
  EXPECT_THAT(CPlatformSpy::TakeCalls({"Reinit", "Stretch", "Free"}),
              ElementsAre("Reinit 240x180 0 8 3 true", "Reinit 60x45 0 8 3 false", "Stretch 3", "Free"));
  EXPECT_EQ(CPlatformSpy::LivePictures(), 1);
  Cache().ReleaseThumbnail(1, Describe(path));
}

class BadEmbeddedJpegTest : public CreationTest, public ::testing::WithParamInterface<std::vector<std::uint8_t>> {};

TEST_P(BadEmbeddedJpegTest, FallsBackToRendering) {
  SFile file;
  file.tags[kJpegTag] = GetParam();
  file.tags[kPixelsTag] = std::vector<std::uint8_t>(DataSize(400, 300), 0x44);
  const std::wstring path = MakeFile("a.tif", file);
  const SLookup look = Make(path);
  EXPECT_EQ(look.state, kQvThumbnailReady);
  EXPECT_EQ(UniformByte(look.picture), RenderedByte(path, 0)) << "raw pixels are only tried without a JPEG";
  EXPECT_EQ(CPlatformSpy::LivePictures(), 1);
  Cache().ReleaseThumbnail(1, Describe(path));
}

INSTANTIATE_TEST_SUITE_P(Streams, BadEmbeddedJpegTest,
                         ::testing::Values(MakeStream(60, 45, 1, 8, 1), MakeStream(60, 45, 3, 16, 1),
                                           MakeStream(60, 45, 3, 7, 1), MakeStream(60, 45, 3, 8, 1, 10),
                                           std::vector<std::uint8_t>{1, 2}, MakeStream(0, 0, 3, 8, 1),
                                           std::vector<std::uint8_t>()));

TEST_F(CreationTest, EmbeddedJpegWithoutACodecFallsBackToRendering) {
  SFile file;
  file.tags[kJpegTag] = MakeStream(60, 45, 3, 8, 0x33);
  const std::wstring path = MakeFile("a.tif", file);
  Script().FailCodecByName(-9);
  EXPECT_EQ(UniformByte(Make(path).picture), RenderedByte(path, 0));
  Cache().ReleaseThumbnail(1, Describe(path));
}

TEST_F(CreationTest, EmbeddedPixelsOfTheRightSizeAreTaken) {
  SFile file;
  file.tags[kPixelsTag] = std::vector<std::uint8_t>(DataSize(400, 300), 0x44);
  const std::wstring path = MakeFile("a.tif", file);
  CPlatformSpy::Record(true);
  const SLookup look = Make(path);
  EXPECT_EQ(look.state, kQvThumbnailReady);
  EXPECT_EQ(UniformByte(look.picture), 0x44);
  EXPECT_EQ(Script().RenderCount(path), 0);
  EXPECT_THAT(CPlatformSpy::TakeCalls({"Reinit", "Stretch", "Free"}),
              ElementsAre("Reinit 240x180 0 8 3 true", "Reinit 400x300 0 8 3 false", "Stretch 3"));
  EXPECT_EQ(CPlatformSpy::LivePictures(), 2) << "the temporary picture is left on this path, on purpose";
  Cache().ReleaseThumbnail(1, Describe(path));
  Close();
  EXPECT_EQ(CPlatformSpy::LivePictures(), 1);
  m_expectLeftPicture = true;
}

TEST_F(CreationTest, EmbeddedPixelsOfAnotherSizeAreIgnored) {
  for (const std::ptrdiff_t difference : {-1, 1, -400}) {
    SFile file;
    file.tags[kPixelsTag] = std::vector<std::uint8_t>(DataSize(400, 300) + difference, 0x44);
    const std::wstring path = MakeFile(std::string("a") + std::to_string(difference) + ".tif", file);
    EXPECT_EQ(UniformByte(Make(path).picture), RenderedByte(path, 0));
    Cache().ReleaseThumbnail(1, Describe(path));
    Cache().PurgeUnusedThumbnails();
    EXPECT_EQ(CPlatformSpy::LivePictures(), 0);
  }
}

struct SFailure {
  const char* name;
  void (*script)(SFile&);
  std::uint32_t state;
};

class FailureTest : public CreationTest, public ::testing::WithParamInterface<SFailure> {};

TEST_P(FailureTest, LeavesADefiniteStateWithoutAPicture) {
  SFile file;
  GetParam().script(file);
  const std::wstring path = MakeFile("a.tif", file);
  const SLookup look = Make(path);
  EXPECT_EQ(look.state, GetParam().state);
  EXPECT_FALSE(look.HasPicture());
  EXPECT_EQ(CPlatformSpy::LivePictures(), 0);
  EXPECT_TRUE(m_diag.Take().empty());
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM cache"), "0");
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM metadata"), "0");
}

TEST_P(FailureTest, DropsThePictureOfAStaleThumbnail) {
  CRecordingListener listener(Cache());
  const std::wstring path = MakeFile("a.tif");
  RequestNow(Cache(), {Describe(path)});
  SFile file;
  GetParam().script(file);
  Script().SetFile(path, file);
  EXPECT_EQ(PeekState(Cache(), Describe(path, 0, 1.0)), kQvThumbnailStale);
  listener.WaitFor(path);
  EXPECT_EQ(Get(Cache(), Describe(path)).state, GetParam().state);
  // Unreadable geometry leaves the old picture; every other failure drops it.
  EXPECT_LE(CPlatformSpy::LivePictures(), 1);
  // With a limit of one picture another one must fit: the dropped one is not counted any more.
  Cache().PurgeUnusedThumbnails();
  EXPECT_EQ(CPlatformSpy::LivePictures(), 0);
}

INSTANTIATE_TEST_SUITE_P(Steps, FailureTest,
                         ::testing::Values(SFailure{"codec", [](SFile& f) { f.codecResult = -9; }, 5},
                                           SFailure{"open", [](SFile& f) { f.openResult = -9; }, 5},
                                           SFailure{"reader", [](SFile& f) { f.metadata.readerResult = -9; }, 5},
                                           SFailure{"geometry", [](SFile& f) { f.metadata.infoResult = -9; }, 5},
                                           SFailure{"no_width", [](SFile& f) { f.info.width = 0; }, 5},
                                           SFailure{"no_height", [](SFile& f) { f.info.height = 0; }, 5},
                                           SFailure{"render_damaged", [](SFile& f) { f.renderResult = -9; }, 5},
                                           SFailure{"render_odd_status", [](SFile& f) { f.renderResult = 1; }, 5},
                                           SFailure{"render_unsupported", [](SFile& f) { f.renderResult = -3; }, 9}),
                         [](const auto& instance) { return instance.param.name; });

TEST_F(CreationTest, FailingTextsAreNoFailureOfTheThumbnail) {
  SFile file;
  file.metadata.textResult = file.metadata.calibrationResult = file.metadata.pictureMetadataResult = -9;
  file.metadata.acquisitionTimeResult = file.metadata.experimentResult = -9;
  const std::wstring path = MakeFile("a.tif", file);
  EXPECT_EQ(Make(path).state, kQvThumbnailReady);
  Cache().ReleaseThumbnail(1, Describe(path));
}

TEST_F(CreationTest, MissingFileYieldsNone) { EXPECT_EQ(Make(Folder().Wide("missing.tif")).state, kQvThumbnailNone); }

TEST_F(CreationTest, MissingFileDropsThePicture) {
  CRecordingListener listener(Cache());
  const std::wstring path = MakeFile("a.tif");
  RequestNow(Cache(), {Describe(path)});
  std::filesystem::remove(Utf8(path));
  EXPECT_EQ(PeekState(Cache(), Describe(path, 0, 1.0)), kQvThumbnailStale);
  listener.WaitFor(path);
  EXPECT_EQ(Get(Cache(), Describe(path)).state, kQvThumbnailNone);
  EXPECT_EQ(CPlatformSpy::LivePictures(), 0);
}

TEST_F(CreationTest, FolderYieldsNoneButItsTimeIsKnown) {
  std::filesystem::create_directory(Folder().Path("folder.tif"));
  const std::wstring path = Folder().Wide("folder.tif");
  CPlatformSpy::Record(true);
  EXPECT_EQ(Make(path).state, kQvThumbnailNone);
  EXPECT_THAT(CPlatformSpy::TakeCalls({"QV_"}), ElementsAre("QV_OpenFile " + Utf8(path) + " 1 3 4294967295",
                                                            "QV_FindFileFirst " + Utf8(path), "QV_FindFileClose"));

  // The entry's time is the folder's: a request with that time leaves it alone, any other tries again.
  SQvFindData data;
  QvFindHandle find = {};
  ASSERT_EQ(QV_FindFileFirst(path.c_str(), &data, &find), 0);
  QV_FindFileClose(find);
  const double time = std::max(CQvDateTime(data.creationTime).GetJulianDayNumber(),
                               CQvDateTime(data.lastWriteTime).GetJulianDayNumber());
  CPlatformSpy::TakeCalls();
  RequestNow(Cache(), {Describe(path, 0, time)});
  EXPECT_THAT(CPlatformSpy::TakeCalls({"QV_"}), IsEmpty());
  RequestNow(Cache(), {Describe(path, 0, 0.0)});
  EXPECT_THAT(CPlatformSpy::TakeCalls({"QV_OpenFile"}), SizeIs(1));
}

TEST_F(CreationTest, TextInformationIsStoredUnderTheFilePath) {
  SFile file;
  file.metadata.text.author = L"Ada";
  const std::wstring path = MakeFile("a.tif", file);
  Make(path);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT filename, M_author, M_width, M_height FROM metadata"),
            Utf8(path) + "|Ada|400|300");
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT M_fileSize FROM metadata"), "7") << "the size of the file itself";
  Cache().ReleaseThumbnail(1, Describe(path));
}

}  // namespace
}  // namespace qvtest
