#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"
#include "tests/support/sql.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;
using testing::Not;

class DatabaseFaultsTest : public testing::Test {
 protected:
  DatabaseFaultsTest() : m_images(m_program.Folder().MakeFolder("images")) {
    for (int i = 0; i < 3; ++i) WritePng(Image(i), 60, 40, kRed);
  }

  std::string Path(const std::string& name) const { return m_program.Folder().Path(name); }
  std::string Image(int number) const { return m_images + "/" + std::to_string(number) + ".png"; }
  SRunResult Make() { return m_program.RunWithDatabase({"make", m_images}); }

  CProgram m_program;
  const std::string m_images;
};

// A database in a folder that may not be written to. Root may write everywhere, so the program runs as somebody else.
class ReadOnlyDatabaseTest : public DatabaseFaultsTest {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
    ASSERT_EQ(chmod(m_program.Folder().Path().c_str(), 0755), 0);
    m_program.Folder().MakeFolder("lab");
    ASSERT_EQ(chmod(m_program.Folder().MakeFolder("out").c_str(), 0777), 0);
    m_program.SetEnvironment("TMPDIR=" + Path("out"));
    ASSERT_EQ(m_program.Run({"make", m_images, "--db", Database()}).status, 0);
  }

  std::string Database() const { return Path("lab/cache.db"); }
  SRunResult RunAsNobody(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--db", Database()});
    return m_program.RunUnder({"setpriv", "--reuid=61001", "--regid=61001", "--clear-groups"}, arguments);
  }
  void ExpectNothingLeftBehind() const {
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(Path("lab")), {}), 1);
    EXPECT_TRUE(std::filesystem::is_empty(Path("out")));
  }
};

TEST_F(ReadOnlyDatabaseTest, IsRead) {
  const SRunResult stats = RunAsNobody({"stats", "--json"});
  ASSERT_EQ(stats.status, 0) << stats.err;
  EXPECT_EQ(stats.err, "");
  EXPECT_EQ(stats.Json()["thumbnails"]["count"], 3);
  EXPECT_EQ(stats.Json()["database"], Database());
  EXPECT_EQ(RunAsNobody({"history", "earliest"}).out, "no history\n");
  EXPECT_EQ(RunAsNobody({"verify"}).status, 0);
  const SRunResult show = RunAsNobody({"show", Image(0), "-o", Path("out/show.png")});
  EXPECT_EQ(show.status, 0) << show.err;
  EXPECT_THAT(show.out, HasSubstr("from the cache"));
  const SRunResult gallery = RunAsNobody({"gallery", "-o", Path("out/page.html")});
  EXPECT_EQ(gallery.status, 0) << gallery.err;
  EXPECT_THAT(gallery.out, HasSubstr("3 pictures"));
  std::filesystem::remove(Path("out/show.png"));
  std::filesystem::remove(Path("out/page.html"));
  ExpectNothingLeftBehind();
}

TEST_F(ReadOnlyDatabaseTest, WhatStandsInTheLogOnlyIsSeen) {
  std::filesystem::create_directory(Path("live"));
  {
    std::filesystem::copy_file(Database(), Path("live/cache.db"));
    CSql writer(Path("live/cache.db"));
    writer.Run("PRAGMA wal_autocheckpoint=0; INSERT INTO stored VALUES (1, 0, 'new', 0)");
    for (const char* tail : {"", "-wal"}) {
      std::filesystem::copy_file(Path("live/cache.db") + tail, Database() + tail,
                                 std::filesystem::copy_options::overwrite_existing);
    }
  }
  EXPECT_EQ(RunAsNobody({"stats", "--json"}).Json()["storedItems"], 1);
  EXPECT_THAT(RunAsNobody({"stored", "tree"}).out, HasSubstr("new"));
  std::filesystem::create_symlink(Database(), Path("out/link.db"));
  const SRunResult linked = m_program.RunUnder({"setpriv", "--reuid=61001", "--regid=61001", "--clear-groups"},
                                               {"stored", "tree", "--db", Path("out/link.db")});
  EXPECT_THAT(linked.out, HasSubstr("new")) << linked.err;
}

TEST_F(ReadOnlyDatabaseTest, WhatCannotBeKeptIsSaid) {
  WritePng(m_images + "/more.png", 60, 40, kGreen);
  const SRunResult show = RunAsNobody({"show", m_images + "/more.png", "-o", Path("out/show.png")});
  EXPECT_EQ(show.status, 0) << show.err;
  EXPECT_THAT(show.out, HasSubstr("made now"));
  EXPECT_THAT(show.err, HasSubstr(Database() + " may only be read; what is made now is not kept"));
}

TEST_F(ReadOnlyDatabaseTest, CannotBeFilled) {
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"make", m_images},
                                                    {"history", "add", "--user", "anna", Image(0)},
                                                    {"stored", "add", "x"},
                                                    {"prune"}}) {
    const SRunResult run = RunAsNobody(arguments);
    EXPECT_EQ(run.status, 2) << arguments[0];
    EXPECT_THAT(run.err, HasSubstr("the folder " + Path("lab") + " may not be written to")) << arguments[0];
  }
}

TEST_F(ReadOnlyDatabaseTest, AFileThatMayOnlyBeReadIsTheSameInAFolderThatMayBeWrittenTo) {
  ASSERT_EQ(chmod(Path("lab").c_str(), 0777), 0);
  ASSERT_EQ(chmod(Database().c_str(), 0444), 0);
  EXPECT_EQ(RunAsNobody({"stats", "--json"}).Json()["thumbnails"]["count"], 3);
  const SRunResult run = RunAsNobody({"make", m_images});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr(Database() + ": it may not be written to"));
  ExpectNothingLeftBehind();
}

TEST_F(DatabaseFaultsTest, ADamagedOneIsNamedWithTheWayOut) {
  ASSERT_EQ(Make().status, 0);
  // The second page and all that follow.
  std::string bytes = ReadTextFile(m_program.Database());
  std::fill(bytes.begin() + 4096, bytes.end(), '\x5A');
  m_program.Folder().MakeFile("cache.db", bytes);
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"make", m_images}, {"stats"}, {"stored", "tree"}, {"history", "earliest"}}) {
    const SRunResult run = m_program.RunWithDatabase(arguments);
    EXPECT_NE(run.status, 0) << arguments[0];
    EXPECT_THAT(run.err, HasSubstr(m_program.Database() + " is damaged")) << arguments[0];
    EXPECT_THAT(run.err, HasSubstr("'qvthumbs verify'")) << arguments[0];
    EXPECT_THAT(run.err, HasSubstr("'qvthumbs rescue'")) << arguments[0];
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
  }
}

TEST_F(DatabaseFaultsTest, VerifyTellsTheWayOutOfDamage) {
  ASSERT_EQ(Make().status, 0);
  const std::string sound = ReadTextFile(m_program.Database());
  // Each page but the first, by itself and with all that follow.
  for (std::size_t page = 4096; page < sound.size(); page += 4096) {
    for (const std::size_t size : {std::size_t{12}, sound.size() - page}) {
      std::string damaged = sound;
      damaged.replace(page, size, size, 'Z');
      m_program.Folder().MakeFile("cache.db", damaged);
      const SRunResult run = m_program.RunWithDatabase({"verify"});
      EXPECT_EQ(run.status, 1) << page;
      EXPECT_THAT(run.err, HasSubstr(m_program.Database() + " is damaged")) << page;
      EXPECT_THAT(run.err, HasSubstr("qvthumbs rescue '" + m_program.Database() + "' NEW.db")) << page;
      EXPECT_THAT(run.err, Not(HasSubstr("'qvthumbs verify'"))) << page;
    }
  }
}

TEST_F(DatabaseFaultsTest, ALockedOneSaysWhoIsWaitedForAndWhy) {
  ASSERT_EQ(Make().status, 0);
  WritePng(Image(3), 60, 40, kRed);
  CSql other(m_program.Database());
  other.Run("BEGIN IMMEDIATE");
  const SRunResult run = Make();
  EXPECT_EQ(run.status, 2);
  const std::string holder = "(process " + std::to_string(getpid()) + ")";
  EXPECT_THAT(run.err, HasSubstr("waiting for " + m_program.Database() + ", which is locked by "));
  EXPECT_THAT(run.err, HasSubstr(m_program.Database() + " is locked by "));
  EXPECT_THAT(run.err, HasSubstr(holder + "; run again"));
  other.Run("COMMIT");
  EXPECT_EQ(Make().status, 0);
}

TEST_F(DatabaseFaultsTest, AFullDiskStopsTheRunWithOneMessage) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a small disk";
  for (int i = 0; i < 60; ++i) {
    std::filesystem::copy_file(Image(0), m_images + "/copy" + std::to_string(i) + ".png");
  }
  const std::string disk = m_program.Folder().MakeFolder("disk");
  const SRunResult run = m_program.RunUnder(
      {"unshare", "--mount", "sh", "-c", "mount -t tmpfs -o size=200k none '" + disk + "' && exec \"$@\"", "sh"},
      {"make", m_images, "--db", disk + "/cache.db"});
  if (run.err.find("unshare: ") == 0) GTEST_SKIP() << run.err;
  EXPECT_EQ(run.status, 1) << run.out;
  EXPECT_THAT(run.err, HasSubstr("there is no room left for " + disk + "/cache.db"));
  EXPECT_EQ(run.err.find("no room"), run.err.rfind("no room")) << run.err;
  EXPECT_THAT(run.err, Not(HasSubstr("sqlite3_")));
}

}  // namespace
