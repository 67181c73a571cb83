// Storage layouts and compressions.

#include <gtest/gtest.h>

#include <initializer_list>

#include "system/qvstatus.h"
#include "tests/imageformats/tiff/tiff_test_image.h"
#include "tests/support/tiff_writer.h"

namespace tifftest {
namespace {

using namespace qvtest;

using SCodes = std::initializer_list<std::uint16_t>;

// A picture with detail in every block.
STiffPage Colors() {
  return MakePage<std::uint8_t>(100, 70, 3, [](std::uint32_t x, std::uint32_t y, std::uint32_t s) {
    return s == 0 ? x * 2 : s == 1 ? y * 3 : (x * y) / 28;
  });
}

std::vector<std::uint8_t> Planes(const STiffPage& page) {
  std::vector<std::uint8_t> planes;
  for (std::uint32_t s = 0; s < page.samples; ++s) {
    for (std::size_t i = s; i < page.pixels.size(); i += page.samples) planes.push_back(page.pixels[i]);
  }
  return planes;
}

TEST(TiffLayouts, AllLayoutsShowTheSame) {
  const SRgbPicture expected = Render(WriteTiff(Colors()), 40, 28);
  for (const char* mode : {"wl", "wb", "wl8", "wb8"}) {
    for (const bool planar : {false, true}) {
      for (const std::uint32_t tile : {0u, 16u, 64u}) {
        for (const std::uint32_t rows : {1u, 7u, 70u}) {
          STiffPage page = Colors();
          if (planar) page.pixels = Planes(page);
          page.planar = planar ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG;
          page.tile = tile;
          page.rowsPerStrip = rows;
          page.compression = rows == 7 ? COMPRESSION_LZW : COMPRESSION_NONE;
          EXPECT_EQ(0, MaxDifference(expected, Render(WriteTiff(page, mode), 40, 28)))
              << mode << " planar " << planar << " tile " << tile << " rows " << rows;
        }
      }
    }
  }
}

TEST(TiffLayouts, EveryLosslessCompressionShowsTheSame) {
  const SRgbPicture expected = Render(WriteTiff(Colors()), 40, 28);
  for (const std::uint16_t compression :
       SCodes{COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_DEFLATE, COMPRESSION_PACKBITS, COMPRESSION_ZSTD,
              COMPRESSION_LZMA, COMPRESSION_LERC}) {
    if (!TIFFIsCODECConfigured(compression)) continue;
    for (const std::uint16_t predictor : SCodes{PREDICTOR_NONE, PREDICTOR_HORIZONTAL}) {
      for (const std::uint32_t tile : {0u, 32u}) {
        STiffPage page = Colors();
        page.compression = compression;
        page.tile = tile;
        page.rowsPerStrip = 9;
        if (compression != COMPRESSION_PACKBITS && compression != COMPRESSION_LERC) page.predictor = predictor;
        EXPECT_EQ(0, MaxDifference(expected, Render(WriteTiff(page), 40, 28))) << compression << " " << tile;
      }
    }
  }
}

TEST(TiffLayouts, LossyCompressionsShowAboutTheSame) {
  const SRgbPicture expected = Render(WriteTiff(Colors()), 25, 17);
  for (const std::uint16_t compression : SCodes{COMPRESSION_JPEG, COMPRESSION_WEBP}) {
    if (!TIFFIsCODECConfigured(compression)) continue;
    for (const std::uint32_t tile : {0u, 32u}) {
      STiffPage page = Colors();
      page.compression = compression;
      page.tile = tile;
      page.rowsPerStrip = 16;
      EXPECT_GE(12, MaxDifference(expected, Render(WriteTiff(page), 25, 17))) << compression << " tile " << tile;
    }
  }
}

TEST(TiffLayouts, LargeStripsAreDecodedRowByRow) {
  // One strip of 9 MB: more than is decoded as a whole.
  STiffPage page = MakePage<std::uint8_t>(3000, 1000, 3, [](std::uint32_t x, std::uint32_t y, std::uint32_t s) {
    return s == 0 ? x / 12 : s == 1 ? y / 4 : 128;
  });
  const SRgbPicture expected = Render(WriteTiff(page), 30, 10);
  for (const std::uint16_t compression : SCodes{COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE}) {
    page.compression = compression;
    EXPECT_EQ(0, MaxDifference(expected, Render(WriteTiff(page), 30, 10))) << compression;
  }
}

TEST(TiffLayouts, UnsupportedPixelsAnswerMinusThree) {
  STiffPage complex = MakePage<std::uint64_t>(8, 8, 1, [](auto, auto, auto) { return 1; });
  complex.format = SAMPLEFORMAT_COMPLEXIEEEFP;
  EXPECT_EQ(kQvUnsupported, StatusOf(WriteTiff(complex)));

  STiffPage mosaic = MakePage<std::uint16_t>(8, 8, 1, [](auto x, auto, auto) { return x; });
  mosaic.photometric = PHOTOMETRIC_CFA;
  EXPECT_EQ(kQvUnsupported, StatusOf(WriteTiff(mosaic)));

  STiffPage wide = MakePage<std::uint64_t>(8, 8, 1, [](auto x, auto, auto) { return x; });
  wide.bits = 40;
  wide.format = SAMPLEFORMAT_IEEEFP;
  EXPECT_EQ(kQvUnsupported, StatusOf(WriteTiff(wide)));
}

TEST(TiffLayouts, YCbCrThatIsNotConvertedAnswersMinusThree) {
  STiffPage planes = MakePage<std::uint8_t>(16, 16, 3, [](auto, auto, auto) { return 90; });
  planes.photometric = PHOTOMETRIC_YCBCR;
  planes.planar = PLANARCONFIG_SEPARATE;
  planes.tags = [](TIFF* tiff) {
    TIFFSetField(tiff, TIFFTAG_YCBCRSUBSAMPLING, 2, 2);
    std::vector<std::uint8_t> plane(256, 90);
    for (std::uint32_t strip = 0; strip < 3; ++strip) {
      TIFFWriteEncodedStrip(tiff, strip, plane.data(), strip == 0 ? 256 : 64);
    }
  };
  planes.pixels.clear();
  EXPECT_EQ(kQvUnsupported, StatusOf(WriteTiff(planes)));
  planes.compression = COMPRESSION_LZW;
  EXPECT_EQ(kQvUnsupported, StatusOf(WriteTiff(planes)));

  STiffPage tall = planes;
  tall.planar = PLANARCONFIG_CONTIG;
  tall.compression = COMPRESSION_NONE;
  tall.tags = [](TIFF* tiff) {
    TIFFSetField(tiff, TIFFTAG_YCBCRSUBSAMPLING, 1, 4);
    std::vector<std::uint8_t> pixels(16 * 4 * 6, 90);
    TIFFWriteEncodedStrip(tiff, 0, pixels.data(), static_cast<tmsize_t>(pixels.size()));
  };
  EXPECT_EQ(kQvUnsupported, StatusOf(WriteTiff(tall)));
}

TEST(TiffLayouts, UnknownCompressionAnswersMinusThreeAndStillHasGeometry) {
  std::vector<std::uint8_t> bytes = WriteTiff(MakePage<std::uint8_t>(8, 6, 1, [](auto x, auto, auto) { return x; }));
  // The entry of tag 259: SHORT, count 1, value 1.
  const std::uint8_t entry[] = {0x03, 0x01, 0x03, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x00};
  const auto place = std::search(bytes.begin(), bytes.end(), std::begin(entry), std::end(entry));
  ASSERT_NE(bytes.end(), place);
  place[8] = 0x77;
  EXPECT_EQ(kQvUnsupported, StatusOf(bytes));
  CTestImage image(bytes);
  EXPECT_EQ(8u, image->Info().width);
  EXPECT_EQ(6u, image->Info().height);
}

}  // namespace
}  // namespace tifftest
