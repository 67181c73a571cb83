#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "system/qvclass.h"
#include "system/qvrtti.h"
#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {
namespace {

QvFactory Factory() {
  UseInstalledComponents();
  SQvRTTICacheEntry entry;
  EXPECT_TRUE(CQvRTTI::FindClass("CQvThumbnailCacheImpl", &entry));
  return reinterpret_cast<QvFactory>(entry.factory);
}

// The factory and the count, without a fixture's own reference.
class ServiceObjectTest : public ::testing::Test {
 protected:
  QvFactory m_factory = Factory();
};

TEST_F(ServiceObjectTest, FactoryGivesTheOneInstanceAndAddsAReference) {
  IQvInterface* first = m_factory(__FILE__, __LINE__);
  ASSERT_NE(first, nullptr);
  IQvInterface* second = m_factory(__FILE__, __LINE__);
  EXPECT_EQ(first, second);
  EXPECT_EQ(first->AddRef(), 3);
  EXPECT_EQ(first->Release(), 2);
  EXPECT_EQ(first->Release(), 1);
  EXPECT_EQ(first->Release(), 0);
}

TEST_F(ServiceObjectTest, LastReleaseDeletesSoThatTheNextFactoryCallStartsAfresh) {
  const std::int64_t before = QV_GetLiveClassObjects();
  IQvInterface* object = m_factory(__FILE__, __LINE__);
  EXPECT_EQ(QV_GetLiveClassObjects(), before + 1);
  dynamic_cast<IQvThumbnailCache*>(object)->SetCacheLimit(77);
  EXPECT_EQ(object->Release(), 0);
  EXPECT_EQ(QV_GetLiveClassObjects(), before);

  object = m_factory(__FILE__, __LINE__);
  EXPECT_EQ(object->AddRef(), 2);
  object->Release();
  EXPECT_EQ(dynamic_cast<IQvThumbnailCache*>(object)->GetCacheLimit(), 0u);
  EXPECT_EQ(object->Release(), 0);
}

TEST_F(ServiceObjectTest, QueryInterfaceKnowsOneExactName) {
  IQvInterface* object = m_factory(__FILE__, __LINE__);
  for (const char* name : {"IQvInterface", "CQvThumbnailCacheImpl", "iqvthumbnailcache", "IQvThumbnailCache ", ""})
    EXPECT_EQ(object->QueryInterface(name), nullptr) << name;
  EXPECT_EQ(object->AddRef(), 2) << "a refused query must not count";
  EXPECT_EQ(object->Release(), 1);

  IQvInterface* found = object->QueryInterface("IQvThumbnailCache");
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(dynamic_cast<IQvThumbnailCache*>(found), dynamic_cast<IQvThumbnailCache*>(object));
  EXPECT_EQ(object->Release(), 1);
  EXPECT_EQ(object->Release(), 0);
}

TEST_F(ServiceObjectTest, NamesItsClassAndItself) {
  IQvInterface* object = m_factory(__FILE__, __LINE__);
  EXPECT_STREQ(object->GetClassName(), "CQvThumbnailCacheImpl");
  auto* asClass = dynamic_cast<CQvClass*>(object);
  ASSERT_NE(asClass, nullptr);
  EXPECT_EQ(asClass->GetMostDerivedObject(), dynamic_cast<void*>(object));
  object->Release();
}

TEST_F(ServiceObjectTest, ScalarMembersStartAtZero) {
  IQvInterface* object = m_factory(__FILE__, __LINE__);
  auto* cache = dynamic_cast<IQvThumbnailCache*>(object);
  bool high = true;
  EXPECT_EQ(cache->GetHighQuality(&high), 0);
  EXPECT_FALSE(high);
  EXPECT_EQ(cache->GetCacheLimit(), 0u);
  for (const bool quality : {true, false}) {
    std::uint32_t width = 1, height = 1;
    cache->GetThumbnailBox(quality, &width, &height);
    EXPECT_EQ(width, 0u);
    EXPECT_EQ(height, 0u);
  }
  object->Release();
}

TEST_F(ServiceObjectTest, ManyThreadsGetOneInstance) {
  IQvInterface* seen[8] = {};
  std::vector<std::thread> threads;
  for (IQvInterface*& slot : seen)
    threads.emplace_back([&slot] {
      slot = CQvRTTI::CreateAndQuery("CQvThumbnailCacheImpl", "IQvThumbnailCache", SQvFileLine("tests", 1));
    });
  for (std::thread& thread : threads) thread.join();
  for (IQvInterface* object : seen) EXPECT_EQ(object, seen[0]);
  EXPECT_EQ(seen[0]->AddRef(), 9);
  seen[0]->Release();
  for (IQvInterface* object : seen) CQvRTTI::Release(object);
}

TEST_F(ServiceObjectTest, InstanceLeftBehindIsDeletedAtExit) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(
      {
        m_factory(__FILE__, __LINE__);
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

class SettingsTest : public ServiceTest {};

TEST_F(SettingsTest, SmallOperationsAnswerWhateverTheState) {
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(Cache().NotImplemented(), -2);
    EXPECT_EQ(Cache().DoNothing(), 0);
    EXPECT_FALSE(Cache().IgnoreLocation(L"anything"));
    if (round == 0) {
      ASSERT_EQ(Open(), 0);
    }
  }
}

// The workers stayed in the process that it was forked from.
TEST_F(SettingsTest, ForkedProcessEndsWithoutWaitingForWorkers) {
#if defined(QV_ADDRESS_SANITIZER)
  GTEST_SKIP() << "the leak checker finds nobody in the copy who holds what the workers hold";
#endif
  ASSERT_EQ(Open(), 0);
  const pid_t child = fork();
  if (child == 0) {
    alarm(20);
    std::exit(3);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 3);
}

TEST_F(SettingsTest, OpenSetsTheDefaults) {
  ASSERT_EQ(Open(), 0);
  std::uint32_t width = 0, height = 0;
  EXPECT_EQ(Cache().GetThumbnailBox(true, &width, &height), 0);
  EXPECT_EQ(width, 640u);
  EXPECT_EQ(height, 240u);
  EXPECT_EQ(Cache().GetThumbnailBox(false, &width, &height), 0);
  EXPECT_EQ(width, 480u);
  EXPECT_EQ(height, 180u);
  EXPECT_EQ(Cache().GetCacheLimit(), sizeof(void*) == 8 ? 1000u : 600u);
  bool high = true;
  EXPECT_EQ(Cache().GetHighQuality(&high), 0);
  EXPECT_FALSE(high);
}

TEST_F(SettingsTest, SettersKeepWhatTheyAreGiven) {
  ASSERT_EQ(Open(), 0);
  EXPECT_EQ(Cache().SetHighQuality(true), 0);
  bool high = false;
  Cache().GetHighQuality(&high);
  EXPECT_TRUE(high);
  EXPECT_EQ(Cache().SetThumbnailBox(0, 0xFFFFFFFFu, true), 0);
  EXPECT_EQ(Cache().SetThumbnailBox(12, 34, false), 0);
  std::uint32_t width = 1, height = 1;
  Cache().GetThumbnailBox(true, &width, &height);
  EXPECT_EQ(width, 0u);
  EXPECT_EQ(height, 0xFFFFFFFFu);
  Cache().GetThumbnailBox(false, &width, &height);
  EXPECT_EQ(width, 12u);
  EXPECT_EQ(height, 34u);
  EXPECT_EQ(Cache().SetCacheLimit(5), 0);
  EXPECT_EQ(Cache().GetCacheLimit(), 5u);
}

TEST_F(SettingsTest, NullOutputsAreSkipped) {
  ASSERT_EQ(Open(), 0);
  EXPECT_EQ(Cache().GetThumbnailBox(true, nullptr, nullptr), 0);
  std::uint32_t height = 0;
  EXPECT_EQ(Cache().GetThumbnailBox(true, nullptr, &height), 0);
  EXPECT_EQ(height, 240u);
}

struct SCounter {
  std::atomic<int> calls{0};
  static void Call(void* context, const wchar_t*) { ++static_cast<SCounter*>(context)->calls; }
  static void CallOther(void* context, const wchar_t*) { static_cast<SCounter*>(context)->calls += 100; }
};

TEST_F(SettingsTest, RemoveListenerRemovesTheFirstEqualPairOnly) {
  ASSERT_EQ(Open(), 0);
  SCounter counter, other;
  const QvThumbnailListener handle = Cache().AddListener(&SCounter::Call, &counter);
  EXPECT_EQ(handle, QvThumbnailListener(&SCounter::Call, &counter));
  Cache().AddListener(&SCounter::Call, &counter);
  Cache().AddListener(&SCounter::Call, &other);
  CRecordingListener last(Cache());

  Cache().RemoveListener({&SCounter::Call, &counter});
  Cache().RemoveListener({&SCounter::CallOther, &counter});
  Cache().RemoveListener({&SCounter::Call, nullptr});
  MakeOne(last);
  EXPECT_EQ(counter.calls, 1);
  EXPECT_EQ(other.calls, 1);

  Cache().RemoveListener(handle);
  Cache().RemoveListener(handle);
  MakeOne(last);
  EXPECT_EQ(counter.calls, 1);
  EXPECT_EQ(other.calls, 2);
}

TEST_F(SettingsTest, ListenersAreCalledInTheOrderOfTheirRegistration) {
  ASSERT_EQ(Open(), 0);
  static std::vector<int> order;
  static std::mutex mutex;
  order.clear();
  const auto note = [](void* context, const wchar_t*) {
    std::lock_guard lock(mutex);
    order.push_back(static_cast<int>(reinterpret_cast<std::intptr_t>(context)));
  };
  for (std::intptr_t i = 1; i <= 3; ++i) Cache().AddListener(note, reinterpret_cast<void*>(i));
  CRecordingListener last(Cache());
  MakeOne(last);
  std::lock_guard lock(mutex);
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

}  // namespace
}  // namespace qvtest
