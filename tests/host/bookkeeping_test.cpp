#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"
#include "tests/support/sql.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;
using testing::Not;

class BookkeepingTest : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return m_program.Folder().Path(name); }
  nlohmann::json Json(std::vector<std::string> arguments) {
    arguments.push_back("--json");
    const SRunResult run = m_program.RunWithDatabase(arguments);
    EXPECT_EQ(run.status, 0) << run.err;
    return run.Json();
  }
  CProgram m_program;
};

using ExperimentsTest = BookkeepingTest;

TEST_F(ExperimentsTest, AddsAnExperimentOnceAndShowsIt) {
  WriteStack(Path("a.ome.tif"), {3, 4, 2});
  WriteStack(Path("same.ome.tif"), {3, 4, 2});
  WriteStack(Path("other.ome.tif"), {5, 1, 2});
  const nlohmann::json added =
      Json({"experiments", "add", Path("a.ome.tif"), Path("same.ome.tif"), Path("other.ome.tif")});
  ASSERT_EQ(added.size(), 3u);
  EXPECT_EQ(added[0]["experiment"], added[1]["experiment"]);
  EXPECT_NE(added[0]["experiment"], added[2]["experiment"]);
  EXPECT_EQ(Json({"experiments", "list"}).size(), 2u);
  const std::string id = added[0]["experiment"].dump();
  const SRunResult shown = m_program.RunWithDatabase({"experiments", "show", id});
  EXPECT_THAT(shown.out, HasSubstr("Experiment " + id + ", acquired 2024-05-01 12:30:00 UTC"));
  EXPECT_THAT(shown.out, HasSubstr("Time: 3, every 2 s"));
  EXPECT_THAT(shown.out, HasSubstr("Z stack: 4, 1.5 µm apart"));
  EXPECT_THAT(shown.out, HasSubstr("dye 1"));
  EXPECT_EQ(Json({"experiments", "show", id})["loops"]["loop"], "time");
}

TEST_F(ExperimentsTest, ASinglePictureHasNone) {
  WritePng(Path("a.png"), 10, 10, kRed);
  const SRunResult run = m_program.RunWithDatabase({"experiments", "add", Path("a.png")});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("without acquisition loops"));
  EXPECT_THAT(m_program.RunWithDatabase({"experiments", "list"}).out, HasSubstr("no experiments"));
}

TEST_F(ExperimentsTest, AnUnknownOneSaysWhatToDo) {
  m_program.RunWithDatabase({"stored", "add", "x"});
  const SRunResult run = m_program.RunWithDatabase({"experiments", "show", "7"});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("'qvthumbs experiments list'"));
}

TEST_F(ExperimentsTest, BelongToAStoredItem) {
  WriteStack(Path("a.ome.tif"), {3, 1, 1});
  WriteStack(Path("b.ome.tif"), {4, 1, 1});
  const std::string item = Json({"stored", "add", "plate"})["id"].dump();
  const nlohmann::json added = Json({"experiments", "add", "--stored", item, Path("a.ome.tif")});
  Json({"experiments", "add", Path("b.ome.tif")});
  const nlohmann::json listed = Json({"experiments", "list", "--stored", item});
  ASSERT_EQ(listed.size(), 1u);
  EXPECT_EQ(listed[0]["experiment"], added[0]["experiment"]);
  EXPECT_EQ(m_program.RunWithDatabase({"experiments", "add", "--stored", "99", Path("b.ome.tif")}).status, 1);
}

TEST_F(ExperimentsTest, AnImageWithoutATimeLeavesAKnownTimeAsItIs) {
  WriteStack(Path("a.ome.tif"), {3, 4, 2});
  const std::string id = Json({"experiments", "add", Path("a.ome.tif")})[0]["experiment"].dump();
  std::string bytes = ReadTextFile(Path("a.ome.tif"));
  for (const char* tag : {"<AcquisitionDate>2024-05-01T12:30:00</AcquisitionDate>"}) {
    const std::size_t at = bytes.find(tag);
    ASSERT_NE(at, std::string::npos);
    bytes.replace(at, std::string(tag).size(), std::string(tag).size(), ' ');
  }
  m_program.Folder().MakeFile("timeless.ome.tif", bytes);
  const nlohmann::json again = Json({"experiments", "add", Path("timeless.ome.tif")});
  EXPECT_EQ(again[0]["experiment"].dump(), id);
  EXPECT_EQ(again[0]["acquired"], nullptr);
  EXPECT_EQ(Json({"experiments", "show", id})["acquired"], "2024-05-01T12:30:00Z");
}

class HistoryTest : public BookkeepingTest {
 protected:
  std::int64_t Count(const std::string& table) const {
    return QueryInt(m_program.Database(), "SELECT count(*) FROM " + table);
  }
  // A table that takes no time of this century, as a full disk would take none.
  void RefuseLateTimes() const {
    Execute(m_program.Database(),
            "DROP TABLE history; CREATE TABLE history (filename TEXT, userID TEXT, "
            "M_acqTime REAL CHECK (M_acqTime < 2451545), experimentID INTEGER, PRIMARY KEY (filename))");
  }
};

TEST_F(HistoryTest, RecordsFileTimeAndExperiment) {
  WriteStack(Path("Stack.ome.tif"), {3, 4, 2});
  const nlohmann::json added = Json({"history", "add", "--user", "anna", Path("Stack.ome.tif")});
  ASSERT_EQ(added.size(), 1u);
  EXPECT_EQ(added[0]["acquired"], "2024-05-01T12:30:00Z");
  EXPECT_EQ(added[0]["timeSource"], "image");
  const nlohmann::json listed = Json({"history", "list", "--user", "anna"});
  ASSERT_EQ(listed.size(), 1u);
  EXPECT_EQ(listed[0]["file"], Path("Stack.ome.tif"));
  EXPECT_EQ(listed[0]["acquired"], "2024-05-01T12:30:00Z");
  EXPECT_EQ(listed[0]["experiment"], added[0]["experiment"]);
  EXPECT_EQ(m_program.RunWithDatabase({"history", "earliest"}).out, "2024-05-01 12:30:00 UTC\n");
  const std::string id = added[0]["experiment"].dump();
  EXPECT_EQ(m_program.RunWithDatabase({"history", "files", "--user", "anna", "--experiment", id}).out,
            Path("Stack.ome.tif") + "\n");
}

TEST_F(HistoryTest, ListsByTimeWithinARange) {
  const std::vector<std::pair<std::string, std::string>> images = {
      {"c.png", "2024-05-03"}, {"a.png", "2024-05-01T09:30"}, {"b.png", "2024-05-02T00:00:00+02:00"}};
  for (const auto& [name, time] : images) {
    WritePng(Path(name), 10, 10, kRed);
    Json({"history", "add", "--user", "anna", "--time", time, Path(name)});
  }
  const nlohmann::json all = Json({"history", "list", "--user", "anna"});
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(all[0]["acquired"], "2024-05-01T09:30:00Z");
  EXPECT_EQ(all[1]["acquired"], "2024-05-01T22:00:00Z");
  EXPECT_EQ(all[2]["experiment"], nullptr);
  EXPECT_EQ(Json({"history", "list", "--user", "anna", "--since", "2024-05-01T22:00"}).size(), 2u);
  EXPECT_EQ(Json({"history", "list", "--user", "anna", "--until", "2024-05-01T22:00"}).size(), 1u);
  EXPECT_EQ(Json({"history", "list", "--user", "bert"}).size(), 0u);
}

TEST_F(HistoryTest, WithoutATimeOfItsOwnTheFilesDateIsTaken) {
  WritePng(Path("a.png"), 10, 10, kRed);
  EXPECT_EQ(Json({"history", "add", "--user", "anna", Path("a.png")})[0]["timeSource"], "file date");
}

TEST_F(HistoryTest, TheFilesDateIsItsLastWriteAndNotTheBirthOfACopy) {
  WritePng(Path("a.png"), 10, 10, kRed);
  const timespec times[2] = {{1000000000, 0}, {1000000000, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, Path("a.png").c_str(), times, 0), 0);
  EXPECT_EQ(Json({"history", "add", "--user", "anna", Path("a.png")})[0]["acquired"], "2001-09-09T01:46:40Z");
}

TEST_F(HistoryTest, ATimeGivenByHandStaysUntilAnotherIsGiven) {
  WriteStack(Path("a.ome.tif"), {3, 1, 1});
  WritePng(Path("b.png"), 10, 10, kRed);
  Json({"history", "add", "--user", "anna", "--time", "2020-01-01", Path("a.ome.tif"), Path("b.png")});
  const nlohmann::json again = Json({"history", "add", "--user", "anna", Path("a.ome.tif"), Path("b.png")});
  for (const nlohmann::json& record : again) {
    EXPECT_EQ(record["acquired"], "2020-01-01T00:00:00Z");
    EXPECT_EQ(record["timeSource"], "recorded");
  }
  for (const nlohmann::json& record : Json({"history", "list", "--user", "anna"})) {
    EXPECT_EQ(record["acquired"], "2020-01-01T00:00:00Z");
  }
  Json({"history", "add", "--user", "anna", "--time", "2021-01-01", Path("b.png")});
  EXPECT_EQ(Json({"history", "list", "--user", "anna", "--since", "2021-01-01"}).size(), 1u);
}

TEST_F(HistoryTest, ANewTimeThatTheDatabaseDoesNotTakeIsSaid) {
  WritePng(Path("a.png"), 10, 10, kRed);
  Json({"history", "add", "--user", "anna", "--time", "1999-01-01", Path("a.png")});
  RefuseLateTimes();
  Json({"history", "add", "--user", "anna", "--time", "1999-01-01", Path("a.png")});
  const SRunResult run =
      m_program.RunWithDatabase({"history", "add", "--user", "anna", "--time", "2024-01-01", Path("a.png")});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("a.png: the database did not take it: CHECK constraint failed"));
  EXPECT_THAT(run.err, Not(HasSubstr("sqlite3_")));
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(Json({"history", "list", "--user", "anna"})[0]["acquired"], "1999-01-01T00:00:00Z");
}

TEST_F(HistoryTest, ARefusedRecordChangesNothing) {
  WriteStack(Path("a.ome.tif"), {3, 1, 1});
  Json({"history", "add", "--user", "anna", Path("a.ome.tif")});
  WriteStack(Path("a.ome.tif"), {4, 1, 1});
  const std::string before = QueryText(m_program.Database(), "SELECT M_acqTime FROM experiments");
  for (const std::vector<std::string>& more : {std::vector<std::string>(), {"--time", "2024-06-01"}}) {
    std::vector<std::string> arguments = {"history", "add", "--user", "bert", Path("a.ome.tif")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const SRunResult run = m_program.RunWithDatabase(arguments);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr("recorded for another user, anna, already"));
  }
  EXPECT_EQ(Count("experiments"), 1);
  EXPECT_EQ(QueryText(m_program.Database(), "SELECT M_acqTime FROM experiments"), before);
}

TEST_F(HistoryTest, AFileKeepsItsExperiment) {
  WriteStack(Path("a.ome.tif"), {3, 1, 1});
  WriteStack(Path("b.ome.tif"), {4, 1, 1});
  const nlohmann::json first = Json({"history", "add", "--user", "anna", Path("a.ome.tif"), Path("b.ome.tif")});
  const std::string other = first[1]["experiment"].dump();
  const nlohmann::json again =
      Json({"history", "add", "--user", "anna", "--experiment", other, "--time", "2024-06-01", Path("a.ome.tif")});
  EXPECT_EQ(again[0]["experiment"], first[0]["experiment"]);
  EXPECT_EQ(again[0]["acquired"], "2024-06-01T00:00:00Z");
}

TEST_F(HistoryTest, AFileBelongsToOneUser) {
  WritePng(Path("a.png"), 10, 10, kRed);
  Json({"history", "add", "--user", "anna", Path("a.png")});
  const SRunResult run = m_program.RunWithDatabase({"history", "add", "--user", "bert", Path("a.png")});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("another user"));
}

TEST_F(HistoryTest, DeletesARangeAndThenTheExperiment) {
  WriteStack(Path("a.ome.tif"), {3, 1, 1});
  WriteStack(Path("b.ome.tif"), {3, 1, 1});
  const std::string id =
      Json({"history", "add", "--user", "anna", "--time", "2024-05-01", Path("a.ome.tif")})[0]["experiment"].dump();
  Json({"history", "add", "--user", "bert", "--time", "2024-06-01", Path("b.ome.tif")});
  const nlohmann::json part = Json({"history", "delete", "--experiment", id, "--until", "2024-05-15"});
  EXPECT_EQ(part["deleted"], 1);
  EXPECT_EQ(part["experimentDeleted"], false);
  const nlohmann::json rest = Json({"history", "delete", "--experiment", id});
  EXPECT_EQ(rest["deleted"], 1);
  EXPECT_EQ(rest["experimentDeleted"], true);
  EXPECT_EQ(m_program.RunWithDatabase({"history", "delete", "--experiment", id}).status, 1);
  EXPECT_THAT(m_program.RunWithDatabase({"history", "earliest"}).out, HasSubstr("no history"));
}

TEST_F(HistoryTest, NamesAFileThatIsNoImageAndGoesOn) {
  std::ofstream(Path("no.tif")) << "text";
  WritePng(Path("a.png"), 10, 10, kRed);
  const SRunResult run = m_program.RunWithDatabase({"history", "add", "--user", "anna", Path("no.tif"), Path("a.png")});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("no.tif: "));
  EXPECT_EQ(Json({"history", "list", "--user", "anna"}).size(), 1u);
}

TEST_F(HistoryTest, UnknownNumbersEndWithOne) {
  WritePng(Path("a.png"), 10, 10, kRed);
  Json({"history", "add", "--user", "anna", Path("a.png")});
  for (const std::vector<std::string>& arguments : {
           std::vector<std::string>{"history", "add", "--user", "anna", "--experiment", "99", Path("a.png")},
           {"history", "files", "--user", "anna", "--experiment", "99"},
           {"history", "delete", "--experiment", "99"},
           {"experiments", "show", "99"},
           {"experiments", "list", "--stored", "99"},
       }) {
    const SRunResult run = m_program.RunWithDatabase(arguments);
    EXPECT_EQ(run.status, 1) << testing::PrintToString(arguments);
    EXPECT_THAT(run.err, HasSubstr(" 99; ")) << testing::PrintToString(arguments);
  }
}

TEST_F(HistoryTest, ListsEverybodyAndWhoTheyAre) {
  WritePng(Path("a.png"), 10, 10, kRed);
  WritePng(Path("b.png"), 10, 10, kRed);
  Json({"history", "add", "--user", "anna", "--time", "2024-05-02", Path("a.png")});
  Json({"history", "add", "--user", "bert", "--time", "2024-05-01", Path("b.png")});
  const nlohmann::json all = Json({"history", "list"});
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0]["user"], "bert");
  EXPECT_EQ(all[1]["file"], Path("a.png"));
  const nlohmann::json users = Json({"history", "users"});
  ASSERT_EQ(users.size(), 2u);
  EXPECT_EQ(users[0]["user"], "anna");
  EXPECT_EQ(users[0]["records"], 1);
  EXPECT_EQ(users[1]["first"], "2024-05-01T00:00:00Z");
}

TEST_F(HistoryTest, ARecordsUserIsCorrected) {
  WritePng(Path("a.png"), 10, 10, kRed);
  Json({"history", "add", "--user", "anna", Path("a.png")});
  EXPECT_EQ(Json({"history", "assign", "--user", "bert", Path("a.png")})["assigned"], 1);
  EXPECT_EQ(Json({"history", "list", "--user", "bert"}).size(), 1u);
  EXPECT_EQ(Json({"history", "list", "--user", "anna"}).size(), 0u);
  const SRunResult run = m_program.RunWithDatabase({"history", "assign", "--user", "bert", Path("none.png")});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr(Path("none.png") + ": has no record"));
}

TEST_F(HistoryTest, ARecordIsDeletedByNameWithAnExperimentThatNobodyUses) {
  WriteStack(Path("a.ome.tif"), {3, 1, 1});
  WriteStack(Path("b.ome.tif"), {3, 1, 1});
  Json({"history", "add", "--user", "anna", Path("a.ome.tif"), Path("b.ome.tif")});
  EXPECT_EQ(Json({"history", "delete", Path("a.ome.tif")})["deleted"], 1);
  EXPECT_EQ(Count("history"), 1);
  EXPECT_EQ(Count("experiments"), 1);
  std::filesystem::remove(Path("b.ome.tif"));
  EXPECT_EQ(Json({"history", "delete", Path("b.ome.tif")})["deleted"], 1);
  EXPECT_EQ(Count("experiments"), 0);
  EXPECT_EQ(m_program.RunWithDatabase({"history", "delete", Path("b.ome.tif")}).status, 1);
  EXPECT_EQ(m_program.RunWithDatabase({"history", "delete"}).status, 2);
}

TEST_F(HistoryTest, ATriggerThatSomebodyLeftDoesNotRun) {
  WritePng(Path("a.png"), 10, 10, kRed);
  Json({"history", "add", "--user", "anna", Path("a.png")});
  Execute(m_program.Database(),
          "CREATE TRIGGER t AFTER UPDATE ON history BEGIN INSERT INTO stored VALUES (7, 0, 'planted', 0); END");
  Json({"history", "assign", "--user", "bert", Path("a.png")});
  EXPECT_EQ(Count("stored"), 0);
}

TEST_F(HistoryTest, NamesCanBeEndedByZero) {
  WriteStack(Path("two\nlines.ome.tif"), {3, 1, 1});
  const std::string id = Json({"history", "add", "--user", "anna", Path("two\nlines.ome.tif")})[0]["experiment"].dump();
  EXPECT_EQ(m_program.RunWithDatabase({"history", "files", "-0", "--user", "anna", "--experiment", id}).out,
            Path("two\nlines.ome.tif") + std::string(1, '\0'));
}

TEST_F(HistoryTest, ANameThatIsNoUtf8GoesThroughJsonAndBack) {
  WritePng(Path("caf\xE9.png"), 10, 10, kRed);
  const nlohmann::json added = Json({"history", "add", "--user", "anna", Path("caf\xE9.png")});
  EXPECT_EQ(added[0]["file"], Path("caf\\xE9.png"));
  const std::string listed = Json({"history", "list"})[0]["file"];
  EXPECT_EQ(Json({"info", listed})[0]["height"], 10);
  EXPECT_EQ(Json({"make", listed})["made"], 1);
}

TEST_F(HistoryTest, ATimeOfJsonFindsItsRecord) {
  WritePng(Path("a.png"), 10, 10, kRed);
  Json({"history", "add", "--user", "anna", "--time", "2024-05-01T12:30:00.123+0200", Path("a.png")});
  const std::string time = Json({"history", "list"})[0]["acquired"];
  EXPECT_EQ(time, "2024-05-01T10:30:00.123Z");
  EXPECT_EQ(Json({"history", "list", "--since", time}).size(), 1u);
  EXPECT_EQ(Json({"history", "list", "--until", time}).size(), 0u);
}

TEST_F(HistoryTest, TimesAreShownAndTypedInTheLocalZone) {
  m_program.SetEnvironment("TZ=CET-1CEST,M3.5.0,M10.5.0/3");
  WritePng(Path("a.png"), 10, 10, kRed);
  EXPECT_THAT(
      m_program.RunWithDatabase({"history", "add", "--user", "anna", "--time", "2024-05-01T14:30", Path("a.png")}).out,
      HasSubstr("2024-05-01 14:30:00 +02:00"));
  EXPECT_EQ(Json({"history", "list"})[0]["acquired"], "2024-05-01T12:30:00Z");
}

class StoredTest : public BookkeepingTest {
 protected:
  std::string Add(const std::string& name, const std::string& parent = "0") {
    return Json({"stored", "add", name, "--parent", parent})["id"].dump();
  }
};

TEST_F(StoredTest, DrawsTheTree) {
  const std::string project = Add("project");
  const std::string plate = Add("Plätte 7", project);
  Add("well A1", plate);
  Add("well A2", plate);
  Add("zebra", project);
  const std::string other = Add("second");
  EXPECT_EQ(m_program.RunWithDatabase({"stored", "tree"}).out,
            "├─ project  [1]\n"
            "│  ├─ Plätte 7  [2]\n"
            "│  │  ├─ well A1  [3]\n"
            "│  │  └─ well A2  [4]\n"
            "│  └─ zebra  [5]\n"
            "└─ second  [" +
                other + "]\n");
  EXPECT_EQ(m_program.RunWithDatabase({"stored", "tree", plate}).out,
            "Plätte 7  [2]\n"
            "├─ well A1  [3]\n"
            "└─ well A2  [4]\n");
  const nlohmann::json tree = Json({"stored", "tree"});
  ASSERT_EQ(tree.size(), 6u);
  EXPECT_EQ(tree[2]["parent"], 2);
  EXPECT_EQ(tree[2]["depth"], 3);
}

TEST_F(StoredTest, UpdatesOnlyWhatIsGiven) {
  const std::string project = Add("project");
  const std::string plate = Json({"stored", "add", "plate", "--flags", "5"})["id"].dump();
  Json({"stored", "update", plate, "--parent", project});
  nlohmann::json children = Json({"stored", "list", project});
  ASSERT_EQ(children.size(), 1u);
  EXPECT_EQ(children[0]["name"], "plate");
  EXPECT_EQ(children[0]["flags"], 5);
  Json({"stored", "update", plate, "--name", "dish", "--flags", "0"});
  children = Json({"stored", "list", project});
  EXPECT_EQ(children[0]["name"], "dish");
  EXPECT_EQ(children[0]["flags"], 0);
}

TEST_F(StoredTest, AChangeThatTheDatabaseDoesNotTakeIsSaid) {
  Add("plate");
  Execute(m_program.Database(),
          "DROP TABLE stored; CREATE TABLE stored (storedID INTEGER, storedParentID INTEGER, filename TEXT, "
          "flags INTEGER CHECK (flags < 5), PRIMARY KEY (storedID)); INSERT INTO stored VALUES (1, 0, 'plate', 0)");
  const SRunResult run = m_program.RunWithDatabase({"stored", "update", "1", "--flags", "7"});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("the database did not take the change: CHECK constraint failed"));
  EXPECT_EQ(run.out, "");
}

TEST_F(StoredTest, AnItemCannotBeMovedIntoItself) {
  const std::string project = Add("project");
  const std::string plate = Add("plate", project);
  const SRunResult run = m_program.RunWithDatabase({"stored", "update", project, "--parent", plate});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("into itself"));
  EXPECT_EQ(m_program.RunWithDatabase({"stored", "update", project, "--parent", project}).status, 2);
}

TEST_F(StoredTest, DeletesEverythingBelow) {
  const std::string project = Add("project");
  Add("well", Add("plate", project));
  Add("second");
  EXPECT_EQ(Json({"stored", "delete", project})["deleted"], 3);
  EXPECT_EQ(Json({"stored", "tree"}).size(), 1u);
}

// The service deletes by recursion, which a chain of this depth would exhaust.
TEST_F(StoredTest, DeletesAVeryDeepChain) {
  Add("top");
  Execute(m_program.Database(),
          "WITH RECURSIVE n(i) AS (SELECT 2 UNION ALL SELECT i + 1 FROM n WHERE i < 20000) "
          "INSERT INTO stored SELECT i, i - 1, 'item', 0 FROM n");
  EXPECT_EQ(Json({"stored", "delete", "1"})["deleted"], 20000);
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM stored"), 0);
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM sqlite_master WHERE type = 'index' AND sql NOT NULL"),
            0);
}

TEST_F(StoredTest, ItemsUnderAParentThatDoesNotExistLieAtTheTop) {
  Add("mine");
  Execute(m_program.Database(), "INSERT INTO stored VALUES (7, -1, 'theirs', 0)");
  EXPECT_EQ(m_program.RunWithDatabase({"stored", "tree"}).out,
            "├─ mine  [1]\n"
            "└─ theirs  [7]\n");
}

TEST_F(StoredTest, ACircleIsReportedAndNotFollowed) {
  const std::string project = Add("project");
  const std::string plate = Add("plate", project);
  Execute(m_program.Database(), "UPDATE stored SET storedParentID = 2 WHERE storedID = 1");
  for (const char* verb : {"tree", "delete"}) {
    const SRunResult run = m_program.RunWithDatabase({"stored", verb, project});
    EXPECT_EQ(run.status, 2) << verb;
    EXPECT_THAT(run.err, HasSubstr("circle")) << verb;
  }
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM stored"), 2);
  EXPECT_THAT(m_program.RunWithDatabase({"stored", "tree"}).err, HasSubstr("circle"));
  EXPECT_EQ(m_program.RunWithDatabase({"stored", "update", project, "--parent", "0"}).status, 0);
  EXPECT_EQ(m_program.RunWithDatabase({"stored", "tree"}).status, 0);
}

TEST_F(StoredTest, AnUnknownItemSaysWhatToDo) {
  Add("x");
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"stored", "delete", "9"},
                                                    {"stored", "list", "9"},
                                                    {"stored", "tree", "9"},
                                                    {"stored", "add", "y", "--parent", "9"},
                                                    {"stored", "update", "9", "--name", "z"}}) {
    const SRunResult run = m_program.RunWithDatabase(arguments);
    EXPECT_EQ(run.status, 1) << arguments[1];
    EXPECT_THAT(run.err, HasSubstr("there is no stored item 9")) << arguments[1];
  }
}

TEST_F(StoredTest, AHostileNameCannotSteerTheTerminal) {
  Add("evil\x1b[31m");
  EXPECT_THAT(m_program.RunWithDatabase({"stored", "tree"}).out, Not(HasSubstr("\x1b")));
}

}  // namespace
