// The choice of a shard's files, from inside.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "host/files/file_list.h"
#include "host/host_error.h"
#include "host/shards/row_merger.h"
#include "host/shards/shard.h"
#include "host/shards/shard_lock.h"
#include "tests/support/temp_folder.h"

namespace qvhost {
namespace {

using namespace qvtest;

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> ReadNames(const std::string& list) {
  std::vector<std::string> names;
  ReadFileList(list, [&names](std::string name) { names.push_back(std::move(name)); });
  return names;
}

TEST(FileListTest, TakesANameALine) {
  const CTempFolder folder;
  EXPECT_THAT(ReadNames(folder.MakeFile("list", "/a b.tif\n\nc.png\n/last \xFF.jpg")),
              ElementsAre("/a b.tif", "c.png", "/last \xFF.jpg"));
}

TEST(FileListTest, TakesNamesThatEndInNulWhateverTheyHold) {
  const CTempFolder folder;
  const std::string_view list("/one\nline.tif\0/two.tif\0", 23);
  EXPECT_THAT(ReadNames(folder.MakeFile("list", list)), ElementsAre("/one\nline.tif", "/two.tif"));
}

TEST(FileListTest, TakesNamesOverTheEdgesOfItsBlocks) {
  const CTempFolder folder;
  std::string list;
  for (int i = 0; i < 5000; ++i) list += "/images/a rather long folder/picture " + std::to_string(i) + ".tif\n";
  const std::vector<std::string> names = ReadNames(folder.MakeFile("list", list));
  ASSERT_EQ(names.size(), 5000u);
  EXPECT_EQ(names[1723], "/images/a rather long folder/picture 1723.tif");
  EXPECT_EQ(names.back(), "/images/a rather long folder/picture 4999.tif");
}

TEST(FileListTest, AnEmptyListHasNoNames) {
  const CTempFolder folder;
  EXPECT_THAT(ReadNames(folder.MakeFile("list", "")), IsEmpty());
}

TEST(FileListTest, AListThatCannotBeReadIsToldWithTheReason) {
  const CTempFolder folder;
  EXPECT_THROW(ReadNames(folder.Path("missing")), CHostError);
  EXPECT_THROW(ReadNames(folder.Path()), CHostError);
}

std::vector<std::string> FilesOfShard(const SShard& shard, const std::vector<std::string>& all) {
  CShardFiles files(shard);
  for (const std::string& file : all) files.Offer(file);
  return files.Take();
}

std::vector<std::string> Names(const std::string& folder, int count) {
  std::vector<std::string> names;
  for (int i = 0; i < count; ++i) names.push_back(folder + "/img" + std::to_string(i) + ".tif");
  return names;
}

// The shard of each file, after a look that no file has two.
std::map<std::string, int> ShardsOf(const std::vector<std::string>& all, int count) {
  std::map<std::string, int> shards;
  for (int number = 1; number <= count; ++number) {
    for (const std::string& file : FilesOfShard({number, count}, all)) {
      EXPECT_TRUE(shards.emplace(file, number).second) << file;
    }
  }
  return shards;
}

TEST(ShardTest, EveryFileBelongsToOneShard) {
  std::vector<std::string> all;
  for (int folder = 0; folder < 200; ++folder) {
    for (std::string& name : Names("/data/set" + std::to_string(folder), 7)) all.push_back(std::move(name));
  }
  const std::map<std::string, int> shards = ShardsOf(all, 8);
  EXPECT_EQ(shards.size(), all.size());
  std::map<int, int> sizes;
  for (const auto& [file, number] : shards) ++sizes[number];
  for (int number = 1; number <= 8; ++number) {
    EXPECT_GT(sizes[number], 1400 / 8 / 2) << number;
    EXPECT_LT(sizes[number], 1400 / 8 * 2) << number;
  }
}

TEST(ShardTest, TheFilesOfAFolderStayTogether) {
  std::set<int> numbers;
  for (const auto& [file, number] : ShardsOf(Names("/data/one set", CShardFiles::kMaxFolder), 4))
    numbers.insert(number);
  EXPECT_EQ(numbers.size(), 1u);
}

TEST(ShardTest, AHugeFolderIsDivided) {
  std::map<int, int> sizes;
  const std::vector<std::string> all = Names("/data/screen", CShardFiles::kMaxFolder + 1);
  const std::map<std::string, int> shards = ShardsOf(all, 4);
  EXPECT_EQ(shards.size(), all.size());
  for (const auto& [file, number] : shards) ++sizes[number];
  EXPECT_EQ(sizes.size(), 4u);
}

TEST(ShardTest, NamesThatDifferInCaseOnlyGoToOneShard) {
  const std::map<std::string, int> shards =
      ShardsOf({"/Data/Ämter/A.tif", "/data/ämter/a.TIF", "/DATA/ÄMTER/b.tif"}, 97);
  EXPECT_EQ(shards.at("/Data/Ämter/A.tif"), shards.at("/data/ämter/a.TIF"));
  EXPECT_EQ(shards.at("/Data/Ämter/A.tif"), shards.at("/DATA/ÄMTER/b.tif"));
}

// Shards that were made by an older version are added to by a newer one.
TEST(ShardTest, TheChoiceStaysTheSameInEveryVersion) {
  EXPECT_THAT(FilesOfShard({1, 4}, {"/data/a/1.tif", "/data/b/1.tif", "/data/c/1.tif", "/data/d/1.tif"}),
              ElementsAre("/data/b/1.tif", "/data/c/1.tif"));
}

TEST(ShardTest, AFileThatIsNamedTwiceIsTakenOnce) {
  EXPECT_THAT(FilesOfShard({1, 1}, {"/data/a.tif", "/data/b.tif", "/data/./a.tif"}),
              ElementsAre("/data/a.tif", "/data/b.tif"));
}

TEST(ShardTest, ItsNumberIsReadAsAPartOfAWhole) {
  EXPECT_EQ(ParseShard("3/8").number, 3);
  EXPECT_EQ(ParseShard("8/8").count, 8);
  for (const char* wrong : {"", "3", "0/8", "9/8", "-1/8", "3/8x", "3/", "/8", "3 / 8", "99999999999/99999999999"}) {
    EXPECT_THROW(ParseShard(wrong), CHostError) << wrong;
  }
}

TEST(ShardTest, ItsDatabaseLiesBesideTheWhole) {
  EXPECT_EQ(ShardDatabasePath("/data/lab.db", {3, 8}), "/data/lab.3-of-8.db");
  EXPECT_EQ(ShardDatabasePath("/data/lab.2026.db", {3, 128}), "/data/lab.2026.003-of-128.db");
  EXPECT_EQ(ShardDatabasePath("/data/lab", {8, 8}), "/data/lab.8-of-8");
}

TEST(ShardLockTest, IsHeldByOneAtATime) {
  const CTempFolder folder;
  const std::string database = folder.Path("lab.db");
  {
    const CShardLock lock(database);
    EXPECT_TRUE(CShardLock::IsHeld(database));
    EXPECT_THROW(CShardLock{database}, CHostError);
  }
  EXPECT_FALSE(CShardLock::IsHeld(database));
  const CShardLock again(database);
}

TEST(ShardLockTest, AFileThatADeadProcessLeftDoesNotCount) {
  const CTempFolder folder;
  folder.MakeFile("lab.db.lock", "");
  EXPECT_FALSE(CShardLock::IsHeld(folder.Path("lab.db")));
  const CShardLock lock(folder.Path("lab.db"));
}

TEST(RowMergerTest, TextsOfANameThatIsNoUtf8AreFound) {
  EXPECT_EQ(TextRowName("/data/plain ä 𝄞.tif"), "/data/plain ä 𝄞.tif");
  EXPECT_EQ(TextRowName("/data/\xE4.tif"), "/data/\U0010DCE4.tif");
}

}  // namespace
}  // namespace qvhost
