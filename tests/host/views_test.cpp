// Planes and channels that the user chooses, and the databases that keep the thumbnails of each choice apart.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/sql.h"
#include "tests/support/tiff_writer.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;

using CArguments = std::vector<std::string>;

class ViewsTest : public testing::Test {
 protected:
  // Planes of 60, 120 and 240.
  ViewsTest() {
    std::vector<STiffPage> pages;
    for (int z = 0; z < 3; ++z) {
      pages.push_back(MakePage<std::uint8_t>(64, 48, 1, [&](auto, auto, auto) { return 60 << z; }));
    }
    pages[0].description = "ImageJ=1.53t\nimages=3\nslices=3\n";
    m_program.Folder().MakeFile("stack.tif", WriteTiff(pages));
  }

  std::string Path(const std::string& name) const { return m_program.Folder().Path(name); }
  static CArguments With(CArguments arguments, const CArguments& more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }
  CArguments ShowArguments(const CArguments& options) const {
    return With({"show", Path("stack.tif"), "-o", Path("out.png")}, options);
  }
  SRunResult Show(const CArguments& options) { return m_program.Run(ShowArguments(options)); }
  // The grey that is shown.
  int Grey(const CArguments& options) {
    const SRunResult run = Show(options);
    EXPECT_EQ(run.status, 0) << run.err;
    return DecodePng(Path("out.png")).left[1];
  }
  void ExpectRefused(const CArguments& arguments) {
    const SRunResult run = m_program.Run(arguments);
    EXPECT_NE(run.status, 0);
    EXPECT_THAT(run.err, HasSubstr("give the same, or choose another --db FILE"));
  }

  CProgram m_program;
};

TEST_F(ViewsTest, ShowsTheChosenPlanes) {
  EXPECT_NEAR(Grey({}), 120, 2);
  EXPECT_NEAR(Grey({"--planes", "middle"}), 120, 2);
  EXPECT_NEAR(Grey({"--planes", "first"}), 60, 2);
  EXPECT_NEAR(Grey({"--planes", "last"}), 240, 2);
  EXPECT_NEAR(Grey({"--planes", "2"}), 120, 2);
  EXPECT_NEAR(Grey({"--planes", "max"}), 240, 2);
  EXPECT_NEAR(Grey({"--planes", "mean"}), 140, 2);
  EXPECT_NEAR(Grey({"--planes", "99", "--time", "7", "--position", "3"}), 240, 2);
}

TEST_F(ViewsTest, ThumbnailsOfAChoiceAreKeptBesideTheOrdinaryOnes) {
  EXPECT_NEAR(Grey({"--planes", "max"}), 240, 2);
  EXPECT_NEAR(Grey({}), 120, 2);
  EXPECT_THAT(Show({"--planes", "max"}).out, HasSubstr("from the cache"));
  EXPECT_NEAR(Grey({"--planes", "max"}), 240, 2);
  EXPECT_THAT(Show({}).out, HasSubstr("from the cache"));
  EXPECT_NEAR(Grey({}), 120, 2);
  EXPECT_TRUE(std::filesystem::exists(m_program.DefaultDatabase()));
  EXPECT_TRUE(std::filesystem::exists(Path("home/.cache/qvthumbs/OrbThumbCache.max.db")));
  Show({"--time", "2", "--channels", "2,1", "--stretch-together"});
  EXPECT_TRUE(std::filesystem::exists(Path("home/.cache/qvthumbs/OrbThumbCache.t2-c1+2-together.db")));
}

TEST_F(ViewsTest, ANamedFileOfOneChoiceIsRefusedForAnother) {
  const CArguments ordinary = {"--db", Path("a.db")}, chosen = {"--db", Path("b.db"), "--planes", "max"};
  EXPECT_NEAR(Grey(ordinary), 120, 2);
  EXPECT_NEAR(Grey(chosen), 240, 2);
  ExpectRefused(ShowArguments({"--db", Path("a.db"), "--planes", "max"}));
  ExpectRefused(ShowArguments({"--db", Path("b.db"), "--planes", "mean"}));
  ExpectRefused(ShowArguments({"--db", Path("b.db")}));
  ExpectRefused({"make", Path("stack.tif"), "--db", Path("b.db")});
  ExpectRefused({"gallery", "-o", Path("g.html"), "--db", Path("b.db")});
  EXPECT_EQ(QueryInt(Path("b.db"), "SELECT count(*) FROM cache"), 1);
  EXPECT_EQ(m_program.Run({"gallery", "-o", Path("g.html"), "--db", Path("b.db"), "--planes", "max"}).status, 0);
  EXPECT_NEAR(Grey(chosen), 240, 2);
}

TEST_F(ViewsTest, AFileOfAChoiceIsLookedAfterLikeAnyOther) {
  const std::string database = Path("b.db");
  Grey({"--db", database, "--planes", "max"});
  for (const char* verb : {"stats", "verify", "prune"}) {
    const SRunResult run = m_program.Run({verb, "--db", database});
    EXPECT_EQ(run.status, 0) << verb << run.err;
  }
  ExpectRefused(ShowArguments({"--db", database}));
}

TEST_F(ViewsTest, ACopyOfAFileIsOfTheSameChoice) {
  Grey({"--db", Path("b.db"), "--planes", "max"});
  Execute(Path("b.db"), "VACUUM INTO '" + Path("copy.db") + "'");
  ExpectRefused(ShowArguments({"--db", Path("copy.db")}));
  EXPECT_NEAR(Grey({"--db", Path("copy.db"), "--planes", "max"}), 240, 2);
}

TEST_F(ViewsTest, ShardsOfOneChoiceAreMergedAndNoOthers) {
  const CArguments make = {"make", Path("stack.tif"), "--shard", "1/1"};
  ASSERT_EQ(m_program.Run(With(make, {"--db", Path("max.db"), "--planes", "max"})).status, 0);
  ASSERT_EQ(m_program.Run(With(make, {"--db", Path("middle.db")})).status, 0);
  const std::string max = Path("max.1-of-1.db"), middle = Path("middle.1-of-1.db");
  ASSERT_TRUE(std::filesystem::exists(max)) << "the shard's database";
  EXPECT_EQ(m_program.Run({"merge", Path("all.db"), max}).status, 0);
  EXPECT_THAT(m_program.Run({"merge", Path("all.db"), middle}).err, HasSubstr("show another choice of planes"));
  EXPECT_NEAR(Grey({"--db", Path("all.db"), "--planes", "max"}), 240, 2);
  ExpectRefused(ShowArguments({"--db", Path("all.db")}));
}

TEST_F(ViewsTest, ProcessesThatMakeANewFileTogetherAgreeOnOneChoice) {
  for (int round = 0; round < 4; ++round) {
    const std::string database = Path("new" + std::to_string(round) + ".db");
    const std::vector<CArguments> choices = {{}, {"--planes", "max"}, {"--planes", "first"}};
    std::vector<std::unique_ptr<CProgram::CProcess>> running;
    for (const CArguments& choice : choices) {
      running.push_back(
          std::make_unique<CProgram::CProcess>(m_program, With({"make", Path("stack.tif"), "--db", database}, choice)));
    }
    std::vector<std::size_t> done;
    for (std::size_t i = 0; i < running.size(); ++i) {
      if (running[i]->Wait().status == 0) done.push_back(i);
    }
    ASSERT_EQ(done.size(), 1u) << "round " << round;
    EXPECT_EQ(QueryInt(database, "SELECT count(*) FROM cache"), 1);
    EXPECT_NEAR(Grey(With({"--db", database}, choices[done[0]])), done[0] == 0 ? 120 : done[0] == 1 ? 240 : 60, 2);
  }
}

TEST_F(ViewsTest, WhatIsNoChoiceIsRefusedWithTheReason) {
  EXPECT_THAT(Show({"--planes", "most"}).err, HasSubstr("--planes 'most' is no choice"));
  EXPECT_THAT(Show({"--planes", "0"}).err, HasSubstr("--planes '0' is no choice"));
  EXPECT_THAT(Show({"--channels", "1,,2"}).err, HasSubstr("is no list of channels"));
  EXPECT_THAT(Show({"--channels", "33"}).err, HasSubstr("numbers from 1 to 32"));
  EXPECT_NE(Show({"--time", "0"}).status, 0);
  EXPECT_NE(Show({"--position", "-1"}).status, 0);
}

}  // namespace
