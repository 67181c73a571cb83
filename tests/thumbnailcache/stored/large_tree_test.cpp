#include <gtest/gtest.h>
#include <pthread.h>

#include <random>

#include "tests/support/sql.h"
#include "tests/support/temp_folder.h"
#include "tests/thumbnailcache/support/service.h"

namespace qvtest {
namespace {

#if defined(QV_ADDRESS_SANITIZER) || defined(QV_THREAD_SANITIZER)
constexpr int kItems = 10000;
#else
constexpr int kItems = 100000;
#endif

// Items inserted, listed and deleted in a bushy random tree, against a plain table of parents.
TEST(LargeTreeTest, IsInsertedListedAndDeleted) {
  CTempFolder folder;
  UseInstalledComponents();
  {
    // The component leaves journal and sync to the file's owner; the test wants neither.
    CSql(folder.Path("tree.db")).Run("PRAGMA journal_mode=WAL");
  }
  CServiceHandle service;
  ASSERT_EQ(service.Open(folder.Wide("tree.db")), 0);
  std::mt19937 random(4711);
  std::vector<std::vector<int>> children(kItems + 2);
  for (int i = 1; i <= kItems; ++i) {
    const int parent = i == 1 ? 0 : 1 + static_cast<int>(random() % static_cast<unsigned>(i - 1));
    int id = -1;
    ASSERT_EQ(service->InsertStoredItem(parent, (L"item " + std::to_wstring(i)).c_str(), i, &id), 0);
    ASSERT_EQ(id, i);
    children[static_cast<std::size_t>(parent)].push_back(i);
  }

  // A listing reads the whole table, so a sample of parents must do.
  std::vector<int> ids;
  std::vector<CQvStringW> names;
  for (int sample = 0; sample < 50; ++sample) {
    const std::size_t parent = random() % (kItems + 1);
    ASSERT_EQ(service->GetStoredChildren(static_cast<int>(parent), &ids, &names), 0);
    ASSERT_EQ(ids, children[parent]);
    for (std::size_t i = 0; i < ids.size(); ++i) ASSERT_EQ(names[i].Str(), L"item " + std::to_wstring(ids[i]));
  }

  CSql sql(folder.Path("tree.db"));
  ASSERT_EQ(service->DeleteStoredItem(2), 0);
  int left = 0;
  std::vector<char> gone(kItems + 1, 0);
  gone[2] = 1;
  for (int i = 1; i <= kItems; ++i) {
    if (!gone[static_cast<std::size_t>(i)]) ++left;
    for (const int child : children[static_cast<std::size_t>(i)])
      if (gone[static_cast<std::size_t>(i)]) gone[static_cast<std::size_t>(child)] = 1;
  }
  EXPECT_EQ(sql.Value("SELECT count(*) FROM stored"), std::to_string(left));
  ASSERT_EQ(service->DeleteStoredItem(1), 0);
  EXPECT_EQ(sql.Value("SELECT count(*) FROM stored"), "0");
}

// On a thread whose stack a recursion through all of them would overflow.
void DeleteOnSmallStack(CServiceHandle& service, int storedID) {
  struct SWork {
    CServiceHandle* service;
    int storedID;
    std::int32_t result;
  } work{&service, storedID, -1};
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, 1 << 20), 0);
  pthread_t thread{};
  const auto run = [](void* context) -> void* {
    auto* toDo = static_cast<SWork*>(context);
    toDo->result = (*toDo->service)->DeleteStoredItem(toDo->storedID);
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  EXPECT_EQ(work.result, 0);
}

// With 0 or the last item as the first one's parent.
void DeleteChain(int parentOfFirst) {
  CTempFolder folder;
  UseInstalledComponents();
  CServiceHandle service;
  ASSERT_EQ(service.Open(folder.Wide("tree.db")), 0);
  CSql sql(folder.Path("tree.db"));
  sql.Run("PRAGMA journal_mode=WAL; WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
          std::to_string(kItems) + ") INSERT INTO stored SELECT i, i - 1, 'x', 0 FROM n; UPDATE stored SET " +
          "storedParentID = " + std::to_string(parentOfFirst) + " WHERE storedID = 1");
  DeleteOnSmallStack(service, 1);
  EXPECT_EQ(sql.Value("SELECT count(*) FROM stored"), "0");
}

TEST(LargeTreeTest, LongChainIsDeleted) { DeleteChain(0); }

TEST(LargeTreeTest, LongCircleIsDeleted) { DeleteChain(kItems); }

}  // namespace
}  // namespace qvtest
