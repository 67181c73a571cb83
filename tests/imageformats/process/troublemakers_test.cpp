#include "platform/imageformats/process/troublemakers.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <vector>

#include "tests/imageformats/process/decoders.h"

namespace decodertest {
namespace {

using imageformats::CInput;
using imageformats::IsTroublemaker;
using imageformats::NoteTroublemaker;

class TroublemakersTest : public testing::Test {
 protected:
  std::shared_ptr<const CInput> File(const std::string& name) const {
    return CInput::FromFile(m_house.Folder().MakeFileWide(name));
  }
  CDecoderHouse m_house;
};

TEST_F(TroublemakersTest, TwiceIsEnoughAndOnceIsNot) {
  const auto file = File("a"), other = File("b");
  EXPECT_FALSE(IsTroublemaker(*file));
  NoteTroublemaker(*file);
  EXPECT_FALSE(IsTroublemaker(*file));
  NoteTroublemaker(*file);
  EXPECT_TRUE(IsTroublemaker(*file));
  EXPECT_FALSE(IsTroublemaker(*other));
}

TEST_F(TroublemakersTest, OnlyTheUserReadsTheList) {
  const mode_t former = umask(0);
  NoteTroublemaker(*File("a"));
  umask(former);
  struct stat list {
  }, folder{};
  ASSERT_EQ(stat(m_house.ListPath().c_str(), &list), 0);
  ASSERT_EQ(stat(std::filesystem::path(m_house.ListPath()).parent_path().c_str(), &folder), 0);
  EXPECT_EQ(list.st_mode & 0777, 0600u);
  EXPECT_EQ(folder.st_mode & 0777, 0700u);
}

TEST_F(TroublemakersTest, TheListDoesNotGrowForEver) {
  const auto file = File("a"), last = File("b");
  for (int i = 0; i < 5000; ++i) NoteTroublemaker(*file);
  NoteTroublemaker(*last);
  NoteTroublemaker(*last);
  EXPECT_LT(std::filesystem::file_size(m_house.ListPath()), 200'000u);
  EXPECT_TRUE(IsTroublemaker(*last));
}

TEST_F(TroublemakersTest, ProcessesThatWriteAtOnceLoseNothing) {
  constexpr int kProcesses = 4, kNotes = 50;
  const auto file = File("a");
  std::vector<pid_t> writers;
  for (int process = 0; process < kProcesses; ++process) {
    writers.push_back(fork());
    if (writers.back() != 0) continue;
    for (int i = 0; i < kNotes; ++i) NoteTroublemaker(*file);
    _exit(0);
  }
  for (const pid_t writer : writers) waitpid(writer, nullptr, 0);
  EXPECT_EQ(std::filesystem::file_size(m_house.ListPath()), 32u * kProcesses * kNotes);
}

TEST_F(TroublemakersTest, APlantedLinkIsNotFollowed) {
  const std::string victim = m_house.Folder().MakeFile("victim", "precious");
  m_house.Folder().MakeFolder("caches/qvthumbs");
  std::filesystem::create_symlink(victim, m_house.ListPath());
  NoteTroublemaker(*File("a"));
  EXPECT_EQ(std::filesystem::file_size(victim), 8u);
  std::filesystem::remove(m_house.ListPath());
  std::filesystem::create_hard_link(victim, m_house.ListPath());
  NoteTroublemaker(*File("a"));
  EXPECT_EQ(std::filesystem::file_size(victim), 8u);
}

TEST_F(TroublemakersTest, MemoryIsNobody) {
  const auto memory = CInput::FromMemory("x", 1);
  NoteTroublemaker(*memory);
  NoteTroublemaker(*memory);
  EXPECT_FALSE(IsTroublemaker(*memory));
  EXPECT_FALSE(std::filesystem::exists(m_house.ListPath()));
}

}  // namespace
}  // namespace decodertest
