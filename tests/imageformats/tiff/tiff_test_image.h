#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/imageformats/codec/codec_module.h"

// Opens and renders what a test wrote.
namespace tifftest {

// An image over bytes that it keeps.
class CTestImage {
 public:
  // Throws what the codec throws.
  explicit CTestImage(std::vector<std::uint8_t> bytes);
  explicit CTestImage(const CQvStringW& path);

  imageformats::COpenedImage& operator*() { return *m_image; }
  imageformats::COpenedImage* operator->() { return m_image.get(); }

 private:
  std::vector<std::uint8_t> m_bytes;
  std::unique_ptr<imageformats::COpenedImage> m_image;
};

struct SRgb {
  int r = 0, g = 0, b = 0;
  friend bool operator==(const SRgb&, const SRgb&) = default;
};

// A picture of 8 bits and 3 components.
struct SRgbPicture {
  std::uint32_t width = 0, height = 0;
  std::vector<std::uint8_t> pixels;
  SRgb At(std::uint32_t x, std::uint32_t y) const;
};

// Renders; throws what the codec throws.
SRgbPicture Render(CTestImage& image, std::uint32_t width, std::uint32_t height, bool fast = false,
                   std::uint32_t channels = imageformats::kAllChannels);
SRgbPicture RenderView(CTestImage& image, std::uint32_t width, std::uint32_t height,
                       const imageformats::SViewChoice& view);
SRgbPicture Render(const std::vector<std::uint8_t>& bytes, std::uint32_t width, std::uint32_t height);

// Status of opening and rendering: 0, -3 or -9.
int StatusOf(const std::vector<std::uint8_t>& bytes, std::uint32_t width = 32, std::uint32_t height = 32);

// Reads the whole picture; samples of 8 or 16 bits in rows without gaps.
std::vector<std::uint16_t> ReadSamples(CTestImage& image);

// The largest difference between two pictures of one size.
int MaxDifference(const SRgbPicture& a, const SRgbPicture& b);

}  // namespace tifftest
