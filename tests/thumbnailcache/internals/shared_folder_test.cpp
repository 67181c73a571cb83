#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "gnr_thumbnailcache/base/shared_folder.h"
#include "tests/support/temp_folder.h"

namespace qvtest {
namespace {

class ShareWithGroupTest : public ::testing::Test {
 protected:
  // Its mode after the file with the mode `before` was shared.
  mode_t Share(const char* name, mode_t before) const {
    const std::string path = m_folder.MakeFile(name);
    EXPECT_EQ(chmod(path.c_str(), before), 0);
    ShareWithGroup(m_folder.Wide(name));
    return ModeOf(path);
  }
  static mode_t ModeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_mode & 07777;
  }

  CTempFolder m_folder;
};

TEST_F(ShareWithGroupTest, GroupReadsAndWritesAndNobodyElse) {
  for (const mode_t before : {0600u, 0644u, 0666u, 0660u}) EXPECT_EQ(Share("cache.db", before), 0660u);
}

TEST_F(ShareWithGroupTest, LinksAreLeftAlone) {
  const std::string target = m_folder.MakeFile("target");
  ASSERT_EQ(chmod(target.c_str(), 0600), 0);
  std::filesystem::create_symlink(target, m_folder.Path("symbolic"));
  std::filesystem::create_hard_link(target, m_folder.Path("hard"));
  ShareWithGroup(m_folder.Wide("symbolic"));
  ShareWithGroup(m_folder.Wide("hard"));
  EXPECT_EQ(ModeOf(target), 0600u);
}

TEST_F(ShareWithGroupTest, FilesOfOthersAreLeftAlone) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  const std::string path = m_folder.MakeFile("cache.db");
  ASSERT_EQ(chown(path.c_str(), 61001, 61001), 0);
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  ShareWithGroup(m_folder.Wide("cache.db"));
  EXPECT_EQ(ModeOf(path), 0640u);
}

TEST_F(ShareWithGroupTest, NothingIsMadeWhereThereIsNoFile) {
  ShareWithGroup(m_folder.Wide("cache.db"));
  EXPECT_FALSE(std::filesystem::exists(m_folder.Path("cache.db")));
}

}  // namespace
}  // namespace qvtest
