#pragma once

#include <cstdint>

// The geometry of a picture. Also describes the picture that an output file is to receive.
struct SQvImageInfo {
  std::uint32_t width = 0;          // pixels
  std::uint32_t widthBytes = 0;     // bytes per picture row in memory
  std::uint32_t height = 0;         // pixels
  std::uint32_t components = 0;     // per pixel
  std::uint8_t bpcInMemory = 0;     // bits per component in memory
  std::uint8_t bpcSignificant = 0;  // significant bits per component
  std::uint32_t pixelType = 0;      // EQvPixelType
  std::uint32_t sequenceCount = 0;  // frames in the file's sequence
  std::uint32_t tileWidth = 0;      // pixels; the picture's width when it is not tiled
  std::uint32_t tileHeight = 0;     // pixels
  std::uint32_t compression = 0;    // EQvCompression
  double compressionParam = 0.0;    // e.g. JPEG quality 0..1; 0 when unknown
};

enum EQvPixelType : std::uint32_t { kQvPixelUnsigned = 1, kQvPixelSigned = 2, kQvPixelFloat = 3 };

enum EQvCompression : std::uint32_t {
  kQvCompressionNone = 0,
  kQvCompressionLossless = 1,
  kQvCompressionJpeg = 2,
  kQvCompressionOther = 3,
};
