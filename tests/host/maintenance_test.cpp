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

}  // namespace
