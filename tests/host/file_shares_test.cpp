// How a list of files is shared out among processes, from inside.

#include "host/jobs/file_shares.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace qvhost {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> FilesInFolders(int folders, int filesOfEach) {
  std::vector<std::string> files;
  for (int folder = 0; folder < folders; ++folder) {
    for (int i = 0; i < filesOfEach; ++i) files.push_back(fmt::format("/lab/{}/{}.png", folder, i));
  }
  return files;
}

bool NoneIsDone(std::uint32_t) { return false; }

// Finishes what it takes, until there is nothing more. Returns it.
std::vector<std::uint32_t> WorkToTheEnd(CFileShares& shares, std::size_t helper) {
  std::vector<std::uint32_t> all;
  for (;;) {
    shares.ReadOn();
    const std::vector<std::uint32_t> taken = shares.Take(helper);
    if (taken.empty()) return all;
    for (const std::uint32_t number : taken) EXPECT_TRUE(shares.Finish(helper, number));
    all.insert(all.end(), taken.begin(), taken.end());
  }
}

TEST(FileSharesTest, HandsOutEachFileOnce) {
  const std::vector<std::string> files = FilesInFolders(90, 103);
  CFileShares shares(files, {2, 2, 1}, &NoneIsDone);
  std::vector<std::vector<std::uint32_t>> held(3);
  std::multiset<std::uint32_t> handed;
  for (std::size_t turn = 0; !shares.IsDone(); ++turn) {
    shares.ReadOn();
    std::vector<std::uint32_t>& mine = held[turn % 3];
    for (const std::uint32_t number : shares.Take(turn % 3)) {
      handed.insert(number);
      mine.push_back(number);
    }
    // They are not equally fast.
    for (std::size_t i = 0; i <= turn % 5 && !mine.empty(); ++i, mine.pop_back()) shares.Finish(turn % 3, mine.back());
  }
  ASSERT_EQ(handed.size(), files.size());
  for (std::uint32_t number = 0; number < files.size(); ++number) EXPECT_EQ(handed.count(number), 1u) << number;
}

TEST(FileSharesTest, AHelperStaysInItsFolder) {
  const std::vector<std::string> files = FilesInFolders(2, 500);
  CFileShares shares(files, {2, 2}, &NoneIsDone);
  shares.ReadOn();
  for (int turn = 0; turn < 5; ++turn) {
    for (std::size_t helper = 0; helper < 2; ++helper) {
      for (const std::uint32_t number : shares.Take(helper)) {
        EXPECT_EQ(number / 500, helper) << number;
        shares.Finish(helper, number);
      }
    }
  }
}

TEST(FileSharesTest, OneLargeFolderIsSharedByAll) {
  const std::vector<std::string> files = FilesInFolders(1, 1000);
  CFileShares shares(files, {2, 2, 2, 2}, &NoneIsDone);
  shares.ReadOn();
  for (std::size_t helper = 0; helper < 4; ++helper) EXPECT_EQ(shares.Take(helper).size(), 32u);
}

TEST(FileSharesTest, NobodyHoardsTheLastFiles) {
  const std::vector<std::string> files = FilesInFolders(1, 8);
  CFileShares shares(files, {2, 2, 2, 2}, &NoneIsDone);
  shares.ReadOn();
  for (std::size_t helper = 0; helper < 4; ++helper) EXPECT_EQ(shares.Take(helper).size(), 2u);
  EXPECT_FALSE(shares.IsDone());
}

TEST(FileSharesTest, WhatIsDoneIsNotHandedOut) {
  const std::vector<std::string> files = FilesInFolders(1, 6);
  CFileShares shares(files, {8}, [](std::uint32_t number) { return number % 2 == 0; });
  EXPECT_THAT(WorkToTheEnd(shares, 0), ElementsAre(1, 3, 5));
  EXPECT_TRUE(shares.IsDone());
}

TEST(FileSharesTest, WhatALostHelperHeldIsHandedOutLastAndAlone) {
  const std::vector<std::string> files = FilesInFolders(1, 9);
  CFileShares shares(files, {2, 2}, &NoneIsDone);
  shares.ReadOn();
  std::vector<std::uint32_t> lost = shares.Take(0);
  ASSERT_EQ(lost.size(), 2u);
  EXPECT_THAT(shares.Lose(0), IsEmpty());
  std::vector<std::uint32_t> rest;
  for (std::vector<std::uint32_t> taken; !(taken = shares.Take(1)).empty();) {
    EXPECT_LE(taken.size(), rest.size() >= 7 ? 1u : 3u);
    for (const std::uint32_t number : taken) {
      rest.push_back(number);
      shares.Finish(1, number);
    }
  }
  ASSERT_EQ(rest.size(), 9u);
  EXPECT_TRUE(std::equal(lost.begin(), lost.end(), rest.end() - 2));
  EXPECT_TRUE(shares.IsDone());
}

TEST(FileSharesTest, AFileWithWhichTwoHelpersWentIsGivenUp) {
  const std::vector<std::string> files = FilesInFolders(1, 1);
  CFileShares shares(files, {2, 2}, &NoneIsDone);
  shares.ReadOn();
  EXPECT_THAT(shares.Take(0), ElementsAre(0));
  EXPECT_THAT(shares.Lose(0), IsEmpty());
  EXPECT_FALSE(shares.IsDone());
  EXPECT_THAT(shares.Take(1), ElementsAre(0));
  EXPECT_THAT(shares.Lose(1), ElementsAre(0));
  EXPECT_TRUE(shares.IsDone());
}

}  // namespace
}  // namespace qvhost
