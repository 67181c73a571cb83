#include "gnr_thumbnailcache/textinfo/young_files.h"

#include <gtest/gtest.h>

#include "tests/support/temp_folder.h"
#include "tests/thumbnailcache/support/file_times.h"

namespace qvtest {
namespace {

constexpr std::int64_t kMillisecond = 1'000'000;
constexpr std::int64_t kSecond = 1'000'000'000;

// A file that was last written three seconds ago, by a clock of fine stamps, and was read at some time since.
class YoungFilesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_path = m_folder.MakeFileWide("a.tif");
    SetLastWrite(m_path, timespec{std::time(nullptr) - 3, 5});
  }
  SFileReading ReadAfter(std::int64_t nanoseconds) {
    SFileReading reading = BeginFileReading(m_path);
    reading.time = reading.state.lastWrite + nanoseconds;
    return reading;
  }

  CTempFolder m_folder;
  std::wstring m_path;
  CYoungFiles m_files;
};

TEST_F(YoungFilesTest, StampIsYoungForTwoSecondsOnEitherSideOfTheClock) {
  EXPECT_TRUE(ReadAfter(0).IsYoung());
  EXPECT_TRUE(ReadAfter(2 * kSecond - 1).IsYoung());
  EXPECT_FALSE(ReadAfter(2 * kSecond).IsYoung());
  EXPECT_TRUE(ReadAfter(-2 * kSecond + 1).IsYoung());
  EXPECT_FALSE(ReadAfter(-2 * kSecond).IsYoung()) << "another clock's";
  EXPECT_FALSE(SFileReading().IsYoung());
}

TEST_F(YoungFilesTest, OnlyYoungFilesOfCoarseStampsAreNotStored) {
  EXPECT_TRUE(ReadAfter(kMillisecond).IsWorthStoring());
  SetLastWrite(m_path, timespec{std::time(nullptr) - 3, 0});
  EXPECT_FALSE(ReadAfter(kMillisecond).IsWorthStoring());
  EXPECT_TRUE(ReadAfter(2 * kSecond).IsWorthStoring());
}

TEST_F(YoungFilesTest, RowOfAYoungFileIsMadeAgainOnceItIsNoLongerYoung) {
  m_files.Remember(L"row", ReadAfter(kMillisecond));
  EXPECT_FALSE(m_files.IsOutdated(L"other", m_path));
  EXPECT_TRUE(m_files.IsOutdated(L"row", m_path));
  EXPECT_FALSE(m_files.IsOutdated(L"row", m_path));
}

TEST_F(YoungFilesTest, RowOfAnOlderFileIsTrusted) {
  m_files.Remember(L"row", ReadAfter(2 * kSecond));
  EXPECT_FALSE(m_files.IsOutdated(L"row", m_path));
}

TEST_F(YoungFilesTest, RowIsServedWhileTheFileIsYoungAndTheSame) {
  SetLastWrite(m_path, timespec{std::time(nullptr) + 60, 5});
  m_files.Remember(L"row", ReadAfter(kMillisecond));
  EXPECT_FALSE(m_files.IsOutdated(L"row", m_path));
  SetLastWrite(m_path, timespec{std::time(nullptr) + 60, 6});
  EXPECT_TRUE(m_files.IsOutdated(L"row", m_path));
}

TEST_F(YoungFilesTest, RowOfAFileThatCannotBeFoundIsShown) {
  m_files.Remember(L"row", ReadAfter(kMillisecond));
  EXPECT_FALSE(m_files.IsOutdated(L"row", m_folder.Wide("gone.tif")));
}

TEST_F(YoungFilesTest, MemoryOfThemIsBounded) {
  const SFileReading reading = ReadAfter(kMillisecond);
  for (int i = 0; i < 10000; ++i) m_files.Remember(std::to_wstring(i), reading);
  EXPECT_FALSE(m_files.IsOutdated(L"0", m_path));
  EXPECT_TRUE(m_files.IsOutdated(L"9999", m_path));
}

}  // namespace
}  // namespace qvtest
