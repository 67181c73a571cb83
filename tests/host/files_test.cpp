#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "host/files/file_finder.h"
#include "host/files/image_file.h"
#include "host/host_error.h"
#include "host/output/output_file.h"
#include "system/qvdatetime.h"
#include "tests/support/file_bytes.h"
#include "tests/support/temp_folder.h"

namespace qvhost {
namespace {

using namespace qvtest;

using testing::ElementsAre;
using testing::IsEmpty;

TEST(FileFinderTest, TakesImagesOfAFolderByExtensionInOrder) {
  const CTempFolder folder;
  folder.MakeFolder("deep");
  for (const char* name : {"b.TIF", "a.png", "c.txt", ".hidden.png", "d.svs", "deep/e.jpeg"}) folder.MakeFile(name);
  EXPECT_THAT(FindImageFiles({folder.Path()}, false).files,
              ElementsAre(folder.Path("a.png"), folder.Path("b.TIF"), folder.Path("d.svs")));
  EXPECT_THAT(
      FindImageFiles({folder.Path()}, true).files,
      ElementsAre(folder.Path("a.png"), folder.Path("b.TIF"), folder.Path("d.svs"), folder.Path("deep/e.jpeg")));
}

TEST(FileFinderTest, TakesArraysThatAreCompressedAsAWhole) {
  const CTempFolder folder;
  for (const char* name : {"a.mrc", "b.mrc.gz", "c.tar.gz", "d.gz"}) folder.MakeFile(name);
  EXPECT_THAT(FindImageFiles({folder.Path()}, false).files, ElementsAre(folder.Path("a.mrc"), folder.Path("b.mrc.gz")));
}

TEST(FileFinderTest, TakesANamedFileWhateverItsName) {
  const CTempFolder folder;
  const std::string file = folder.MakeFile("scan.0001");
  EXPECT_THAT(FindImageFiles({file}, false).files, ElementsAre(file));
}

TEST(FileFinderTest, TakesAFileOnceWhateverLeadsToIt) {
  const CTempFolder folder;
  const std::string file = folder.MakeFile("a.png");
  const SFoundFiles found = FindImageFiles({file, folder.Path(), folder.Path("./a.png"), file}, true);
  EXPECT_THAT(found.files, ElementsAre(file));
  EXPECT_THAT(found.problems, IsEmpty());
}

TEST(FileFinderTest, NamesAPathThatLeadsNowhere) {
  const CTempFolder folder;
  const SFoundFiles found = FindImageFiles({folder.Path("missing.tif")}, false);
  EXPECT_THAT(found.files, IsEmpty());
  ASSERT_EQ(found.problems.size(), 1u);
  EXPECT_EQ(found.problems[0].first, folder.Path("missing.tif"));
}

TEST(FileFinderTest, ACircleOfLinksEnds) {
  const CTempFolder folder;
  folder.MakeFolder("below");
  const std::string file = folder.MakeFile("below/a.png");
  ASSERT_EQ(symlink(folder.Path().c_str(), folder.Path("below/up").c_str()), 0);
  EXPECT_THAT(FindImageFiles({folder.Path()}, true).files, ElementsAre(file));
}

TEST(FileFinderTest, LeavesNoFolderOutSilently) {
  const CTempFolder folder;
  folder.MakeFolder("locked");
  folder.MakeFile("locked/a.png");
  ASSERT_EQ(chmod(folder.Path("locked").c_str(), 0), 0);
  const bool readable = access(folder.Path("locked").c_str(), R_OK) == 0;
  const SFoundFiles found = FindImageFiles({folder.Path()}, true);
  chmod(folder.Path("locked").c_str(), 0700);
  if (readable) GTEST_SKIP() << "root reads every folder";
  ASSERT_EQ(found.problems.size(), 1u);
  EXPECT_EQ(found.problems[0].first, folder.Path("locked"));
}

TEST(ImageFileTest, AbsolutePathFollowsLinksBeforeItClimbs) {
  const CTempFolder folder;
  folder.MakeFolder("far/away");
  const std::string wanted = folder.MakeFile("far/a.png");
  ASSERT_EQ(symlink(folder.Path("far/away").c_str(), folder.Path("link").c_str()), 0);
  EXPECT_EQ(AbsolutePath(folder.Path("link/../a.png")), std::filesystem::canonical(wanted).string());
  EXPECT_EQ(AbsolutePath(folder.Path("./far/a.png")), wanted);
}

TEST(ImageFileTest, DescribesAFileUnderItsLowerCaseLocation) {
  const CTempFolder folder;
  const std::string file = folder.MakeFile("Cell.TIF");
  const timespec times[2] = {{4000000000, 0}, {4000000000, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
  SQvThumbnailDescription description;
  std::string reason;
  ASSERT_TRUE(DescribeFile(file, true, &description, &reason)) << reason;
  EXPECT_EQ(description.location.Str(), folder.Lower("cell.tif"));
  EXPECT_EQ(description.flags, 1u);
  EXPECT_NEAR(description.lastWritten, 2440587.5 + 4000000000 / 86400.0, 1e-6);
  EXPECT_TRUE(LocationExists(description.location));
  EXPECT_EQ(RealPath(description.location), file);
}

TEST(ImageFileTest, TwoNamesThatDifferInCaseOnlyAreToldApart) {
  const CTempFolder folder;
  const std::string lower = folder.MakeFile("a.tif", "lower");
  const std::string upper = folder.MakeFile("A.tif", "upper");
  SQvThumbnailDescription description;
  std::string reason;
  EXPECT_TRUE(DescribeFile(lower, false, &description, &reason));
  EXPECT_FALSE(DescribeFile(upper, false, &description, &reason));
  EXPECT_THAT(reason, testing::HasSubstr(lower));
  EXPECT_EQ(TextInfoPath(upper), CQvStringUtils::UTF8toW(upper));
  EXPECT_EQ(TextInfoPath(lower).Str(), folder.Lower("a.tif"));
}

TEST(ImageFileTest, LinkThatLeadsToItselfIsOneFilesError) {
  const CTempFolder folder;
  ASSERT_EQ(symlink("Loop.tif", folder.Path("Loop.tif").c_str()), 0);
  ASSERT_EQ(symlink("Loops", folder.Path("Loops").c_str()), 0);
  for (const std::string& path : {folder.Path("Loop.tif"), folder.Path("Loops/a.tif")}) {
    SQvThumbnailDescription description;
    std::string reason;
    EXPECT_FALSE(DescribeFile(path, false, &description, &reason));
    EXPECT_EQ(reason, "Too many levels of symbolic links") << path;
  }
}

TEST(ImageFileTest, SaysWhyAFileCannotBeOpened) {
  const CTempFolder folder;
  ASSERT_EQ(mkfifo(folder.Path("pipe.png").c_str(), 0600), 0);
  EXPECT_EQ(ExplainOpenFailure(folder.Path("missing")), "No such file or directory");
  EXPECT_EQ(ExplainOpenFailure(folder.Path()), "is a folder");
  EXPECT_EQ(ExplainOpenFailure(folder.Path("pipe.png")), "is not a regular file");
  EXPECT_EQ(ExplainOpenFailure(folder.MakeFile("a.png")), "");
}

bool IsAnything(std::string_view) { return true; }

TEST(OutputFileTest, AppearsOnlyWhenCommitted) {
  const CTempFolder folder;
  const std::string path = folder.Path("out.html");
  const COutputTarget target(path, &IsAnything);
  {
    COutputFile dropped(target);
    dropped.Write("half");
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
  COutputFile file(target);
  file.Write(std::string(200000, 'x'));
  EXPECT_FALSE(std::filesystem::exists(path));
  file.Commit();
  EXPECT_EQ(std::filesystem::file_size(path), 200000u);
}

TEST(OutputFileTest, SaysWhyItCannotBeWritten) {
  EXPECT_THROW(COutputFile(COutputTarget("/nonexistent/out.html", &IsAnything)), CHostError);
}

TEST(OutputFileTest, AReplacedFileKeepsItsRights) {
  const CTempFolder folder;
  const std::string path = folder.MakeFile("out.html", "old");
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  COutputFile file(COutputTarget(path, &IsAnything));
  file.Write("new");
  file.Commit();
  struct stat status;
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640u);
  EXPECT_EQ(ReadTextFile(path), "new");
}

}  // namespace
}  // namespace qvhost
