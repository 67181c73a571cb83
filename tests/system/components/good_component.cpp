#include <atomic>

#include "system/qvrtti.h"
#include "system/qvrtti_records.h"
#include "tests/system/components/test_component.h"

namespace {

template <class Self>
class CTestObject : public IQvTestCounter, public virtual CQvClass {
 public:
  CTestObject(const char* file, unsigned int line) : m_file(file), m_line(line) { ++s_objects; }
  ~CTestObject() override { --s_objects; }

  std::int32_t AddRef() override { return IncrementRefCount(); }
  std::int32_t Release() override {
    const std::int32_t count = DecrementRefCount();
    if (count == 0 && IsDeletedAtZero()) {
      Self::BeforeDelete(this);
      delete this;
    }
    return count;
  }
  const char* GetClassName() const override { return Self::kName; }
  IQvInterface* QueryInterface(const char* name) override {
    if (std::strcmp(name, "IQvTestCounter") != 0) return nullptr;
    AddRef();
    return this;
  }
  void* GetMostDerivedObject() override { return dynamic_cast<void*>(this); }

  int CountObjects() override { return s_objects; }
  unsigned int GetLine() override { return m_line; }
  const char* GetFile() override { return m_file; }

 private:
  static inline std::atomic<int> s_objects{0};
  const char* m_file;
  unsigned int m_line;
};

struct SPlain {
  static constexpr const char* kName = "CQvTestPlain";
  static void BeforeDelete(void*) {}
};

// Deliberately without a guard of its own: the registry's is what makes it safe.
struct SSingleton {
  static constexpr const char* kName = "CQvTestSingleton";
  static inline CTestObject<SSingleton>* instance = nullptr;
  static void BeforeDelete(void*) { instance = nullptr; }
};

}  // namespace

extern "C" {

QV_EXPORT IQvInterface* QV_ConstructorForCQvTestPlain(const char* file, unsigned int line) {
  return new (file, line) CTestObject<SPlain>(file, line);
}

QV_EXPORT IQvInterface* QV_ConstructorForCQvTestSingleton(const char* file, unsigned int line) {
  if (SSingleton::instance) {
    SSingleton::instance->AddRef();
  } else {
    SSingleton::instance = new (file, line) CTestObject<SSingleton>(file, line);
  }
  return SSingleton::instance;
}

QV_EXPORT IQvInterface* QV_ConstructorForCQvTestNothing(const char*, unsigned int) { return nullptr; }

QV_EXPORT IQvInterface* QV_ConstructorForCQvTestThrows(const char*, unsigned int) { throw 1; }

QV_EXPORT extern const char16_t QV_RegistrationData[];
const char16_t QV_RegistrationData[] =
    QV_TEST_RECORD(u"CQvTestPlain", u"false") u"\0" QV_TEST_RECORD(u"CQvTestSingleton", u"true") u"\0" QV_TEST_RECORD(
        u"CQvTestNothing", u"false") u"\0" QV_TEST_RECORD(u"CQvTestThrows", u"false") u"\0";
}
