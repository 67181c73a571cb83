#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "tests/host/support/gallery.h"
#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"
#include "tests/support/sql.h"

namespace {

using namespace qvtest;

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class FindTest : public testing::Test {
 protected:
  FindTest() : m_images(m_program.Folder().MakeFolder("images")) {
    m_program.Folder().MakeFolder("images/Day 1");
    WritePng(m_images + "/Zürich cells.png", 60, 40, kRed);
    WritePng(m_images + "/Day 1/a \"b\" -c* OR d.png", 60, 40, kGreen);
    WriteStack(m_images + "/stack.ome.tif", {.times = 2, .planes = 3, .channels = 2});
    EXPECT_EQ(Run({"make", "--recursive", m_images}).status, 0);
  }

  SRunResult Run(const std::vector<std::string>& arguments) { return m_program.RunWithDatabase(arguments); }
  // The names of the files that are found, without their folders.
  std::vector<std::string> Find(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "find");
    arguments.push_back("--json");
    const SRunResult run = Run(arguments);
    EXPECT_EQ(run.status, 0) << run.err;
    m_said = run.err;
    std::vector<std::string> names;
    const nlohmann::json document = run.Json();
    for (const nlohmann::json& picture : document["pictures"]) {
      names.push_back(std::filesystem::path(picture["file"].get<std::string>()).filename().string());
    }
    return names;
  }
  std::string Index() const { return m_program.Database() + ".find"; }
  std::string Image(const std::string& name) const { return m_images + "/" + name; }

  static constexpr const char* kZurich = "Zürich cells.png";
  static constexpr const char* kOdd = "a \"b\" -c* OR d.png";
  static constexpr const char* kStack = "stack.ome.tif";

  CProgram m_program;
  const std::string m_images;
  std::string m_said;  // by the last search
};

TEST_F(FindTest, WordsMatchPartsWithoutRegardToCaseAndAccents) {
  EXPECT_THAT(Find({"ZURI"}), ElementsAre(kZurich));
  EXPECT_THAT(Find({"züRICH", "ells"}), ElementsAre(kZurich));
  EXPECT_THAT(Find({"rich cel"}), ElementsAre(kZurich));
  EXPECT_THAT(Find({"zurich", "stack"}), IsEmpty());
  EXPECT_THAT(Find({"images"}), ElementsAre(kOdd, kStack, kZurich));
}

TEST_F(FindTest, ShortWordsMatchToo) {
  EXPECT_THAT(Find({"ü"}), ElementsAre(kZurich));
  EXPECT_THAT(Find({"zu"}), ElementsAre(kZurich));
  EXPECT_THAT(Find({"zu", "stack"}), IsEmpty());
}

TEST_F(FindTest, TwoLettersAreFoundWhereverTheyStand) {
  Execute(m_program.Database(),
          "WITH RECURSIVE n(i) AS (SELECT 10 UNION ALL SELECT i + 1 FROM n WHERE i < 89) INSERT INTO cache (filename, "
          "flags, binData) SELECT '/data/lab/' || i || CASE i WHEN 20 THEN 'wx.tif' WHEN 30 THEN '.wx' WHEN 40 THEN "
          "'w x.tif' ELSE '.tif' END, 0, x'00' FROM n");
  EXPECT_THAT(Find({"wx"}), ElementsAre("20wx.tif", "30.wx"));
  EXPECT_THAT(Find({"wx", "20"}), ElementsAre("20wx.tif"));
  EXPECT_THAT(Find({"wx", "qq"}), IsEmpty());
  EXPECT_THAT(Find({"wx", "--under", "/data/lab"}), ElementsAre("20wx.tif", "30.wx"));
  EXPECT_THAT(Find({"da", "--under", "/data/lab"}), IsEmpty());
  EXPECT_EQ(Find({"da"}).size(), 81u);  // and Day 1
  EXPECT_EQ(Run({"find", "-0", "wx"}).out, std::string("/data/lab/20wx.tif\0/data/lab/30.wx\0", 35));
}

TEST_F(FindTest, NothingInAWordIsAQuery) {
  EXPECT_THAT(Find({"\"b\" -c* or d"}), ElementsAre(kOdd));
  EXPECT_THAT(Find({"c*"}), ElementsAre(kOdd));
  EXPECT_THAT(Find({"stack OR zurich"}), IsEmpty());
  EXPECT_THAT(Find({"\""}), ElementsAre(kOdd));
  EXPECT_THAT(Find({"text:stack"}), IsEmpty());
  EXPECT_THAT(Find({std::string(100000, 'q')}), IsEmpty());
}

TEST_F(FindTest, TextsAndUsersOfTheHistoryAreSearched) {
  EXPECT_EQ(Run({"history", "add", "--user", "Ånna", "--time", "2024-05-02T10:00Z", Image(kZurich)}).status, 0);
  EXPECT_THAT(Find({"anna"}), ElementsAre(kZurich));
  EXPECT_THAT(Find({"--user", "ANNA"}), ElementsAre(kZurich));
  EXPECT_THAT(Find({"--user", "ann"}), IsEmpty());
  Execute(m_program.Database(), "UPDATE history SET userID = 'bert'");
  EXPECT_THAT(Find({"anna"}), IsEmpty());
  EXPECT_THAT(Find({"bert"}), ElementsAre(kZurich));
  EXPECT_THAT(Find({"--since", "2024-05-02", "--until", "2024-05-03"}), ElementsAre(kZurich));
  EXPECT_THAT(Find({"--until", "2024-05-02"}), ElementsAre(kStack));
}

TEST_F(FindTest, FactsAreComparedWithRanges) {
  const std::vector<std::vector<std::string>> ranges = {{"--z", "3"},
                                                        {"--z", "2..10"},
                                                        {"--z", "2.."},
                                                        {"--t", "2"},
                                                        {"--channels", "2..2"},
                                                        {"--pixel-size", "0.325"},
                                                        {"--pixel-size", "300nm..0.4um"},
                                                        {"--size", "1kB.."}};
  for (const std::vector<std::string>& range : ranges) {
    EXPECT_THAT(Find(range), testing::Contains(kStack)) << range[0] << " " << range[1];
  }
  EXPECT_THAT(Find({"--z", "..2"}), Not(testing::Contains(kStack)));
  EXPECT_THAT(Find({"--z", "4.."}), IsEmpty());
  EXPECT_THAT(Find({"--pixel-size", "0.4.."}), IsEmpty());
  EXPECT_THAT(Find({"stack", "--channels", "3"}), IsEmpty());
}

TEST_F(FindTest, AnObjectiveIsFoundByAPartOfItsName) {
  Execute(m_program.Database(),
          "UPDATE metadata SET M_objective = 'Plan Apo 60x Öl', rowid = rowid + 100 "
          "WHERE filename LIKE '%stack%'");
  EXPECT_THAT(Find({"--objective", "60X"}), ElementsAre(kStack));
  EXPECT_THAT(Find({"apo", "ol"}), ElementsAre(kStack));
  EXPECT_THAT(Find({"--objective", "40x"}), IsEmpty());
}

TEST_F(FindTest, WhatIsNoRangeOrSaysNothingIsWrongUse) {
  const std::vector<std::vector<std::string>> wrong = {{},
                                                       {""},
                                                       {" \n", "\x01"},
                                                       {"--z", "5..2"},
                                                       {"--z", ".."},
                                                       {"--z", "many"},
                                                       {"--z", "-1"},
                                                       {"--z", ""},
                                                       {"--size", "2 apples"},
                                                       {"--pixel-size", "0.1..x"},
                                                       {"--experiment", "x"},
                                                       {"--since", "soon"},
                                                       {"a", "--json", "-0"}};
  for (std::vector<std::string> arguments : wrong) {
    arguments.insert(arguments.begin(), "find");
    const SRunResult run = Run(arguments);
    EXPECT_EQ(run.status, 2) << testing::PrintToString(arguments);
    EXPECT_THAT(run.err, Not(IsEmpty()));
  }
}

TEST_F(FindTest, TellsPeopleOfWhatItFinds) {
  const SRunResult run = Run({"find", "stack"});
  EXPECT_THAT(run.out, HasSubstr(Image(kStack)));
  EXPECT_THAT(run.out, HasSubstr("0.325 µm"));
  EXPECT_THAT(run.out, EndsWith("1 of 3 known pictures\n"));
  EXPECT_THAT(Run({"find", "nothing like that"}).out, EndsWith("none of 3 known pictures\n"));
  const SRunResult names = Run({"find", "-0", "zurich"});
  EXPECT_EQ(names.out, Image(kZurich) + '\0');
}

TEST_F(FindTest, ChangedRowsAreFoundAtOnce) {
  EXPECT_THAT(Find({"new"}), IsEmpty());
  WritePng(Image("new one.png"), 60, 40, kRed);
  EXPECT_EQ(Run({"make", Image("new one.png")}).status, 0);
  EXPECT_THAT(Find({"new"}), ElementsAre("new one.png"));
  std::filesystem::remove(Image("new one.png"));
  EXPECT_EQ(Run({"prune"}).status, 0);
  EXPECT_THAT(Find({"new"}), IsEmpty());
  // Under the number of the row that went.
  WritePng(Image("other.png"), 60, 40, kRed);
  EXPECT_EQ(Run({"make", Image("other.png")}).status, 0);
  EXPECT_THAT(Find({"other"}), ElementsAre("other.png"));
  EXPECT_THAT(Find({"new"}), IsEmpty());
}

TEST_F(FindTest, WhatIsPrunedDoesNotStayInTheIndex) {
  EXPECT_THAT(Find({"stack"}), ElementsAre(kStack));
  std::filesystem::remove(Image(kStack));
  EXPECT_EQ(Run({"prune"}).status, 0);
  EXPECT_EQ(QueryInt(Index(), "SELECT count(*) FROM picture WHERE location LIKE '%stack%'"), 0);
  EXPECT_EQ(QueryInt(Index(), "SELECT count(*) FROM doc"), 2);
}

TEST_F(FindTest, RowsThatGoFromTheMiddleOfALargeTableAreNoticed) {
  Execute(m_program.Database(),
          "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 5000) INSERT INTO cache "
          "(filename, lastWritten, flags, quality, binData) SELECT '/far/away ' || i || '.tif', 1, 0, 0, x'00' FROM n");
  EXPECT_THAT(Find({"away 17."}), ElementsAre("away 17.tif"));
  Execute(m_program.Database(), "DELETE FROM cache WHERE filename = '/far/away 17.tif'");
  EXPECT_THAT(Find({"away 17."}), IsEmpty());
  EXPECT_THAT(Find({"away 170."}), ElementsAre("away 170.tif"));
  // One that is written anew goes from the middle to the end.
  Execute(
      m_program.Database(),
      "DELETE FROM cache WHERE filename = '/far/away 18.tif';"
      "INSERT INTO cache (filename, lastWritten, flags, quality, binData) VALUES ('/far/away 18.tif', 2, 0, 0, x'')");
  EXPECT_THAT(Find({"away 18."}), ElementsAre("away 18.tif"));
  EXPECT_EQ(QueryInt(Index(), "SELECT count(*) FROM seen WHERE source = 0"),
            QueryInt(m_program.Database(), "SELECT count(*) FROM cache"));
  Execute(m_program.Database(), "DELETE FROM cache WHERE filename = '/far/away 19.tif'");
  EXPECT_THAT(Find({"away 19."}), IsEmpty());
}

TEST_F(FindTest, AnIndexThatIsGoneOrDamagedOrOfAnotherDatabaseIsMadeAnew) {
  EXPECT_THAT(Find({"zurich"}), ElementsAre(kZurich));
  std::filesystem::remove(Index());
  EXPECT_THAT(Find({"zurich"}), ElementsAre(kZurich));
  // The header is whole, the rest is not.
  std::string bytes = ReadTextFile(Index());
  bytes.replace(100, bytes.size() - 100, bytes.size() - 100, '\x5A');
  std::ofstream(Index(), std::ios::binary) << bytes;
  EXPECT_THAT(Find({"zurich"}), ElementsAre(kZurich));
  EXPECT_EQ(m_said, "");
  Execute(Index(), "PRAGMA user_version = 77");
  EXPECT_THAT(Find({"zurich"}), ElementsAre(kZurich));
  // The same name, another file with other rows.
  std::filesystem::rename(m_program.Database(), m_program.Database() + ".old");
  EXPECT_EQ(Run({"make", Image(kStack)}).status, 0);
  EXPECT_THAT(Find({"zurich"}), IsEmpty());
  EXPECT_THAT(Find({"stack"}), ElementsAre(kStack));
}

TEST_F(FindTest, TheIndexKnowsADatabaseThatIsAsItWas) {
  std::filesystem::last_write_time(m_program.Database(),
                                   std::filesystem::last_write_time(m_program.Database()) - std::chrono::hours(1));
  Find({"zurich"});
  EXPECT_NE(QueryText(Index(), "SELECT value FROM note WHERE name = 'stamp'"), "");
  const std::string bytes = ReadTextFile(Index());
  EXPECT_THAT(Find({"zurich"}), ElementsAre(kZurich));
  EXPECT_EQ(ReadTextFile(Index()), bytes);
}

TEST_F(FindTest, AnotherFileInThePlaceOfTheIndexIsLeftAlone) {
  std::ofstream(Index()) << "my own notes";
  EXPECT_THAT(Find({"zurich"}), ElementsAre(kZurich));
  EXPECT_THAT(m_said, HasSubstr("cannot be used"));
  EXPECT_EQ(ReadTextFile(Index()), "my own notes");
}

TEST_F(FindTest, TheIndexHasTheRightsOfTheDatabaseAndIsNone) {
  std::filesystem::permissions(m_program.Database(), std::filesystem::perms(0640));
  Find({"zurich"});
  EXPECT_EQ(std::filesystem::status(Index()).permissions(), std::filesystem::perms(0640));
  for (const char* verb : {"stats", "verify", "prune"}) {
    const SRunResult run = m_program.Run({verb, "--db", Index()});
    EXPECT_EQ(run.status, 2) << verb;
    EXPECT_THAT(run.err, HasSubstr("another program's database")) << verb;
  }
}

TEST_F(FindTest, TheIndexOfTheUsersOwnDatabaseIsForTheUserAlone) {
  const std::string index = m_program.DefaultDatabase() + ".find";
  EXPECT_EQ(m_program.Run({"make", Image(kStack)}).status, 0);
  EXPECT_EQ(m_program.Run({"find", "stack"}).status, 0);
  EXPECT_EQ(std::filesystem::status(index).permissions(), std::filesystem::perms(0600));
  std::filesystem::permissions(index, std::filesystem::perms(0644));
  const SRunResult narrowed = m_program.Run({"find", "stack"});
  EXPECT_THAT(narrowed.err, HasSubstr("was open to other users"));
  EXPECT_EQ(std::filesystem::status(index).permissions(), std::filesystem::perms(0600));
  std::filesystem::rename(index, index + ".elsewhere");
  std::filesystem::create_symlink(index + ".elsewhere", index);
  EXPECT_EQ(m_program.Run({"find", "stack"}).status, 2);
}

TEST_F(FindTest, ManyMayFindAtOnce) {
  std::vector<std::unique_ptr<CProgram::CProcess>> runs;
  for (int i = 0; i < 4; ++i) {
    const std::vector<std::string> arguments = {"find", "--db", m_program.Database(), "zurich"};
    runs.push_back(std::make_unique<CProgram::CProcess>(m_program, arguments));
  }
  for (const auto& run : runs) {
    const SRunResult result = run->Wait();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr(kZurich));
  }
}

TEST_F(FindTest, TellsHowMuchOfAFolderItKnows) {
  WritePng(Image("Day 1/unknown.png"), 60, 40, kRed);
  const SRunResult run = Run({"find", "png", "--under", m_images});
  EXPECT_THAT(run.err, HasSubstr("knows 3 of 4 pictures below " + m_images + "; 'qvthumbs make"));
  const nlohmann::json below = Run({"find", "--under", m_images, "--json"}).Json()["below"];
  EXPECT_EQ(below, nlohmann::json({{"known", 3}, {"pictures", 4}}));
  EXPECT_THAT(Find({"--under", m_images + "/Day 1"}), ElementsAre(kOdd));
  EXPECT_THAT(Find({"--under", m_images + "/Day"}), IsEmpty());
  EXPECT_EQ(Run({"find", "cells", "--under", m_images + "/Day 1"}).status, 0);
  // Words are not looked for in what stands before the folder.
  EXPECT_THAT(Find({"images", "--under", m_images}), IsEmpty());
}

TEST_F(FindTest, WritesAGalleryOfWhatItFinds) {
  const std::string page = m_program.Folder().Path("found.html");
  std::filesystem::remove(Image(kZurich));
  const SRunResult run = Run({"find", "--size", "1..", "--gallery", page});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("found.html: 3 pictures"));
  const SGalleryPage gallery(ReadTextFile(page));
  EXPECT_EQ(gallery.cards.size(), 3u);
  EXPECT_EQ(gallery.pictures, 3u);
  EXPECT_EQ(gallery.Card(kStack)["facts"]["z"], 3);
}

// Finds as somebody else, who may write into no folder but that of temporary files.
class FindForeignTest : public FindTest {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
    Open(m_program.Folder().Path(), 0755);
    Open(m_program.Folder().MakeFolder("out"), 0777);
    Open(m_program.Database(), 0644);
    m_program.SetEnvironment("TMPDIR=" + m_program.Folder().Path("out"));
  }
  static void Open(const std::string& path, unsigned rights) {
    std::filesystem::permissions(path, std::filesystem::perms(rights));
  }
  SRunResult FindAsNobody(const std::string& word) {
    return m_program.RunUnder({"setpriv", "--reuid=61001", "--regid=61001", "--clear-groups"},
                              {"find", "--db", m_program.Database(), word});
  }
  void ExpectNothingLeftBehind() const { EXPECT_TRUE(std::filesystem::is_empty(m_program.Folder().Path("out"))); }
};

TEST_F(FindForeignTest, ADatabaseThatMayOnlyBeReadIsSearchedAllTheSame) {
  const SRunResult run = FindAsNobody("zurich");
  EXPECT_THAT(run.out, HasSubstr(kZurich));
  EXPECT_THAT(run.err, HasSubstr("anew each time"));
  EXPECT_FALSE(std::filesystem::exists(Index()));
  ExpectNothingLeftBehind();
}

TEST_F(FindForeignTest, AnIndexThatMayNotBeWrittenToIsReplacedByATemporaryOne) {
  Find({"zurich"});
  Open(m_program.Folder().Path(), 0777);
  Open(m_program.Database(), 0666);
  Execute(m_program.Database(), "UPDATE history SET userID = 'x'; DELETE FROM cache WHERE filename LIKE '%stack%'");
  const SRunResult run = FindAsNobody("zurich");
  EXPECT_THAT(run.out, HasSubstr(kZurich));
  EXPECT_THAT(run.err, HasSubstr("a temporary one is made"));
  ExpectNothingLeftBehind();
}

}  // namespace
