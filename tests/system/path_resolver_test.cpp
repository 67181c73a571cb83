#include "platform/system/path_resolver.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <vector>

#include "platform/system/folder_listing.h"
#include "system/qvfile.h"
#include "system/qvstatus.h"
#include "tests/support/temp_folder.h"
#include "tests/support/threads.h"

namespace {

using qvtest::CTempFolder;
using qvtest::RunThreads;

std::string Resolve(const std::wstring& path) {
  CQvStringA native;
  EXPECT_EQ(QV_ResolvePath(path.c_str(), &native), 0);
  return native.Str();
}

bool Opens(const std::wstring& path) {
  QvFileHandle handle = -1;
  if (QV_OpenFile(path.c_str(), kQvFileRead, kQvShareRead | kQvShareWrite, kQvAnyAttributes, &handle) != 0)
    return false;
  return QV_CloseFile(handle) == 0;
}

std::uint64_t CountListingReads() { return CFolderListings::Instance().GetReadCount(); }

TEST(PathResolver, FindsLowerCasedLocationsAtAnyDepth) {
  const CTempFolder folder;
  folder.MakeFolder("Experiment A/Wells/B02");
  const std::string real = folder.MakeFile("Experiment A/Wells/B02/IMG_0001.TIF");
  EXPECT_EQ(Resolve(folder.Lower("Experiment A/Wells/B02/IMG_0001.TIF")), real);
  EXPECT_TRUE(Opens(folder.Lower("Experiment A/Wells/B02/IMG_0001.TIF")));
  EXPECT_FALSE(Opens(folder.Lower("Experiment A/Wells/B03/IMG_0001.TIF")));
  SQvFindData data;
  QvFindHandle find = nullptr;
  ASSERT_EQ(QV_FindFileFirst(folder.Lower("EXPERIMENT a/WELLS/B02/img_0001.tif").c_str(), &data, &find), 0);
  EXPECT_EQ(data.size, 1);
  EXPECT_EQ(QV_FindFileClose(find), 0);
}

TEST(PathResolver, TheExactNameComesFirst) {
  const CTempFolder folder;
  const std::string upper = folder.MakeFile("IMG.tif"), mixed = folder.MakeFile("Img.tif");
  const std::string lower = folder.MakeFile("img.tif");
  EXPECT_EQ(Resolve(folder.Wide("img.tif")), lower);
  EXPECT_EQ(Resolve(folder.Wide("Img.tif")), mixed);
  EXPECT_EQ(Resolve(folder.Wide("iMG.tif")), upper);
}

TEST(PathResolver, OfSeveralMatchesTheFirstInByteOrder) {
  const CTempFolder folder;
  folder.MakeFile("img.TIF");
  folder.MakeFile("Img.TIF");
  const std::string first = folder.MakeFile("ImG.TIF");
  EXPECT_EQ(Resolve(folder.Wide("img.tif")), first);
}

TEST(PathResolver, AFolderWithoutTheRestGivesWayToTheNext) {
  const CTempFolder folder;
  for (const char* name : {"DATA/Run", "Data", "data/run"}) folder.MakeFolder(name);
  const std::string real = folder.MakeFile("Data/Image.PNG");
  EXPECT_EQ(Resolve(folder.Lower("Data/Image.PNG")), real);
  const std::string other = folder.MakeFile("DATA/Run/Image.PNG");
  EXPECT_EQ(Resolve(folder.Lower("data/run/image.png")), other);
}

TEST(PathResolver, AFileInPlaceOfAFolderGivesWay) {
  const CTempFolder folder;
  folder.MakeFile("data");
  folder.MakeFolder("Data");
  const std::string real = folder.MakeFile("Data/Image.PNG");
  EXPECT_EQ(Resolve(folder.Lower("Data/Image.PNG")), real);
}

TEST(PathResolver, FoldsLettersBeyondAscii) {
  const CTempFolder folder;
  const std::string real = folder.MakeFile("\xC3\x84 \xCE\xA9\xD0\x96.tif");
  EXPECT_EQ(Resolve(folder.Lower("\xC3\x84 \xCE\xA9\xD0\x96.tif")), real);
  // Letters whose lower case has more bytes may make a name too long to ask for.
  std::string longName;
  for (int i = 0; i < 125; ++i) longName += "\xC8\xBA";  // U+023A, two bytes; U+2C65, three
  const std::string longReal = folder.MakeFile(longName);
  EXPECT_EQ(Resolve(folder.Lower(longName)), longReal);
}

TEST(PathResolver, WhatMatchesNothingStaysAsItStands) {
  const CTempFolder folder;
  EXPECT_EQ(Resolve(folder.Wide("Missing/File.tif")), folder.Path("Missing/File.tif"));
  CQvStringA native("before");
  EXPECT_EQ(QV_ResolvePath(nullptr, &native), kQvFailure);
  EXPECT_EQ(QV_ResolvePath(L"", &native), kQvFailure);
  EXPECT_EQ(QV_ResolvePath(L"x", nullptr), kQvFailure);
  EXPECT_EQ(native.Str(), "before");
}

TEST(PathResolver, SlashesAndDots) {
  const CTempFolder folder;
  folder.MakeFolder("Sub");
  const std::string real = folder.MakeFile("Sub/File.tif");
  EXPECT_TRUE(std::filesystem::equivalent(Resolve(folder.Wide("sub//file.TIF")), real));
  EXPECT_TRUE(std::filesystem::equivalent(Resolve(folder.Wide("./sub/../SUB/./file.tif")), real));
  EXPECT_TRUE(Opens(folder.Wide("sub/file.tif")));
  EXPECT_FALSE(Opens(folder.Wide("sub/file.tif/")));
  EXPECT_TRUE(std::filesystem::equivalent(Resolve(folder.Wide("sub/")), folder.Path("Sub")));
}

TEST(PathResolver, RelativePathsStartAtTheWorkingFolder) {
  const CTempFolder folder;
  folder.MakeFolder("Sub");
  folder.MakeFile("Sub/File.tif");
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.Path());
  EXPECT_EQ(Resolve(L"sub/file.tif"), "Sub/File.tif");
  EXPECT_TRUE(Opens(L"sub/FILE.tif"));
  std::filesystem::current_path(before);
}

TEST(PathResolver, FollowsLinks) {
  const CTempFolder folder;
  folder.MakeFolder("Real");
  folder.MakeFile("Real/File.tif");
  std::filesystem::create_directory_symlink(folder.Path("Real"), folder.Path("Link"));
  std::filesystem::create_symlink("nowhere", folder.Path("Dangling"));
  std::filesystem::create_directory_symlink(folder.Path("Loop"), folder.Path("Loop"));
  EXPECT_EQ(Resolve(folder.Lower("Link/File.tif")), folder.Path("Link/File.tif"));
  EXPECT_FALSE(Opens(folder.Wide("dangling")));
  EXPECT_FALSE(Opens(folder.Wide("loop/file.tif")));
}

TEST(PathResolver, NestedTwinsDoNotExplode) {
  const CTempFolder folder;
  // Every level of the way down has two names, and nothing lies at the end.
  std::vector<std::string> level{std::string("t")};
  folder.MakeFolder("t");
  std::string wanted = "t";
  for (int depth = 0; depth < 5; ++depth) {
    std::vector<std::string> next;
    for (const std::string& parent : level) {
      for (const char* name : {"/AA", "/aA"})
        next.push_back(folder.MakeFolder(parent + name).substr(folder.Path().size() + 1));
    }
    level = next;
    wanted += "/aa";
  }
  EXPECT_FALSE(Opens(folder.Wide(wanted + "/missing")));
  const std::string real = folder.MakeFile(level.back() + "/Found");
  EXPECT_EQ(Resolve(folder.Wide(wanted + "/found")), real);
  // A self-referring link makes the tree endless in both names.
  std::filesystem::create_directory_symlink(".", folder.Path("XX"));
  std::filesystem::create_directory_symlink(".", folder.Path("xX"));
  std::string endless;
  for (int i = 0; i < 200; ++i) endless += "xx/";
  EXPECT_FALSE(Opens(folder.Wide(endless + "missing")));
}

TEST(PathResolver, ThePathMayBeAsLongAsTheSystemTakes) {
  const CTempFolder folder;
  folder.MakeFolder("Sub");
  folder.MakeFile("Sub/File");
  std::string detour;
  while (detour.size() < 3900) detour += "sub/../";
  EXPECT_FALSE(Opens(folder.Wide(detour + "missing")));
  EXPECT_FALSE(Opens(folder.Wide(detour + detour + "missing")));
  // In the folder's own name it becomes a path of about the same length.
  EXPECT_TRUE(Opens(folder.Wide(detour + "sub/file")));
}

TEST(PathResolver, TenThousandLookupsReadTheFolderOnce) {
  constexpr int kFiles = 10000;
  const CTempFolder folder;
  for (int i = 0; i < kFiles; ++i) {
    ASSERT_EQ(::mknod(folder.Path("IMG_" + std::to_string(i) + ".TIF").c_str(), S_IFREG | 0600, 0), 0);
  }
  const std::uint64_t before = CountListingReads();
  for (int i = 0; i < kFiles; ++i) {
    const std::string name = "IMG_" + std::to_string(i) + ".TIF";
    ASSERT_EQ(Resolve(folder.Lower(name)), folder.Path(name));
  }
  EXPECT_EQ(CountListingReads(), before + 1);
}

TEST(PathResolver, AChangedFolderIsReadAgainHoweverSoon) {
  const CTempFolder folder;
  for (int i = 0; i < 300; ++i) {
    const std::string name = "File" + std::to_string(i);
    ASSERT_FALSE(Opens(folder.Lower(name)));
    folder.MakeFile(name);
    ASSERT_TRUE(Opens(folder.Lower(name))) << i;
    if (i % 3 == 0) {
      std::filesystem::rename(folder.Path(name), folder.Path("FILE" + std::to_string(i)));
      ASSERT_TRUE(Opens(folder.Lower(name))) << i;
      ASSERT_TRUE(Opens(folder.Wide(name))) << i;
    }
  }
}

TEST(PathResolver, AFolderThatKeepsChangingIsNotReadForEveryName) {
  constexpr int kFiles = 3000, kChanges = 300;
  const CTempFolder folder;
  for (int i = 0; i < kFiles; ++i) {
    ASSERT_EQ(::mknod(folder.Path("IMG_" + std::to_string(i) + ".TIF").c_str(), S_IFREG | 0600, 0), 0);
  }
  ASSERT_TRUE(Opens(folder.Lower("IMG_0.TIF")));
  const std::uint64_t before = CountListingReads();
  for (int i = 0; i < kChanges; ++i) {
    folder.MakeFile("new " + std::to_string(i));
    const std::string name = "IMG_" + std::to_string(i) + ".TIF";
    ASSERT_EQ(Resolve(folder.Lower(name)), folder.Path(name));
  }
  EXPECT_LT(CountListingReads() - before, kChanges / 2);
}

TEST(PathResolver, AnUnreadableFolderStillOpensExactNames) {
  if (::geteuid() == 0) GTEST_SKIP() << "root reads every folder";
  const CTempFolder folder;
  folder.MakeFolder("locked");
  folder.MakeFile("locked/File.tif");
  ASSERT_EQ(::chmod(folder.Path("locked").c_str(), 0311), 0);
  EXPECT_TRUE(Opens(folder.Wide("locked/File.tif")));
  EXPECT_TRUE(Opens(folder.Wide("LOCKED/File.tif")));
  EXPECT_FALSE(Opens(folder.Wide("locked/file.tif")));
  ASSERT_EQ(::chmod(folder.Path("locked").c_str(), 0755), 0);
}

TEST(PathResolver, ManyThreadsShareAListing) {
  constexpr int kFiles = 400;
  const CTempFolder folder;
  for (int i = 0; i < kFiles; ++i) folder.MakeFile("IMG_" + std::to_string(i));
  const std::uint64_t before = CountListingReads();
  RunThreads(4, [&](int) {
    for (int i = 0; i < kFiles; ++i) EXPECT_TRUE(Opens(folder.Lower("IMG_" + std::to_string(i))));
  });
  EXPECT_EQ(CountListingReads(), before + 1);
}

TEST(PathResolver, ThreadsThatReadAndChangeDoNotRace) {
  const CTempFolder folder;
  folder.MakeFile("Steady");
  RunThreads(4, [&](int thread) {
    for (int i = 0; i < 50; ++i) {
      const std::string own = "Own" + std::to_string(thread) + "_" + std::to_string(i);
      folder.MakeFile(own);
      EXPECT_TRUE(Opens(folder.Lower(own)));
      EXPECT_TRUE(Opens(folder.Lower("Steady")));
      std::filesystem::remove(folder.Path(own));
      EXPECT_FALSE(Opens(folder.Lower(own)));
    }
  });
}

}  // namespace
