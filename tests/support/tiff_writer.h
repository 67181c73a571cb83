#pragma once

#include <tiffio.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/file_bytes.h"

namespace qvtest {

// A directory of a TIFF file and what it shows.
struct STiffPage {
  std::uint32_t width = 0, height = 0;
  std::uint16_t bits = 8, samples = 1;
  std::uint16_t format = SAMPLEFORMAT_UINT;
  std::uint16_t photometric = PHOTOMETRIC_MINISBLACK;
  std::uint16_t compression = COMPRESSION_NONE;
  std::uint16_t predictor = PREDICTOR_NONE;
  std::uint16_t planar = PLANARCONFIG_CONTIG;
  std::uint16_t orientation = ORIENTATION_TOPLEFT;
  std::uint32_t tile = 0;          // side of square tiles; 0: strips
  std::uint32_t rowsPerStrip = 0;  // 0: all
  std::uint32_t subfileType = 0;
  std::uint16_t subIfds = 0;  // how many of the following pages are this one's sub-IFDs
  std::string description;
  std::vector<std::uint16_t> extraSamples;
  // Sets further tags before pixels are written.
  std::function<void(TIFF*)> tags;
  // Rows from top to bottom as they are to be stored: chunky, in the machine's byte order, each row starting on a byte;
  // for planar pages one plane after the other.
  SFileBytes pixels;
};

// A TIFF file made by libtiff. `mode` is its: "w" or "wl", "wb" for byte order, "8" for BigTIFF. Throws
// std::runtime_error when libtiff fails.
SFileBytes WriteTiff(const std::vector<STiffPage>& pages, const char* mode = "wl");
SFileBytes WriteTiff(const STiffPage& page, const char* mode = "wl");

// Tags 65050 and 65051 (embedded thumbnails) and ImageJ's, as bytes or numbers.
void SetBytesTag(TIFF* tiff, std::uint32_t tag, const SFileBytes& bytes);
void SetLongsTag(TIFF* tiff, std::uint32_t tag, const std::vector<std::uint32_t>& values);

// Appends a sample in the machine's byte order.
template <class T>
void Append(SFileBytes* bytes, T value) {
  const auto* first = reinterpret_cast<const std::uint8_t*>(&value);
  for (std::size_t i = 0; i < sizeof value; ++i) bytes->push_back(first[i]);
}

// A page of samples of one type whose value at (x, y, sample) `value` tells.
template <class T, class Value>
STiffPage MakePage(std::uint32_t width, std::uint32_t height, std::uint16_t samples, Value&& value) {
  STiffPage page;
  page.width = width;
  page.height = height;
  page.samples = samples;
  page.bits = sizeof(T) * 8;
  if (samples >= 3) page.photometric = PHOTOMETRIC_RGB;
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      for (std::uint32_t s = 0; s < samples; ++s) Append<T>(&page.pixels, static_cast<T>(value(x, y, s)));
    }
  }
  return page;
}

}  // namespace qvtest
