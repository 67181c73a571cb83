#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "imageformats/iqvimageformatmanager.h"
#include "imageformats/iqvimageviewsettings.h"
#include "system/qvref.h"
#include "system/qvrtti.h"
#include "system/qvstatus.h"

namespace {

constexpr const char* kClass = "CQvImageFormatManagerImpl";
constexpr const char* kInterface = "IQvImageFormatManager";

class RegistrationTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_GE(CQvRTTI::ScanFolder(CQvRTTI::GetLibraryFolder().c_str()), 1); }

  static IQvImageFormatManager* NewManager() {
    return dynamic_cast<IQvImageFormatManager*>(CQvRTTI::CreateAndQuery(kClass, kInterface, SQvFileLine("no file")));
  }
};

TEST_F(RegistrationTest, TheRegistryFindsTheClass) {
  SQvRTTICacheEntry entry;
  ASSERT_TRUE(CQvRTTI::FindClass(kClass, &entry));
  EXPECT_EQ(entry.registration.className, CQvStringW(L"CQvImageFormatManagerImpl"));
  EXPECT_EQ(entry.registration.parents[0], CQvStringW(L"IQvImageFormatManager"));
  for (int i = 1; i < SQvRTTIClass::kParentCount; ++i) EXPECT_TRUE(entry.registration.parents[i].IsEmpty());
  EXPECT_FALSE(entry.registration.singleton);
}

TEST_F(RegistrationTest, EveryObjectOfTheSettingsHasTheViewOfTheProcess) {
  const auto create = [] {
    return QvCreate<IQvImageViewSettings>("CQvImageViewSettingsImpl", "IQvImageViewSettings", SQvFileLine("no file"));
  };
  const CQvRef<IQvImageViewSettings> a = create(), b = create();
  ASSERT_TRUE(a && b);
  SQvImageView view;
  ASSERT_EQ(a->GetView(&view), kQvOk);
  EXPECT_EQ(view.planes, kQvPlaneMiddle);
  EXPECT_EQ(view.position, kQvOwnPosition);
  EXPECT_EQ(view.channels, 0xFFFFFFFFu);
  view.planes = kQvPlaneGiven;
  view.z = 7;
  EXPECT_EQ(a->SetView(view), kQvOk);
  SQvImageView seen;
  EXPECT_EQ(b->GetView(&seen), kQvOk);
  EXPECT_EQ(seen.planes, kQvPlaneGiven);
  EXPECT_EQ(seen.z, 7u);
  view.planes = 99;
  EXPECT_EQ(b->SetView(view), kQvFailure);
  EXPECT_EQ(a->GetView(&seen), kQvOk);
  EXPECT_EQ(seen.planes, kQvPlaneGiven);
  EXPECT_EQ(a->GetView(nullptr), kQvFailure);
  EXPECT_EQ(a->SetView({}), kQvOk);
}

TEST_F(RegistrationTest, EachCallerHasAManagerOfItsOwn) {
  IQvImageFormatManager* a = NewManager();
  IQvImageFormatManager* b = NewManager();
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_NE(a, b);
  EXPECT_STREQ(a->GetClassName(), kClass);
  EXPECT_EQ(a->QueryInterface("IQvThumbnailCache"), nullptr);
  EXPECT_EQ(a->QueryInterface(nullptr), nullptr);
  CQvRTTI::Release(a);
  CQvRTTI::Release(b);
}

TEST_F(RegistrationTest, NothingIsLeftBehind) {
  const std::int64_t before = QV_GetLiveClassObjects();
  IQvImageFormatManager* manager = NewManager();
  IQvImageCodec* codec = nullptr;
  ASSERT_EQ(manager->GetCodecByName("JPG", &codec), kQvOk);
  CQvRTTI::Release(manager);
  // What a manager hands out may outlive it.
  const char text[] = "not a picture";
  IQvPictureSource* source = nullptr;
  EXPECT_EQ(codec->OpenInputMemory(text, sizeof text, &source), kQvFailure);
  EXPECT_EQ(source, nullptr);
  EXPECT_STREQ(codec->GetClassName(), "CQvImageCodec");
  CQvRTTI::Release(codec);
  EXPECT_EQ(QV_GetLiveClassObjects(), before);
}

TEST_F(RegistrationTest, FactoriesRunOnSeveralThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int k = 0; k < 50; ++k) {
        IQvImageFormatManager* manager = NewManager();
        ASSERT_NE(manager, nullptr);
        IQvImageCodec* codec = nullptr;
        EXPECT_EQ(manager->GetCodecByName(k % 2 ? "PNG" : "JPG", &codec), kQvOk);
        CQvRTTI::Release(codec);
        CQvRTTI::Release(manager);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
