#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <random>

#include "tests/support/faulty_vfs.h"
#include "tests/support/file_bytes.h"
#include "tests/support/sql.h"
#include "tests/thumbnailcache/faults/workload.h"
#include "tests/thumbnailcache/standin/standin.h"
#include "tests/thumbnailcache/support/failing_sqlite_memory.h"

// Work with a fault at each of its calls to the file system, and at each of SQLite's allocations. Every stride-th fault
// by default, and every one when QV_FAULTS is "all".

namespace qvtest {
namespace {

long Stride(long usual) {
  const char* which = std::getenv("QV_FAULTS");
  return which && std::strcmp(which, "all") == 0 ? 1 : usual;
}

struct SFaultKind {
  EJournal journal;
  bool fromThenOn;
};

std::string NameOf(EJournal journal) { return journal == EJournal::WriteAhead ? "WriteAhead" : "Rollback"; }

std::string NameOfKind(const ::testing::TestParamInfo<SFaultKind>& kind) {
  return NameOf(kind.param.journal) + (kind.param.fromThenOn ? "FromThenOn" : "Once");
}

const auto kKinds = ::testing::Values(SFaultKind{EJournal::Rollback, false}, SFaultKind{EJournal::Rollback, true},
                                      SFaultKind{EJournal::WriteAhead, false}, SFaultKind{EJournal::WriteAhead, true});

class FaultsTest : public ::testing::TestWithParam<SFaultKind> {
 protected:
  static void SetUpTestSuite() { UseStandInFormats(); }
  static void TearDownTestSuite() { standin::CScript::Get().Reset(); }

  // Calls `attempt` with 0, stride, 2 * stride, … until it says that no fault was met any more, and looks each time
  // whether something is lost.
  static void WithEachFault(long stride, const std::function<bool(long room)>& attempt,
                            const std::function<std::string()>& findLoss) {
    int faults = 0;
    for (long room = 0; attempt(room); room += stride, ++faults)
      EXPECT_EQ(findLoss(), "") << "with a fault after " << room;
    RecordProperty("faults", faults);
  }
  static void WithFileFaults(CFaultyVfs::EFault fault, long stride, const std::function<void()>& run,
                             const std::function<std::string()>& findLoss) {
    const auto attempt = [&](long room) {
      CFaultyVfs vfs;
      vfs.Fail(fault, room, GetParam().fromThenOn);
      run();
      return vfs.HasFailed();
    };
    WithEachFault(stride, attempt, findLoss);
  }
  static void WithMemoryFaults(long stride, const std::function<void()>& run,
                               const std::function<std::string()>& findLoss) {
    const auto attempt = [&](long room) {
      CFailingSqliteMemory::Limit(room, GetParam().fromThenOn);
      run();
      return CFailingSqliteMemory::Lift();
    };
    WithEachFault(stride, attempt, findLoss);
  }
};

// Work of all operations on a file that has rows in all tables.
class WorkFaultsTest : public FaultsTest {
 protected:
  CFaultWorkload m_workload{GetParam().journal};
  // Restoring is no part of the work: its connections are its own.
  const std::function<void()> m_run = [this] { m_workload.Run(); };
  const std::function<std::string()> m_findLoss = [this] {
    std::string loss = m_workload.FindLoss();
    m_workload.Restore();
    return loss;
  };
};

TEST_P(WorkFaultsTest, IoErrorsLoseNothingThatWasAcknowledged) {
  WithFileFaults(CFaultyVfs::EFault::IoError, Stride(2), m_run, m_findLoss);
}

TEST_P(WorkFaultsTest, FullDisksLoseNothingThatWasAcknowledged) {
  WithFileFaults(CFaultyVfs::EFault::DiskFull, Stride(2), m_run, m_findLoss);
}

TEST_P(WorkFaultsTest, MemoryThatRunsOutLosesNothingThatWasAcknowledged) {
  WithMemoryFaults(Stride(53), m_run, m_findLoss);
}

class KilledWorkTest : public ::testing::TestWithParam<EJournal> {
 protected:
  static void SetUpTestSuite() { UseStandInFormats(); }
  static void TearDownTestSuite() { standin::CScript::Get().Reset(); }
};

TEST_P(KilledWorkTest, KillsLoseNothingThatWasAcknowledged) {
  CFaultWorkload workload(GetParam());
  long room = 0;
  for (; workload.RunUntilKilled(room); room += Stride(7)) {
    EXPECT_EQ(workload.FindLoss(), "") << "killed after " << room << " calls";
    workload.Restore();
  }
  EXPECT_GT(room, 100);
}

// Bytes that a disk or a person has changed. What they make of the rows is anybody's guess; the service has to live,
// and a sound file must be read as ever afterwards.
TEST_P(KilledWorkTest, DamagedFilesAreSurvived) {
  CFaultWorkload workload(GetParam());
  const SFileBytes sound = ReadFile(workload.File());
  std::mt19937 random(1);
  for (int i = 0; i < 40; ++i) {
    SFileBytes damaged = sound;
    for (int flips = 0; flips <= i % 4; ++flips) damaged[random() % damaged.size()] ^= std::uint8_t(1u << random() % 8);
    if (i % 5 == 0) damaged.resize(random() % damaged.size());
    WriteFile(workload.File(), damaged);
    workload.Run();
    workload.Restore();
  }
  workload.Run();
  EXPECT_EQ(workload.FindLoss(), "");
}

// The making of a new file.
class OpeningFaultsTest : public FaultsTest {
 protected:
  void SetUp() override { Restore(); }
  void Restore() {
    for (const char* tail : {"", "-journal", "-wal", "-shm"}) std::filesystem::remove(m_folder.Path("cache.db") + tail);
    if (GetParam().journal == EJournal::WriteAhead) CSql(m_folder.Path("cache.db")).Run("PRAGMA journal_mode=WAL");
  }
  void OpenAndStore() {
    m_stored = false;
    m_diag.Take();
    if (m_service.Open(m_folder.Wide("cache.db")) != 0) {
      EXPECT_EQ(m_diag.Take().size(), 1u) << "one reason for a failed open";
    } else {
      int id = 0;
      m_stored = m_service->InsertStoredItem(1, L"item", 0, &id) == 0 && m_diag.Take().empty();
    }
    m_service.Close();
    m_service->CloseDatabase();
  }
  std::string FindLoss() {
    std::string loss;
    try {
      if (m_service.Open(m_folder.Wide("cache.db")) != 0) loss = "it cannot be opened afterwards";
      m_service.Close();
      const CContents contents = ReadContents(m_folder.Path("cache.db"));
      if (m_stored && contents.size() != 1) loss = "an item is lost";
    } catch (const std::exception& exception) {
      loss = exception.what();
    }
    Restore();
    return loss;
  }

  CTempFolder m_folder;
  CServiceHandle m_service;
  CDiagRecorder m_diag;
  bool m_stored = false;
  const std::function<void()> m_run = [this] { OpenAndStore(); };
  const std::function<std::string()> m_findLoss = [this] { return FindLoss(); };
};

TEST_P(OpeningFaultsTest, IoErrorsLeaveAFileThatCanBeOpened) {
  WithFileFaults(CFaultyVfs::EFault::IoError, Stride(3), m_run, m_findLoss);
}

TEST_P(OpeningFaultsTest, FullDisksLeaveAFileThatCanBeOpened) {
  WithFileFaults(CFaultyVfs::EFault::DiskFull, Stride(3), m_run, m_findLoss);
}

TEST_P(OpeningFaultsTest, MemoryThatRunsOutLeavesAFileThatCanBeOpened) {
  WithMemoryFaults(Stride(23), m_run, m_findLoss);
}

INSTANTIATE_TEST_SUITE_P(Kinds, WorkFaultsTest, kKinds, NameOfKind);
INSTANTIATE_TEST_SUITE_P(Kinds, OpeningFaultsTest, kKinds, NameOfKind);
INSTANTIATE_TEST_SUITE_P(Journals, KilledWorkTest, ::testing::Values(EJournal::Rollback, EJournal::WriteAhead),
                         [](const auto& journal) { return NameOf(journal.param); });

}  // namespace
}  // namespace qvtest
