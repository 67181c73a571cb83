#include "thumbnailcache/qvrelaxedsync.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <thread>

#include "tests/support/disk_syncs.h"
#include "tests/support/experiments.h"
#include "tests/support/sql.h"
#include "tests/support/temp_folder.h"
#include "tests/thumbnailcache/standin/standin.h"
#include "tests/thumbnailcache/support/service.h"

namespace qvtest {
namespace {

class RelaxedSyncTest : public ::testing::Test {
 protected:
  void SetUp() override {
    standin::CScript::Get().Reset();
    UseStandInFormats();
    CreateDatabase("WAL");
  }
  void TearDown() override { SDiskSyncs::fail = false; }

  std::string Database() const { return m_folder.Path("cache.db"); }
  // With tables, so that opening it writes nothing.
  void CreateDatabase(const char* journal) {
    CSql(Database()).Run(std::string("PRAGMA journal_mode=") + journal);
    OpenPlainly();
    m_service.Close();
  }
  void OpenPlainly() { ASSERT_EQ(m_service.Open(m_folder.Wide("cache.db")), 0); }
  void OpenRelaxed() {
    const CQvRelaxedSync relaxed;
    OpenPlainly();
  }

  void MakeThumbnails(int count) {
    for (int i = 0; i < count; ++i) {
      RequestNow(*m_service, {Describe(m_folder.MakeFileWide("image " + std::to_string(m_images++)))});
    }
    ASSERT_EQ(QueryInt(Database(), "SELECT count(*) FROM cache"), m_images);
  }

  CTempFolder m_folder;
  CServiceHandle m_service;
  int m_images = 0;
};

TEST_F(RelaxedSyncTest, ThumbnailsDoNotWaitForTheDisk) {
  OpenRelaxed();
  MakeThumbnails(1);
  EXPECT_EQ(SDiskSyncs::Of([&] { MakeThumbnails(5); }), 0);
}

TEST_F(RelaxedSyncTest, ThumbnailsOfAPlainlyOpenedDatabaseWaitForTheDisk) {
  { const CQvRelaxedSync relaxed; }
  OpenPlainly();
  MakeThumbnails(1);
  EXPECT_EQ(SDiskSyncs::Of([&] { MakeThumbnails(5); }), 10);
}

TEST_F(RelaxedSyncTest, EveryBookIsOnTheDiskWhenItsOperationReturns) {
  OpenRelaxed();
  MakeThumbnails(1);
  const CExperiment experiment = NewExperiment();
  int stored = 0, id = 0;
  const auto waits = [](const std::function<std::int32_t()>& work) {
    return SDiskSyncs::Of([&] { EXPECT_EQ(work(), 0); }) >= 1;
  };
  EXPECT_TRUE(waits([&] { return m_service->InsertStoredItem(0, L"item", 0, &stored); }));
  EXPECT_TRUE(waits([&] { return m_service->UpdateStoredItem(stored, 0, L"renamed", 0); }));
  EXPECT_TRUE(waits([&] { return m_service->WriteExperiment(experiment.get(), nullptr, 1.0, -1, &id); }));
  EXPECT_TRUE(waits([&] { return m_service->WriteHistory(L"/image", L"anna", 1.0, id); }));
  EXPECT_TRUE(waits([&] { return m_service->DeleteHistory(0.0, 2.0, id); }));
  EXPECT_TRUE(waits([&] { return m_service->DeleteStoredItem(stored); }));
  EXPECT_EQ(SDiskSyncs::Of([&] { MakeThumbnails(5); }), 0);
}

TEST_F(RelaxedSyncTest, ABookThatDoesNotReachTheDiskIsAFailure) {
  OpenRelaxed();
  MakeThumbnails(1);
  SDiskSyncs::fail = true;
  EXPECT_NE(m_service->InsertStoredItem(0, L"item", 0, nullptr), 0);
  SDiskSyncs::fail = false;
  EXPECT_EQ(m_service->InsertStoredItem(0, L"another", 0, nullptr), 0);
}

TEST_F(RelaxedSyncTest, TheLogIsFoldedBackIntoTheFileNowAndThen) {
  OpenRelaxed();
  ASSERT_EQ(m_service->InsertStoredItem(0, L"item", 0, nullptr), 0);
  const auto size = std::filesystem::file_size(Database());
  standin::CScript::Get().SetFallback(standin::SFile(480, 180));
  // Some 260 kB each, in a log of 4 MB.
  MakeThumbnails(40);
  EXPECT_GT(std::filesystem::file_size(Database()), size + (4 << 20));
  EXPECT_LT(std::filesystem::file_size(Database() + "-wal"), 8u << 20);
}

TEST_F(RelaxedSyncTest, ADatabaseWithARollbackJournalIsLeftAsItIs) {
  std::filesystem::remove(Database());
  CreateDatabase("DELETE");
  OpenPlainly();
  MakeThumbnails(1);
  const int plain = SDiskSyncs::Of([&] { MakeThumbnails(5); });
  m_service.Close();
  OpenRelaxed();
  EXPECT_EQ(SDiskSyncs::Of([&] { MakeThumbnails(5); }), plain);
  EXPECT_GT(plain, 0);
}

TEST_F(RelaxedSyncTest, ADatabaseThatSomebodyHasLockedCanBeOpened) {
  CSql other(Database());
  other.Run("PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; CREATE TABLE another (a)");
  const CQvRelaxedSync relaxed;
  sqlite3* opened = nullptr;
  EXPECT_EQ(sqlite3_open_v2(Database().c_str(), &opened, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
  sqlite3_close(opened);
}

// What another connection of the process waits for is its own affair.
TEST_F(RelaxedSyncTest, OnlyTheThreadThatAsksForItIsRelaxed) {
  const CQvRelaxedSync relaxed;
  std::string here, there;
  CSql own(Database());
  here = own.Value("PRAGMA synchronous");
  std::thread([&] { there = CSql(Database()).Value("PRAGMA synchronous"); }).join();
  EXPECT_EQ(here, "1");
  EXPECT_EQ(there, "2");
}

}  // namespace
}  // namespace qvtest
