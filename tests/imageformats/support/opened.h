#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/imageformats/codec/codec_module.h"
#include "tests/support/file_bytes.h"
#include "tests/support/test_picture.h"

// The codec is chosen by the content. Throw CFormatError. The image keeps its bytes.
std::unique_ptr<imageformats::COpenedImage> OpenBytes(qvtest::SFileBytes bytes);
std::unique_ptr<imageformats::COpenedImage> OpenPath(const CQvStringW& path);

qvtest::STestPicture ReadAll(imageformats::COpenedImage& image);
using CSamples = std::vector<std::uint16_t>;
inline CSamples ReadSamples(const qvtest::SFileBytes& bytes) { return ReadAll(*OpenBytes(bytes)).samples; }
qvtest::STestPicture Render(imageformats::COpenedImage& image, std::uint32_t width, std::uint32_t height,
                            bool fast = true);
inline qvtest::STestPicture RenderBytes(const qvtest::SFileBytes& bytes, std::uint32_t width, std::uint32_t height,
                                        bool fast = true) {
  return Render(*OpenBytes(bytes), width, height, fast);
}
