// Reduced copies: which of them a rendering reads.

#include <gtest/gtest.h>

#include <initializer_list>

#include "tests/imageformats/tiff/tiff_test_image.h"
#include "tests/support/tiff_writer.h"

namespace tifftest {
namespace {

using namespace qvtest;

// A picture of one grey, by which a test sees what was read.
STiffPage Level(std::uint32_t width, std::uint32_t height, int grey, std::uint32_t subfileType = 0) {
  STiffPage page = MakePage<std::uint8_t>(width, height, 1, [&](auto, auto, auto) { return grey; });
  page.subfileType = subfileType;
  page.tile = 16;
  return page;
}

int GreyOf(const std::vector<std::uint8_t>& bytes, std::uint32_t width, std::uint32_t height) {
  return Render(bytes, width, height).At(width / 2, height / 2).r;
}

constexpr std::uint32_t kReduced = FILETYPE_REDUCEDIMAGE;

TEST(TiffLevels, FlaggedLevelsOfTheChain) {
  const auto bytes = WriteTiff(
      {Level(400, 300, 10), Level(200, 150, 20, kReduced), Level(100, 75, 30, kReduced), Level(50, 37, 40, kReduced)});
  EXPECT_EQ(10, GreyOf(bytes, 201, 151));
  EXPECT_EQ(20, GreyOf(bytes, 200, 150));
  EXPECT_EQ(20, GreyOf(bytes, 101, 70));
  EXPECT_EQ(30, GreyOf(bytes, 100, 75));
  EXPECT_EQ(40, GreyOf(bytes, 40, 30));
  CTestImage image(bytes);
  EXPECT_EQ(400u, image->Info().width);
  EXPECT_EQ(1u, image->Info().sequenceCount);
  EXPECT_EQ(16u, image->Info().tileWidth);
}

TEST(TiffLevels, UnflaggedHalvesOfTheChain) {
  const auto bytes = WriteTiff({Level(401, 301, 10), Level(200, 150, 20), Level(100, 75, 30)});
  EXPECT_EQ(30, GreyOf(bytes, 80, 60));
  EXPECT_EQ(20, GreyOf(bytes, 150, 112));
  CTestImage image(bytes);
  EXPECT_EQ(1u, image->Info().sequenceCount);
}

TEST(TiffLevels, SubIfdsAndTheirChains) {
  STiffPage full = Level(400, 300, 10);
  full.subIfds = 2;
  const auto bytes = WriteTiff({full, Level(200, 150, 20, kReduced), Level(100, 75, 30, kReduced)});
  EXPECT_EQ(10, GreyOf(bytes, 300, 225));
  EXPECT_EQ(20, GreyOf(bytes, 160, 120));
  EXPECT_EQ(30, GreyOf(bytes, 96, 72));
}

TEST(TiffLevels, PicturesOfAnotherShapeAreNoLevels) {
  // A label and a stack's odd page.
  const auto bytes = WriteTiff({Level(400, 300, 10), Level(100, 100, 20, kReduced), Level(150, 112, 30),
                                Level(200, 150, 40, FILETYPE_MASK | kReduced)});
  EXPECT_EQ(10, GreyOf(bytes, 80, 60));
}

TEST(TiffLevels, LevelsOfAnotherPixelLayoutAreLeftOut) {
  STiffPage full = Level(400, 300, 10);
  full.subIfds = 1;
  STiffPage color = MakePage<std::uint8_t>(200, 150, 3, [](auto, auto, auto) { return 77; });
  color.subfileType = kReduced;
  EXPECT_EQ(10, GreyOf(WriteTiff({full, color}), 80, 60));
}

TEST(TiffLevels, APreviewWithFewerSamplesThanThereAreChannelsIsNoLevel) {
  STiffPage channels =
      MakePage<std::uint8_t>(400, 300, 4, [](auto, auto, std::uint32_t s) { return s == 3 ? 200 : 0; });
  channels.photometric = PHOTOMETRIC_MINISBLACK;
  channels.extraSamples = {0, 0, 0};
  for (const std::uint16_t samples : std::initializer_list<std::uint16_t>{1, 3}) {
    STiffPage preview = MakePage<std::uint8_t>(100, 75, samples, [](auto, auto, auto) { return 77; });
    preview.subfileType = kReduced;
    // The fourth channel by default.
    const SRgbPicture shown = Render(WriteTiff({channels, preview}), 80, 60);
    EXPECT_EQ(200, shown.At(40, 30).r) << samples;
    EXPECT_EQ(200, shown.At(40, 30).b) << samples;
  }
}

TEST(TiffLevels, TheFullPictureMayStandBehindASmallOne) {
  // Raw camera files: a small picture first, the real one in its sub-IFD.
  STiffPage small = Level(50, 40, 10, kReduced);
  small.subIfds = 1;
  const auto bytes = WriteTiff({small, Level(400, 320, 20)});
  CTestImage image(bytes);
  EXPECT_EQ(400u, image->Info().width);
  EXPECT_EQ(20, Render(image, 40, 32).At(3, 3).r);
  // Or behind it in the chain.
  CTestImage chain(WriteTiff({Level(50, 40, 10, kReduced), Level(400, 320, 20)}));
  EXPECT_EQ(400u, chain->Info().width);
}

TEST(TiffLevels, PagesOfOneShapeAreASequence) {
  CTestImage image(WriteTiff({Level(40, 30, 10), Level(40, 30, 20), Level(40, 30, 30)}));
  EXPECT_EQ(3u, image->Info().sequenceCount);
  EXPECT_EQ(10, Render(image, 20, 15).At(3, 3).r);
  const auto metadata = image->Metadata();
  ASSERT_EQ(1u, metadata.loops.size());
  EXPECT_EQ(std::uint32_t{kQvLoopCustom}, metadata.loops[0].type);
  EXPECT_EQ(3u, metadata.loops[0].size);
}

// A smooth picture, so that block transforms keep it.
STiffPage Smooth(std::uint32_t width, std::uint32_t height) {
  return MakePage<std::uint8_t>(width, height, 3, [&](std::uint32_t x, std::uint32_t y, std::uint32_t s) {
    return s == 0 ? 255 * x / width : s == 1 ? 255 * y / height : 100;
  });
}

TEST(TiffLevels, JpegTilesAndStripsAreScaledWhileDecoded) {
  const SRgbPicture expected = Render(WriteTiff(Smooth(300, 199)), 15, 10);
  for (const std::uint16_t photometric : std::initializer_list<std::uint16_t>{PHOTOMETRIC_RGB, PHOTOMETRIC_YCBCR}) {
    for (const std::uint32_t tile : {0u, 64u, 48u}) {
      for (const std::uint32_t rows : {8u, 24u, 400u}) {
        if (tile != 0 && rows != 8) continue;
        STiffPage page = Smooth(300, 199);
        page.photometric = photometric;
        page.compression = COMPRESSION_JPEG;
        page.tile = tile;
        page.rowsPerStrip = photometric == PHOTOMETRIC_YCBCR ? (rows + 15) / 16 * 16 : rows;
        page.tags = [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB); };
        const auto bytes = WriteTiff(page);
        CTestImage image(bytes);
        for (const bool fast : {false, true}) {
          EXPECT_GE(6, MaxDifference(expected, Render(image, 15, 10, fast)))
              << photometric << " tile " << tile << " rows " << rows;
        }
        EXPECT_EQ(std::uint32_t{kQvCompressionJpeg}, image->Info().compression);
      }
    }
  }
}

TEST(TiffLevels, JpegPicturesMuchLargerThanTheBoxShowTheSame) {
  const auto detailed = [] {
    return MakePage<std::uint8_t>(700, 470, 3, [](std::uint32_t x, std::uint32_t y, std::uint32_t s) {
      return s == 0 ? 255 * x / 700 : s == 1 ? 40 + (x * 7 + y * 13) % 160 : 255 * y / 470;
    });
  };
  const SRgbPicture expected = Render(WriteTiff(detailed()), 15, 10);
  for (const std::uint16_t photometric : std::initializer_list<std::uint16_t>{PHOTOMETRIC_RGB, PHOTOMETRIC_YCBCR}) {
    for (const std::uint32_t tile : {0u, 64u, 48u}) {
      STiffPage page = detailed();
      page.photometric = photometric;
      page.compression = COMPRESSION_JPEG;
      page.tile = tile;
      page.rowsPerStrip = 32;
      page.tags = [](TIFF* tiff) {
        TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        TIFFSetField(tiff, TIFFTAG_JPEGQUALITY, 95);
      };
      EXPECT_GE(3, MaxDifference(expected, Render(WriteTiff(page), 15, 10))) << photometric << " tile " << tile;
    }
  }
}

TEST(TiffLevels, GreyJpegMuchLargerThanTheBoxShowsTheSame) {
  for (const std::uint16_t photometric :
       std::initializer_list<std::uint16_t>{PHOTOMETRIC_MINISBLACK, PHOTOMETRIC_MINISWHITE}) {
    STiffPage page = MakePage<std::uint8_t>(400, 300, 1, [](std::uint32_t x, auto, auto) { return x / 2; });
    page.photometric = photometric;
    const SRgbPicture expected = Render(WriteTiff(page), 20, 15);
    page.compression = COMPRESSION_JPEG;
    page.tile = 80;
    EXPECT_GE(3, MaxDifference(expected, Render(WriteTiff(page), 20, 15))) << photometric;
  }
}

TEST(TiffLevels, PicturesSmallerThanTheBoxAreEnlarged) {
  const SRgbPicture picture = Render(WriteTiff(Smooth(10, 7)), 200, 140);
  EXPECT_LT(picture.At(2, 2).r, 20);
  EXPECT_GT(picture.At(198, 70).r, 220);
}

}  // namespace
}  // namespace tifftest
