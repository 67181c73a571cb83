// Compressions that few programs write any more. What libtiff cannot write is put together by hand.

#include <gtest/gtest.h>

#include <algorithm>
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
using imageformats::SSize;

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

// A picture of the JPEG of TIFF 6.0 in one strip. `tags` say where its streams or tables lie in the data.
SBytes OldJpeg(SBytes data, SSize size, std::uint32_t strip, std::uint32_t stripBytes, std::vector<SEntry> tags,
               std::uint32_t subsampling = 0x00010001) {
  if (data.size() % 2 != 0) data.push_back(0);
  const auto bits = static_cast<std::uint32_t>(8 + data.size());
  for (int i = 0; i < 3; ++i) Append(&data, std::uint16_t{8});
  std::vector<SEntry> entries = {{TIFFTAG_IMAGEWIDTH, TIFF_LONG, 1, size.width},
                                 {TIFFTAG_IMAGELENGTH, TIFF_LONG, 1, size.height},
                                 {TIFFTAG_BITSPERSAMPLE, TIFF_SHORT, 3, bits},
                                 {TIFFTAG_COMPRESSION, TIFF_SHORT, 1, COMPRESSION_OJPEG},
                                 {TIFFTAG_PHOTOMETRIC, TIFF_SHORT, 1, PHOTOMETRIC_YCBCR},
                                 {TIFFTAG_STRIPOFFSETS, TIFF_LONG, 1, strip},
                                 {TIFFTAG_SAMPLESPERPIXEL, TIFF_SHORT, 1, 3},
                                 {TIFFTAG_ROWSPERSTRIP, TIFF_LONG, 1, size.height},
                                 {TIFFTAG_STRIPBYTECOUNTS, TIFF_LONG, 1, stripBytes}};
  entries.insert(entries.end(), tags.begin(), tags.end());
  entries.push_back({TIFFTAG_YCBCRSUBSAMPLING, TIFF_SHORT, 2, subsampling});
  return FileOf(data, entries);
}

// A stream, and where in it the entropy-coded data begin.
struct SOldStream {
  SBytes bytes;
  std::uint32_t data = 0;
};

SOldStream StreamOf(const STestPicture& picture) {
  SJpegRecipe recipe;
  recipe.quality = 95;
  SOldStream stream{EncodeJpeg(picture, recipe)};
  for (std::uint32_t at = 2; stream.data == 0; at += 2 + (stream.bytes[at + 2] << 8 | stream.bytes[at + 3])) {
    if (stream.bytes[at + 1] == 0xDA) stream.data = at + 2 + (stream.bytes[at + 2] << 8 | stream.bytes[at + 3]);
  }
  return stream;
}

void ExpectPicture(const SBytes& file, const STestPicture& picture) {
  const SRgbPicture shown = Render(file, kWide, kHigh);
  for (std::uint32_t x = 0; x < kWide; ++x) {
    EXPECT_NEAR(shown.At(x, 5).r, picture.At(x, 5, 0), 12) << x;
    EXPECT_NEAR(shown.At(x, 5).g, picture.At(x, 5, 1), 12) << x;
    EXPECT_NEAR(shown.At(x, 5).b, picture.At(x, 5, 2), 12) << x;
  }
}

// A whole stream that the directory points to, or its beginning, the rest being the strip.
TEST(TiffRareCompressions, OldStyleJpeg) {
  if (!TIFFIsCODECConfigured(COMPRESSION_OJPEG)) GTEST_SKIP() << "libtiff lacks it";
  const STestPicture picture = SmoothPicture(kWide, kHigh, 3);
  const auto [bytes, data] = StreamOf(picture);
  const auto length = static_cast<std::uint32_t>(bytes.size());
  const auto file = [&, &stream = bytes](std::uint32_t strip, std::uint32_t pointedTo) {
    return OldJpeg(stream, {kWide, kHigh}, 8 + strip, length - strip,
                   {{TIFFTAG_JPEGIFOFFSET, TIFF_LONG, 1, 8}, {TIFFTAG_JPEGIFBYTECOUNT, TIFF_LONG, 1, pointedTo}});
  };
  ExpectPicture(file(0, length), picture);
  ExpectPicture(file(data, length), picture);
  ExpectPicture(file(data, data), picture);
  SBytes cut = file(data, data);
  // The pixels begin behind the file's end.
  for (std::size_t at = 0; at + 12 < cut.size(); ++at) {
    if (cut[at] == 0x11 && cut[at + 1] == 1 && cut[at + 2] == TIFF_LONG) cut[at + 10] = 0x7F;
  }
  EXPECT_EQ(-9, StatusOf(cut));
}

// Tables that the directory points to, or none at all.
TEST(TiffRareCompressions, OldStyleJpegOfTables) {
  if (!TIFFIsCODECConfigured(COMPRESSION_OJPEG)) GTEST_SKIP() << "libtiff lacks it";
  const STestPicture picture = SmoothPicture(kWide, kHigh, 3);
  const auto [stream, from] = StreamOf(picture);
  SBytes data;
  std::uint32_t q[2] = {}, huffman[2][2] = {};
  for (std::uint32_t at = 2; at < from; at += 2 + (stream[at + 2] << 8 | stream[at + 3])) {
    const std::uint32_t end = at + 2 + (stream[at + 2] << 8 | stream[at + 3]), id = stream[at + 4];
    std::uint32_t* const place = stream[at + 1] == 0xDB   ? &q[id & 1]
                                 : stream[at + 1] == 0xC4 ? &huffman[id >> 4][id & 1]
                                                          : nullptr;
    if (place == nullptr) continue;
    *place = static_cast<std::uint32_t>(8 + data.size());
    data.insert(data.end(), stream.begin() + at + 5, stream.begin() + end);
  }
  const auto strip = static_cast<std::uint32_t>(8 + data.size());
  data.insert(data.end(), stream.begin() + from, stream.end() - 2);
  const auto stripBytes = static_cast<std::uint32_t>(8 + data.size() - strip);
  const auto place = [&](std::uint32_t first, std::uint32_t others) {
    const auto at = static_cast<std::uint32_t>(8 + data.size());
    for (const std::uint32_t offset : {first, others, others}) Append(&data, offset);
    return at;
  };
  const std::vector<SEntry> tables = {{TIFFTAG_JPEGPROC, TIFF_SHORT, 1, 1},
                                      {TIFFTAG_JPEGQTABLES, TIFF_LONG, 3, place(q[0], q[1])},
                                      {TIFFTAG_JPEGDCTABLES, TIFF_LONG, 3, place(huffman[0][0], huffman[0][1])},
                                      {TIFFTAG_JPEGACTABLES, TIFF_LONG, 3, place(huffman[1][0], huffman[1][1])}};
  ExpectPicture(OldJpeg(data, {kWide, kHigh}, strip, stripBytes, tables), picture);
  EXPECT_EQ(-3, StatusOf(OldJpeg(data, {kWide, kHigh}, strip, stripBytes, {}))) << "no tables";
}

// A page of paper at 600 dots per inch in one strip.
TEST(TiffRareCompressions, ALargeOldStyleJpegStaysWithinTheMemory) {
  if (!TIFFIsCODECConfigured(COMPRESSION_OJPEG)) GTEST_SKIP() << "libtiff lacks it";
  constexpr std::uint32_t kPageWidth = 4961, kPageHeight = 7016, kMcu = 8;
  // One restart interval for each row of blocks: all of them are those of a picture that is one row high.
  SJpegRecipe recipe;
  recipe.restartRows = 1;
  STestPicture strip = BlackPicture(kPageWidth, 2 * kMcu, 3, 8);
  std::fill(strip.samples.begin(), strip.samples.end(), std::uint16_t{200});
  const SBytes two = EncodeJpeg(strip, recipe);
  const std::uint8_t marker[] = {0xFF, 0xD0};
  const auto restart = std::search(two.begin(), two.end(), std::begin(marker), std::end(marker));
  ASSERT_NE(restart, two.end());
  const SBytes row(restart + 2, two.end() - 2);
  SBytes bytes(two.begin(), restart);
  for (std::uint32_t i = 1; i < (kPageHeight + kMcu - 1) / kMcu; ++i) {
    bytes.insert(bytes.end(), {0xFF, static_cast<std::uint8_t>(0xD0 + (i - 1) % 8)});
    bytes.insert(bytes.end(), row.begin(), row.end());
  }
  bytes.insert(bytes.end(), {0xFF, 0xD9});
  const std::uint8_t frame[] = {0xFF, 0xC0};
  const auto height = std::search(bytes.begin(), bytes.end(), std::begin(frame), std::end(frame)) + 5;
  height[0] = kPageHeight >> 8;
  height[1] = kPageHeight & 0xFF;
  const auto length = static_cast<std::uint32_t>(bytes.size());
  const SBytes file =
      OldJpeg(bytes, {kPageWidth, kPageHeight}, 8, length,
              {{TIFFTAG_JPEGIFOFFSET, TIFF_LONG, 1, 8}, {TIFFTAG_JPEGIFBYTECOUNT, TIFF_LONG, 1, length}});
  EXPECT_NEAR(200, Render(file, 127, 180).At(60, 170).g, 2);
}

}  // namespace
}  // namespace tifftest
