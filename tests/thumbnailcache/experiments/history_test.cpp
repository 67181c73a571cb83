#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const std::string kHistoryLookup = "SELECT experimentID FROM history WHERE filename = :FN AND userID = :UI";
const std::string kHistoryUpdate =
    "UPDATE history SET M_acqTime = :AT, experimentID = :EI WHERE filename = :FN AND userID = :UI";
const std::string kHistoryInsert =
    "INSERT INTO history (filename, userID, M_acqTime, experimentID) VALUES (:FN, :UI, :AT, :EI)";
const std::string kEarliest = "SELECT MIN(M_acqTime)  FROM history";
const std::string kRange =
    "SELECT experimentID, M_acqTime, filename FROM history WHERE userID = :UI AND M_acqTime >= :AF AND M_acqTime < :AT";
const std::string kFilenames =
    "SELECT filename FROM history WHERE userID = :UI AND experimentID = :EI AND M_acqTime >= :AF AND M_acqTime < :AT";
const std::string kDelete = "DELETE FROM history WHERE experimentID = :EI AND M_acqTime >= :AF AND M_acqTime < :AT";
const std::string kLeft = "SELECT M_acqTime FROM history WHERE experimentID = :EI";
const std::string kDeleteExperiment = "DELETE FROM experiments WHERE experimentID = :EI";

struct SHistory {
  std::vector<int> ids;
  std::vector<double> times;
  std::vector<CQvStringW> names;
};

class HistoryTest : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    ASSERT_EQ(Open(), 0);
    CSqliteSpy::Clear();
  }
  std::vector<std::string> Rows() {
    return CSql(DatabaseFile()).Rows("SELECT filename, userID, M_acqTime, experimentID FROM history ORDER BY filename");
  }
  int Experiments() { return std::stoi(CSql(DatabaseFile()).Value("SELECT count(*) FROM experiments")); }
};

TEST_F(HistoryTest, NewFileIsLookedUpAndInserted) {
  EXPECT_EQ(Cache().WriteHistory(L"\u00C4.tif", L"ad\u00E4", 2.5, 7), 0);
  EXPECT_THAT(CSqliteSpy::TakeCalls(),
              ElementsAre("prepare " + kHistoryLookup, "bind_text 1 '\xC3\x84.tif'", "bind_text 2 'ad\xC3\xA4'",
                          "step 101", "finalize 0", "prepare " + kHistoryInsert, "bind_text 1 '\xC3\x84.tif'",
                          "bind_text 2 'ad\xC3\xA4'", "bind_double 3 2.5", "bind_int 4 7", "step 101", "finalize 0"));
  EXPECT_THAT(Rows(), ElementsAre("\xC3\x84.tif|ad\xC3\xA4|2.5|7"));
}

TEST_F(HistoryTest, KnownFileGetsTheNewTimeAndKeepsItsExperiment) {
  Cache().WriteHistory(L"a.tif", L"ada", 2.5, 7);
  CSqliteSpy::Clear();
  EXPECT_EQ(Cache().WriteHistory(L"a.tif", L"ada", 3.5, 8), 0);
  EXPECT_THAT(CSqliteSpy::TakeCalls(),
              ElementsAre("prepare " + kHistoryLookup, "bind_text 1 'a.tif'", "bind_text 2 'ada'", "step 100", "clear",
                          "reset", "prepare " + kHistoryUpdate, "bind_double 1 3.5", "bind_int 2 7",
                          "bind_text 3 'a.tif'", "bind_text 4 'ada'", "step 101", "finalize 0"));
  EXPECT_THAT(CSqliteSpy::OpenStatements(), ElementsAre(kHistoryLookup)) << "the lookup stays open on this path";
  EXPECT_THAT(CSqliteSpy::TakeTraced(), ElementsAre(kHistoryLookup, kHistoryUpdate));
  CSqliteSpy::FinalizeOpenStatements();
  EXPECT_THAT(Rows(), ElementsAre("a.tif|ada|3.5|7"));
}

TEST_F(HistoryTest, RecordingAgainLeavesNoOneWaiting) {
  for (const char* journal : {"DELETE", "WAL"}) {
    CSql other(DatabaseFile());
    other.Run(std::string("PRAGMA busy_timeout=0; PRAGMA journal_mode=") + journal);
    Cache().WriteHistory(L"a.tif", L"ada", 2.5, 7);
    EXPECT_EQ(Cache().WriteHistory(L"a.tif", L"ada", 3.5, 7), 0);
    EXPECT_NO_THROW(other.Run("INSERT INTO history VALUES ('b.tif', 'bob', 1, 1)")) << journal;
    EXPECT_EQ(Cache().WriteHistory(L"a.tif", L"ada", 4.5, 7), 0);
    EXPECT_THAT(Rows(), ElementsAre("a.tif|ada|4.5|7", "b.tif|bob|1.0|1")) << journal;
    EXPECT_NO_THROW(other.Run("PRAGMA wal_checkpoint(TRUNCATE); DELETE FROM history"));
    CSqliteSpy::FinalizeOpenStatements();
    EXPECT_TRUE(m_diag.Take().empty());
    Close();
    ASSERT_EQ(Open(), 0);
  }
}

TEST_F(HistoryTest, RecordThatCannotBeBoundOrPreparedIsNoSuccess) {
  CSqliteSpy::FailPrepare(kHistoryInsert, SQLITE_NOMEM);
  EXPECT_EQ(Cache().WriteHistory(L"a.tif", L"ada", 2.5, 7), SQLITE_NOMEM);
  sqlite3_limit(CSqliteSpy::Connection(), SQLITE_LIMIT_LENGTH, 500);
  EXPECT_EQ(Cache().WriteHistory(std::wstring(501, L'x').c_str(), L"ada", 2.5, 7), SQLITE_TOOBIG);
  EXPECT_THAT(Rows(), IsEmpty());
}

TEST_F(HistoryTest, OperationsSurviveATableThatIsGone) {
  CSql(DatabaseFile()).Run("DROP TABLE history; INSERT INTO experiments (experimentID) VALUES (1)");
  SHistory history;
  Cache().WriteHistory(L"a.tif", L"ada", 1, 1);
  Cache().ReadHistory(L"ada", 0, 1, &history.ids, &history.times, &history.names);
  Cache().GetHistoryFilenames(L"ada", 1, 0, 1, &history.names);
  EXPECT_EQ(Cache().DeleteHistory(0, 9, 1), -9);
  EXPECT_THAT(CSqliteSpy::OpenStatements(), IsEmpty());
  EXPECT_EQ(Experiments(), 1);
  EXPECT_TRUE(history.ids.empty());
}

TEST_F(HistoryTest, FailedLookForWhatIsLeftKeepsTheExperiment) {
  CSql(DatabaseFile()).Run("INSERT INTO experiments (experimentID) VALUES (1)");
  Cache().WriteHistory(L"a", L"ada", 1, 1);
  CSqliteSpy::FailStep(kLeft, SQLITE_IOERR);
  EXPECT_NE(Cache().DeleteHistory(5, 6, 1), 0);
  EXPECT_EQ(Experiments(), 1) << "a row that could not be looked for may still refer to it";
  CSqliteSpy::SetPrepareHook([&](const std::string& text) {
    if (text == kLeft) CSql(DatabaseFile()).Run("ALTER TABLE history RENAME TO gone");
  });
  EXPECT_NE(Cache().DeleteHistory(5, 6, 1), 0);
  EXPECT_EQ(Experiments(), 1);
}

TEST_F(HistoryTest, SecondUserOfAFileIsRefused) {
  Cache().WriteHistory(L"a.tif", L"ada", 2.5, 7);
  EXPECT_EQ(Cache().WriteHistory(L"a.tif", L"bob", 3.5, 8), SQLITE_CONSTRAINT);
  const auto messages = m_diag.Take();
  ASSERT_THAT(messages, SizeIs(2));
  EXPECT_EQ(messages[0].text,
            L"THUMBCACHE: WriteExperiment - sqlite3_step failed: UNIQUE constraint failed: history.filename");
  EXPECT_EQ(messages[1].text,
            L"THUMBCACHE: WriteExperiment - sqlite3_finalize failed: UNIQUE constraint failed: history.filename");
  for (const SDiag& message : messages) {
    EXPECT_EQ(message.file, kSource);
    EXPECT_EQ(message.format, L"%s");
  }
  EXPECT_THAT(Rows(), ElementsAre("a.tif|ada|2.5|7"));
}

TEST_F(HistoryTest, FailedUpdateIsReportedUnderItsOwnNameAndReturnsZero) {
  Cache().WriteHistory(L"a.tif", L"ada", 2.5, 7);
  CSql(DatabaseFile())
      .Run("CREATE UNIQUE INDEX one ON history(M_acqTime); INSERT INTO history VALUES ('b.tif', 'bob', 3.5, 1)");
  EXPECT_EQ(Cache().WriteHistory(L"a.tif", L"ada", 3.5, 7), 0);
  EXPECT_THAT(
      m_diag.TakeTexts(),
      ElementsAre(L"THUMBCACHE: WriteHistory - sqlite3_step failed: UNIQUE constraint failed: history.M_acqTime",
                  L"THUMBCACHE: WriteHistory - sqlite3_finalize failed: UNIQUE constraint failed: history.M_acqTime"));
  EXPECT_THAT(Rows(), ElementsAre("a.tif|ada|2.5|7", "b.tif|bob|3.5|1"));
  CSqliteSpy::FinalizeOpenStatements();
}

TEST_F(HistoryTest, FailedLookupInserts) {
  CSqliteSpy::FailStep(kHistoryLookup, SQLITE_BUSY);
  EXPECT_EQ(Cache().WriteHistory(L"a.tif", L"ada", 2.5, 7), 0);
  EXPECT_THAT(Rows(), SizeIs(1));
}

TEST_F(HistoryTest, MissingFileNameFails) {
  EXPECT_EQ(Cache().WriteHistory(nullptr, L"ada", 2.5, 7), -9);
  EXPECT_THAT(CSqliteSpy::TakeCalls(), IsEmpty());
}

TEST_F(HistoryTest, NullUserIsTheEmptyUser) {
  EXPECT_EQ(Cache().WriteHistory(L"a.tif", nullptr, 2.5, 7), 0);
  SHistory history;
  EXPECT_EQ(Cache().ReadHistory(L"", 0, 10, &history.ids, &history.times, &history.names), 0);
  EXPECT_THAT(history.ids, ElementsAre(7));
}

TEST_F(HistoryTest, RangeIsHalfOpenAndPerUser) {
  for (int i = 0; i < 5; ++i) Cache().WriteHistory((L"f" + std::to_wstring(i)).c_str(), L"ada", i, 10 + i);
  Cache().WriteHistory(L"other", L"bob", 2, 99);
  CSqliteSpy::Clear();
  SHistory history;
  EXPECT_EQ(Cache().ReadHistory(L"ada", 1.0, 3.0, &history.ids, &history.times, &history.names), 0);
  EXPECT_THAT(history.ids, ElementsAre(11, 12));
  EXPECT_THAT(history.times, ElementsAre(1.0, 2.0));
  EXPECT_THAT(history.names, ElementsAre(L"f1", L"f2"));
  EXPECT_THAT(CSqliteSpy::TakeCalls(),
              ElementsAre("prepare " + kRange, "bind_text 1 'ada'", "bind_double 2 1", "bind_double 3 3", "step 100",
                          "step 100", "step 101", "finalize 0"));
}

TEST_F(HistoryTest, OnlyTheIdsAreEmptiedFirst) {
  Cache().WriteHistory(L"a", L"ada", 1, 11);
  SHistory history;
  Cache().ReadHistory(L"ada", 0, 9, &history.ids, &history.times, &history.names);
  Cache().ReadHistory(L"ada", 0, 9, &history.ids, &history.times, &history.names);
  EXPECT_THAT(history.ids, ElementsAre(11));
  EXPECT_THAT(history.times, ElementsAre(1.0, 1.0));
  EXPECT_THAT(history.names, ElementsAre(L"a", L"a"));
}

TEST_F(HistoryTest, EarliestTimeIsThatOfAllUsers) {
  SHistory history;
  EXPECT_EQ(Cache().ReadHistory(L"ada", -1.0, -1.0, &history.ids, &history.times, &history.names), 0);
  EXPECT_THAT(history.ids, ElementsAre(-1));
  EXPECT_THAT(history.times, ElementsAre(0.0));
  EXPECT_THAT(history.names, IsEmpty());
  EXPECT_THAT(CSqliteSpy::TakeCalls(), ElementsAre("prepare " + kEarliest, "step 100", "step 101", "finalize 0"));

  Cache().WriteHistory(L"a", L"ada", 5, 1);
  Cache().WriteHistory(L"b", L"bob", 3, 1);
  EXPECT_EQ(Cache().ReadHistory(L"ada", -1.0, -1.0, &history.ids, &history.times, &history.names), 0);
  EXPECT_THAT(history.ids, ElementsAre(-1));
  EXPECT_THAT(history.times, ElementsAre(0.0, 3.0));
  EXPECT_THAT(history.names, IsEmpty());
}

TEST_F(HistoryTest, HalfASentinelIsARange) {
  Cache().WriteHistory(L"a", L"ada", -1.0, 1);
  SHistory history;
  EXPECT_EQ(Cache().ReadHistory(L"ada", -1.0, 0.0, &history.ids, &history.times, &history.names), 0);
  EXPECT_THAT(history.names, ElementsAre(L"a"));
  EXPECT_EQ(Cache().ReadHistory(L"ada", -2.0, -1.0, &history.ids, &history.times, &history.names), 0);
  EXPECT_THAT(history.ids, IsEmpty());
}

TEST_F(HistoryTest, FilenamesOfAnExperiment) {
  for (int i = 0; i < 6; ++i) Cache().WriteHistory((L"f" + std::to_wstring(i)).c_str(), L"ada", i, i % 2);
  Cache().WriteHistory(L"other", L"bob", 3, 1);
  CSqliteSpy::Clear();
  std::vector<CQvStringW> names = {L"old"};
  EXPECT_EQ(Cache().GetHistoryFilenames(L"ada", 1, 1.0, 5.0, &names), 0);
  EXPECT_THAT(names, ElementsAre(L"f1", L"f3"));
  EXPECT_THAT(CSqliteSpy::TakeCalls(),
              ElementsAre("prepare " + kFilenames, "bind_text 1 'ada'", "bind_int 2 1", "bind_double 3 1",
                          "bind_double 4 5", "step 100", "step 100", "step 101", "finalize 0"));
  EXPECT_EQ(Cache().GetHistoryFilenames(L"ada", 1, -1.0, -1.0, &names), 0) << "no sentinel here";
  EXPECT_THAT(names, IsEmpty());
}

TEST_F(HistoryTest, NullListsAreRefused) {
  SHistory history;
  EXPECT_EQ(Cache().ReadHistory(L"ada", 0, 1, nullptr, &history.times, &history.names), -9);
  EXPECT_EQ(Cache().ReadHistory(L"ada", 0, 1, &history.ids, nullptr, &history.names), -9);
  EXPECT_EQ(Cache().ReadHistory(L"ada", 0, 1, &history.ids, &history.times, nullptr), -9);
  EXPECT_EQ(Cache().GetHistoryFilenames(L"ada", 1, 0, 1, nullptr), -9);
}

TEST_F(HistoryTest, EarliestTimeNeedsNoListOfNames) {
  Cache().WriteHistory(L"a", L"ada", 5, 1);
  SHistory history;
  EXPECT_EQ(Cache().ReadHistory(L"ada", -1.0, -1.0, &history.ids, &history.times, nullptr), 0);
  EXPECT_THAT(history.ids, ElementsAre(-1));
  EXPECT_THAT(history.times, ElementsAre(5.0));
}

TEST_F(HistoryTest, DeleteKeepsTheExperimentWhileHistoryIsLeft) {
  CSql(DatabaseFile()).Run("INSERT INTO experiments (experimentID) VALUES (1), (2)");
  Cache().WriteHistory(L"a", L"ada", 1, 1);
  Cache().WriteHistory(L"b", L"bob", 5, 1);
  Cache().WriteHistory(L"c", L"ada", 1, 2);
  CSqliteSpy::Clear();
  EXPECT_EQ(Cache().DeleteHistory(0.0, 5.0, 1), 0);
  EXPECT_THAT(CSqliteSpy::TakeCalls(),
              ElementsAre("prepare " + kDelete, "bind_int 1 1", "bind_double 2 0", "bind_double 3 5", "step 101",
                          "finalize 0", "prepare " + kLeft, "bind_int 1 1", "step 100", "finalize 0"));
  EXPECT_THAT(Rows(), ElementsAre("b|bob|5.0|1", "c|ada|1.0|2"));
  EXPECT_EQ(Experiments(), 2);

  EXPECT_EQ(Cache().DeleteHistory(5.0, 5.5, 1), 0);
  EXPECT_THAT(CSqliteSpy::TakeCalls(),
              ElementsAre("prepare " + kDelete, "bind_int 1 1", "bind_double 2 5", "bind_double 3 5.5", "step 101",
                          "finalize 0", "prepare " + kLeft, "bind_int 1 1", "step 101", "finalize 0",
                          "prepare " + kDeleteExperiment, "bind_int 1 1", "step 101", "finalize 0"));
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT experimentID FROM experiments"), "2");
}

TEST_F(HistoryTest, DeleteOfNothingRemovesAnUnreferencedExperiment) {
  CSql(DatabaseFile()).Run("INSERT INTO experiments (experimentID) VALUES (1)");
  EXPECT_EQ(Cache().DeleteHistory(0.0, 5.0, 1), 0);
  EXPECT_EQ(Experiments(), 0);
  EXPECT_EQ(Cache().DeleteHistory(0.0, 5.0, 42), 0);
}

TEST_F(HistoryTest, FailedDeleteFailsAndKeepsTheExperiment) {
  CSql(DatabaseFile()).Run("INSERT INTO experiments (experimentID) VALUES (1)");
  Cache().WriteHistory(L"a", L"ada", 1, 1);
  CSqliteSpy::FailStep(kDelete, SQLITE_CONSTRAINT);
  CSqliteSpy::Clear();
  EXPECT_EQ(Cache().DeleteHistory(0.0, 5.0, 1), -9);
  EXPECT_THAT(CSqliteSpy::TakeCalls(), ElementsAre("prepare " + kDelete, "bind_int 1 1", "bind_double 2 0",
                                                   "bind_double 3 5", "step 19", "clear", "reset"));
  EXPECT_THAT(CSqliteSpy::OpenStatements(), ElementsAre(kDelete));
  EXPECT_TRUE(m_diag.Take().empty()) << "only writing reports";
  CSqliteSpy::FinalizeOpenStatements();
  EXPECT_EQ(Experiments(), 1);
}

TEST_F(HistoryTest, FailedDeleteOfTheExperimentIsIgnored) {
  CSql(DatabaseFile()).Run("INSERT INTO experiments (experimentID) VALUES (1)");
  CSqliteSpy::FailStep(kDeleteExperiment, SQLITE_CONSTRAINT);
  EXPECT_EQ(Cache().DeleteHistory(0.0, 5.0, 1), 0);
  EXPECT_EQ(Experiments(), 1);
}

TEST_F(HistoryTest, FinalizeResultsPassThrough) {
  SHistory history;
  CSqliteSpy::FailFinalize(kRange, SQLITE_IOERR);
  EXPECT_EQ(Cache().ReadHistory(L"ada", 0, 1, &history.ids, &history.times, &history.names), SQLITE_IOERR);
  CSqliteSpy::FailFinalize(kEarliest, SQLITE_NOMEM);
  EXPECT_EQ(Cache().ReadHistory(L"ada", -1, -1, &history.ids, &history.times, &history.names), SQLITE_NOMEM);
  CSqliteSpy::FailFinalize(kFilenames, SQLITE_IOERR);
  EXPECT_EQ(Cache().GetHistoryFilenames(L"ada", 1, 0, 1, &history.names), SQLITE_IOERR);
  Cache().WriteHistory(L"a", L"ada", 1, 1);
  CSqliteSpy::FailFinalize(kLeft, SQLITE_IOERR);
  EXPECT_EQ(Cache().DeleteHistory(5, 6, 1), SQLITE_IOERR);
}

TEST_F(HistoryTest, WithoutADatabase) {
  Close();
  Host().Drop();
  CServiceHandle fresh;
  EXPECT_EQ(fresh->WriteHistory(L"a", L"ada", 1, 1), 0);
  EXPECT_EQ(fresh->WriteHistory(nullptr, L"ada", 1, 1), -9);
  SHistory history;
  history.ids = {1};
  EXPECT_EQ(fresh->ReadHistory(L"ada", 0, 1, &history.ids, &history.times, &history.names), -9);
  EXPECT_THAT(history.ids, SizeIs(1));
  EXPECT_EQ(fresh->GetHistoryFilenames(L"ada", 1, 0, 1, &history.names), -9);
  EXPECT_EQ(fresh->DeleteHistory(0, 1, 1), -9);
  EXPECT_TRUE(m_diag.Take().empty());
}

}  // namespace
}  // namespace qvtest
