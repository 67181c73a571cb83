// Reading what is left of a damaged database, from inside: every page of a small one is damaged in turn.

#include "host/rescue/salvage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "host/host_error.h"
#include "host/rescue/row_check.h"
#include "host/rescue/row_writer.h"
#include "tests/host/support/lab_database.h"
#include "tests/support/file_bytes.h"
#include "tests/support/sql.h"
#include "tests/support/temp_folder.h"

namespace qvhost {
namespace {

using namespace qvtest;

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

std::string TextOfValue(const SRecordValue& value) {
  if (value.kind == EValueKind::Integer) return std::to_string(value.integer);
  if (value.kind == EValueKind::Real) return std::to_string(value.real);
  return value.IsNull() ? "NULL" : std::string(value.bytes);
}

// Remembers the rows as texts.
class CRows : public IRowSink {
 public:
  void Put(ETable table, const CRecord& row) override {
    std::string text;
    for (const SRecordValue& value : row) text += TextOfValue(value) + "|";
    m_rows[static_cast<std::size_t>(table)].insert(text);
  }
  const std::set<std::string>& Of(ETable table) const { return m_rows[static_cast<std::size_t>(table)]; }

 private:
  std::array<std::set<std::string>, kTables> m_rows;
};

class SalvageTest : public testing::Test {
 protected:
  std::string Path() const { return m_folder.Path("old.db"); }
  SSalvage Salvage() {
    m_rows = {};
    const CPageFile file(Path());
    return CSalvage(file, m_rows, [](std::uint32_t, const char*) {}).Run();
  }
  // Of a damaged file: nothing that was not there, and of each table all but so many rows.
  void ExpectAllBut(const std::map<std::string, std::int64_t>& lost, const std::string& what) {
    SSalvage salvage;
    try {
      salvage = Salvage();
    } catch (const CHostError& error) {
      ADD_FAILURE() << what << ": " << error.what();
      return;
    }
    for (const ETable table : kAllTables) {
      const auto least = static_cast<std::int64_t>(m_sound.Of(table).size()) -
                         (lost.contains(NameOf(table)) ? lost.at(NameOf(table)) : 0);
      EXPECT_GE(static_cast<std::int64_t>(m_rows.Of(table).size()), least) << what << ": " << NameOf(table);
      EXPECT_TRUE(std::includes(m_sound.Of(table).begin(), m_sound.Of(table).end(), m_rows.Of(table).begin(),
                                m_rows.Of(table).end()))
          << what << ": " << NameOf(table);
    }
    if (m_rows.Of(ETable::History).size() < m_sound.Of(ETable::History).size()) {
      EXPECT_FALSE(salvage.IsAll()) << what;
    }
  }
  void ExpectZeroedPagesCostWhatStoodOnThem() {
    for (std::size_t page = 1; page < m_pages.size(); ++page) {
      SFileBytes damaged = m_bytes;
      std::ranges::fill(PageOf(damaged, page), std::uint8_t{0});
      WriteFile(Path(), damaged);
      ExpectAllBut(RowsOf(page, page), "page " + std::to_string(page) + ", " + m_pages[page].table);
    }
  }
  void ExpectDamagedBytesCrashNothing(int rounds) {
    std::mt19937 random(11);
    for (int round = 0; round < rounds; ++round) {
      SFileBytes damaged = m_bytes;
      for (int i = 0; i < 1 + round % 20; ++i) damaged[random() % damaged.size()] = static_cast<std::uint8_t>(random());
      WriteFile(Path(), damaged);
      try {
        Salvage();
      } catch (const CHostError&) {  // it may look like another program's
      }
    }
  }
  void WriteSound(const SLabShape& shape = {}) {
    WriteLabDatabase(Path(), shape);
    m_bytes = ReadFile(Path());
    m_pages = PagesOfDatabase(Path());
    m_pageSize = static_cast<std::size_t>(shape.pageSize);
    EXPECT_TRUE(Salvage().IsAll());
    m_sound = m_rows;
  }
  std::span<std::uint8_t> PageOf(SFileBytes& bytes, std::size_t number) const {
    return std::span(bytes).subspan((number - 1) * m_pageSize, m_pageSize);
  }
  std::map<std::string, std::int64_t> RowsOf(std::size_t first, std::size_t last) const {
    std::map<std::string, std::int64_t> rows;
    for (std::size_t number = first; number <= last; ++number) rows[m_pages[number].table] += m_pages[number].rows;
    return rows;
  }

  const CTempFolder m_folder;
  CRows m_rows, m_sound;
  SFileBytes m_bytes;
  std::vector<SLabPage> m_pages;
  std::size_t m_pageSize = 0;
};

TEST_F(SalvageTest, OfASoundFileEverythingIsRead) {
  WriteSound();
  const SSalvage salvage = Salvage();
  EXPECT_TRUE(salvage.IsAll());
  for (const char* table : {"experiments", "history", "stored", "cache", "metadata"}) {
    ETable which{};
    ASSERT_TRUE(FindTable(table, &which));
    EXPECT_EQ(salvage.Of(which).read, QueryInt(Path(), std::string("SELECT count(*) FROM ") + table)) << table;
  }
  EXPECT_THAT(m_rows.Of(ETable::History), Contains("/data/lab/field 1004.tif|2460004.750000|5|anna|"));
  EXPECT_THAT(m_rows.Of(ETable::Stored), Contains("7|1|item 6|1|"));
}

TEST_F(SalvageTest, AZeroedPageCostsWhatStoodOnIt) {
  WriteSound();
  ExpectZeroedPagesCostWhatStoodOnThem();
}

TEST_F(SalvageTest, APageOfNoiseCostsWhatStoodOnIt) {
  WriteSound();
  std::mt19937 random(7);
  for (std::size_t page = 1; page < m_pages.size(); ++page) {
    SFileBytes damaged = m_bytes;
    for (std::uint8_t& byte : PageOf(damaged, page)) byte = static_cast<std::uint8_t>(random());
    WriteFile(Path(), damaged);
    ExpectAllBut(RowsOf(page, page), "page " + std::to_string(page) + ", " + m_pages[page].table);
  }
}

TEST_F(SalvageTest, AFileThatIsCutOffCostsWhatIsBehindTheCut) {
  WriteSound();
  for (std::size_t page = 2; page < m_pages.size(); ++page) {
    SFileBytes damaged = m_bytes;
    damaged.resize((page - 1) * m_pageSize);
    WriteFile(Path(), damaged);
    ExpectAllBut(RowsOf(page, m_pages.size() - 1), "cut off at page " + std::to_string(page));
  }
}

TEST_F(SalvageTest, SingleDamagedBytesCrashNothing) {
  WriteSound({512, 8, 20, 10, 6, 6});
  ExpectDamagedBytesCrashNothing(400);
}

TEST_F(SalvageTest, WithoutItsBeginningTheFileIsReadAllTheSame) {
  for (const int pageSize : {512, 4096, 16384, 65536}) {
    std::remove(Path().c_str());
    WriteSound({pageSize, 30, 200, 60, 200, 200});
    SFileBytes damaged = m_bytes;
    std::ranges::fill(std::span(damaged).first(100), std::uint8_t{0xA5});
    WriteFile(Path(), damaged);
    ExpectAllBut({}, "pages of " + std::to_string(pageSize));
  }
}

TEST_F(SalvageTest, AWrongPageSizeIsNotBelieved) {
  WriteSound();
  SFileBytes damaged = m_bytes;
  for (const int wrong : {512, 2048, 4096, 32768}) {
    damaged[16] = static_cast<std::uint8_t>(wrong >> 8);
    damaged[17] = static_cast<std::uint8_t>(wrong);
    WriteFile(Path(), damaged);
    ExpectAllBut({}, "said to be " + std::to_string(wrong));
  }
}

TEST_F(SalvageTest, LostRecordsAreCountedAndNamedByTheIndex) {
  WriteSound();
  const auto isLeaf = [](const SLabPage& page) { return page.table == "history" && page.kind == "leaf"; };
  const auto found = std::find_if(m_pages.begin(), m_pages.end(), isLeaf);
  ASSERT_NE(found, m_pages.end());
  SFileBytes damaged = m_bytes;
  std::ranges::fill(PageOf(damaged, static_cast<std::size_t>(found - m_pages.begin())), std::uint8_t{0});
  WriteFile(Path(), damaged);
  const SSalvage salvage = Salvage();
  const STableSalvage& history = salvage.Of(ETable::History);
  EXPECT_EQ(history.lost, found->rows);
  EXPECT_TRUE(history.isComplete);
  EXPECT_THAT(history.lostKeys, SizeIs(static_cast<std::size_t>(found->rows)));
  EXPECT_THAT(history.lostKeys, Contains(HasSubstr("/data/lab/field 10")));
  EXPECT_FALSE(salvage.IsAll());
}

TEST_F(SalvageTest, DeletedRowsStayDeleted) {
  WriteLabDatabase(Path());
  Execute(Path(),
          "PRAGMA secure_delete = OFF; DELETE FROM history WHERE userID = 'anna'; DELETE FROM cache WHERE rowid > 9");
  const SFileBytes bytes = ReadFile(Path());
  m_bytes = bytes;
  m_pages = PagesOfDatabase(Path());
  m_pageSize = 1024;
  Salvage();
  m_sound = m_rows;
  for (std::size_t page = 2; page < m_pages.size(); ++page) {
    if (m_pages[page].kind.empty()) continue;  // of the list of free pages itself
    SFileBytes damaged = m_bytes;
    std::ranges::fill(PageOf(damaged, page), std::uint8_t{0});
    WriteFile(Path(), damaged);
    ExpectAllBut(RowsOf(page, page), "page " + std::to_string(page));
  }
}

TEST_F(SalvageTest, WhatIsNotSoundIsLeftOut) {
  WriteLabDatabase(Path());
  Execute(Path(),
          "UPDATE cache SET binData = substr(binData, 1, length(binData) - 1) WHERE rowid = 3;"
          "UPDATE experiments SET hashCRC = hashCRC + 1 WHERE experimentID = 4;"
          "UPDATE experiments SET liteVariant = x'00' WHERE experimentID = 5;"
          "UPDATE history SET userID = CAST(x'616e0061' AS TEXT) WHERE rowid = 6");
  const SSalvage salvage = Salvage();
  EXPECT_EQ(salvage.Of(ETable::Cache).leftOut, 1);
  EXPECT_EQ(salvage.Of(ETable::Experiments).leftOut, 2);
  EXPECT_EQ(salvage.Of(ETable::History).leftOut, 1);
  EXPECT_FALSE(salvage.IsAll());
  EXPECT_EQ(salvage.Of(ETable::Cache).read, 39);
}

TEST_F(SalvageTest, WhatWasCommittedToTheLogCounts) {
  WriteLabDatabase(m_folder.Path("live.db"));
  CSql writer(m_folder.Path("live.db"));
  writer.Run(
      "PRAGMA journal_mode = WAL; PRAGMA wal_autocheckpoint = 0; UPDATE history SET userID = 'cora' WHERE rowid = 1;"
      "INSERT INTO stored VALUES (900, 0, 'new', 0); PRAGMA cache_size = 1; BEGIN;"
      "UPDATE stored SET filename = filename || ' not committed, and rather long so that it reaches the log'");
  for (const char* tail : {"", "-wal"}) WriteFile(Path() + tail, ReadFile(m_folder.Path("live.db") + tail));
  const SFileBytes before = ReadFile(Path()), logBefore = ReadFile(Path() + "-wal");
  EXPECT_TRUE(Salvage().IsAll());
  EXPECT_THAT(m_rows.Of(ETable::Stored), Contains("900|0|new|0|"));
  EXPECT_THAT(m_rows.Of(ETable::Stored), Not(Contains(HasSubstr("not committed"))));
  EXPECT_THAT(m_rows.Of(ETable::History), Contains(HasSubstr("|cora|")));
  EXPECT_EQ(ReadFile(Path()), before);
  EXPECT_EQ(ReadFile(Path() + "-wal"), logBefore);
}

TEST_F(SalvageTest, ATransactionThatWasCutOffDoesNotCount) {
  WriteLabDatabase(m_folder.Path("live.db"));
  CSql writer(m_folder.Path("live.db"));
  writer.Run(
      "PRAGMA cache_size = 1; PRAGMA cache_spill = 1; BEGIN; DELETE FROM history;"
      "UPDATE stored SET filename = filename || ' not committed, and rather long so that it reaches the file'");
  for (const char* tail : {"", "-journal"}) WriteFile(Path() + tail, ReadFile(m_folder.Path("live.db") + tail));
  writer.Run("ROLLBACK");
  const SFileBytes before = ReadFile(Path());
  ASSERT_NE(before, ReadFile(m_folder.Path("live.db"))) << "nothing reached the file";
  EXPECT_TRUE(Salvage().IsAll());
  EXPECT_THAT(m_rows.Of(ETable::History), SizeIs(90));
  EXPECT_THAT(m_rows.Of(ETable::Stored), Not(Contains(HasSubstr("not committed"))));
  EXPECT_EQ(ReadFile(Path()), before);
}

TEST_F(SalvageTest, OldHistoriesAreReadInTheirOwnOrder) {
  WriteLabDatabase(Path());
  Execute(Path(),
          "DROP TABLE history; CREATE TABLE history (filename TEXT, M_acqTime REAL, experimentID INTEGER, PRIMARY KEY "
          "(filename)); INSERT INTO history VALUES ('/old.tif', 2450000.5, 3); ALTER TABLE history ADD userID TEXT;"
          "INSERT INTO history VALUES ('/new.tif', 2450001.5, 4, 'anna')");
  EXPECT_TRUE(Salvage().IsAll());
  const auto rows = ElementsAre("/new.tif|2450001.500000|4|anna|", "/old.tif|2450000.500000|3|NULL|");
  EXPECT_THAT(m_rows.Of(ETable::History), rows);
  SFileBytes damaged = ReadFile(Path());
  std::ranges::fill(std::span(damaged).first(1024), std::uint8_t{0});
  WriteFile(Path(), damaged);
  EXPECT_FALSE(Salvage().IsAll());
  EXPECT_THAT(m_rows.Of(ETable::History), rows);
}

TEST_F(SalvageTest, AnotherProgramsDatabaseIsRefused) {
  Execute(Path(), "CREATE TABLE visits (place TEXT, day INTEGER)");
  try {
    Salvage();
    FAIL();
  } catch (const CHostError& error) {
    EXPECT_THAT(error.what(), HasSubstr("another program's database (it has a table 'visits')"));
  }
}

// Of a database with texts in UTF-16, of both orders of bytes.
class WideSalvageTest : public SalvageTest, public testing::WithParamInterface<const char*> {
 protected:
  // x'…' of a text that is no more than these units.
  static std::string Units(const std::vector<unsigned>& units) {
    std::string text = "CAST(x'";
    for (const unsigned unit : units) {
      const unsigned swapped = (unit & 0xFFu) << 8 | unit >> 8;
      char hex[5];
      std::snprintf(hex, sizeof hex, "%04x", std::string(GetParam()) == "UTF-16be" ? unit : swapped);
      text += hex;
    }
    return text + "' AS TEXT)";
  }
};

INSTANTIATE_TEST_SUITE_P(BothOrders, WideSalvageTest, testing::Values("UTF-16le", "UTF-16be"),
                         [](const auto& order) { return std::string(order.param).substr(6); });

TEST_P(WideSalvageTest, TextsComeOutAsThoseOfUtf8) {
  WriteSound();
  const CRows plain = m_sound;
  std::remove(Path().c_str());
  WriteSound({.encoding = GetParam()});
  for (const ETable table : kAllTables) EXPECT_EQ(m_sound.Of(table), plain.Of(table)) << NameOf(table);
  Execute(Path(), "INSERT INTO stored VALUES (900, 0, 'Grüße, 細胞 🔬 ' || char(0x10DC80), 0)");
  EXPECT_TRUE(Salvage().IsAll());
  EXPECT_THAT(m_rows.Of(ETable::Stored), Contains("900|0|Grüße, 細胞 🔬 \xF4\x8D\xB2\x80|0|"));
}

TEST_P(WideSalvageTest, AZeroedPageCostsWhatStoodOnIt) {
  WriteSound({.encoding = GetParam()});
  ExpectZeroedPagesCostWhatStoodOnThem();
}

TEST_P(WideSalvageTest, WithoutItsBeginningTheFileIsReadAllTheSame) {
  for (const int pageSize : {512, 4096, 65536}) {
    std::remove(Path().c_str());
    WriteSound({.pageSize = pageSize, .encoding = GetParam()});
    SFileBytes damaged = m_bytes;
    std::ranges::fill(std::span(damaged).first(100), std::uint8_t{0xA5});
    WriteFile(Path(), damaged);
    ExpectAllBut({}, "pages of " + std::to_string(pageSize));
  }
}

TEST_P(WideSalvageTest, AnEncodingThatIsNoneIsNotBelieved) {
  WriteSound({.encoding = GetParam()});
  for (const int wrong : {0, 4, 255}) {
    SFileBytes damaged = m_bytes;
    damaged[59] = static_cast<std::uint8_t>(wrong);
    WriteFile(Path(), damaged);
    ExpectAllBut({}, "said to be " + std::to_string(wrong));
  }
}

TEST_P(WideSalvageTest, SurrogatesThatStandAloneAreNotSound) {
  WriteLabDatabase(Path(), {.encoding = GetParam()});
  int row = 1;
  for (const std::vector<unsigned>& units :
       {std::vector<unsigned>{0x61, 0xD83D}, {0xD83D, 0x61}, {0xDD2C}, {0xDD2C, 0xD83D}, {0x61, 0, 0x62}}) {
    Execute(Path(), "UPDATE history SET userID = " + Units(units) + " WHERE rowid = " + std::to_string(++row));
  }
  Execute(Path(), "UPDATE history SET userID = " + Units({0xD83D, 0xDD2C}) + " WHERE rowid = 9");
  const SSalvage salvage = Salvage();
  EXPECT_EQ(salvage.Of(ETable::History).leftOut, 5);
  EXPECT_EQ(salvage.Of(ETable::History).read, 85);
  EXPECT_THAT(m_rows.Of(ETable::History), Contains(HasSubstr("|🔬|")));
}

TEST_P(WideSalvageTest, SingleDamagedBytesCrashNothing) {
  WriteSound({512, 8, 20, 10, 6, 6, GetParam()});
  ExpectDamagedBytesCrashNothing(300);
}

TEST(TextReaderTest, HalfACharacterIsMarked) {
  CTextReader reader(ETextEncoding::Utf16Little);
  const auto textValue = [](std::string_view bytes) { return SRecordValue{EValueKind::Text, 0, 0.0, bytes}; };
  CRecord record = {textValue(std::string_view("a\0b\0", 4)),
                    textValue(std::string_view("a\0b", 3)),
                    textValue("x"),
                    textValue(""),
                    {EValueKind::Blob, 0, 0.0, "abc"}};
  reader.ToUtf8(&record);
  std::vector<std::string> texts;
  std::vector<bool> areWhole;
  for (const SRecordValue& value : record) {
    texts.emplace_back(value.bytes);
    areWhole.push_back(value.isWhole);
  }
  EXPECT_THAT(texts, ElementsAre("ab", "a", "", "", "abc"));
  EXPECT_THAT(areWhole, ElementsAre(true, false, false, true, true));
}

TEST_F(SalvageTest, AFileThatIsWrittenToMeanwhileIsNoticed) {
  WriteLabDatabase(Path());
  const CPageFile file(Path());
  file.RequireUnchanged();
  Execute(Path(), "INSERT INTO stored VALUES (900, 0, 'new', 0)");
  EXPECT_THROW(file.RequireUnchanged(), CHostError);
}

TEST_F(SalvageTest, InAnImageThereIsNothing) {
  WriteFile(Path(), FakeJpeg(50000, 1));
  EXPECT_TRUE(Salvage().IsNothing());
  WriteFile(Path(), {});
  EXPECT_TRUE(Salvage().IsNothing());
}

TEST(RowWriterTest, TheNewerOfTwoRowsStays) {
  SQLite::Database db(":memory:", SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
  db.exec("CREATE TABLE cache (filename, lastWritten, flags, binData, quality, PRIMARY KEY (filename, flags))");
  CRowWriter writer(db);
  const auto put = [&writer](double time, std::int64_t flags, std::string_view picture) {
    writer.Put(ETable::Cache, {{EValueKind::Text, 0, 0.0, "/a.tif"},
                               {EValueKind::Real, 0, time, {}},
                               {EValueKind::Integer, flags, 0.0, {}},
                               {EValueKind::Blob, 0, 0.0, picture},
                               {EValueKind::Integer, 1, 0.0, {}}});
  };
  put(10.5, 0, "old");
  put(12.5, 0, "newest");
  put(11.5, 0, "newer");
  put(10.5, 1, "of high quality");
  EXPECT_EQ(db.execAndGet("SELECT group_concat(binData) FROM (SELECT binData FROM cache ORDER BY flags)").getString(),
            "newest,of high quality");
}

TEST(WholeJpegTest, GoesFromItsFirstToItsLastMark) {
  const auto isWhole = [](const SFileBytes& bytes) {
    return IsWholeJpeg({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  };
  const SFileBytes whole = FakeJpeg(600, 3);
  EXPECT_TRUE(isWhole(whole));
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_FALSE(isWhole(SFileBytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)))) << size;
  }
  SFileBytes longer = whole;
  longer.push_back(0);
  EXPECT_FALSE(isWhole(longer));
}

}  // namespace
}  // namespace qvhost
