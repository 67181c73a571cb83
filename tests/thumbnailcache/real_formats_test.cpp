#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>

#include "tests/support/diag_recorder.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/samples.h"
#include "tests/support/sql.h"
#include "tests/support/temp_folder.h"
#include "tests/thumbnailcache/support/service.h"

// The service with the platform's own image formats.
namespace qvtest {
namespace {

class RealFormatsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    UseInstalledComponents();
    m_service = std::make_unique<CServiceHandle>();
    ASSERT_EQ(m_service->Open(m_folder.Wide("cache.db")), 0);
    m_listener = std::make_unique<CRecordingListener>(**m_service);
  }
  void TearDown() override {
    m_listener.reset();
    m_service.reset();
  }

  // A JPEG stream: the left half of one colour, the right half of another.
  static SFileBytes Encode(std::uint32_t width, std::uint32_t height, std::uint32_t components, std::uint8_t left,
                           std::uint8_t right) {
    STestPicture picture = BlackPicture(width, height, components);
    const std::size_t rowSamples = std::size_t{width} * components;
    for (std::size_t i = 0; i < picture.samples.size(); ++i) {
      picture.samples[i] = i % rowSamples / components < width / 2 ? left : right;
    }
    SJpegRecipe recipe;
    recipe.quality = 95;
    return EncodeJpeg(picture, recipe);
  }
  std::wstring WriteJpeg(const std::string& name, std::uint32_t width, std::uint32_t height, std::uint8_t left,
                         std::uint8_t right) {
    const auto bytes = Encode(width, height, 3, left, right);
    return m_folder.MakeFileWide(name, bytes);
  }
  static int At(const SQvPicBuf& picture, std::uint32_t x, std::uint32_t y) {
    return static_cast<const std::uint8_t*>(picture.data)[std::size_t{y} * picture.widthBytes + x * 3];
  }
  // What JPEG and scaling may do to a flat area.
  static void ExpectHalves(const SQvPicBuf& picture, int left, int right) {
    for (const std::uint32_t y : {picture.height / 4, picture.height * 3 / 4}) {
      EXPECT_NEAR(At(picture, picture.width / 4, y), left, 6);
      EXPECT_NEAR(At(picture, picture.width * 3 / 4, y), right, 6);
    }
  }

  CTempFolder m_folder;
  CDiagRecorder m_diag;
  std::unique_ptr<CServiceHandle> m_service;
  std::unique_ptr<CRecordingListener> m_listener;
};

TEST_F(RealFormatsTest, JpegGetsAThumbnailThatSurvivesItsRow) {
  const auto desc = Describe(WriteJpeg("IMG_0001.JPG", 1200, 900, 30, 220));
  Queue(**m_service, {desc});
  m_listener->Wait(1);
  SLookup look = Get(**m_service, desc);
  ASSERT_EQ(look.state, kQvThumbnailReady);
  EXPECT_EQ(look.picture.width, 240u);
  EXPECT_EQ(look.picture.height, 180u);
  ExpectHalves(look.picture, 30, 220);
  (*m_service)->ReleaseThumbnail(1, desc);

  (*m_service)->PurgeUnusedThumbnails();
  std::filesystem::remove(m_folder.Path("IMG_0001.JPG"));
  RequestNow(**m_service, {desc});
  look = Get(**m_service, desc);
  ASSERT_EQ(look.state, kQvThumbnailReady) << "from its row, the file is gone";
  EXPECT_EQ(look.picture.width, 240u);
  ExpectHalves(look.picture, 30, 220);
  (*m_service)->ReleaseThumbnail(1, desc);
  EXPECT_TRUE(m_diag.Take().empty());
}

TEST_F(RealFormatsTest, RowIsAJpegStream) {
  RequestNow(**m_service, {Describe(WriteJpeg("a.jpg", 600, 400, 30, 220))});
  EXPECT_EQ(CSql(m_folder.Path("cache.db")).Value("SELECT hex(substr(binData, 1, 3)), quality FROM cache"), "FFD8FF|0");
  EXPECT_EQ(CSql(m_folder.Path("cache.db")).Value("SELECT M_width, M_height FROM metadata"), "600|400");
}

TEST_F(RealFormatsTest, GreyRowIsRefusedAndReplaced) {
  const std::wstring path = WriteJpeg("a.jpg", 600, 400, 30, 220);
  RequestNow(**m_service, {Describe(path)});
  const auto grey = Encode(60, 40, 1, 10, 10);
  const std::string hex = Hex(grey);
  for (const std::string& blob :
       {hex, std::string("ffd8ffe0"), hex.substr(0, hex.size() / 2 & ~std::size_t{1}), std::string("00")}) {
    CSql(m_folder.Path("cache.db")).Run("UPDATE cache SET binData = x'" + blob + "'");
    (*m_service)->PurgeUnusedThumbnails();
    RequestNow(**m_service, {Describe(path)});
    EXPECT_EQ(m_diag.Take().size(), 1u);
    EXPECT_EQ(PeekState(**m_service, Describe(path)), kQvThumbnailReady);
  }
}

TEST_F(RealFormatsTest, HalfAJpegFails) {
  const auto bytes = Encode(600, 400, 3, 30, 220);
  const std::wstring path =
      m_folder.MakeFileWide("a.jpg", std::string(bytes.begin(), bytes.begin() + bytes.size() / 3));
  RequestNow(**m_service, {Describe(path)});
  EXPECT_EQ(PeekState(**m_service, Describe(path)), kQvThumbnailFailed);
  EXPECT_EQ(CSql(m_folder.Path("cache.db")).Value("SELECT count(*) FROM cache"), "0");
}

TEST_F(RealFormatsTest, WhatIsNoImageFails) {
  for (const char* content : {"", "text", "\xFF\xD8\xFF", "\x89PNG\r\n\x1A\n", "II*"}) {
    const std::wstring path =
        m_folder.MakeFileWide(std::string("noise") + std::to_string(std::strlen(content)), content);
    RequestNow(**m_service, {Describe(path)});
    EXPECT_EQ(PeekState(**m_service, Describe(path)), kQvThumbnailFailed) << content;
  }
}

TEST_F(RealFormatsTest, TextInformationOfAJpeg) {
  const std::wstring path = WriteJpeg("a.jpg", 600, 400, 30, 220);
  SQvImageTextInfo text;
  SQvImageInfo info;
  double calibration = -1, time = -1;
  CQvStringW objective;
  std::int64_t size = 0;
  std::uint32_t loops[4] = {9, 9, 9, 9};
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ((*m_service)->GetFileTextInfo(path.c_str(), text, info, calibration, objective, time, size, loops), 0);
    EXPECT_EQ(info.width, 600u);
    EXPECT_EQ(info.components, 3u);
    EXPECT_EQ(calibration, 0.0);
    EXPECT_EQ(size, static_cast<std::int64_t>(std::filesystem::file_size(m_folder.Path("a.jpg"))));
    EXPECT_EQ(loops[0], 0u);
  }
}

TEST_F(RealFormatsTest, FolderOfSamplesEndsInDefiniteStates) {
  const std::string folder = SamplesFolder();
  if (folder.empty()) GTEST_SKIP() << "the sample files are not here";
  std::vector<SQvThumbnailDescription> batch;
  for (const auto& item : std::filesystem::recursive_directory_iterator(folder)) {
    constexpr std::uintmax_t kSmall = 8u << 20;
    if (item.is_regular_file() && item.file_size() < kSmall)
      batch.push_back(Describe(CQvStringUtils::UTF8toW(item.path().c_str()).Str()));
  }
  Queue(**m_service, batch);
  m_listener->Wait(batch.size());
  for (const auto& desc : batch) {
    const SLookup look = Get(**m_service, desc);
    EXPECT_TRUE(look.state == kQvThumbnailReady || look.state == kQvThumbnailFailed ||
                look.state == kQvThumbnailUnavailable)
        << CQvStringUtils::WtoUTF8(desc.location).Str() << " " << look.state;
    if (!look.HasPicture()) continue;
    EXPECT_TRUE(look.picture.width <= 480 && look.picture.height <= 180);
    (*m_service)->ReleaseThumbnail(1, desc);
  }
}

}  // namespace
}  // namespace qvtest
