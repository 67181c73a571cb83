#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/thumbnailcache/support/file_times.h"
#include "tests/thumbnailcache/thumbnails/creation_fixture.h"

namespace qvtest {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Some time in 2022.
constexpr std::int64_t kOldTime = (31000000LL << 32) + 77;
const std::string kReadRow = "SELECT lastWritten, binData, quality FROM cache WHERE filename = :FN AND flags = :FL";

// Files that change behind the back of their last-write time.
class ChangedFilesTest : public CreationTest {
 protected:
  // Looks at the thumbnail as a viewer does that has forgotten it.
  void LookAgain(const std::wstring& path, std::uint32_t flags = 0) {
    Cache().PurgeUnusedThumbnails();
    RequestNow(Cache(), {Describe(path, flags)});
    EXPECT_EQ(PeekState(Cache(), Describe(path, flags)), kQvThumbnailReady);
  }
  static void Rewrite(const std::wstring& path, const std::string& content) {
    const timespec before = LastWrite(path);
    std::ofstream(Utf8(path)) << content;
    SetLastWrite(path, before);
  }
  std::vector<std::string> Rows(const std::string& columns, const std::string& table) {
    return CSql(DatabaseFile()).Rows("SELECT " + columns + " FROM " + table);
  }
};

TEST_F(ChangedFilesTest, FileThatGrewIsMadeAnewInAllQualities) {
  const std::wstring path = MakeFile("a.tif");
  SetLastWrite(path, kOldTime);
  RequestNow(Cache(), {Describe(path, 0), Describe(path, 1)});
  LookAgain(path, 0);
  LookAgain(path, 1);
  EXPECT_EQ(Script().RenderCount(path), 2) << "the rows are served";
  Rewrite(path, "content and more");
  LookAgain(path, 0);
  EXPECT_EQ(Script().RenderCount(path), 3);
  LookAgain(path, 1);
  EXPECT_EQ(Script().RenderCount(path), 4);
  LookAgain(path, 0);
  LookAgain(path, 1);
  EXPECT_EQ(Script().RenderCount(path), 4) << "and are served again";
  EXPECT_THAT(Rows("M_fileSize", "metadata"), ElementsAre("16"));
}

TEST_F(ChangedFilesTest, FileThatGrewIsMadeAnewInTheBackground) {
  CRecordingListener listener(Cache());
  const std::wstring path = MakeFile("a.tif");
  SetLastWrite(path, kOldTime);
  RequestNow(Cache(), {Describe(path)});
  Cache().PurgeUnusedThumbnails();
  Rewrite(path, "half");
  Queue(Cache(), {Describe(path)});
  listener.WaitFor(path);
  EXPECT_EQ(Script().RenderCount(path), 2);
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady);
}

TEST_F(ChangedFilesTest, FileThatGrewAndIsDamagedShowsNothing) {
  const std::wstring path = MakeFile("a.tif");
  SetLastWrite(path, kOldTime);
  RequestNow(Cache(), {Describe(path)});
  Cache().PurgeUnusedThumbnails();
  Rewrite(path, "content and more");
  standin::SFile damaged;
  damaged.renderResult = -9;
  Script().SetFile(path, damaged);
  RequestNow(Cache(), {Describe(path)});
  EXPECT_EQ(Get(Cache(), Describe(path)).state, kQvThumbnailFailed);
  EXPECT_EQ(CPlatformSpy::LivePictures(), 0);
  EXPECT_THAT(Rows("filename", "cache"), IsEmpty());
}

TEST_F(ChangedFilesTest, SizeIsAskedForOnlyWhenTheTimeWasSetByHand) {
  const std::wstring written = MakeFile("written.tif"), set = MakeFile("set.tif");
  SetLastWrite(set, kOldTime);
  RequestNow(Cache(), {Describe(written), Describe(set)});
  CSqliteSpy::Clear();
  LookAgain(written);
  EXPECT_THAT(CSqliteSpy::TakeTraced(), ElementsAre(kReadRow));
  LookAgain(set);
  EXPECT_THAT(CSqliteSpy::TakeTraced(), ElementsAre(kReadRow, "SELECT M_fileSize FROM metadata WHERE filename = :FN"));
}

TEST_F(ChangedFilesTest, RowWithoutTextInformationIsServed) {
  const std::wstring path = MakeFile("a.tif");
  SetLastWrite(path, kOldTime);
  RequestNow(Cache(), {Describe(path)});
  for (const char* change : {"UPDATE metadata SET M_fileSize = NULL", "UPDATE metadata SET M_fileSize = 0",
                             "DELETE FROM metadata", "DROP TABLE metadata"}) {
    CSql(DatabaseFile()).Run(change);
    LookAgain(path);
    EXPECT_EQ(Script().RenderCount(path), 1) << change;
  }
}

TEST_F(ChangedFilesTest, RowOfAMissingFileIsServed) {
  const std::wstring path = MakeFile("a.tif");
  RequestNow(Cache(), {Describe(path)});
  std::filesystem::remove(Utf8(path));
  LookAgain(path);
  EXPECT_EQ(Script().RenderCount(path), 1);
}

TEST_F(ChangedFilesTest, YoungFileIsMadeAnewWhenAnythingOfItChanged) {
  const std::wstring path = MakeFile("a.tif");
  RequestNow(Cache(), {Describe(path, 0), Describe(path, 1)});
  std::this_thread::sleep_for(std::chrono::milliseconds(20));  // the file system's clock ticks
  Rewrite(path, "CONTENT");
  LookAgain(path, 0);
  EXPECT_EQ(Script().RenderCount(path), 3);
  LookAgain(path, 1);
  EXPECT_EQ(Script().RenderCount(path), 4);
  LookAgain(path, 0);
  LookAgain(path, 1);
  EXPECT_EQ(Script().RenderCount(path), 4);
}

TEST_F(ChangedFilesTest, NothingIsStoredOfAYoungFileWhoseStampsAreSeconds) {
  const std::wstring path = MakeFile("a.tif");
  SetLastWrite(path, timespec{std::time(nullptr), 0});
  RequestNow(Cache(), {Describe(path)});
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady);
  EXPECT_THAT(Rows("filename", "cache"), IsEmpty());
  EXPECT_THAT(Rows("filename", "metadata"), IsEmpty());
  SetLastWrite(path, timespec{std::time(nullptr) - 10, 0});
  LookAgain(path);
  EXPECT_THAT(Rows("filename", "cache"), ElementsAre(Utf8(path)));
}

TEST_F(ChangedFilesTest, StampOfTheTextInformationIsTheOneBeforeTheFileWasRead) {
  const std::wstring path = MakeFile("a.tif");
  SetLastWrite(path, kOldTime);
  Script().SetRenderHook([&](const std::wstring&) { SetLastWrite(path, kOldTime + 1); });
  RequestNow(Cache(), {Describe(path)});
  Script().SetRenderHook(nullptr);
  EXPECT_THAT(Rows("lastWritten", "metadata"), ElementsAre("77.0"));
}

}  // namespace
}  // namespace qvtest
