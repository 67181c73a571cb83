#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <random>

#include "tests/support/sql.h"
#include "tests/support/temp_folder.h"
#include "tests/support/threads.h"
#include "tests/thumbnailcache/standin/standin.h"
#include "tests/thumbnailcache/support/every_operation.h"

// Eight callers, each with every operation in an order of its own, beside the workers. For the race detectors. A moment
// by default; QV_CALLERS_SECONDS makes it longer.

namespace qvtest {
namespace {

constexpr int kCallers = 8;

double Seconds() {
  const char* text = std::getenv("QV_CALLERS_SECONDS");
  return text ? std::atof(text) : 0;
}

class CallersTest : public ::testing::Test {
 protected:
  void SetUp() override {
    standin::CScript::Get().Reset();
    UseStandInFormats();
    CSql(m_folder.Path("cache.db")).Run("PRAGMA journal_mode=WAL; PRAGMA synchronous=OFF");
    for (int i = 0; i < 6; ++i) m_files.push_back(Describe(m_folder.MakeFileWide("image " + std::to_string(i)), i % 2));
    m_files.push_back(Describe(m_folder.Wide("missing")));
  }
  void TearDown() override { standin::CScript::Get().Reset(); }

  // A round of one caller: every operation but opening and closing, in any order.
  static void CallAll(CEveryOperation& every, std::mt19937& random) {
    std::vector<int> order;
    for (int operation = 0; operation < CEveryOperation::kCount; ++operation) {
      if (operation != CEveryOperation::kOpen && operation != CEveryOperation::kClose) order.push_back(operation);
    }
    std::shuffle(order.begin(), order.end(), random);
    for (const int operation : order) every.Call(operation);
    every.NextRound();
  }

  CTempFolder m_folder;
  std::vector<SQvThumbnailDescription> m_files;
};

TEST_F(CallersTest, EightCallersOfEveryOperationLeaveEverythingWhole) {
  constexpr int kRounds = 4, kOpenings = 3;
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(Seconds());
  CServiceHandle service;
  std::atomic<int> nextCaller{1};
  for (int opening = 0; opening < kOpenings || std::chrono::steady_clock::now() < end; ++opening) {
    ASSERT_EQ(service.Open(m_folder.Wide("cache.db")), 0);
    service->SetThumbnailBox(8, 6, false);
    service->SetThumbnailBox(8, 6, true);
    // The first time alone, before the workers: two of the detectors do not see how threads agree on making a
    // function's static objects.
    if (opening == 0) RequestNow(*service, m_files);
    RunThreads(opening == 0 ? 1 : kCallers, [&](int) {
      const int caller = nextCaller++;
      CEveryOperation every(*service, m_files, caller);
      std::mt19937 random(static_cast<unsigned>(caller));
      for (int round = 0; round < kRounds; ++round) CallAll(every, random);
    });
    ASSERT_EQ(service.Close(), 0);
  }
  EXPECT_EQ(CSql(m_folder.Path("cache.db")).Value("PRAGMA integrity_check"), "ok");
  EXPECT_EQ(standin::CScript::Get().Live(), standin::SBalance{});
}

}  // namespace
}  // namespace qvtest
