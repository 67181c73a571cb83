#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "system/qvrtti.h"
#include "tests/system/components/test_component.h"

namespace {

constexpr int kThreads = 8;

void RunThreads(int threads, void (*work)(int)) {
  std::vector<std::thread> running;
  for (int i = 0; i < threads; ++i) running.emplace_back(work, i);
  for (std::thread& thread : running) thread.join();
}

void ScanGood() {
  const CQvStringW folder = CQvStringUtils::UTF8toW(std::string(QV_TEST_COMPONENTS "/good"));
  EXPECT_GE(CQvRTTI::ScanFolder(folder.c_str()), 0);
}

TEST(RegistryThreads, ASingletonIsCreatedAndReleasedByOneThreadAtATime) {
  CQvRTTI::Reset();
  ScanGood();
  const std::int64_t live = QV_GetLiveClassObjects();
  RunThreads(kThreads, [](int) {
    for (int i = 0; i < 500; ++i) {
      IQvInterface* object = CQvRTTI::CreateAndQuery("CQvTestSingleton", "IQvTestCounter", SQvFileLine());
      ASSERT_NE(object, nullptr);
      EXPECT_EQ(dynamic_cast<IQvTestCounter*>(object)->CountObjects(), 1);
      CQvRTTI::Release(object);
    }
  });
  EXPECT_EQ(QV_GetLiveClassObjects(), live);
}

TEST(RegistryThreads, ScanningLookingUpAndCreatingDoNotRace) {
  CQvRTTI::Reset();
  ScanGood();
  RunThreads(kThreads, [](int thread) {
    for (int i = 0; i < 20; ++i) {
      if (thread == 0) ScanGood();
      SQvRTTICacheEntry entry;
      EXPECT_TRUE(CQvRTTI::FindClass("CQvTestPlain", &entry));
      IQvInterface* object = CQvRTTI::CreateAndQuery("CQvTestPlain", "IQvTestCounter", SQvFileLine());
      ASSERT_NE(object, nullptr);
      CQvRTTI::Release(object);
    }
  });
}

TEST(RegistryThreads, EveryClassIsAddedOnceByConcurrentScans) {
  CQvRTTI::Reset();
  static std::atomic<int> added;
  added = 0;
  RunThreads(4, [](int) {
    const CQvStringW folder = CQvStringUtils::UTF8toW(std::string(QV_TEST_COMPONENTS "/good"));
    added += CQvRTTI::ScanFolder(folder.c_str());
  });
  EXPECT_EQ(added, 4);
}

}  // namespace
