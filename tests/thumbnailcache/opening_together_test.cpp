#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <new>

#include "tests/thumbnailcache/support/expected_tables.h"
#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {
namespace {

#if defined(QV_ADDRESS_SANITIZER) || defined(QV_THREAD_SANITIZER)
constexpr int kRounds = 10;
#else
constexpr int kRounds = 40;
#endif

// A gate that several processes pass at the same moment.
class CGate {
 public:
  explicit CGate(int processes) : m_missing(new (Map()) std::atomic<int>(processes)) {}
  CGate(const CGate&) = delete;
  CGate& operator=(const CGate&) = delete;
  ~CGate() { munmap(m_missing, sizeof *m_missing); }

  void Pass() const {
    for (--*m_missing; *m_missing > 0;) sched_yield();
  }

 private:
  static void* Map() {
    return mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  }
  std::atomic<int>* m_missing;
};

class OpeningTogetherTest : public ServiceTest {
 protected:
  // Processes that open the file at the same moment and record a file each; how many succeeded with both.
  int OpenTogether(int processes) {
    const CGate gate(processes);
    std::vector<pid_t> children;
    for (int i = 0; i < processes; ++i) {
      const pid_t child = fork();
      if (child == 0) _exit(OpenAndRecord(gate, i));
      children.push_back(child);
    }
    int succeeded = 0;
    for (const pid_t child : children) {
      int status = -1;
      waitpid(child, &status, 0);
      if (WIFEXITED(status) && WEXITSTATUS(status) == 0) ++succeeded;
    }
    return succeeded;
  }

 private:
  int OpenAndRecord(const CGate& gate, int number) {
    gate.Pass();
    if (Host().Open(Folder().Wide("cache.db")) != 0) return 1;
    const std::int32_t written = Cache().WriteHistory((L"file" + std::to_wstring(number)).c_str(), L"ada", 1, 1);
    Host().Close();
    return written == 0 ? 0 : 2;
  }
};

class OpeningModeTest : public OpeningTogetherTest,
                        public ::testing::WithParamInterface<std::tuple<const char*, int>> {};

TEST_P(OpeningModeTest, NewFileIsOpenedByAll) {
  const auto& [journal, processes] = GetParam();
  for (int round = 0; round < kRounds; ++round) {
    for (const char* end : {"", "-wal", "-shm", "-journal"}) std::filesystem::remove(DatabaseFile() + end);
    if (*journal) CSql(DatabaseFile()).Run(std::string("PRAGMA journal_mode=") + journal);
    ASSERT_EQ(OpenTogether(processes), processes) << "round " << round;
    ASSERT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM history"), std::to_string(processes));
  }
}

TEST_P(OpeningModeTest, HistoryOfAnOlderVersionIsAlteredOnce) {
  const auto& [journal, processes] = GetParam();
  for (int round = 0; round < kRounds / 2; ++round) {
    for (const char* end : {"", "-wal", "-shm", "-journal"}) std::filesystem::remove(DatabaseFile() + end);
    {
      CSql sql(DatabaseFile());
      if (*journal) sql.Run(std::string("PRAGMA journal_mode=") + journal);
      sql.Run("CREATE TABLE history (filename TEXT, M_acqTime REAL, experimentID INTEGER, PRIMARY KEY (filename))");
      sql.Run("INSERT INTO history VALUES ('old', 1, 1)");
    }
    ASSERT_EQ(OpenTogether(processes), processes) << "round " << round;
    ASSERT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM history"), std::to_string(processes + 1));
  }
}

INSTANTIATE_TEST_SUITE_P(Modes, OpeningModeTest,
                         ::testing::Combine(::testing::Values("", "WAL"), ::testing::Values(2, 6)));

}  // namespace
}  // namespace qvtest
