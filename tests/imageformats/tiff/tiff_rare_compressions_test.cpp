// Compressions that few programs write any more. What libtiff cannot write is put together by hand.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "system/qvstatus.h"
#include "tests/imageformats/tiff/tiff_test_image.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/test_picture.h"
#include "tests/support/tiff_writer.h"

namespace tifftest {
namespace {

using namespace qvtest;

constexpr std::uint32_t kWide = 64, kHigh = 16;

using SBytes = std::vector<std::uint8_t>;

double Along(std::uint32_t x) { return static_cast<double>(x) / (kWide - 1); }

// A grey picture whose columns are as bright as `expected` says, 0 to 255.
void ExpectColumns(const SBytes& file, double tolerance, const std::function<double(std::uint32_t)>& expected) {
  const SRgbPicture picture = Render(file, kWide, kHigh);
  for (std::uint32_t x = 0; x < kWide; ++x) {
    for (const std::uint32_t y : {0u, kHigh / 2, kHigh - 1}) {
      const SRgb color = picture.At(x, y);
      EXPECT_NEAR(color.r, expected(x), tolerance) << x << ", " << y;
      EXPECT_NEAR(color.g, expected(x), tolerance) << x << ", " << y;
      EXPECT_NEAR(color.b, expected(x), tolerance) << x << ", " << y;
    }
  }
}

double Ramp(std::uint32_t x) { return 255 * Along(x); }

// One strip, encoded by libtiff when `encode` is set, else as it is.
STiffPage OneStrip(std::uint16_t compression, std::uint16_t bits, const SBytes& strip, bool encode) {
  STiffPage page;
  page.width = kWide;
  page.height = kHigh;
  page.bits = bits;
  page.compression = compression;
  page.tags = [strip, encode](TIFF* tiff) {
    SBytes bytes = strip;
    const auto size = static_cast<tmsize_t>(bytes.size());
    EXPECT_EQ(size, encode ? TIFFWriteEncodedStrip(tiff, 0, bytes.data(), size)
                           : TIFFWriteRawStrip(tiff, 0, bytes.data(), size));
  };
  return page;
}

template <class T>
SBytes Rows(const std::function<double(std::uint32_t x)>& value, int samples = 1) {
  SBytes bytes;
  for (std::uint32_t i = 0; i < kWide * kHigh; ++i) {
    for (int s = 0; s < samples; ++s) Append<T>(&bytes, static_cast<T>(value(i % kWide)));
  }
  return bytes;
}

// libtiff says of all of them in the file that they have 8 bits.
TEST(TiffRareCompressions, PixarLogOfAllDepths) {
  if (!TIFFIsCODECConfigured(COMPRESSION_PIXARLOG)) GTEST_SKIP() << "libtiff lacks it";
  const auto page = [](std::uint16_t bits, std::uint16_t format, int dataFormat, const SBytes& strip) {
    STiffPage made = OneStrip(COMPRESSION_PIXARLOG, bits, strip, true);
    made.samples = 3;
    made.photometric = PHOTOMETRIC_RGB;
    made.format = format;
    const auto write = made.tags;
    made.tags = [write, dataFormat](TIFF* tiff) {
      TIFFSetField(tiff, TIFFTAG_PIXARLOGDATAFMT, dataFormat);
      write(tiff);
    };
    return made;
  };
  const auto words = [](std::uint32_t x) { return 65535 * Along(x); };
  ExpectColumns(WriteTiff(page(8, SAMPLEFORMAT_UINT, PIXARLOGDATAFMT_8BIT, Rows<std::uint8_t>(Ramp, 3))), 2, Ramp);
  ExpectColumns(WriteTiff(page(16, SAMPLEFORMAT_UINT, PIXARLOGDATAFMT_16BIT, Rows<std::uint16_t>(words, 3))), 3, Ramp);
  STiffPage grey = OneStrip(COMPRESSION_PIXARLOG, 8, Rows<std::uint8_t>(Ramp), true);
  EXPECT_EQ(kQvUnsupported, StatusOf(WriteTiff(grey))) << "libtiff decodes it wrongly";
  ExpectColumns(WriteTiff(page(32, SAMPLEFORMAT_IEEEFP, PIXARLOGDATAFMT_FLOAT, Rows<float>(Along, 3))), 3, Ramp);
}

// Shown as libtiff turns luminance into screen values: by the square root.
TEST(TiffRareCompressions, LogarithmicLuminance) {
  if (!TIFFIsCODECConfigured(COMPRESSION_SGILOG)) GTEST_SKIP() << "libtiff lacks it";
  const auto page = [](std::uint16_t compression, std::uint16_t photometric) {
    const int samples = photometric == PHOTOMETRIC_LOGL ? 1 : 3;
    STiffPage made = OneStrip(compression, 16, Rows<float>(Along, samples), true);
    made.samples = static_cast<std::uint16_t>(samples);
    made.format = SAMPLEFORMAT_INT;
    made.photometric = photometric;
    const auto write = made.tags;
    made.tags = [write](TIFF* tiff) {
      TIFFSetField(tiff, TIFFTAG_SGILOGDATAFMT, SGILOGDATAFMT_FLOAT);
      write(tiff);
    };
    return made;
  };
  const auto root = [](std::uint32_t x) { return 255 * std::sqrt(Along(x)); };
  ExpectColumns(WriteTiff(page(COMPRESSION_SGILOG, PHOTOMETRIC_LOGL)), 4, root);
  ExpectColumns(WriteTiff(page(COMPRESSION_SGILOG, PHOTOMETRIC_LOGLUV)), 12, root);
  ExpectColumns(WriteTiff(page(COMPRESSION_SGILOG24, PHOTOMETRIC_LOGLUV)), 12, root);
}

// Bilevel rows that begin on words.
TEST(TiffRareCompressions, RunLengthsOnWords) {
  if (!TIFFIsCODECConfigured(COMPRESSION_CCITTRLEW)) GTEST_SKIP() << "libtiff lacks it";
  SBytes rows;
  for (std::uint32_t i = 0; i < kHigh * kWide / 8; ++i) rows.push_back(i % 8 < 3 ? 0x00 : 0xFF);
  STiffPage page = OneStrip(COMPRESSION_CCITTRLEW, 1, rows, true);
  page.photometric = PHOTOMETRIC_MINISWHITE;
  ExpectColumns(WriteTiff(page), 0, [](std::uint32_t x) { return x < 24 ? 255 : 0; });
}

// Each code is a pixel of its own: 11 and four bits of grey.
TEST(TiffRareCompressions, ThunderScan) {
  if (!TIFFIsCODECConfigured(COMPRESSION_THUNDERSCAN)) GTEST_SKIP() << "libtiff lacks it";
  const SBytes codes = Rows<std::uint8_t>([](std::uint32_t x) { return 0xC0 + x / 4; });
  ExpectColumns(WriteTiff(OneStrip(COMPRESSION_THUNDERSCAN, 4, codes, false)), 0,
                [](std::uint32_t x) { return 17 * (x / 4); });
}

// Rows of two-bit greys behind the code for a whole row.
TEST(TiffRareCompressions, Next) {
  if (!TIFFIsCODECConfigured(COMPRESSION_NEXT)) GTEST_SKIP() << "libtiff lacks it";
  SBytes codes;
  for (std::uint32_t y = 0; y < kHigh; ++y) {
    codes.push_back(0x00);
    for (std::uint32_t i = 0; i < kWide / 4; ++i) codes.push_back(static_cast<std::uint8_t>(0x55 * (i / 4)));
  }
  ExpectColumns(WriteTiff(OneStrip(COMPRESSION_NEXT, 2, codes, false)), 0,
                [](std::uint32_t x) { return 85 * (x / 16); });
}

struct SEntry {
  std::uint16_t tag, type;
  std::uint32_t count, value;
};

// A little-endian file of one directory whose data lie right behind the header.
SBytes FileOf(const SBytes& data, const std::vector<SEntry>& entries) {
  SBytes file = {'I', 'I', 42, 0};
  Append(&file, static_cast<std::uint32_t>(8 + data.size() + data.size() % 2));
  file.insert(file.end(), data.begin(), data.end());
  if (data.size() % 2 != 0) file.push_back(0);
  Append(&file, static_cast<std::uint16_t>(entries.size()));
  for (const SEntry& entry : entries) {
    Append(&file, entry.tag);
    Append(&file, entry.type);
    Append(&file, entry.count);
    Append(&file, entry.value);
  }
  Append(&file, std::uint32_t{0});
  return file;
}

// The JPEG of TIFF 6.0: a whole stream that the directory points to.
TEST(TiffRareCompressions, OldStyleJpeg) {
  if (!TIFFIsCODECConfigured(COMPRESSION_OJPEG)) GTEST_SKIP() << "libtiff lacks it";
  const STestPicture picture = SmoothPicture(kWide, kHigh, 3);
  SJpegRecipe recipe;
  recipe.quality = 95;
  SBytes data = EncodeJpeg(picture, recipe);
  const auto length = static_cast<std::uint32_t>(data.size());
  if (data.size() % 2 != 0) data.push_back(0);
  const auto bits = static_cast<std::uint32_t>(8 + data.size());
  for (int i = 0; i < 3; ++i) Append(&data, std::uint16_t{8});
  const SBytes file = FileOf(data, {{TIFFTAG_IMAGEWIDTH, TIFF_LONG, 1, kWide},
                                    {TIFFTAG_IMAGELENGTH, TIFF_LONG, 1, kHigh},
                                    {TIFFTAG_BITSPERSAMPLE, TIFF_SHORT, 3, bits},
                                    {TIFFTAG_COMPRESSION, TIFF_SHORT, 1, COMPRESSION_OJPEG},
                                    {TIFFTAG_PHOTOMETRIC, TIFF_SHORT, 1, PHOTOMETRIC_YCBCR},
                                    {TIFFTAG_STRIPOFFSETS, TIFF_LONG, 1, 8},
                                    {TIFFTAG_SAMPLESPERPIXEL, TIFF_SHORT, 1, 3},
                                    {TIFFTAG_ROWSPERSTRIP, TIFF_LONG, 1, kHigh},
                                    {TIFFTAG_STRIPBYTECOUNTS, TIFF_LONG, 1, length},
                                    {TIFFTAG_JPEGIFOFFSET, TIFF_LONG, 1, 8},
                                    {TIFFTAG_JPEGIFBYTECOUNT, TIFF_LONG, 1, length},
                                    {TIFFTAG_YCBCRSUBSAMPLING, TIFF_SHORT, 2, 0x00010001}});
  const SRgbPicture shown = Render(file, kWide, kHigh);
  for (std::uint32_t x = 0; x < kWide; ++x) {
    EXPECT_NEAR(shown.At(x, 5).r, picture.At(x, 5, 0), 12) << x;
    EXPECT_NEAR(shown.At(x, 5).g, picture.At(x, 5, 1), 12) << x;
    EXPECT_NEAR(shown.At(x, 5).b, picture.At(x, 5, 2), 12) << x;
  }
}

}  // namespace
}  // namespace tifftest
