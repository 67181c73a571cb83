#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/sql.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;

class LibraryTest : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return m_program.Folder().Path(name); }
  std::string Library() const { return Path("lab.qvlib"); }
  nlohmann::json Import(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"import", "--json", "--library", Library()});
    const SRunResult run = m_program.Run(arguments);
    EXPECT_EQ(run.status, 0) << run.err;
    return run.Json();
  }
  SDecodedPicture Show(const std::string& record, const std::string& field) {
    const SRunResult run = m_program.RunWithDatabase(
        {"show", "--library", Library(), "--record", record, "--field", field, "-o", Path("shown.png")});
    EXPECT_EQ(run.status, 0) << run.err;
    return DecodePng(Path("shown.png"));
  }
  CProgram m_program;
};

TEST_F(LibraryTest, ThumbnailsItsRecords) {
  WritePng(Path("red.png"), 200, 100, kRed);
  WritePng(Path("green.png"), 200, 100, kGreen);
  const nlohmann::json imported = Import({Path("red.png"), Path("green.png")});
  ASSERT_EQ(imported["pictures"].size(), 2u);
  EXPECT_EQ(imported["pictures"][0]["record"], 1);
  EXPECT_NEAR(Show("1", "image").right[0], kRed[0], 12);
  EXPECT_NEAR(Show("2", "IMAGE").right[1], kGreen[1], 12);
  for (const char* mode : {"--json", "--sync"}) {
    const SRunResult run = m_program.RunWithDatabase(
        {"make", "--library", Library(), "--json", mode == std::string("--sync") ? mode : "-v"});
    EXPECT_EQ(run.Json()["made"], 2) << run.err;
  }
}

TEST_F(LibraryTest, AChangedRecordShowsItsNewPicture) {
  WritePng(Path("a.png"), 200, 100, kRed);
  Import({Path("a.png")});
  EXPECT_NEAR(Show("1", "image").right[0], kRed[0], 12);
  WritePng(Path("a.png"), 200, 100, kGreen);
  EXPECT_EQ(Import({Path("a.png")})["pictures"][0]["replaced"], true);
  EXPECT_NEAR(Show("1", "image").right[1], kGreen[1], 12);
}

TEST_F(LibraryTest, ARecordHasSeveralFields) {
  WritePng(Path("a.png"), 200, 100, kRed);
  WritePng(Path("b.png"), 200, 100, kGreen);
  Import({Path("a.png")});
  Import({"--record", "1", "--field", "Übersicht", Path("b.png")});
  EXPECT_NEAR(Show("1", "übersicht").right[1], kGreen[1], 12);
  const nlohmann::json made =
      m_program.RunWithDatabase({"make", "--library", Library(), "--field", "Übersicht", "--json"}).Json();
  EXPECT_EQ(made["made"], 1);
  EXPECT_EQ(m_program.RunWithDatabase({"make", "--library", Library(), "--json"}).Json()["made"], 2);
}

TEST_F(LibraryTest, RefusesWhatIsNoImage) {
  std::ofstream(Path("no.png")) << "text";
  const SRunResult run = m_program.Run({"import", "--library", Library(), Path("no.png"), Path("missing.png")});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("no.png: "));
  EXPECT_THAT(run.out, HasSubstr("added 0, replaced 0, failed 2"));
}

TEST_F(LibraryTest, AnImageThatCannotBeStoredIsNamedAndLeavesNoRecord) {
  WritePng(Path("a.png"), 20, 10, kRed);
  WritePng(Path("b.png"), 20, 10, kRed);
  Import({Path("a.png")});
  // An index that no new row can enter.
  Execute(Library(),
          "UPDATE pictures SET changed = 1; "
          "CREATE INDEX full ON pictures (abs(CASE WHEN changed > 1 THEN -9223372036854775807 - 1 ELSE 0 END))");
  const SRunResult run = m_program.Run({"import", "--library", Library(), Path("a.png"), Path("b.png")});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("b.png: the database says: integer overflow"));
  EXPECT_THAT(run.out, HasSubstr("added 0, replaced 0, failed 2"));
  EXPECT_EQ(QueryInt(Library(), "SELECT count(*) FROM records"), 1);
  EXPECT_EQ(QueryInt(Library(), "SELECT count(*) FROM pictures"), 1) << "the former picture stays";
}

TEST_F(LibraryTest, ADamagedRecordIsNamedAndTheOthersAreMade) {
  WritePng(Path("a.png"), 200, 100, kRed);
  WritePng(Path("b.png"), 200, 100, kRed);
  Import({Path("a.png"), Path("b.png")});
  Execute(Library(), "UPDATE pictures SET data = x'89504E470D0A1A0A00' WHERE record = 1");
  const SRunResult run = m_program.RunWithDatabase({"make", "--library", Library()});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.out, HasSubstr("made 1, already cached 0, failed 1"));
  EXPECT_THAT(run.err, HasSubstr("record 1, field image (a.png): "));
}

TEST_F(LibraryTest, AMissingRecordOrFieldIsNamed) {
  WritePng(Path("a.png"), 20, 10, kRed);
  Import({Path("a.png")});
  const std::vector<std::string> common = {"show", "--library", Library(), "-o", Path("x.png")};
  auto record = common, field = common;
  record.insert(record.end(), {"--record", "9"});
  field.insert(field.end(), {"--record", "1", "--field", "none"});
  EXPECT_THAT(m_program.RunWithDatabase(record).err, HasSubstr("there is no such record"));
  EXPECT_THAT(m_program.RunWithDatabase(field).err, HasSubstr("no such field"));
  EXPECT_EQ(m_program.RunWithDatabase(field).status, 1);
  const SRunResult make = m_program.RunWithDatabase({"make", "--library", Library(), "--field", "none"});
  EXPECT_EQ(make.status, 2);
  EXPECT_THAT(make.err, HasSubstr("no record of the library has a field none"));
}

TEST_F(LibraryTest, AnotherFileIsNoLibrary) {
  WritePng(Path("a.png"), 20, 10, kRed);
  EXPECT_THAT(m_program.RunWithDatabase({"make", "--library", Library()}).err, HasSubstr("there is no library"));
  Execute(Path("other.db"), "CREATE TABLE other (x)");
  const SRunResult run = m_program.Run({"import", "--library", Path("other.db"), Path("a.png")});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("no image library"));
  std::ofstream(Path("text.qvlib")) << std::string(4096, 'x');
  EXPECT_THAT(m_program.Run({"import", "--library", Path("text.qvlib"), Path("a.png")}).err,
              HasSubstr("file is not a database"));
}

// A library is not taken for a thumbnail database.
TEST_F(LibraryTest, IsNoThumbnailDatabase) {
  WritePng(Path("a.png"), 20, 10, kRed);
  Import({Path("a.png")});
  const SRunResult run = m_program.Run({"make", Path("a.png"), "--db", Library()});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("another program's database"));
}

}  // namespace
