#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

#include "system/qvclass.h"
#include "tests/support/threads.h"

namespace {

class CCounted : public virtual CQvClass {
 public:
  explicit CCounted(bool* deleted = nullptr) : m_deleted(deleted) {}
  ~CCounted() override {
    if (m_deleted) *m_deleted = true;
  }
  std::int32_t AddRef() override { return IncrementRefCount(); }
  std::int32_t Release() override {
    const std::int32_t count = DecrementRefCount();
    if (count == 0 && IsDeletedAtZero()) delete this;
    return count;
  }
  const char* GetClassName() const override { return "CCounted"; }
  IQvInterface* QueryInterface(const char*) override { return nullptr; }
  void* GetMostDerivedObject() override { return this; }

  bool StartsMarkedForDeletion() const { return IsDeletedAtZero(); }

 private:
  bool* m_deleted;
};

class CThrowing : public CCounted {
 public:
  CThrowing() { throw std::runtime_error("no"); }
};

TEST(Class, StartsWithTheCreatorsReferenceAndGoesWithTheLast) {
  const std::int64_t before = QV_GetLiveClassObjects();
  bool deleted = false;
  auto* object = new ("here", 1) CCounted(&deleted);
  EXPECT_TRUE(object->StartsMarkedForDeletion());
  EXPECT_EQ(QV_GetLiveClassObjects(), before + 1);
  EXPECT_EQ(object->AddRef(), 2);
  EXPECT_EQ(object->Release(), 1);
  EXPECT_FALSE(deleted);
  EXPECT_EQ(object->Release(), 0);
  EXPECT_TRUE(deleted);
  EXPECT_EQ(QV_GetLiveClassObjects(), before);
}

TEST(Class, GivesTheMemoryBackWhenTheConstructorThrows) {
  const std::int64_t before = QV_GetLiveClassObjects();
  EXPECT_THROW(new ("here", 2) CThrowing, std::runtime_error);
  EXPECT_EQ(QV_GetLiveClassObjects(), before);
}

TEST(Class, DeletingNullCountsNothing) {
  const std::int64_t before = QV_GetLiveClassObjects();
  CCounted* none = nullptr;
  delete none;
  EXPECT_EQ(QV_GetLiveClassObjects(), before);
}

TEST(Class, CountsReferencesOfManyThreads) {
  bool deleted = false;
  auto* object = new ("here", 3) CCounted(&deleted);
  constexpr int kThreads = 4;
  for (int i = 0; i < kThreads; ++i) object->AddRef();
  object->Release();
  qvtest::RunThreads(kThreads, [object](int) {
    for (int n = 0; n < 1000; ++n) {
      object->AddRef();
      object->Release();
    }
    object->Release();
  });
  EXPECT_TRUE(deleted);
}

}  // namespace
