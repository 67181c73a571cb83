#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"
#include "tests/support/sql.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;

mode_t RightsOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

class CUmask {
 public:
  explicit CUmask(mode_t mask) : m_before(umask(mask)) {}
  CUmask(const CUmask&) = delete;
  CUmask& operator=(const CUmask&) = delete;
  ~CUmask() { umask(m_before); }

 private:
  const mode_t m_before;
};

class OwnDatabaseTest : public testing::Test {
 protected:
  OwnDatabaseTest() { WritePng(Path("a.png"), 10, 10, kRed); }

  std::string Path(const std::string& name) const { return m_program.Folder().Path(name); }
  std::string Folder() const { return Path("home/.cache/qvthumbs"); }
  std::string Database() const { return m_program.DefaultDatabase(); }
  SRunResult Make() { return m_program.Run({"make", Path("a.png")}); }
  void ExpectRefused(const std::string& path) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"make", Path("a.png")}, {"stats"}, {"stored", "add", "x"}}) {
      const SRunResult run = m_program.Run(arguments);
      EXPECT_EQ(run.status, 2) << arguments[0];
      EXPECT_THAT(run.err, HasSubstr(path + " is a ")) << arguments[0];
    }
  }

  CProgram m_program;
};

TEST_F(OwnDatabaseTest, IsForItsUserAloneWhateverTheUmask) {
  for (const mode_t mask : {0000, 0022, 0077, 0777}) {
    const CUmask umask(mask);
    std::filesystem::remove_all(Path("home/.cache"));
    ASSERT_EQ(Make().status, 0);
    EXPECT_EQ(RightsOf(Folder()), 0700u) << mask;
    EXPECT_EQ(RightsOf(Database()), 0600u) << mask;
  }
}

TEST_F(OwnDatabaseTest, TheLogAndTheIndexAreForItsUserAloneToo) {
  const CUmask umask(0);
  ASSERT_EQ(Make().status, 0);
  // A reader keeps them there.
  CSql reader(Database());
  reader.Rows("SELECT count(*) FROM cache");
  ASSERT_EQ(m_program.Run({"stored", "add", "x"}).status, 0);
  EXPECT_EQ(RightsOf(Database() + "-wal"), 0600u);
  EXPECT_EQ(RightsOf(Database() + "-shm"), 0600u);
}

TEST_F(OwnDatabaseTest, WiderRightsAreNarrowedOnceAndSaid) {
  ASSERT_EQ(Make().status, 0);
  ASSERT_EQ(chmod(Folder().c_str(), 0755), 0);
  ASSERT_EQ(chmod(Database().c_str(), 0644), 0);
  const SRunResult first = m_program.Run({"stats"});
  EXPECT_EQ(first.status, 0);
  EXPECT_THAT(first.err, HasSubstr(Folder() + " was open to other users"));
  EXPECT_THAT(first.err, HasSubstr(Database() + " was open to other users"));
  EXPECT_EQ(RightsOf(Folder()), 0700u);
  EXPECT_EQ(RightsOf(Database()), 0600u);
  EXPECT_EQ(m_program.Run({"stats"}).err, "");
}

TEST_F(OwnDatabaseTest, APlantedSymbolicLinkIsRefused) {
  m_program.Folder().MakeFolder("home/.cache/qvthumbs");
  const std::string victim = m_program.Folder().MakeFile("victim", "");
  ASSERT_EQ(chmod(victim.c_str(), 0644), 0);
  for (const char* tail : {"", "-wal", "-shm", "-journal"}) {
    std::filesystem::create_symlink(victim, Database() + tail);
    ExpectRefused(Database() + tail);
    std::filesystem::remove(Database() + tail);
  }
  EXPECT_EQ(RightsOf(victim), 0644u);
  EXPECT_EQ(ReadTextFile(victim), "");
}

TEST_F(OwnDatabaseTest, APlantedLinkToAMissingFileIsRefused) {
  m_program.Folder().MakeFolder("home/.cache/qvthumbs");
  std::filesystem::create_symlink(Path("elsewhere.db"), Database());
  ExpectRefused(Database());
  EXPECT_FALSE(std::filesystem::exists(Path("elsewhere.db")));
}

TEST_F(OwnDatabaseTest, APlantedHardLinkIsRefused) {
  m_program.Folder().MakeFolder("home/.cache/qvthumbs");
  const std::string victim = m_program.Folder().MakeFile("victim", "");
  std::filesystem::create_hard_link(victim, Database());
  ExpectRefused(Database());
  EXPECT_EQ(ReadTextFile(victim), "");
}

TEST_F(OwnDatabaseTest, APlantedFolderIsRefused) {
  m_program.Folder().MakeFolder("home/.cache");
  const std::string victim = m_program.Folder().MakeFolder("victim");
  ASSERT_EQ(chmod(victim.c_str(), 0755), 0);
  std::filesystem::create_directory_symlink(victim, Folder());
  ExpectRefused(Folder());
  EXPECT_EQ(RightsOf(victim), 0755u);
  EXPECT_TRUE(std::filesystem::is_empty(victim));
}

TEST_F(OwnDatabaseTest, ANamedFileHasTheRightsThatItsUserGivesIt) {
  const CUmask umask(0022);
  ASSERT_EQ(m_program.RunWithDatabase({"make", Path("a.png")}).status, 0);
  EXPECT_EQ(RightsOf(m_program.Database()), 0644u);
  std::filesystem::create_symlink(m_program.Database(), Path("link.db"));
  EXPECT_EQ(m_program.Run({"stats", "--db", Path("link.db")}).status, 0);
}

// The place of the all-users database is a fixed one, so the program runs where another folder stands in it.
class AllUsersDatabaseTest : public testing::Test {
 protected:
  static constexpr const char* kGroup = "61000";

  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "only root can be several users";
    if (m_program.RunUnder({"unshare", "--mount"}, {"--version"}).status != 0) GTEST_SKIP() << "no private mounts";
    ASSERT_EQ(chmod(m_program.Folder().Path().c_str(), 0755), 0);
    WritePng(m_program.Folder().Path("a.png"), 10, 10, kRed);
    m_program.Folder().MakeFolder("lib");
    for (const char* user : {"61001", "61002", "61003"}) {
      const std::string home = m_program.Folder().MakeFolder(std::string("home") + user);
      ASSERT_EQ(chown(home.c_str(), static_cast<uid_t>(std::stoul(user)), 61000), 0);
    }
  }

  std::string Folder() const { return m_program.Folder().Path("lib/qvdocuments"); }
  std::string Database() const { return Folder() + "/OrbThumbCache.db"; }
  // As the package makes it.
  void MakeSharedFolder() const {
    std::filesystem::create_directory(Folder());
    ASSERT_EQ(chown(Folder().c_str(), 0, 61000), 0);
    ASSERT_EQ(chmod(Folder().c_str(), 02770), 0);
  }
  SRunResult RunAs(const std::string& user, const std::string& groups, const std::string& mask,
                   std::vector<std::string> arguments) {
    const std::string script = "mount --bind '" + m_program.Folder().Path("lib") + "' /var/lib && umask " + mask +
                               " && export HOME='" + m_program.Folder().Path("home" + user) +
                               "' && exec setpriv --reuid=" + user + " --regid=" + user + " " + groups + " \"$@\"";
    arguments.emplace_back("--all-users");
    return m_program.RunUnder({"unshare", "--mount", "sh", "-c", script, "sh"}, arguments);
  }
  SRunResult RunAsMember(const std::string& user, const std::string& mask, const std::vector<std::string>& arguments) {
    return RunAs(user, std::string("--groups=") + kGroup, mask, arguments);
  }
  std::vector<std::string> Make() const { return {"make", m_program.Folder().Path("a.png")}; }
  void ExpectGroupsAlone() const {
    EXPECT_EQ(RightsOf(Folder()), 02770u);
    EXPECT_EQ(RightsOf(Database()), 0660u);
    struct stat status {};
    ASSERT_EQ(stat(Database().c_str(), &status), 0);
    EXPECT_EQ(status.st_gid, 61000u);
  }

  CProgram m_program;
};

TEST_F(AllUsersDatabaseTest, TwoUsersShareItWhateverTheirUmask) {
  MakeSharedFolder();
  const SRunResult first = RunAsMember("61001", "077", Make());
  ASSERT_EQ(first.status, 0) << first.err;
  ExpectGroupsAlone();
  const SRunResult second = RunAsMember("61002", "022", {"stored", "add", "x"});
  EXPECT_EQ(second.status, 0) << second.err;
  EXPECT_THAT(RunAsMember("61001", "022", Make()).out, HasSubstr("already cached 1"));
  ExpectGroupsAlone();
}

TEST_F(AllUsersDatabaseTest, IsClosedToOthers) {
  MakeSharedFolder();
  ASSERT_EQ(RunAsMember("61001", "000", Make()).status, 0);
  const SRunResult run = RunAs("61003", "--clear-groups", "022", {"stats"});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("ermission denied"));
}

TEST_F(AllUsersDatabaseTest, WhenRootMakesItAnewItIsStillTheGroups) {
  MakeSharedFolder();
  std::filesystem::create_directory(m_program.Folder().Path("home0"));
  const SRunResult root = RunAs("0", "--clear-groups", "077", Make());
  ASSERT_EQ(root.status, 0) << root.err;
  ExpectGroupsAlone();
  const SRunResult member = RunAsMember("61001", "077", {"stored", "add", "x"});
  EXPECT_EQ(member.status, 0) << member.err;
}

TEST_F(AllUsersDatabaseTest, WhenRootMakesTheFolderToo) {
  std::filesystem::create_directory(m_program.Folder().Path("home0"));
  ASSERT_EQ(RunAs("0", "--clear-groups", "022", Make()).status, 0);
  EXPECT_EQ(RightsOf(Folder()), 02770u);
  EXPECT_EQ(RightsOf(Database()), 0660u);
}

TEST_F(AllUsersDatabaseTest, WiderRightsAreNarrowedByTheirOwnerOnly) {
  MakeSharedFolder();
  ASSERT_EQ(RunAsMember("61001", "022", Make()).status, 0);
  ASSERT_EQ(chmod(Database().c_str(), 0664), 0);
  EXPECT_EQ(RunAsMember("61002", "022", {"stats"}).err, "");
  EXPECT_EQ(RightsOf(Database()), 0664u);
  EXPECT_THAT(RunAsMember("61001", "022", {"stats"}).err, HasSubstr("is for its group alone now"));
  ExpectGroupsAlone();
}

TEST_F(AllUsersDatabaseTest, WhoMayNotMakeItIsToldWhatToAskFor) {
  const SRunResult run = RunAs("61003", "--clear-groups", "022", Make());
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("/var/lib/qvdocuments"));
  EXPECT_THAT(run.err, HasSubstr("install -d -m 2770 -g GROUP"));
}

TEST_F(AllUsersDatabaseTest, AMembersPlantedLinksAreRefused) {
  MakeSharedFolder();
  const std::string victim = m_program.Folder().MakeFile("home61002/victim", "");
  ASSERT_EQ(chown(victim.c_str(), 61002, 61002), 0);
  std::filesystem::create_symlink(victim, Database());
  const SRunResult symbolic = RunAsMember("61002", "022", Make());
  EXPECT_EQ(symbolic.status, 2);
  EXPECT_THAT(symbolic.err, HasSubstr("is a symbolic link"));
  std::filesystem::remove(Database());
  std::filesystem::create_hard_link(victim, Database());
  const SRunResult hard = RunAsMember("61002", "022", Make());
  EXPECT_EQ(hard.status, 2);
  EXPECT_THAT(hard.err, HasSubstr("is a hard link"));
  EXPECT_EQ(ReadTextFile(victim), "");
}

}  // namespace
