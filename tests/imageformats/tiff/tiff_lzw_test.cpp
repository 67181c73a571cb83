#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <random>

#include "platform/imageformats/tiff/blocks/lzw.h"
#include "tests/support/c_handle.h"
#include "tests/support/temp_folder.h"
#include "tests/support/tiff_writer.h"

using namespace imageformats::tiff;

namespace {

using namespace qvtest;

using SBytes = std::vector<std::uint8_t>;

// A TIFF file of one LZW strip whose compressed bytes can be replaced, to see what libtiff makes of them.
class CLzwFile {
 public:
  explicit CLzwFile(const SBytes& pixels) : m_size(pixels.size()) {
    STiffPage page;
    page.width = static_cast<std::uint32_t>(pixels.size());
    page.height = 1;
    page.compression = COMPRESSION_LZW;
    page.pixels = pixels;
    m_bytes = WriteTiff(page);
    const auto tiff = Open();
    m_offset = static_cast<std::size_t>(TIFFGetStrileOffset(tiff.get(), 0));
    m_stream.resize(static_cast<std::size_t>(TIFFGetStrileByteCount(tiff.get(), 0)));
    std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(m_offset), m_stream.size(), m_stream.begin());
  }

  const SBytes& Stream() const { return m_stream; }

  // Empty when libtiff refuses. The stream must be as long as the original one.
  SBytes DecodedByLibtiff(const SBytes& stream) {
    std::copy(stream.begin(), stream.end(), m_bytes.begin() + static_cast<std::ptrdiff_t>(m_offset));
    const auto tiff = Open();
    SBytes pixels(m_size);
    const tmsize_t got = TIFFReadEncodedStrip(tiff.get(), 0, pixels.data(), static_cast<tmsize_t>(m_size));
    if (got != static_cast<tmsize_t>(m_size)) pixels.clear();
    return pixels;
  }

 private:
  CHandle<TIFF, TIFFClose> Open() {
    const std::string path = m_folder.MakeFile("strip.tif", m_bytes);
    return CHandle<TIFF, TIFFClose>(TIFFOpen(path.c_str(), "r"));
  }

  CTempFolder m_folder;
  std::size_t m_size, m_offset = 0;
  SBytes m_bytes, m_stream;
};

// Empty when the decoder leaves the stream to libtiff. Checks that nothing behind the slack is touched.
SBytes Decoded(const SBytes& stream, std::size_t size) {
  constexpr std::uint8_t kGuard = 0xA5;
  SBytes out(size + kLzwSlack + 64, kGuard);
  const bool decoded = DecodeLzw(stream, out.data(), size);
  for (std::size_t i = size + kLzwSlack; i < out.size(); ++i) EXPECT_EQ(out[i], kGuard);
  out.resize(decoded ? size : 0);
  return out;
}

SBytes Noise(std::size_t size, unsigned values) {
  std::mt19937 random(values);
  SBytes bytes(size);
  for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random() % values);
  return bytes;
}

SBytes Waves(std::size_t size) {
  SBytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>((i * i / 97) >> 3);
  return bytes;
}

TEST(TiffLzw, EveryKindOfContentComesBack) {
  for (const std::size_t size : {1u, 2u, 15u, 16u, 17u, 300u, 5000u, 70000u}) {
    for (const SBytes& pixels : {SBytes(size, 7), Noise(size, 2), Noise(size, 5), Noise(size, 256), Waves(size)}) {
      EXPECT_EQ(Decoded(CLzwFile(pixels).Stream(), size), pixels) << size;
    }
  }
}

TEST(TiffLzw, CutStreamsAreLeftToLibtiff) {
  const SBytes pixels = Waves(4000);
  const SBytes whole = CLzwFile(pixels).Stream();
  // Without the end code, which no reader needs, the stream may be one or two bytes shorter.
  for (std::size_t size = 0; size + 3 < whole.size(); ++size) {
    EXPECT_TRUE(
        Decoded(SBytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)), pixels.size()).empty())
        << size;
  }
}

TEST(TiffLzw, APictureOfAnotherSizeIsLeftToLibtiff) {
  const SBytes whole = CLzwFile(Waves(4000)).Stream();
  EXPECT_TRUE(Decoded(whole, 4001).empty());
}

TEST(TiffLzw, WhatIsDecodedFromDamagedDataIsWhatLibtiffDecodes) {
  const auto errors = TIFFSetErrorHandler(nullptr);
  const auto warnings = TIFFSetWarningHandler(nullptr);
  CLzwFile file(Noise(3000, 9));
  std::mt19937 random(1);
  int decoded = 0;
  for (int i = 0; i < 400; ++i) {
    SBytes stream = file.Stream();
    stream[random() % stream.size()] ^= static_cast<std::uint8_t>(1u << random() % 8);
    const SBytes ours = Decoded(stream, 3000);
    if (ours.empty()) continue;
    ++decoded;
    EXPECT_EQ(ours, file.DecodedByLibtiff(stream)) << i;
  }
  EXPECT_GT(decoded, 0);
  TIFFSetErrorHandler(errors);
  TIFFSetWarningHandler(warnings);
}

TEST(TiffLzw, NoStreamWritesOutside) {
  std::mt19937 random(2);
  for (int i = 0; i < 2000; ++i) {
    SBytes stream(1 + random() % 200);
    for (std::uint8_t& byte : stream) byte = static_cast<std::uint8_t>(random());
    // Begins with the clear code, else nothing would be looked at.
    stream[0] = 0x80;
    if (stream.size() > 1) stream[1] &= 0x7F;
    Decoded(stream, random() % 300);
  }
}

TEST(TiffLzw, LeftNeighboursAreAddedPixelByPixel) {
  for (const std::size_t samples : {1u, 2u, 3u, 4u, 5u}) {
    for (std::size_t pixels = 0; pixels < 40; ++pixels) {
      SBytes row = Noise(samples * pixels, 256), expected = row;
      for (std::size_t i = samples; i < row.size(); ++i)
        expected[i] = static_cast<std::uint8_t>(expected[i] + expected[i - samples]);
      UndoHorizontalPredictor(row.data(), row.size(), samples);
      EXPECT_EQ(row, expected) << samples << " of " << pixels;
    }
  }
}

}  // namespace
