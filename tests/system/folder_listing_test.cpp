#include "platform/system/folder_listing.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/support/temp_folder.h"

namespace {

constexpr auto kFresh = CFolderListings::EAge::kFresh;

using qvtest::CTempFolder;

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

constexpr std::int64_t kSecond = 1'000'000'000;

SFolderState State(std::int64_t modified, std::int64_t changed) {
  SFolderState state;
  state.modified = modified;
  state.changed = changed;
  return state;
}

TEST(FolderListing, IsSettledLongAfterTheLastChangeOnly) {
  const std::int64_t now = 1'000'000 * kSecond;
  EXPECT_FALSE(IsSettled(State(now, now), now, nanoseconds(0)));
  EXPECT_FALSE(IsSettled(State(now - 2 * kSecond, 0), now, nanoseconds(0)));
  EXPECT_TRUE(IsSettled(State(now - 2 * kSecond - 1, 0), now, nanoseconds(0)));
  // The content may have been dated back; the status tells.
  EXPECT_FALSE(IsSettled(State(0, now - kSecond), now, nanoseconds(0)));
  EXPECT_TRUE(IsSettled(State(0, now - 3 * kSecond), now, nanoseconds(0)));
}

TEST(FolderListing, AFileServerWithAnotherClockSettlesByWatching) {
  const std::int64_t now = 1'000'000 * kSecond;
  EXPECT_FALSE(IsSettled(State(now + 3600 * kSecond, 0), now, milliseconds(1999)));
  EXPECT_TRUE(IsSettled(State(now + 3600 * kSecond, 0), now, milliseconds(2001)));
}

TEST(FolderListing, FoldsNamesLikeLocations) {
  EXPECT_EQ(FoldName("IMG_\xC3\x84.TIF"), L"img_\x00E4.tif");
  EXPECT_EQ(FoldName("\xFFX"), (std::wstring{static_cast<wchar_t>(0xDCFF), L'x'}));
}

TEST(FolderListing, ListsNamesButNoDots) {
  const CTempFolder folder;
  for (const char* name : {"b", "B", "c"}) folder.MakeFile(name);
  folder.MakeFolder("Sub");
  const auto listing = CFolderListing::Read(folder.Path(), nullptr);
  ASSERT_NE(listing, nullptr);
  EXPECT_EQ(listing->NameCount(), 4u);
  EXPECT_EQ(listing->Find(L"b"), (std::vector<std::string>{"B", "b"}));
  EXPECT_EQ(listing->Find(L"sub"), (std::vector<std::string>{"Sub"}));
  EXPECT_TRUE(listing->Find(L".").empty());
  EXPECT_TRUE(listing->Find(L"..").empty());
}

TEST(FolderListing, WhatIsNoFolderHasNoListing) {
  const CTempFolder folder;
  folder.MakeFile("file");
  EXPECT_EQ(CFolderListing::Read(folder.Path("file"), nullptr), nullptr);
  EXPECT_EQ(CFolderListing::Read(folder.Path("missing"), nullptr), nullptr);
  CFolderListings listings;
  EXPECT_TRUE(listings.Find(folder.Path("file"), L"x", kFresh).names.empty());
  EXPECT_TRUE(listings.Find(folder.Path("missing"), L"x", kFresh).names.empty());
  EXPECT_EQ(listings.GetReadCount(), 0u);
}

TEST(FolderListing, ForgetsTheFolderUsedLongestAgo) {
  constexpr std::size_t kMany = CFolderListings::kMaxFolders + 6;
  const CTempFolder folder;
  CFolderListings listings;
  for (std::size_t i = 0; i < kMany; ++i) {
    const std::string one = folder.MakeFolder("folder" + std::to_string(i));
    folder.MakeFile("folder" + std::to_string(i) + "/File");
    EXPECT_EQ(listings.Find(one, L"file", kFresh).names.size(), 1u);
    // The first stays in use.
    EXPECT_EQ(listings.Find(folder.Path("folder0"), L"file", kFresh).names.size(), 1u);
    EXPECT_LE(listings.GetFolderCount(), CFolderListings::kMaxFolders);
  }
  EXPECT_EQ(listings.GetReadCount(), kMany);
  EXPECT_EQ(listings.Find(folder.Path("folder0"), L"file", kFresh).names.size(), 1u);
  EXPECT_EQ(listings.GetReadCount(), kMany);
  EXPECT_EQ(listings.Find(folder.Path("folder1"), L"file", kFresh).names.size(), 1u);
  EXPECT_EQ(listings.GetReadCount(), kMany + 1);
}

TEST(FolderListing, ANameIsMissedForCertainInASettledListingOnly) {
  const CTempFolder folder;
  CFolderListings listings;
  folder.MakeFile("File");
  // In the future, so that the time that the test takes does not matter.
  const timespec times[2] = {{4'000'000'000, 0}, {4'000'000'000, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, folder.Path().c_str(), times, 0), 0);
  EXPECT_EQ(listings.Find(folder.Path(), L"file", kFresh).names.size(), 1u);
  EXPECT_EQ(listings.Find(folder.Path(), L"file", kFresh).names.size(), 1u);
  EXPECT_EQ(listings.GetReadCount(), 1u);
  EXPECT_TRUE(listings.Find(folder.Path(), L"missing", kFresh).names.empty());
  EXPECT_EQ(listings.GetReadCount(), 2u);
  // A folder that nobody changes.
  EXPECT_TRUE(listings.Find("/", L"missing", kFresh).names.empty());
  EXPECT_TRUE(listings.Find("/", L"missing", kFresh).names.empty());
  EXPECT_EQ(listings.GetReadCount(), 3u);
}

TEST(FolderListing, SeesWhatChanged) {
  const CTempFolder folder;
  CFolderListings listings;
  folder.MakeFile("One");
  EXPECT_EQ(listings.Find(folder.Path(), L"one", kFresh).names.size(), 1u);
  folder.MakeFile("Two");
  EXPECT_EQ(listings.Find(folder.Path(), L"two", kFresh).names.size(), 1u);
  std::filesystem::remove(folder.Path("Two"));
  // A replaced folder is another one.
  std::filesystem::rename(folder.Path(), folder.Path() + "_moved");
  folder.MakeFolder("");
  folder.MakeFile("Three");
  EXPECT_TRUE(listings.Find(folder.Path(), L"one", kFresh).names.empty());
  EXPECT_EQ(listings.Find(folder.Path(), L"three", kFresh).names.size(), 1u);
  std::filesystem::remove_all(folder.Path() + "_moved");
}

}  // namespace
