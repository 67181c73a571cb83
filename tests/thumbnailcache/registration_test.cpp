#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "system/qvrtti.h"
#include "tests/thumbnailcache/support/service.h"

namespace {

// The component's library, loaded as the registry does.
class RegistrationTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string path = CQvStringUtils::WtoUTF8(CQvRTTI::GetLibraryFolder()).Str() + "/libgnr_thumbnailcache.so";
    m_library = dlopen(path.c_str(), RTLD_NOW);
    ASSERT_NE(m_library, nullptr) << dlerror();
  }

  // The symbol's address when this library itself defines it.
  void* Own(const char* symbol) const {
    void* address = dlsym(m_library, symbol);
    Dl_info info{};
    if (!address || dladdr(address, &info) == 0) return nullptr;
    return std::string(info.dli_fname).ends_with("libgnr_thumbnailcache.so") ? address : nullptr;
  }

  void* m_library = nullptr;
};

TEST_F(RegistrationTest, TextIsExact) {
  const auto* text = static_cast<const char16_t*>(Own(QV_REGISTRATION_SYMBOL));
  ASSERT_NE(text, nullptr);
  const std::u16string expected =
      u"<variant version=\"1.0\"><CQvThumbnailCacheImpl runtype=\"RQvRttiClass\">"
      u"<m_parent1 runtype=\"CQvStringW\" value=\"IQvThumbnailCache\"/>"
      u"<m_parent2 runtype=\"CQvStringW\" value=\"\"/>"
      u"<m_parent3 runtype=\"CQvStringW\" value=\"\"/>"
      u"<m_parent4 runtype=\"CQvStringW\" value=\"\"/>"
      u"<m_parent5 runtype=\"CQvStringW\" value=\"\"/>"
      u"<m_parent6 runtype=\"CQvStringW\" value=\"\"/>"
      u"<m_parent7 runtype=\"CQvStringW\" value=\"\"/>"
      u"<m_parent8 runtype=\"CQvStringW\" value=\"\"/>"
      u"<m_parent9 runtype=\"CQvStringW\" value=\"\"/>"
      u"<m_additional runtype=\"CQvListVariant\"><m_singleton runtype=\"bool\" value=\"true\"/></m_additional>"
      u"</CQvThumbnailCacheImpl></variant>";
  EXPECT_EQ(std::u16string(text), expected);
  EXPECT_EQ(text[expected.size() + 1], u'\0') << "the list of texts must end";
}

TEST_F(RegistrationTest, LibraryExportsFactoryHolderAndRecordMembers) {
  for (const char* symbol : {
           "QV_ConstructorForCQvThumbnailCacheImpl",
           "_ZN21CQvThumbnailCacheImpl7ptrWrapE",
           "_ZN12SQvRTTIClassC1Ev",
           "_ZN12SQvRTTIClassC1ERKS_",
           "_ZN12SQvRTTIClassC1EOS_",
           "_ZN12SQvRTTIClassD1Ev",
           "_ZN12SQvRTTIClassaSERKS_",
           "_ZN12SQvRTTIClassaSEOS_",
           "_ZN17SQvRTTICacheEntryC1Ev",
           "_ZN17SQvRTTICacheEntryC1ERKS_",
           "_ZN17SQvRTTICacheEntryC1EOS_",
           "_ZN17SQvRTTICacheEntryD1Ev",
           "_ZN17SQvRTTICacheEntryaSERKS_",
           "_ZN17SQvRTTICacheEntryaSEOS_",
       })
    EXPECT_NE(Own(symbol), nullptr) << symbol;
}

TEST_F(RegistrationTest, RegistryFindsTheClass) {
  qvtest::UseInstalledComponents();
  SQvRTTICacheEntry entry;
  ASSERT_TRUE(CQvRTTI::FindClass("CQvThumbnailCacheImpl", &entry));
  EXPECT_EQ(entry.registration.className.Str(), L"CQvThumbnailCacheImpl");
  EXPECT_EQ(entry.registration.parents[0].Str(), L"IQvThumbnailCache");
  for (int i = 1; i < SQvRTTIClass::kParentCount; ++i) EXPECT_TRUE(entry.registration.parents[i].IsEmpty()) << i;
  EXPECT_TRUE(entry.registration.singleton);
  EXPECT_EQ(entry.factory, Own("QV_ConstructorForCQvThumbnailCacheImpl"));
}

}  // namespace
