#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "system/qvref.h"
#include "tests/support/threads.h"
#include "tests/system/components/test_component.h"

namespace {

using qvtest::RunThreads;

constexpr int kThreads = 8;

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
      const auto object = QvCreate<IQvTestCounter>("CQvTestSingleton", "IQvTestCounter", SQvFileLine());
      ASSERT_TRUE(object);
      EXPECT_EQ(object->CountObjects(), 1);
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
      EXPECT_TRUE(QvCreate<IQvTestCounter>("CQvTestPlain", "IQvTestCounter", SQvFileLine()));
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
