// Published databases, and taking thumbnails from them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"
#include "tests/support/sql.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;

class CatalogTest : public testing::Test {
 protected:
  CatalogTest() : m_images(m_program.Folder().MakeFolder("images")) {}

  std::string Path(const std::string& name) const { return m_program.Folder().Path(name); }
  std::string WriteImage(const std::string& name, const SRgb& color = kRed) const {
    WritePng(m_images + "/" + name, 96, 64, color);
    return m_images + "/" + name;
  }
  // A catalogue of the images that are there.
  std::string Publish(const std::string& name = "catalog.db", const std::vector<std::string>& options = {}) {
    std::vector<std::string> make = {"make", m_images, "--db", Path("lab.db"), "--shard", "1/1"};
    make.insert(make.end(), options.begin(), options.end());
    EXPECT_EQ(m_program.Run(make).status, 0);
    const SRunResult run = m_program.Run({"merge", "--publish", Path(name), Path("lab.1-of-1.db")});
    EXPECT_EQ(run.status, 0) << run.err;
    return Path(name);
  }
  SRunResult Make(const std::string& catalog, std::vector<std::string> more = {}) {
    more.insert(more.begin(), {"make", m_images, "--catalog", catalog});
    return m_program.RunWithDatabase(more);
  }

  CProgram m_program;
  const std::string m_images;
};

TEST_F(CatalogTest, APublishedFileIsCompleteReadOnlyAndInOrder) {
  for (const char* name : {"c.png", "a.png", "b.png"}) WriteImage(name);
  const std::string catalog = Publish();
  EXPECT_EQ(CachedRows(catalog), CachedRows(Path("lab.1-of-1.db")));
  struct stat status;
  ASSERT_EQ(stat(catalog.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0444u);
  EXPECT_EQ(status.st_nlink, 1u);
  CSql db(catalog);
  EXPECT_EQ(db.Value("PRAGMA journal_mode"), "delete");
  EXPECT_EQ(db.Rows("SELECT filename FROM cache ORDER BY rowid"),
            db.Rows("SELECT filename FROM cache ORDER BY filename"));
  for (const auto& entry : std::filesystem::directory_iterator(Path(""))) {
    EXPECT_FALSE(entry.path().filename().string().starts_with("catalog.db.")) << entry.path();
  }
}

TEST_F(CatalogTest, SeveralShardsArePublishedInOneOrder) {
  for (int i = 0; i < 8; ++i) {
    std::filesystem::create_directories(m_images + "/set" + std::to_string(i));
    WriteImage("set" + std::to_string(i) + "/a.png");
  }
  std::vector<std::string> merge = {"merge", "--publish", Path("catalog.db")};
  for (const char* number : {"1", "2"}) {
    ASSERT_EQ(
        m_program.Run({"make", "-r", m_images, "--db", Path("lab.db"), "--shard", std::string(number) + "/2"}).status,
        0);
    merge.push_back(Path(std::string("lab.") + number + "-of-2.db"));
  }
  const SRunResult run = m_program.Run(merge);
  EXPECT_EQ(run.status, 0) << run.err;
  CSql db(Path("catalog.db"));
  EXPECT_EQ(db.Rows("SELECT filename FROM cache ORDER BY rowid").size(), 8u);
  EXPECT_EQ(db.Rows("SELECT filename FROM cache ORDER BY rowid"),
            db.Rows("SELECT filename FROM cache ORDER BY filename"));
}

TEST_F(CatalogTest, ATakenNameIsNotPublishedUnder) {
  WriteImage("a.png");
  const std::string catalog = Publish();
  const SFileBytes before = ReadFile(catalog);
  const SRunResult run = m_program.Run({"merge", "--publish", catalog, Path("lab.1-of-1.db")});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("is there already; a published file stays as it is"));
  EXPECT_EQ(ReadFile(catalog), before);
}

TEST_F(CatalogTest, NothingIsPublishedWhenNotAllCanBeMerged) {
  WriteImage("a.png");
  Publish();
  const SRunResult run =
      m_program.Run({"merge", "--publish", Path("next.db"), Path("lab.1-of-1.db"), Path("missing.db")});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("nothing is published"));
  for (const auto& entry : std::filesystem::directory_iterator(Path(""))) {
    EXPECT_FALSE(entry.path().filename().string().starts_with("next.db")) << entry.path();
  }
}

TEST_F(CatalogTest, HitsAreCopiedAndTheRestIsMade) {
  WriteImage("a.png");
  WriteImage("b.png");
  const std::string catalog = Publish();
  const SFileBytes before = ReadFile(catalog);
  WriteImage("new.png");
  const SRunResult run = Make(catalog);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("made 1, already cached 2 (2 from the catalogue), failed 0"));
  CSql own(m_program.Database());
  EXPECT_EQ(own.Value("SELECT count(*) FROM cache"), "3");
  EXPECT_EQ(own.Value("SELECT count(*) FROM metadata"), "3");
  EXPECT_EQ(ReadFile(catalog), before);
  const nlohmann::json again = Make(catalog, {"--json"}).Json();
  EXPECT_EQ(again["alreadyCached"], 3);
  EXPECT_EQ(again["fromCatalog"], 0);
}

TEST_F(CatalogTest, AThumbnailOfAnOlderFileIsNoHit) {
  const std::string image = WriteImage("a.png", kRed);
  const std::string catalog = Publish();
  WriteImage("a.png", kGreen);
  std::filesystem::last_write_time(image, std::filesystem::last_write_time(image) + std::chrono::hours(1));
  EXPECT_THAT(Make(catalog).out, HasSubstr("made 1, already cached 0 (0 from the catalogue)"));
}

TEST_F(CatalogTest, ShowTakesAHit) {
  const std::string image = WriteImage("a.png");
  const std::string catalog = Publish();
  const SRunResult run = m_program.RunWithDatabase({"show", image, "-o", Path("shown.png"), "--catalog", catalog});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("from the cache"));
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM cache"), 1);
}

TEST_F(CatalogTest, IsUsedByThoseWhoMayOnlyReadIt) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
  const std::string image = WriteImage("a.png");
  ASSERT_EQ(chmod(m_program.Folder().Path().c_str(), 0755), 0);
  ASSERT_EQ(chmod(m_program.Folder().MakeFolder("out").c_str(), 0777), 0);
  const std::string catalog = Publish();
  const SRunResult run = m_program.RunUnder({"setpriv", "--reuid=61001", "--regid=61001", "--clear-groups"},
                                            {"make", image, "--catalog", catalog, "--db", Path("out/own.db")});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("(1 from the catalogue)"));
}

TEST_F(CatalogTest, WhatIsNoCatalogueIsRefused) {
  WriteImage("a.png");
  const std::string catalog = Publish();
  Execute(Path("other.db"), "CREATE TABLE visits (page TEXT)");
  m_program.Folder().MakeFile("text.db", "this is no database, but a text that is longer than a header would be …");
  CSql written(Path("lab.1-of-1.db"));
  written.Run("PRAGMA journal_mode = WAL");
  written.Run("DELETE FROM metadata");
  const std::pair<std::string, const char*> wrong[] = {{Path("missing.db"), "No such file or directory"},
                                                       {Path("other.db"), "no thumbnail database"},
                                                       {Path("text.db"), "file is not a database"},
                                                       {Path("lab.1-of-1.db"), "it is being written, or was"}};
  for (const auto& [path, reason] : wrong) {
    const SRunResult run = Make(path);
    EXPECT_EQ(run.status, 2) << path;
    EXPECT_THAT(run.err, HasSubstr("the catalogue " + path + " cannot be used: ")) << path;
    EXPECT_THAT(run.err, HasSubstr(reason)) << path;
  }
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM cache"), 0);
}

TEST_F(CatalogTest, OneOfAnotherViewIsRefused) {
  WriteStack(m_images + "/stack.tif", {1, 3, 1});
  const std::string catalog = Publish("catalog.db", {"--planes", "max"});
  const SRunResult run = Make(catalog);
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("its thumbnails show another choice of planes"));
  EXPECT_THAT(m_program.Run({"make", m_images, "--catalog", catalog, "--planes", "max", "--db", Path("max.db")}).out,
              HasSubstr("(1 from the catalogue)"));
}

}  // namespace
