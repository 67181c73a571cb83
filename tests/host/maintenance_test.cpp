#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ctime>
#include <filesystem>
#include <fstream>

#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"
#include "tests/support/sql.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;

class MaintenanceTest : public testing::Test {
 protected:
  MaintenanceTest() : m_images(m_program.Folder().MakeFolder("images")) {
    for (const char* name : {"a.png", "B.PNG", "c.png"}) WritePng(Image(name), 60, 40, kRed);
    EXPECT_EQ(m_program.RunWithDatabase({"make", m_images}).status, 0);
  }

  std::string Image(const std::string& name) const { return m_images + "/" + name; }
  std::int64_t Count(const std::string& table) const {
    return QueryInt(m_program.Database(), "SELECT count(*) FROM " + table);
  }
  nlohmann::json Json(std::vector<std::string> arguments) {
    arguments.push_back("--json");
    return m_program.RunWithDatabase(arguments).Json();
  }

  CProgram m_program;
  const std::string m_images;
};

TEST_F(MaintenanceTest, StatsCountWhatTheDatabaseHolds) {
  m_program.RunWithDatabase({"history", "add", "--user", "anna", "--time", "2024-05-01", Image("a.png")});
  m_program.RunWithDatabase({"stored", "add", "x"});
  const nlohmann::json stats = Json({"stats"});
  EXPECT_EQ(stats["thumbnails"], nlohmann::json({{"count", 3}}));
  EXPECT_EQ(stats["textInformation"], 3);
  EXPECT_EQ(stats["experiments"], 0);
  EXPECT_EQ(stats["history"], nlohmann::json({{"records", 1}}));
  EXPECT_EQ(stats["storedItems"], 1);
  EXPECT_FALSE(stats.contains("largestFolders"));
  EXPECT_THAT(m_program.RunWithDatabase({"stats"}).out, HasSubstr("Thumbnails        3\n"));
}

TEST_F(MaintenanceTest, StatsWithDetailsLookAtEveryRow) {
  m_program.RunWithDatabase({"history", "add", "--user", "anna", "--time", "2024-05-01", Image("a.png")});
  const nlohmann::json stats = Json({"stats", "--details"});
  EXPECT_EQ(stats["thumbnails"]["count"], 3);
  EXPECT_EQ(stats["thumbnails"]["standard"], 3);
  EXPECT_EQ(stats["thumbnails"]["high"], 0);
  EXPECT_GT(stats["thumbnails"]["bytes"], 300);
  EXPECT_EQ(stats["history"]["users"], 1);
  EXPECT_EQ(stats["history"]["first"], "2024-05-01T00:00:00Z");
  EXPECT_EQ(stats["folderCount"], 1);
  EXPECT_EQ(stats["largestFolders"][0]["thumbnails"], 3);
  const SRunResult text = m_program.RunWithDatabase({"stats", "--details"});
  EXPECT_THAT(text.out, HasSubstr("3 (3 standard, 0 high quality)"));
}

TEST_F(MaintenanceTest, PruneRemovesOnlyWhatIsGone) {
  std::filesystem::remove(Image("a.png"));
  const nlohmann::json look = Json({"prune", "--dry-run"});
  EXPECT_EQ(look["thumbnails"], 1);
  EXPECT_EQ(look["files"][0], Image("a.png"));
  EXPECT_EQ(Count("cache"), 3);
  const nlohmann::json done = Json({"prune"});
  EXPECT_EQ(done["thumbnails"], 1);
  EXPECT_EQ(done["textInformation"], 1);
  EXPECT_EQ(Count("cache"), 2);
  EXPECT_EQ(Count("metadata"), 2);
}

TEST_F(MaintenanceTest, PruneCanBeConfinedToAFolder) {
  std::filesystem::remove(Image("a.png"));
  EXPECT_EQ(Json({"prune", "--under", m_images + "-other"})["thumbnails"], 0);
  EXPECT_EQ(Json({"prune", "--under", m_images})["thumbnails"], 1);
}

TEST_F(MaintenanceTest, VerifyFindsNothingInASoundDatabase) {
  const SRunResult run = m_program.RunWithDatabase({"verify"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("checked 3 thumbnails, 0 with a problem"));
}

TEST_F(MaintenanceTest, VerifyNamesWhatIsWrongAndRepairs) {
  Execute(m_program.Database(),
          "UPDATE cache SET binData = substr(binData, 1, length(binData) / 2) WHERE filename LIKE '%a.png'");
  const timespec times[2] = {{4000000000, 0}, {4000000000, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, Image("B.PNG").c_str(), times, 0), 0);
  std::filesystem::remove(Image("c.png"));
  const SRunResult run = m_program.RunWithDatabase({"verify"});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr(Image("a.png") + ": the stored picture "));
  EXPECT_THAT(run.err, HasSubstr(Image("B.PNG") + ": the file has changed since"));
  EXPECT_THAT(run.err, HasSubstr("c.png: the file is gone"));
  EXPECT_EQ(Count("cache"), 3);
  EXPECT_EQ(m_program.RunWithDatabase({"verify", "--repair"}).status, 0);
  EXPECT_EQ(Count("cache"), 0);
  EXPECT_THAT(m_program.RunWithDatabase({"make", m_images}).out, HasSubstr("made 2,"));
  EXPECT_EQ(m_program.RunWithDatabase({"verify"}).status, 0);
}

TEST_F(MaintenanceTest, PruneKeepsWhatWasMadeLastWithinASize) {
  const std::int64_t bytes = QueryInt(m_program.Database(), "SELECT sum(length(binData)) FROM cache");
  const std::string first = QueryText(m_program.Database(), "SELECT filename FROM cache ORDER BY rowid LIMIT 1");
  const std::string most = std::to_string(bytes - 1);
  const SRunResult look = m_program.RunWithDatabase({"prune", "--max-size", most, "--dry-run"});
  EXPECT_THAT(look.out, HasSubstr(first + "\nwould remove 1 thumbnail, "));
  EXPECT_EQ(Count("cache"), 3);
  EXPECT_THAT(m_program.RunWithDatabase({"prune", "--max-size", most + " B"}).out, HasSubstr("removed 1 thumbnail, "));
  EXPECT_EQ(Count("cache WHERE filename = '" + first + "'"), 0);
  EXPECT_EQ(Count("cache"), 2);
  EXPECT_EQ(Count("metadata"), 3);
  EXPECT_THAT(m_program.RunWithDatabase({"prune", "--max-size", "1GB"}).out, HasSubstr("removed 0 thumbnails"));
  EXPECT_EQ(m_program.RunWithDatabase({"prune", "--max-size", "much"}).status, 2);
}

TEST_F(MaintenanceTest, PruneRemovesThumbnailsOfOldImages) {
  Execute(m_program.Database(), "UPDATE cache SET lastWritten = lastWritten - 100 WHERE filename LIKE '%a.png'");
  EXPECT_THAT(m_program.RunWithDatabase({"prune", "--older-than", "101d"}).out, HasSubstr("removed 0 thumbnails"));
  EXPECT_EQ(Json({"prune", "--older-than", "99d"})["thumbnails"], 1);
  EXPECT_THAT(m_program.RunWithDatabase({"prune", "--older-than", "2100-01-01"}).out,
              HasSubstr("removed 2 thumbnails"));
  EXPECT_EQ(m_program.RunWithDatabase({"prune", "--older-than", "long ago"}).status, 2);
}

class ExportTest : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return m_program.Folder().Path(name); }
  CProgram m_program;
};

TEST_F(ExportTest, WritesThumbnailsAsTheImagesLie) {
  m_program.Folder().MakeFolder("Images/Sub");
  WritePng(Path("Images/A.png"), 96, 64, kRed);
  WritePng(Path("Images/Sub/b.png"), 96, 64, kGreen);
  ASSERT_EQ(m_program.RunWithDatabase({"make", "--recursive", Path("Images")}).status, 0);
  const SRunResult run = m_program.RunWithDatabase({"export", Path("out")});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("out: 2 pictures"));
  EXPECT_EQ(DecodeJpeg(Path("out/A.png.jpg")).width, 270u);
  EXPECT_NEAR(DecodeJpeg(Path("out/Sub/b.png.jpg")).right[1], kGreen[1], 12);
  // Its own files are replaced, others are not.
  std::ofstream(Path("out/A.png.jpg")) << "mine";
  const SRunResult again = m_program.RunWithDatabase({"export", Path("out")});
  EXPECT_EQ(again.status, 1);
  EXPECT_THAT(again.err, HasSubstr("qvthumbs did not write it"));
  EXPECT_THAT(m_program.RunWithDatabase({"export", "--under", Path("Images/Sub"), Path("some")}).out,
              HasSubstr("some: 1 picture\n"));
  EXPECT_TRUE(std::filesystem::exists(Path("some/b.png.jpg")));
}

TEST_F(ExportTest, NeverWritesOutsideItsFolder) {
  WritePng(Path("a.png"), 96, 64, kRed);
  ASSERT_EQ(m_program.RunWithDatabase({"make", Path("a.png")}).status, 0);
  Execute(m_program.Database(),
          "INSERT INTO cache SELECT 'x/../../../escaped', lastWritten, flags, binData, quality FROM cache");
  m_program.Folder().MakeFolder("deep/out");
  EXPECT_EQ(m_program.RunWithDatabase({"export", Path("deep/out")}).status, 1);
  EXPECT_FALSE(std::filesystem::exists(Path("escaped.jpg")));
  EXPECT_FALSE(std::filesystem::exists(Path("deep/escaped.jpg")));
}

TEST_F(MaintenanceTest, ADryRunOfDeletingDeletesNothing) {
  m_program.RunWithDatabase({"stored", "add", "plate"});
  m_program.RunWithDatabase({"history", "add", "--user", "anna", Image("a.png")});
  EXPECT_THAT(m_program.RunWithDatabase({"stored", "delete", "1", "--dry-run"}).out, HasSubstr("would delete 1 item"));
  EXPECT_THAT(m_program.RunWithDatabase({"history", "delete", Image("a.png"), "-n"}).out,
              HasSubstr("would delete 1 record"));
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT (SELECT count(*) FROM stored) + (SELECT count(*) FROM history)"), 2);
  EXPECT_THAT(m_program.RunWithDatabase({"stored", "delete", "1"}).out, HasSubstr("deleted 1 item\n"));
}

}  // namespace
