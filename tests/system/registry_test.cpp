#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "system/qvrtti.h"
#include "system/qvstatus.h"
#include "tests/support/diag_recorder.h"
#include "tests/support/temp_folder.h"
#include "tests/system/components/test_component.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

CQvStringW ComponentFolder(const char* set) {
  return CQvStringUtils::UTF8toW(std::string(QV_TEST_COMPONENTS "/") + set);
}

class RegistryTest : public testing::Test {
 protected:
  RegistryTest() { CQvRTTI::Reset(); }
  ~RegistryTest() override { CQvRTTI::Reset(); }

  static std::int32_t Scan(const char* set) { return CQvRTTI::ScanFolder(ComponentFolder(set).c_str()); }
  // The texts of the diagnostics since the last call.
  std::vector<std::wstring> TakeDiagnostics() { return m_diagnostics.TakeTexts(); }

 private:
  qvtest::CDiagRecorder m_diagnostics;
};

IQvTestCounter* Create(const char* className, std::int32_t line = 1) {
  IQvInterface* object = CQvRTTI::CreateAndQuery(className, "IQvTestCounter", SQvFileLine("caller.cpp", line));
  return object ? dynamic_cast<IQvTestCounter*>(object) : nullptr;
}

TEST_F(RegistryTest, FindsTheClassesOfAFolderOnce) {
  EXPECT_EQ(Scan("good"), 4);
  EXPECT_EQ(Scan("good"), 0);
  EXPECT_TRUE(TakeDiagnostics().empty());
  SQvRTTICacheEntry entry;
  ASSERT_TRUE(CQvRTTI::FindClass("CQvTestSingleton", &entry));
  EXPECT_EQ(entry.registration.className.Str(), L"CQvTestSingleton");
  EXPECT_EQ(entry.registration.parents[0].Str(), L"IQvTestCounter");
  EXPECT_TRUE(entry.registration.singleton);
  EXPECT_NE(entry.library, nullptr);
  EXPECT_NE(entry.factory, nullptr);
  EXPECT_TRUE(entry.libraryPath.Str().ends_with(L"/libgood_component.so"));
  ASSERT_TRUE(CQvRTTI::FindClass("CQvTestPlain", &entry));
  EXPECT_FALSE(entry.registration.singleton);
}

TEST_F(RegistryTest, AClassThatIsRegisteredStaysAsItIs) {
  EXPECT_EQ(Scan("good"), 4);
  EXPECT_EQ(Scan("rival"), 1);
  SQvRTTICacheEntry entry;
  ASSERT_TRUE(CQvRTTI::FindClass("CQvTestPlain", &entry));
  EXPECT_TRUE(entry.libraryPath.Str().ends_with(L"/libgood_component.so"));
  ASSERT_TRUE(CQvRTTI::FindClass("CQvTestRival", &entry));
  EXPECT_TRUE(entry.libraryPath.Str().ends_with(L"/librival_component.so"));
}

TEST_F(RegistryTest, UnknownClassesLeaveTheRecord) {
  SQvRTTICacheEntry entry;
  entry.libraryPath = L"before";
  EXPECT_FALSE(CQvRTTI::FindClass("CQvTestPlain", &entry));
  EXPECT_FALSE(CQvRTTI::FindClass(nullptr, &entry));
  EXPECT_FALSE(CQvRTTI::FindClass("CQvTestPlain", nullptr));
  EXPECT_EQ(entry.libraryPath.Str(), L"before");
}

TEST_F(RegistryTest, CreatesObjectsWithOneReference) {
  ASSERT_EQ(Scan("good"), 4);
  const std::int64_t live = QV_GetLiveClassObjects();
  IQvTestCounter* first = Create("CQvTestPlain", 42);
  ASSERT_NE(first, nullptr);
  IQvTestCounter* second = Create("CQvTestPlain");
  EXPECT_NE(first, second);
  EXPECT_EQ(first->CountObjects(), 2);
  EXPECT_EQ(first->GetLine(), 42u);
  EXPECT_STREQ(first->GetFile(), "caller.cpp");
  EXPECT_EQ(first->AddRef(), 2);
  CQvRTTI::Release(first);
  CQvRTTI::Release(first);
  EXPECT_EQ(second->CountObjects(), 1);
  CQvRTTI::Release(second);
  EXPECT_EQ(QV_GetLiveClassObjects(), live);
  CQvRTTI::Release(nullptr);
}

TEST_F(RegistryTest, NamesACallerWithoutALocation) {
  ASSERT_EQ(Scan("good"), 4);
  IQvInterface* object = CQvRTTI::CreateAndQuery("CQvTestPlain", "IQvTestCounter", SQvFileLine());
  ASSERT_NE(object, nullptr);
  EXPECT_STREQ(dynamic_cast<IQvTestCounter*>(object)->GetFile(), "no file");
  EXPECT_EQ(dynamic_cast<IQvTestCounter*>(object)->GetLine(), 0u);
  CQvRTTI::Release(object);
}

TEST_F(RegistryTest, ASingletonIsOneObject) {
  ASSERT_EQ(Scan("good"), 4);
  IQvTestCounter* first = Create("CQvTestSingleton");
  IQvTestCounter* second = Create("CQvTestSingleton");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first, second);
  EXPECT_EQ(first->CountObjects(), 1);
  CQvRTTI::Release(first);
  EXPECT_EQ(second->CountObjects(), 1);
  const std::int64_t live = QV_GetLiveClassObjects();
  CQvRTTI::Release(second);
  EXPECT_EQ(QV_GetLiveClassObjects(), live - 1);
}

TEST_F(RegistryTest, FailuresGiveNoObjectAndLeaveNone) {
  ASSERT_EQ(Scan("good"), 4);
  const std::int64_t live = QV_GetLiveClassObjects();
  EXPECT_EQ(CQvRTTI::CreateAndQuery("CQvTestUnknown", "IQvTestCounter", SQvFileLine()), nullptr);
  EXPECT_EQ(CQvRTTI::CreateAndQuery("CQvTestNothing", "IQvTestCounter", SQvFileLine()), nullptr);
  EXPECT_EQ(CQvRTTI::CreateAndQuery("CQvTestPlain", "IQvInterface", SQvFileLine()), nullptr);
  EXPECT_EQ(CQvRTTI::CreateAndQuery("CQvTestSingleton", "IQvOther", SQvFileLine()), nullptr);
  EXPECT_EQ(CQvRTTI::CreateAndQuery(nullptr, "IQvTestCounter", SQvFileLine()), nullptr);
  EXPECT_EQ(CQvRTTI::CreateAndQuery("CQvTestPlain", nullptr, SQvFileLine()), nullptr);
  EXPECT_TRUE(TakeDiagnostics().empty());
  EXPECT_EQ(CQvRTTI::CreateAndQuery("CQvTestThrows", "IQvTestCounter", SQvFileLine()), nullptr);
  EXPECT_THAT(TakeDiagnostics(), ElementsAre(HasSubstr(L"CQvTestThrows")));
  EXPECT_EQ(QV_GetLiveClassObjects(), live);
}

TEST_F(RegistryTest, FaultyLibrariesAreReportedAndSkipped) {
  EXPECT_EQ(Scan("faulty"), 0);
  EXPECT_THAT(TakeDiagnostics(),
              UnorderedElementsAre(HasSubstr(L"libfaulty_unterminated.so: malformed registration data: unterminated"),
                                   HasSubstr(L"libfaulty_not_xml.so: malformed registration data: not well-formed XML"),
                                   HasSubstr(L"libfaulty_no_factory.so: no factory for class CQvTestFaulty"),
                                   HasSubstr(L"libfaulty_unsized.so: malformed registration data")));
  SQvRTTICacheEntry entry;
  EXPECT_FALSE(CQvRTTI::FindClass("CQvTestFaulty", &entry));
}

TEST_F(RegistryTest, LeavesAloneWhatIsNoLibrary) {
  std::wstring path;
  {
    const qvtest::CTempFolder folder;
    folder.MakeFolder("folder.so");
    folder.MakeFile("text.so", "not a library");
    folder.MakeFile(".so", "no name");
    folder.MakeFile("empty.so", "");
    std::filesystem::create_symlink(QV_TEST_COMPONENTS "/good/libgood_component.so", folder.Path("link.so"));
    std::filesystem::create_symlink(QV_TEST_COMPONENTS "/rival/librival_component.so", folder.Path("rival.so.1"));
    path = folder.Wide();
    EXPECT_EQ(CQvRTTI::ScanFolder(path.c_str()), 4);
  }
  EXPECT_EQ(CQvRTTI::ScanFolder(path.c_str()), kQvFailure);
  EXPECT_EQ(CQvRTTI::ScanFolder(nullptr), kQvFailure);
  EXPECT_EQ(CQvRTTI::ScanFolder(L""), kQvFailure);
}

TEST_F(RegistryTest, ObjectsOutliveAReset) {
  ASSERT_EQ(Scan("good"), 4);
  IQvTestCounter* object = Create("CQvTestSingleton");
  CQvRTTI::Reset();
  SQvRTTICacheEntry entry;
  EXPECT_FALSE(CQvRTTI::FindClass("CQvTestSingleton", &entry));
  EXPECT_EQ(object->CountObjects(), 1);
  CQvRTTI::Release(object);
  EXPECT_EQ(Scan("good"), 4);
}

TEST_F(RegistryTest, KnowsTheFolderOfTheSystemLibrary) {
  const std::string folder = CQvStringUtils::WtoUTF8(CQvRTTI::GetLibraryFolder()).Str();
  EXPECT_TRUE(std::filesystem::exists(folder + "/libqvsystem.so")) << folder;
}

TEST_F(RegistryTest, RecordsAreCopiedAndMoved) {
  SQvRTTICacheEntry entry;
  entry.registration.className = L"C";
  entry.registration.parents[8] = L"I";
  entry.registration.singleton = true;
  entry.libraryPath = L"p";
  SQvRTTICacheEntry copy(entry), assigned;
  assigned = copy;
  const SQvRTTICacheEntry moved(std::move(assigned));
  EXPECT_EQ(moved.registration.className.Str(), L"C");
  EXPECT_EQ(moved.registration.parents[8].Str(), L"I");
  EXPECT_TRUE(moved.registration.singleton);
  EXPECT_EQ(moved.libraryPath.Str(), L"p");
}

}  // namespace
