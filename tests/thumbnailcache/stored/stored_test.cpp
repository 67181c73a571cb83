#include <algorithm>
#include <map>
#include <numeric>
#include <random>

#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

constexpr const wchar_t* kStepFailed = L"THUMBCACHE: WriteExperiment - sqlite3_step failed: ";
constexpr const wchar_t* kFinalizeFailed = L"THUMBCACHE: WriteExperiment - sqlite3_finalize failed: ";
const std::string kInsert = "INSERT INTO stored (storedParentID, filename, flags) VALUES (:SP, :FN, :FL)";
const std::string kSelect = "SELECT flags, filename, storedParentID FROM stored WHERE storedID = :SI";
const std::string kUpdate = "UPDATE stored SET flags = :FL, filename = :FN, storedParentID = :SP WHERE storedID = :SI";
const std::string kChildren = "SELECT storedID, filename FROM stored WHERE storedParentID = :SP";
const std::string kChildIds = "SELECT storedID FROM stored WHERE storedParentID = :SP";
const std::string kDelete = "DELETE FROM stored WHERE storedID = :SI";

class StoredTest : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    ASSERT_EQ(Open(), 0);
    CSqliteSpy::Clear();
  }
  int Insert(int parent, const wchar_t* name, int flags = 0) {
    int id = -1;
    EXPECT_EQ(Cache().InsertStoredItem(parent, name, flags, &id), 0);
    return id;
  }
  // Items 1, 2, … each below the one before.
  void InsertChain(int length) {
    CSql(DatabaseFile())
        .Run("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(length) +
             ") INSERT INTO stored SELECT i, i - 1, 'x', 0 FROM n");
  }
  // Of the calls recorded, in order.
  static std::vector<int> DeletedIds() {
    std::vector<int> deleted;
    const auto calls = CSqliteSpy::TakeCalls();
    for (std::size_t i = 0; i + 1 < calls.size(); ++i)
      if (calls[i] == "prepare " + kDelete) deleted.push_back(std::stoi(calls[i + 1].substr(11)));
    return deleted;
  }
  std::vector<std::string> Rows() {
    return CSql(DatabaseFile()).Rows("SELECT storedID, storedParentID, filename, flags FROM stored ORDER BY storedID");
  }
};

TEST_F(StoredTest, InsertIsOneStatement) {
  EXPECT_EQ(Insert(7, L"\u00C4.tif", -3), 1);
  EXPECT_THAT(CSqliteSpy::TakeCalls(), ElementsAre("prepare " + kInsert, "bind_int 1 7", "bind_text 2 '\xC3\x84.tif'",
                                                   "bind_int 3 -3", "step 101", "finalize 0", "rowid"));
  EXPECT_THAT(CSqliteSpy::TakeTraced(), ElementsAre(kInsert));
  EXPECT_EQ(Insert(1, L"b"), 2);
  EXPECT_THAT(Rows(), ElementsAre("1|7|\xC3\x84.tif|-3", "2|1|b|0"));
}

TEST_F(StoredTest, InsertWithoutAnIdPointerInserts) {
  EXPECT_EQ(Cache().InsertStoredItem(1, L"a", 2, nullptr), 0);
  EXPECT_THAT(Rows(), ElementsAre("1|1|a|2"));
  EXPECT_EQ(Insert(1, L"", 0), 2) << "an empty name is a name";
}

TEST_F(StoredTest, InsertWithoutANameFails) {
  int id = 5;
  EXPECT_EQ(Cache().InsertStoredItem(1, nullptr, 2, &id), -9);
  EXPECT_EQ(id, 5);
  EXPECT_THAT(CSqliteSpy::TakeCalls(), IsEmpty());
}

TEST_F(StoredTest, FailedInsertIsReportedAndGivesThePreviousId) {
  Insert(1, L"a");
  Insert(1, L"b");
  CSql(DatabaseFile()).Run("CREATE UNIQUE INDEX one ON stored(filename)");
  int id = 77;
  EXPECT_EQ(Cache().InsertStoredItem(1, L"b", 0, &id), SQLITE_CONSTRAINT);
  EXPECT_EQ(id, 2);
  const auto messages = m_diag.Take();
  ASSERT_THAT(messages, SizeIs(2));
  EXPECT_EQ(messages[0].text, std::wstring(kStepFailed) + L"UNIQUE constraint failed: stored.filename");
  EXPECT_EQ(messages[0].line, 1836);
  EXPECT_EQ(messages[1].text, std::wstring(kFinalizeFailed) + L"UNIQUE constraint failed: stored.filename");
  EXPECT_EQ(messages[1].line, 1842);
  for (const SDiag& message : messages) {
    EXPECT_EQ(message.file, kSource);
    EXPECT_EQ(message.format, L"%s");
    EXPECT_EQ(message.kind, EQvDiagKind::Output);
  }
}

TEST_F(StoredTest, UpdateOfAnEqualItemWritesNothing) {
  const int id = Insert(7, L"a", 3);
  CSqliteSpy::Clear();
  EXPECT_EQ(Cache().UpdateStoredItem(id, 7, L"a", 3), 0);
  EXPECT_THAT(CSqliteSpy::TakeCalls(), ElementsAre("prepare " + kSelect, "bind_int 1 1", "step 100", "finalize 0"));
}

TEST_F(StoredTest, UpdateWritesAnyDifferenceAndLeavesItsStatement) {
  const int id = Insert(7, L"a", 3);
  CSqliteSpy::Clear();
  EXPECT_EQ(Cache().UpdateStoredItem(id, 7, L"A", 3), 0);
  EXPECT_THAT(CSqliteSpy::TakeCalls(),
              ElementsAre("prepare " + kSelect, "bind_int 1 1", "step 100", "finalize 0", "prepare " + kUpdate,
                          "bind_int 1 3", "bind_text 2 'A'", "bind_int 3 7", "bind_int 4 1", "step 101"));
  EXPECT_THAT(CSqliteSpy::OpenStatements(), ElementsAre(kUpdate));
  EXPECT_THAT(Rows(), ElementsAre("1|7|A|3"));
  EXPECT_EQ(Cache().UpdateStoredItem(id, 8, L"A", 3), 0);
  EXPECT_THAT(Rows(), ElementsAre("1|8|A|3"));
  EXPECT_EQ(Cache().UpdateStoredItem(id, 8, L"A", 4), 0);
  EXPECT_THAT(Rows(), ElementsAre("1|8|A|4"));
  EXPECT_THAT(CSqliteSpy::OpenStatements(), SizeIs(3));
  CSqliteSpy::FinalizeOpenStatements();
}

TEST_F(StoredTest, UpdateOfAnUnknownItemFails) {
  EXPECT_EQ(Cache().UpdateStoredItem(99, 1, L"a", 0), -9);
  EXPECT_THAT(CSqliteSpy::TakeCalls(), ElementsAre("prepare " + kSelect, "bind_int 1 99", "step 101", "finalize 0"));
}

TEST_F(StoredTest, FailedUpdateIsReportedAndReturnsZero) {
  const int id = Insert(7, L"a", 3);
  Insert(7, L"b", 3);
  CSql(DatabaseFile()).Run("CREATE UNIQUE INDEX one ON stored(filename)");
  EXPECT_EQ(Cache().UpdateStoredItem(id, 7, L"b", 3), 0);
  const auto messages = m_diag.Take();
  ASSERT_THAT(messages, SizeIs(1));
  EXPECT_EQ(messages[0].text, std::wstring(kStepFailed) + L"UNIQUE constraint failed: stored.filename");
  EXPECT_EQ(messages[0].line, 1800);
  EXPECT_EQ(messages[0].file, kSource);
  EXPECT_THAT(Rows(), ElementsAre("1|7|a|3", "2|7|b|3"));
  CSqliteSpy::FinalizeOpenStatements();
}

TEST_F(StoredTest, UpdateThatMeetsABusyDatabaseIsTakenBack) {
  const int id = Insert(7, L"a", 3);
  sqlite3_busy_timeout(CSqliteSpy::Connection(), 0);
  CSql other(DatabaseFile());
  other.Run("BEGIN; SELECT * FROM stored");
  CSqliteSpy::Clear();
  EXPECT_EQ(Cache().UpdateStoredItem(id, 7, L"b", 3), 0);
  const auto calls = CSqliteSpy::TakeCalls();
  ASSERT_GE(calls.size(), 3u);
  EXPECT_THAT(std::vector<std::string>(calls.end() - 3, calls.end()), ElementsAre("step 5", "clear", "reset"));
  EXPECT_THAT(m_diag.TakeTexts(), ElementsAre(std::wstring(kStepFailed) + L"database is locked"));
  other.Run("COMMIT");

  EXPECT_TRUE(sqlite3_get_autocommit(CSqliteSpy::Connection()));
  EXPECT_EQ(Insert(7, L"later"), id + 1);
  EXPECT_THAT(Rows(), ElementsAre("1|7|a|3", "2|7|later|0")) << "another connection sees the later write";
  EXPECT_NO_THROW(other.Run("DELETE FROM stored WHERE storedID = 2")) << "nor is it locked out";
  EXPECT_EQ(Cache().UpdateStoredItem(id, 7, L"b", 3), 0);
  EXPECT_THAT(Rows(), ElementsAre("1|7|b|3"));
}

TEST_F(StoredTest, UpdateThatFailsInAnyWayIsTakenBack) {
  const int id = Insert(7, L"a", 3);
  for (const int result : {SQLITE_IOERR, SQLITE_NOMEM, SQLITE_FULL, SQLITE_LOCKED, SQLITE_ROW}) {
    CSqliteSpy::FailStep(kUpdate, result);
    CSqliteSpy::Clear();
    EXPECT_EQ(Cache().UpdateStoredItem(id, 7, L"b", 3), 0);
    const auto calls = CSqliteSpy::TakeCalls();
    EXPECT_EQ(calls.back(), "reset") << result;
    EXPECT_EQ(Insert(7, L"later"), id + 1);
    CSql(DatabaseFile()).Run("DELETE FROM stored WHERE storedID > 1");
  }
  EXPECT_THAT(Rows(), ElementsAre("1|7|a|3"));
}

TEST_F(StoredTest, ValueThatCannotBeBoundIsNotWrittenAsNothing) {
  const int id = Insert(7, L"a", 3);
  sqlite3_limit(CSqliteSpy::Connection(), SQLITE_LIMIT_LENGTH, 500);
  const std::wstring longName(501, L'x');
  int newID = 0;
  EXPECT_EQ(Cache().InsertStoredItem(1, longName.c_str(), 0, &newID), SQLITE_TOOBIG);
  const auto texts = m_diag.TakeTexts();
  ASSERT_THAT(texts, SizeIs(2));
  EXPECT_EQ(texts[0], std::wstring(kStepFailed) + L"string or blob too big");
  EXPECT_TRUE(texts[1].starts_with(kFinalizeFailed));
  EXPECT_EQ(Cache().UpdateStoredItem(id, 7, longName.c_str(), 3), 0);
  EXPECT_THAT(m_diag.TakeTexts(), ElementsAre(std::wstring(kStepFailed) + L"string or blob too big"));
  EXPECT_THAT(Rows(), ElementsAre("1|7|a|3"));
}

TEST_F(StoredTest, OperationsThatCannotBePreparedDoNotSucceed) {
  Insert(7, L"a", 3);
  std::vector<int> ids;
  std::vector<CQvStringW> names;
  CSqliteSpy::FailPrepare(kInsert, SQLITE_NOMEM);
  EXPECT_EQ(Cache().InsertStoredItem(1, L"b", 0, nullptr), SQLITE_NOMEM);
  CSqliteSpy::FailPrepare(kChildren, SQLITE_IOERR);
  EXPECT_EQ(Cache().GetStoredChildren(7, &ids, &names), SQLITE_IOERR);
  CSqliteSpy::FailPrepare(kDelete, SQLITE_BUSY);
  EXPECT_EQ(Cache().DeleteStoredItem(1), SQLITE_BUSY);
  EXPECT_THAT(Rows(), ElementsAre("1|7|a|3"));
}

TEST_F(StoredTest, OperationsSurviveATableThatIsGone) {
  CSql(DatabaseFile()).Run("DROP TABLE stored");
  int id = 0;
  std::vector<int> ids;
  std::vector<CQvStringW> names;
  Cache().InsertStoredItem(1, L"a", 0, &id);
  EXPECT_EQ(Cache().UpdateStoredItem(1, 2, L"a", 0), -9);
  Cache().GetStoredChildren(1, &ids, &names);
  Cache().DeleteStoredItem(1);
  EXPECT_THAT(ids, IsEmpty());
  EXPECT_THAT(CSqliteSpy::OpenStatements(), IsEmpty());
}

TEST_F(StoredTest, UpdateThatCannotBePreparedIsSurvived) {
  const int id = Insert(7, L"a", 3);
  CSqliteSpy::SetPrepareHook([&](const std::string& text) {
    if (text == kUpdate) CSql(DatabaseFile()).Run("ALTER TABLE stored RENAME TO gone");
  });
  // The first step of the statement that follows sees the new schema.
  Cache().UpdateStoredItem(id, 7, L"b", 3);
  Cache().UpdateStoredItem(id, 7, L"c", 3);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT filename FROM gone"), "a");
  CSqliteSpy::FinalizeOpenStatements();
}

TEST_F(StoredTest, UpdateToANullNameIsSurvived) {
  const int id = Insert(7, L"a", 3);
  const std::int32_t result = Cache().UpdateStoredItem(id, 7, nullptr, 3);
  EXPECT_TRUE(result == 0 || result == -9) << result;
  CSqliteSpy::FinalizeOpenStatements();
}

TEST_F(StoredTest, ChildrenAreListedInParallel) {
  Insert(1, L"a");
  Insert(2, L"other");
  Insert(1, L"\u6F22 \U0001F52C.tif");
  std::vector<int> ids = {9, 9};
  std::vector<CQvStringW> names = {L"old"};
  CSqliteSpy::Clear();
  EXPECT_EQ(Cache().GetStoredChildren(1, &ids, &names), 0);
  EXPECT_THAT(CSqliteSpy::TakeCalls(),
              ElementsAre("prepare " + kChildren, "bind_int 1 1", "step 100", "step 100", "step 101", "finalize 0"));
  EXPECT_THAT(ids, ElementsAre(1, 3));
  EXPECT_THAT(names, ElementsAre(L"a", L"\u6F22 \U0001F52C.tif"));
}

TEST_F(StoredTest, ItemWithoutChildrenEmptiesTheLists) {
  std::vector<int> ids = {9};
  std::vector<CQvStringW> names = {L"old"};
  EXPECT_EQ(Cache().GetStoredChildren(1, &ids, &names), 0);
  EXPECT_THAT(ids, IsEmpty());
  EXPECT_THAT(names, IsEmpty());
}

TEST_F(StoredTest, FailedListingGivesTheError) {
  Insert(1, L"a");
  CSqliteSpy::FailFinalize(kChildren, SQLITE_IOERR);
  std::vector<int> ids;
  std::vector<CQvStringW> names;
  EXPECT_EQ(Cache().GetStoredChildren(1, &ids, &names), SQLITE_IOERR);
  EXPECT_TRUE(m_diag.Take().empty());
}

TEST_F(StoredTest, NullNameOfARowReadsAsEmpty) {
  CSql(DatabaseFile()).Run("INSERT INTO stored VALUES (5, 1, NULL, 0)");
  std::vector<int> ids;
  std::vector<CQvStringW> names;
  EXPECT_EQ(Cache().GetStoredChildren(1, &ids, &names), 0);
  EXPECT_THAT(names, ElementsAre(L""));
  EXPECT_EQ(Cache().UpdateStoredItem(5, 1, L"", 0), 0);
  EXPECT_THAT(CSqliteSpy::OpenStatements(), IsEmpty()) << "equal, so nothing was written";
}

TEST_F(StoredTest, NullListsAreRefused) {
  std::vector<int> ids;
  std::vector<CQvStringW> names;
  EXPECT_EQ(Cache().GetStoredChildren(1, nullptr, &names), -9);
  EXPECT_EQ(Cache().GetStoredChildren(1, &ids, nullptr), -9);
}

TEST_F(StoredTest, DeleteTakesTheSubtreeDeepestFirst) {
  const int root = Insert(0, L"root"), a = Insert(root, L"a"), b = Insert(root, L"b");
  const int aa = Insert(a, L"aa"), aaa = Insert(aa, L"aaa"), other = Insert(0, L"other");
  CSqliteSpy::Clear();
  EXPECT_EQ(Cache().DeleteStoredItem(root), 0);
  std::vector<std::string> deleted;
  const auto calls = CSqliteSpy::TakeCalls();
  for (std::size_t i = 0; i + 1 < calls.size(); ++i)
    if (calls[i] == "prepare " + kDelete) deleted.push_back(calls[i + 1].substr(11));
  EXPECT_THAT(deleted, ElementsAre(std::to_string(aaa), std::to_string(aa), std::to_string(a), std::to_string(b),
                                   std::to_string(root)));
  EXPECT_THAT(Rows(), ElementsAre(std::to_string(other) + "|0|other|0"));
}

TEST_F(StoredTest, DeleteHasNoStatementOpenDuringTheRecursion) {
  const int root = Insert(0, L"root");
  Insert(root, L"child");
  CSqliteSpy::Clear();
  Cache().DeleteStoredItem(root);
  EXPECT_THAT(
      CSqliteSpy::TakeCalls(),
      ElementsAre("prepare " + kChildIds, "bind_int 1 1", "step 100", "step 101", "finalize 0", "prepare " + kChildIds,
                  "bind_int 1 2", "step 101", "finalize 0", "prepare " + kDelete, "bind_int 1 2", "step 101",
                  "finalize 0", "prepare " + kDelete, "bind_int 1 1", "step 101", "finalize 0"));
}

// A copy of the object's dispatch table with one entry replaced, in place while it lives.
class CReplacedSlot {
 public:
  __attribute__((no_sanitize("address"))) CReplacedSlot(IQvThumbnailCache& cache, int slot, void* function)
      : m_table(reinterpret_cast<void***>(&cache)), m_former(*m_table) {
    for (int i = 0; i < kBefore + kOperations; ++i) m_copy[i] = m_former[i - kBefore];
    m_copy[kBefore + slot] = function;
    *m_table = m_copy + kBefore;
  }
  CReplacedSlot(const CReplacedSlot&) = delete;
  CReplacedSlot& operator=(const CReplacedSlot&) = delete;
  ~CReplacedSlot() { *m_table = m_former; }

 private:
  static constexpr int kBefore = 8;  // offsets and type information
  static constexpr int kOperations = 33;
  void*** m_table;
  void** m_former;
  void* m_copy[kBefore + kOperations];
};

TEST_F(StoredTest, DeleteRecursesThroughTheInterface) {
  static std::vector<int> asked;
  asked.clear();
  const int root = Insert(0, L"root"), child = Insert(root, L"child");
  Insert(child, L"grandchild");
  // The entry that the operation itself is reached by stays; what it calls is replaced.
  void* const own = (*reinterpret_cast<void***>(&Cache()))[30];
  {
    const auto refuse = +[](IQvThumbnailCache*, int id) -> std::int32_t {
      asked.push_back(id);
      return -9;
    };
    const CReplacedSlot replaced(Cache(), 30, reinterpret_cast<void*>(refuse));
    EXPECT_EQ(reinterpret_cast<std::int32_t (*)(IQvThumbnailCache*, int)>(own)(&Cache(), root), 0);
  }
  EXPECT_THAT(asked, ElementsAre(child));
  EXPECT_THAT(Rows(), SizeIs(2)) << "the item itself is gone";
}

TEST_F(StoredTest, DeepChainHasTheStatementsOfAShallowOne) {
  constexpr int kLength = 250;
  InsertChain(kLength);
  CSqliteSpy::Clear();
  EXPECT_EQ(Cache().DeleteStoredItem(1), 0);
  std::vector<std::string> expected(kLength, kChildIds);
  expected.insert(expected.end(), kLength, kDelete);
  EXPECT_EQ(CSqliteSpy::TakeTraced(), expected);
  EXPECT_EQ(DeletedIds().front(), kLength);
}

TEST_F(StoredTest, EveryItemOfAChainIsAskedForOnce) {
  static std::map<int, int> asked;
  static int depth, deepest;
  static std::int32_t (*own)(IQvThumbnailCache*, int);
  asked.clear();
  depth = deepest = 0;
  constexpr int kLength = 2000;
  InsertChain(kLength);
  own = reinterpret_cast<std::int32_t (*)(IQvThumbnailCache*, int)>((*reinterpret_cast<void***>(&Cache()))[30]);
  {
    const auto count = +[](IQvThumbnailCache* cache, int id) -> std::int32_t {
      ++asked[id];
      deepest = std::max(deepest, ++depth);
      const std::int32_t result = own(cache, id);
      --depth;
      return result;
    };
    const CReplacedSlot replaced(Cache(), 30, reinterpret_cast<void*>(count));
    EXPECT_EQ(Cache().DeleteStoredItem(1), 0);
  }
  EXPECT_THAT(asked, SizeIs(kLength));
  for (const auto& [id, times] : asked) EXPECT_EQ(times, 1) << id;
  EXPECT_LT(deepest, 200);
  EXPECT_THAT(Rows(), IsEmpty());
}

TEST_F(StoredTest, CircleIsDeletedOnce) {
  for (const int length : {1, 2, 3, 150, 400}) {
    InsertChain(length);
    CSql(DatabaseFile()).Run("UPDATE stored SET storedParentID = " + std::to_string(length) + " WHERE storedID = 1");
    const int bystander = Insert(0, L"bystander");
    CSqliteSpy::Clear();
    EXPECT_EQ(Cache().DeleteStoredItem(1), 0);
    std::vector<int> expected(static_cast<std::size_t>(length));
    std::iota(expected.rbegin(), expected.rend(), 1);
    EXPECT_EQ(DeletedIds(), expected);
    EXPECT_THAT(Rows(), ElementsAre(std::to_string(bystander) + "|0|bystander|0"));
    EXPECT_EQ(Cache().DeleteStoredItem(bystander), 0);
  }
}

TEST_F(StoredTest, CircleBesideTheItemIsDeletedOnce) {
  CSql(DatabaseFile())
      .Run(
          "INSERT INTO stored VALUES (1, 0, 'root', 0), (2, 1, 'a', 0), (3, 2, 'b', 0), (4, 3, 'c', 0);"
          "UPDATE stored SET storedParentID = 4 WHERE storedID = 2; INSERT INTO stored VALUES (5, 2, 'd', 0)");
  EXPECT_EQ(Cache().DeleteStoredItem(1), 0);
  EXPECT_THAT(Rows(), SizeIs(4)) << "nothing leads from the root to the circle";
  EXPECT_EQ(Cache().DeleteStoredItem(3), 0);
  EXPECT_THAT(Rows(), IsEmpty());
}

TEST_F(StoredTest, ItemThatIsInsertedAgainIsDeletedAgain) {
  const int root = Insert(0, L"root");
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(Cache().DeleteStoredItem(root), 0);
    EXPECT_THAT(Rows(), IsEmpty());
    EXPECT_EQ(Insert(0, L"root"), root);
  }
}

// Children are looked for one by one as long as that is quick, then in a list of all items: with the same result.
TEST_F(StoredTest, LargeTableIsSearchedAsASmallOne) {
  CSql(DatabaseFile())
      .Run(
          "WITH RECURSIVE n(i) AS (SELECT 1000 UNION ALL SELECT i + 1 FROM n WHERE i < 40000) INSERT INTO stored "
          "SELECT i, -1, 'bystander', 0 FROM n;"
          "INSERT INTO stored VALUES (50, NULL, 'no parent', 0), (51, 'text', 'odd', 0), (52, 4294967306, 'far', 0),"
          "(53, 10.5, 'half', 0)");
  InsertChain(20);
  for (int child = 60; child < 70; ++child)
    CSql(DatabaseFile()).Run("INSERT INTO stored VALUES (" + std::to_string(child) + ", 20, 'leaf', 0)");
  CSqliteSpy::Clear();
  EXPECT_EQ(Cache().DeleteStoredItem(1), 0);
  std::vector<int> expected;
  for (int leaf = 60; leaf < 70; ++leaf) expected.push_back(leaf);
  for (int id = 20; id > 0; --id) expected.push_back(id);
  EXPECT_EQ(DeletedIds(), expected);
  EXPECT_EQ(Cache().DeleteStoredItem(0), 0);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM stored WHERE storedID < 1000"), "4");
}

TEST_F(StoredTest, DeleteOfAnUnknownItemIsNoFailure) { EXPECT_EQ(Cache().DeleteStoredItem(99), 0); }

TEST_F(StoredTest, FailedChildDoesNotKeepTheParent) {
  const int root = Insert(0, L"root"), child = Insert(root, L"child");
  CSqliteSpy::FailStep(kDelete, SQLITE_CONSTRAINT);  // the child's comes first
  EXPECT_EQ(Cache().DeleteStoredItem(root), 0);
  EXPECT_THAT(Rows(), ElementsAre(std::to_string(child) + "|1|child|0"));
  CSqliteSpy::FailFinalize(kDelete, SQLITE_CONSTRAINT);
  EXPECT_EQ(Cache().DeleteStoredItem(child), SQLITE_CONSTRAINT);
  EXPECT_TRUE(m_diag.Take().empty());
}

TEST_F(StoredTest, DeleteLeavesExperimentsAndHistory) {
  CSql(DatabaseFile())
      .Run("INSERT INTO experiments (storedID) VALUES (1); INSERT INTO history (filename) VALUES ('a')");
  const int root = Insert(0, L"root");
  Cache().DeleteStoredItem(root);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT (SELECT count(*) FROM experiments) + (SELECT count(*) FROM history)"),
            "2");
}

TEST_F(StoredTest, DeepChainIsDeleted) {
  InsertChain(300);
  EXPECT_EQ(Cache().DeleteStoredItem(1), 0);
  EXPECT_THAT(Rows(), IsEmpty());
}

TEST_F(StoredTest, WithoutADatabase) {
  Close();
  Host().Drop();
  CServiceHandle fresh;
  CSqliteSpy::Clear();
  int id = 5;
  EXPECT_EQ(fresh->InsertStoredItem(1, L"a", 2, &id), 0);
  EXPECT_EQ(id, 5);
  EXPECT_EQ(fresh->InsertStoredItem(1, nullptr, 2, &id), -9);
  std::vector<int> ids = {1};
  std::vector<CQvStringW> names = {L"x"};
  EXPECT_EQ(fresh->GetStoredChildren(1, &ids, &names), -9);
  EXPECT_THAT(ids, SizeIs(1));
  EXPECT_THAT(names, SizeIs(1));
  EXPECT_EQ(fresh->DeleteStoredItem(1), -9);
  EXPECT_EQ(fresh->UpdateStoredItem(1, 1, L"a", 0), -9);
  EXPECT_TRUE(m_diag.Take().empty());
}

}  // namespace
}  // namespace qvtest
