#include "tests/imageformats/tiff/tiff_test_image.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/imageformats/base/new_picture.h"
#include "platform/imageformats/tiff/tiff_codec.h"

namespace tifftest {

using imageformats::CRenderGuard;
using imageformats::NewPicture;

CTestImage::CTestImage(std::vector<std::uint8_t> bytes) : m_bytes(std::move(bytes)) {
  m_image = imageformats::TiffCodec().Open(imageformats::CInput::FromMemory(m_bytes.data(), m_bytes.size()));
}

CTestImage::CTestImage(const CQvStringW& path) {
  m_image = imageformats::TiffCodec().Open(imageformats::CInput::FromFile(path));
}

SRgb SRgbPicture::At(std::uint32_t x, std::uint32_t y) const {
  const std::uint8_t* pixel = &pixels[(std::size_t{y} * width + x) * 3];
  return {pixel[0], pixel[1], pixel[2]};
}

namespace {

SRgbPicture RenderRequest(CTestImage& image, const imageformats::SRenderRequest& request) {
  const std::uint32_t width = request.width, height = request.height;
  CQvPicture buffer = NewPicture(width, height, 8, 3);
  CRenderGuard guard;
  image->Render(request, *buffer.Get(), guard);
  SRgbPicture picture{width, height, std::vector<std::uint8_t>(std::size_t{width} * height * 3)};
  for (std::uint32_t y = 0; y < height; ++y) {
    std::memcpy(&picture.pixels[std::size_t{y} * width * 3], buffer.Row(y), std::size_t{width} * 3);
  }
  return picture;
}

}  // namespace

SRgbPicture Render(CTestImage& image, std::uint32_t width, std::uint32_t height, bool fast, std::uint32_t channels) {
  return RenderRequest(image, {width, height, fast, channels, {}});
}

SRgbPicture RenderView(CTestImage& image, std::uint32_t width, std::uint32_t height,
                       const imageformats::SViewChoice& view) {
  return RenderRequest(image, {width, height, false, imageformats::kAllChannels, view});
}

SRgbPicture Render(const std::vector<std::uint8_t>& bytes, std::uint32_t width, std::uint32_t height) {
  CTestImage image(bytes);
  return Render(image, width, height);
}

int StatusOf(const std::vector<std::uint8_t>& bytes, std::uint32_t width, std::uint32_t height) {
  try {
    Render(bytes, width, height);
    return 0;
  } catch (const imageformats::CFormatError& error) {
    EXPECT_STRNE("", error.what());
    return error.Status();
  }
}

std::vector<std::uint16_t> ReadSamples(CTestImage& image) {
  const SQvImageInfo& info = image->Info();
  CQvPicture buffer = NewPicture(info.width, info.height, info.bpcInMemory, info.components);
  CRenderGuard guard;
  image->Read(*buffer.Get(), guard);
  std::vector<std::uint16_t> samples;
  for (std::uint32_t y = 0; y < info.height; ++y) {
    const std::uint8_t* row = buffer.Row(y);
    for (std::uint32_t i = 0; i < info.width * info.components; ++i) {
      std::uint16_t value = row[i];
      if (info.bpcInMemory == 16) std::memcpy(&value, row + 2 * i, 2);
      samples.push_back(value);
    }
  }
  return samples;
}

int MaxDifference(const SRgbPicture& a, const SRgbPicture& b) {
  EXPECT_EQ(a.width, b.width);
  EXPECT_EQ(a.height, b.height);
  int most = 0;
  for (std::size_t i = 0; i < std::min(a.pixels.size(), b.pixels.size()); ++i) {
    most = std::max(most, std::abs(a.pixels[i] - b.pixels[i]));
  }
  return most;
}

}  // namespace tifftest
