#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/sql.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;

class UsageTest : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return m_program.Folder().Path(name); }
  CProgram m_program;
};

TEST_F(UsageTest, EveryVerbHasHelpWithAnExample) {
  for (const char* verb : {"make", "show", "thumbnail", "info", "gallery", "find", "serve", "watch", "import", "stats",
                           "prune", "verify", "rescue", "history", "experiments", "stored"}) {
    const SRunResult run = m_program.Run({verb, "--help"});
    EXPECT_EQ(run.status, 0) << verb;
    EXPECT_THAT(run.out, HasSubstr("Example")) << verb;
    EXPECT_THAT(run.out, HasSubstr(std::string("qvthumbs ") + verb)) << verb;
  }
}

TEST_F(UsageTest, VersionTellsTheLibrariesAndFormats) {
  const SRunResult run = m_program.Run({"--version"});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.out, HasSubstr("qvthumbs "));
  EXPECT_THAT(run.out, HasSubstr("thumbnail service: installed"));
  EXPECT_THAT(run.out, HasSubstr("JPG, PNG, TIF"));
  EXPECT_THAT(run.out, HasSubstr("whole-slide images: "));
  EXPECT_THAT(run.out, HasSubstr("SQLite 3."));
}

TEST_F(UsageTest, WrongUseEndsWithTwo) {
  const std::vector<std::vector<std::string>> wrong = {{},
                                                       {"unknown"},
                                                       {"make"},
                                                       {"make", "--quality", "best", "."},
                                                       {"make", "--db", "a", "--all-users", "."},
                                                       {"make", "--field", "f", "."},
                                                       {"show", "a.png"},
                                                       {"show", "-o", "a.png"},
                                                       {"info"},
                                                       {"history"},
                                                       {"history", "add", "a.png"},
                                                       {"history", "list", "--user", "a", "--since", "yesterday"},
                                                       {"stored", "update", "1"}};
  for (const auto& arguments : wrong) {
    const SRunResult run = m_program.RunWithDatabase(arguments);
    EXPECT_EQ(run.status, 2) << testing::PrintToString(arguments);
    EXPECT_NE(run.err, "") << testing::PrintToString(arguments);
  }
}

TEST_F(UsageTest, AnUnknownVerbIsNamedWithThoseThereAre) {
  const SRunResult run = m_program.Run({"mak", "."});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("there is no verb 'mak'. Did you mean 'make'? The verbs are make, show, "));
  EXPECT_THAT(m_program.Run({"stored", "ad"}).err, HasSubstr(" The verbs are add, update, "));
  EXPECT_THAT(m_program.Run({"stored", "add"}).err, HasSubstr("See 'qvthumbs stored add --help'"));
}

TEST_F(UsageTest, AMistypedVerbOrOptionGetsASuggestion) {
  EXPECT_THAT(m_program.Run({"maek"}).err, HasSubstr("there is no verb 'maek'. Did you mean 'make'?"));
  EXPECT_THAT(m_program.Run({"stored", "ad", "x"}).err, HasSubstr("Did you mean 'add'?"));
  EXPECT_THAT(m_program.Run({"--verison"}).err, HasSubstr("there is no option '--verison'. Did you mean '--version'?"));
  EXPECT_THAT(m_program.Run({"make", "--recursiv", "."}).err, HasSubstr("Did you mean '--recursive'?"));
  EXPECT_THAT(m_program.Run({"make", "--zzz=3", "."}).err, HasSubstr("there is no option '--zzz'.\n"));
  EXPECT_THAT(m_program.Run({"--db", "x.db", "make", "."}).err,
              HasSubstr("qvthumbs make: the option '--db' has to stand behind 'make'.\n"));
  EXPECT_THAT(m_program.Run({"stats", "all"}).err, HasSubstr("'all' is one argument too many"));
  EXPECT_THAT(m_program.Run({"frobnicate"}).err, testing::Not(HasSubstr("Did you mean")));
}

TEST_F(UsageTest, HelpIsAVerbToo) {
  EXPECT_EQ(m_program.Run({"help"}).out, m_program.Run({"--help"}).out);
  EXPECT_EQ(m_program.Run({"help", "stored", "add"}).out, m_program.Run({"stored", "add", "--help"}).out);
  EXPECT_EQ(m_program.Run({"help", "make"}).status, 0);
}

TEST_F(UsageTest, AnEmptyNameIsWrongUseAndSaysSo) {
  WritePng(Path("a.png"), 10, 10, kRed);
  const std::vector<std::vector<std::string>> wrong = {{"make", ""},
                                                       {"info", ""},
                                                       {"thumbnail", "", Path("x.png")},
                                                       {"thumbnail", Path("a.png"), ""},
                                                       {"show", "", "-o", Path("x.png")},
                                                       {"show", Path("a.png"), "-o", ""},
                                                       {"make", "--files-from", ""},
                                                       {"prune", "--under", ""},
                                                       {"stored", "add", ""},
                                                       {"gallery", "-o", "", Path("a.png")},
                                                       {"make", "--catalog", "", Path("a.png")},
                                                       {"merge", "", Path("a.png")},
                                                       {"merge", Path("o.db"), ""},
                                                       {"rescue", Path("a.png"), ""}};
  for (const auto& arguments : wrong) {
    const SRunResult run = m_program.Run(arguments);
    EXPECT_EQ(run.status, 2) << testing::PrintToString(arguments);
    EXPECT_THAT(run.err, testing::AnyOf(HasSubstr("empty name"), HasSubstr("needs a name")))
        << testing::PrintToString(arguments);
  }
}

TEST_F(UsageTest, WhatIsMissingIsNamed) {
  EXPECT_THAT(m_program.Run({"info"}).err, HasSubstr("the argument 'files' is missing"));
  EXPECT_THAT(m_program.Run({"show", "a.png"}).err, HasSubstr("--output has to be given"));
}

TEST_F(UsageTest, OneThingIsCountedInTheSingular) {
  WritePng(Path("a.png"), 10, 10, kRed);
  m_program.RunWithDatabase({"make", Path("a.png")});
  EXPECT_THAT(m_program.RunWithDatabase({"verify"}).out, HasSubstr("checked 1 thumbnail, 0 with a problem"));
  std::filesystem::remove(Path("a.png"));
  EXPECT_THAT(m_program.RunWithDatabase({"prune"}).out, HasSubstr("removed 1 thumbnail and 1 text information of"));
  EXPECT_THAT(m_program.RunWithDatabase({"prune"}).out, HasSubstr("removed 0 thumbnails and 0 text informations of"));
}

TEST_F(UsageTest, ANumberOutOfRangeIsNamedAsItWasTyped) {
  for (const char* number : {"0", "-3", "99999999999", "1e3", "0x10", "two"}) {
    const SRunResult run =
        m_program.RunWithDatabase({"history", "add", "--user", "a", "--experiment", number, "b.png"});
    EXPECT_EQ(run.status, 2) << number;
    EXPECT_THAT(run.err, HasSubstr(std::string("--experiment: '") + number + "' is no whole number from 1 to "));
  }
  EXPECT_THAT(m_program.RunWithDatabase({"stored", "add", "x", "--flags", "99999999999"}).err,
              HasSubstr("'99999999999' is no whole number"));
}

TEST_F(UsageTest, AFileThatIsNoDatabaseIsRefusedWithTheReason) {
  WritePng(Path("a.png"), 10, 10, kRed);
  std::ofstream(Path("cache.db")) << std::string(4096, 'x');
  const SRunResult run = m_program.RunWithDatabase({"make", Path("a.png")});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("cannot open the database " + m_program.Database()));
  EXPECT_THAT(run.err, HasSubstr("file is not a database"));
  EXPECT_EQ(std::filesystem::file_size(m_program.Database()), 4096u);
}

TEST_F(UsageTest, AFolderAsDatabaseIsRefusedWithTheReason) {
  WritePng(Path("a.png"), 10, 10, kRed);
  const SRunResult run = m_program.Run({"make", Path("a.png"), "--db", m_program.Folder().Path()});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("unable to open database file"));
}

TEST_F(UsageTest, ADatabaseInAMissingFolderSaysWhatToDo) {
  const SRunResult run = m_program.Run({"make", ".", "--db", Path("nowhere/cache.db")});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("create it first"));
}

TEST_F(UsageTest, TheEnvironmentNamesTheDatabaseWhereNoOptionDoes) {
  WritePng(Path("a.png"), 10, 10, kRed);
  m_program.SetEnvironment("QVTHUMBS_DB=" + Path("named.db"));
  ASSERT_EQ(m_program.Run({"make", Path("a.png")}).status, 0);
  EXPECT_EQ(QueryInt(Path("named.db"), "SELECT count(*) FROM cache"), 1);
  EXPECT_FALSE(std::filesystem::exists(m_program.DefaultDatabase()));
  ASSERT_EQ(m_program.RunWithDatabase({"make", Path("a.png")}).status, 0);
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM cache"), 1);
}

TEST_F(UsageTest, AnEmptyNameOfADatabaseIsWrongUse) {
  const SRunResult run = m_program.Run({"make", "--db", "", "."});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("--db: names no file"));
}

TEST_F(UsageTest, LookingVerbsDoNotCreateADatabase) {
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"stats"},
                                                    {"verify"},
                                                    {"prune"},
                                                    {"gallery"},
                                                    {"find", "cells"},
                                                    {"experiments", "list"},
                                                    {"history", "earliest"},
                                                    {"stored", "tree"}}) {
    const SRunResult run = m_program.RunWithDatabase(arguments);
    EXPECT_EQ(run.status, 2) << arguments[0];
    EXPECT_THAT(run.err, HasSubstr("there is no database")) << arguments[0];
  }
  EXPECT_FALSE(std::filesystem::exists(m_program.Database()));
}

TEST_F(UsageTest, VerboseTellsWhatTheComponentsReport) {
  Execute(m_program.Database(), "CREATE TABLE history (filename TEXT, M_acqTime REAL, experimentID INTEGER)");
  const SRunResult quiet = m_program.RunWithDatabase({"stored", "tree"});
  EXPECT_EQ(quiet.err, "");
  Execute(m_program.Database(),
          "DROP TABLE history; CREATE TABLE history (filename TEXT, M_acqTime REAL, experimentID INTEGER)");
  const SRunResult verbose = m_program.RunWithDatabase({"stored", "tree", "-v"});
  EXPECT_THAT(verbose.err, HasSubstr("User ID is missing"));
}

}  // namespace
