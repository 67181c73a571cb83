#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/file_bytes.h"
#include "tests/support/test_picture.h"

namespace qvtest {

// By libwebp: 3 or 4 components, lossless and exact, or of that quality.
SFileBytes EncodeWebp(const STestPicture& picture);
SFileBytes EncodeLossyWebp(const STestPicture& picture, float quality);

// A chunk, and a file of chunks. The pixels' chunks of a file as libwebp writes it are those behind its 12 bytes.
SFileBytes WebpChunk(const std::string& tag, const SFileBytes& content);
SFileBytes WebpFile(const std::vector<SFileBytes>& chunks);
SFileBytes WebpPixels(const SFileBytes& file);
// The chunk that announces others, and a frame of an animation. Coordinates are even.
SFileBytes WebpCanvas(std::uint8_t flags, std::uint32_t width, std::uint32_t height);
SFileBytes WebpFrame(std::uint32_t x, std::uint32_t y, const STestPicture& picture, std::uint32_t milliseconds);

}  // namespace qvtest
