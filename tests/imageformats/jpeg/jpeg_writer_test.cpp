#include "platform/imageformats/jpeg/jpeg_writer.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/imageformats/support/opened.h"
#include "tests/support/file_bytes.h"
#include "tests/support/test_picture.h"

namespace imageformats {
namespace {

using namespace qvtest;

SQvImageInfo Format(const STestPicture& picture, std::uint32_t padding) {
  SQvImageInfo format;
  format.width = picture.width;
  format.height = picture.height;
  format.components = picture.components;
  format.bpcInMemory = format.bpcSignificant = 8;
  format.widthBytes = picture.width * picture.components + padding;
  return format;
}

SFileBytes Written(const STestPicture& picture, double quality) {
  const SQvImageInfo format = Format(picture, 7);
  std::vector<std::uint8_t> rows(std::size_t{format.widthBytes} * format.height, 0xAA);
  const std::size_t rowSamples = std::size_t{picture.width} * picture.components;
  for (std::size_t i = 0; i < picture.samples.size(); ++i) {
    rows[i / rowSamples * format.widthBytes + i % rowSamples] = static_cast<std::uint8_t>(picture.samples[i]);
  }
  CQvByteArray bytes;
  bytes.Resize(3);
  CJpegWriter writer(bytes);
  writer.SetFormat(format, quality);
  writer.Write(rows.data());
  writer.Finish();
  return {bytes.GetData(0), bytes.GetData(0) + bytes.GetSize()};
}

TEST(JpegWriter, ReadsBack) {
  for (const std::uint32_t components : {1u, 3u}) {
    const STestPicture picture = SmoothPicture(240, 180, components);
    const SFileBytes bytes = Written(picture, 0.8);
    const auto image = OpenBytes(bytes);
    EXPECT_EQ(image->Info().components, components);
    EXPECT_GT(Psnr(ReadAll(*image), picture), 33.0);
  }
}

TEST(JpegWriter, QualityIsObeyed) {
  const STestPicture picture = NoisePicture(100, 100, 3, 8, 1);
  EXPECT_GT(Written(picture, 1.0).size(), 3 * Written(picture, 0.3).size());
  EXPECT_NEAR(OpenBytes(Written(picture, 0.8))->Info().compressionParam, 0.8, 0.02);
  EXPECT_FALSE(Written(picture, 0.0).empty());
}

TEST(JpegWriter, LargeStreamsGoThroughTheBuffer) {
  const STestPicture picture = NoisePicture(600, 600, 3, 8, 2);
  const SFileBytes bytes = Written(picture, 1.0);
  ASSERT_GT(bytes.size(), 300000u);
  EXPECT_EQ(ReadAll(*OpenBytes(bytes)).width, 600u);
}

TEST(JpegWriter, RefusesWhatJpegCannotHold) {
  const SQvImageInfo good = Format(SmoothPicture(8, 8, 3), 0);
  const auto refused = [](const SQvImageInfo& format, double quality) {
    CQvByteArray bytes;
    CJpegWriter writer(bytes);
    EXPECT_THROW(writer.SetFormat(format, quality), CDamagedError);
  };
  SQvImageInfo format = good;
  format.bpcInMemory = 16;
  refused(format, 0.8);
  format = good;
  format.components = 2;
  refused(format, 0.8);
  format = good;
  format.width = 70000;
  format.widthBytes = 210000;
  refused(format, 0.8);
  format = good;
  format.height = 0;
  refused(format, 0.8);
  format = good;
  format.widthBytes = 23;
  refused(format, 0.8);
  refused(good, 1.5);
  refused(good, std::nan(""));
}

}  // namespace
}  // namespace imageformats
