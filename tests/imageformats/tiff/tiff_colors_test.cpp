// Photometric interpretations, opacity, profiles and orientation.

#include <gtest/gtest.h>
#include <lcms2.h>

#include <algorithm>
#include <initializer_list>

#include "system/qvstatus.h"
#include "tests/imageformats/tiff/tiff_test_image.h"
#include "tests/support/tiff_writer.h"

namespace tifftest {
namespace {

using namespace qvtest;

template <class T>
STiffPage Uniform(std::initializer_list<T> samples, std::uint16_t photometric) {
  const std::vector<T> values(samples);
  STiffPage page = MakePage<T>(16, 12, static_cast<std::uint16_t>(values.size()),
                               [&](std::uint32_t, std::uint32_t, std::uint32_t s) { return values[s]; });
  page.photometric = photometric;
  return page;
}

void ExpectColor(const STiffPage& page, SRgb expected, int tolerance = 1) {
  const SRgb color = Render(WriteTiff(page), 5, 4).At(2, 2);
  EXPECT_NEAR(color.r, expected.r, tolerance);
  EXPECT_NEAR(color.g, expected.g, tolerance);
  EXPECT_NEAR(color.b, expected.b, tolerance);
}

TEST(TiffColors, GreyAndRgbOfEightBitsAreShownAsStored) {
  ExpectColor(Uniform<std::uint8_t>({40}, PHOTOMETRIC_MINISBLACK), {40, 40, 40}, 0);
  ExpectColor(Uniform<std::uint8_t>({40}, PHOTOMETRIC_MINISWHITE), {215, 215, 215}, 0);
  ExpectColor(Uniform<std::uint8_t>({10, 200, 90}, PHOTOMETRIC_RGB), {10, 200, 90}, 0);
}

TEST(TiffColors, ReadTurnsWhiteIsZeroOver) {
  CTestImage eight(WriteTiff(Uniform<std::uint8_t>({40}, PHOTOMETRIC_MINISWHITE)));
  EXPECT_EQ(215, ReadSamples(eight)[0]);
  CTestImage sixteen(WriteTiff(Uniform<std::uint16_t>({1000}, PHOTOMETRIC_MINISWHITE)));
  EXPECT_EQ(64535, ReadSamples(sixteen)[0]);
}

TEST(TiffColors, StretchedColorsKeepTheirHue) {
  // Three colours of one brightness each: a stretch of every component by itself would turn grey into colour.
  STiffPage page = MakePage<std::uint16_t>(30, 10, 3, [](std::uint32_t x, std::uint32_t, std::uint32_t s) {
    if (x < 10) return 1000u;
    return x < 20 ? 3000u : s == 0 ? 3000u : 2000u;
  });
  const SRgbPicture picture = Render(WriteTiff(page), 30, 10);
  EXPECT_EQ((SRgb{0, 0, 0}), picture.At(3, 5));
  EXPECT_EQ((SRgb{255, 255, 255}), picture.At(13, 5));
  EXPECT_EQ((SRgb{255, 128, 128}), picture.At(23, 5));
}

void SetPalette(STiffPage* page, std::uint16_t scale) {
  page->tags = [scale](TIFF* tiff) {
    std::vector<std::uint16_t> parts[3];
    for (int i = 0; i < 256; ++i) {
      parts[0].push_back(static_cast<std::uint16_t>(i * scale));
      parts[1].push_back(static_cast<std::uint16_t>((255 - i) * scale));
      parts[2].push_back(static_cast<std::uint16_t>((i % 2) * 255 * scale));
    }
    TIFFSetField(tiff, TIFFTAG_COLORMAP, parts[0].data(), parts[1].data(), parts[2].data());
  };
}

TEST(TiffColors, PalettesOfSixteenAndOfEightBits) {
  for (const std::uint16_t scale : std::initializer_list<std::uint16_t>{257, 1}) {
    STiffPage page = Uniform<std::uint8_t>({51}, PHOTOMETRIC_PALETTE);
    SetPalette(&page, scale);
    ExpectColor(page, {51, 204, 255}, 0);
    CTestImage image(WriteTiff(page));
    EXPECT_EQ(3u, image->Info().components);
    const std::vector<std::uint16_t> samples = ReadSamples(image);
    EXPECT_EQ((std::vector<std::uint16_t>{51, 204, 255}),
              std::vector<std::uint16_t>(samples.begin(), samples.begin() + 3));
  }
}

TEST(TiffColors, PaletteIndicesAreNotAveraged) {
  STiffPage page = MakePage<std::uint8_t>(
      16, 16, 1, [](std::uint32_t x, std::uint32_t, std::uint32_t) { return x % 2 == 0 ? 10 : 200; });
  page.photometric = PHOTOMETRIC_PALETTE;
  SetPalette(&page, 257);
  const SRgb color = Render(WriteTiff(page), 4, 4).At(1, 1);
  EXPECT_NEAR(color.r, 105, 1);
  EXPECT_NEAR(color.g, 150, 1);
  EXPECT_EQ(0, color.b);  // the mean index, an odd one, would be blue
}

TEST(TiffColors, Cmyk) {
  ExpectColor(Uniform<std::uint8_t>({0, 0, 0, 0}, PHOTOMETRIC_SEPARATED), {255, 255, 255});
  ExpectColor(Uniform<std::uint8_t>({255, 0, 0, 0}, PHOTOMETRIC_SEPARATED), {0, 255, 255});
  ExpectColor(Uniform<std::uint8_t>({0, 255, 255, 128}, PHOTOMETRIC_SEPARATED), {127, 0, 0}, 2);
  ExpectColor(Uniform<std::uint16_t>({0, 65535, 0, 0}, PHOTOMETRIC_SEPARATED), {255, 0, 255});
  STiffPage inks = Uniform<std::uint8_t>({0, 0, 0, 0}, PHOTOMETRIC_SEPARATED);
  inks.tags = [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_INKSET, INKSET_MULTIINK); };
  EXPECT_EQ(kQvUnsupported, StatusOf(WriteTiff(inks)));
}

TEST(TiffColors, LabOfAllEncodings) {
  // L 53.24, a 80.09, b 67.20 is sRGB red (D65; D50 differs by a little).
  const auto a8 = static_cast<std::uint8_t>(80), b8 = static_cast<std::uint8_t>(67);
  ExpectColor(Uniform<std::uint8_t>({136, a8, b8}, PHOTOMETRIC_CIELAB), {255, 0, 0}, 20);
  ExpectColor(Uniform<std::uint8_t>({136, 208, 195}, PHOTOMETRIC_ICCLAB), {255, 0, 0}, 20);
  ExpectColor(Uniform<std::uint16_t>({34891, 80 * 256, 67 * 256}, PHOTOMETRIC_CIELAB), {255, 0, 0}, 20);
  ExpectColor(Uniform<std::uint8_t>({255, 0, 0}, PHOTOMETRIC_CIELAB), {255, 255, 255}, 1);
  // Green: a negative.
  ExpectColor(Uniform<std::uint8_t>({224, 170, 83}, PHOTOMETRIC_CIELAB), {0, 255, 0}, 30);
  CTestImage image(WriteTiff(Uniform<std::uint8_t>({255, 0, 0}, PHOTOMETRIC_CIELAB)));
  EXPECT_EQ(8, image->Info().bpcInMemory);
  EXPECT_GE(ReadSamples(image)[1], 254);
}

TEST(TiffColors, OpacityIsLaidOverWhite) {
  STiffPage straight = Uniform<std::uint8_t>({100, 0, 200, 128}, PHOTOMETRIC_RGB);
  straight.extraSamples = {EXTRASAMPLE_UNASSALPHA};
  ExpectColor(straight, {177, 127, 227});
  STiffPage premultiplied = Uniform<std::uint8_t>({50, 0, 100, 128}, PHOTOMETRIC_RGB);
  premultiplied.extraSamples = {EXTRASAMPLE_ASSOCALPHA};
  ExpectColor(premultiplied, {177, 127, 227});
  STiffPage grey = Uniform<std::uint8_t>({0, 64}, PHOTOMETRIC_MINISBLACK);
  grey.extraSamples = {EXTRASAMPLE_UNASSALPHA};
  ExpectColor(grey, {191, 191, 191});
  STiffPage other = Uniform<std::uint8_t>({100, 0, 200, 7}, PHOTOMETRIC_RGB);
  other.extraSamples = {EXTRASAMPLE_UNSPECIFIED};
  ExpectColor(other, {100, 0, 200}, 0);
}

TEST(TiffColors, OpacityOfInksIsLaidOverPaper) {
  // Half of magenta and yellow.
  STiffPage straight = Uniform<std::uint8_t>({0, 255, 255, 0, 128}, PHOTOMETRIC_SEPARATED);
  straight.extraSamples = {EXTRASAMPLE_UNASSALPHA};
  STiffPage premultiplied = Uniform<std::uint16_t>({0, 32896, 32896, 0, 32896}, PHOTOMETRIC_SEPARATED);
  premultiplied.extraSamples = {EXTRASAMPLE_ASSOCALPHA};
  const STiffPage half = Uniform<std::uint8_t>({0, 128, 128, 0}, PHOTOMETRIC_SEPARATED);
  const SRgb expected = Render(WriteTiff(half), 5, 4).At(2, 2);
  ExpectColor(straight, expected);
  ExpectColor(premultiplied, expected);
  STiffPage clear = Uniform<std::uint8_t>({255, 255, 255, 255, 0}, PHOTOMETRIC_SEPARATED);
  clear.extraSamples = {EXTRASAMPLE_UNASSALPHA};
  ExpectColor(clear, {255, 255, 255});
  STiffPage grey = Uniform<std::uint8_t>({255, 0}, PHOTOMETRIC_MINISWHITE);
  grey.extraSamples = {EXTRASAMPLE_UNASSALPHA};
  ExpectColor(grey, {255, 255, 255});
}

// Floating point is opaque, and white, at 1.
template <class T>
void ExpectFloatOpacity() {
  // Black and white, and black of no opacity in the last column.
  STiffPage page = MakePage<T>(3, 2, 4, [](std::uint32_t x, auto, std::uint32_t s) {
    return s < 3 ? (x == 1 ? 1.0 : 0.0) : (x == 2 ? 0.0 : 1.0);
  });
  page.format = SAMPLEFORMAT_IEEEFP;
  page.extraSamples = {EXTRASAMPLE_UNASSALPHA};
  for (const bool premultiplied : {false, true}) {
    if (premultiplied) page.extraSamples = {EXTRASAMPLE_ASSOCALPHA};
    const SRgbPicture shown = Render(WriteTiff(page), 3, 2);
    EXPECT_EQ((SRgb{0, 0, 0}), shown.At(0, 0));
    EXPECT_EQ((SRgb{255, 255, 255}), shown.At(1, 0));
    EXPECT_EQ((SRgb{255, 255, 255}), shown.At(2, 0));
  }
}

TEST(TiffColors, OpacityOfFloatingPointIsLaidOverWhite) {
  ExpectFloatOpacity<float>();
  ExpectFloatOpacity<double>();
}

// They may be a further channel, or nothing but zeros, over which the colours would vanish.
TEST(TiffColors, AFourthSampleThatIsNotDeclaredIsNoOpacity) {
  for (const std::uint8_t value : std::initializer_list<std::uint8_t>{0, 7})
    ExpectColor(Uniform<std::uint8_t>({100, 0, 200, value}, PHOTOMETRIC_RGB), {100, 0, 200});
}

TEST(TiffColors, PlanarOpacityIsLaidOverWhite) {
  STiffPage page = Uniform<std::uint8_t>({100, 0, 200, 128}, PHOTOMETRIC_RGB);
  page.extraSamples = {EXTRASAMPLE_UNASSALPHA};
  page.planar = PLANARCONFIG_SEPARATE;
  std::vector<std::uint8_t> planes;
  for (const std::uint8_t value : std::initializer_list<std::uint8_t>{100, 0, 200, 128})
    planes.insert(planes.end(), 16 * 12, value);
  page.pixels = planes;
  ExpectColor(page, {177, 127, 227});
}

TEST(TiffColors, SubsampledYCbCr) {
  // 2 x 2 luminance samples and one pair of colour differences: red of ITU-R BT.601.
  STiffPage page;
  page.width = 16;
  page.height = 12;
  page.samples = 3;
  page.photometric = PHOTOMETRIC_YCBCR;
  std::vector<std::uint8_t> pixels;
  for (int i = 0; i < 8 * 6; ++i) {
    for (const std::uint8_t value : std::initializer_list<std::uint8_t>{76, 76, 76, 76, 85, 255})
      pixels.push_back(value);
  }
  page.tags = [&](TIFF* tiff) {
    TIFFSetField(tiff, TIFFTAG_YCBCRSUBSAMPLING, 2, 2);
    EXPECT_GT(TIFFWriteEncodedStrip(tiff, 0, pixels.data(), static_cast<tmsize_t>(pixels.size())), 0);
  };
  ExpectColor(page, {254, 0, 0}, 2);
  page.compression = COMPRESSION_LZW;
  page.orientation = ORIENTATION_LEFTTOP;
  CTestImage image(WriteTiff(page));
  EXPECT_EQ(12u, image->Info().width);
  ExpectColor(page, {254, 0, 0}, 2);
}

TEST(TiffColors, JpegInYCbCr) {
  STiffPage page = Uniform<std::uint8_t>({250, 10, 20}, PHOTOMETRIC_YCBCR);
  page.compression = COMPRESSION_JPEG;
  page.tags = [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB); };
  ExpectColor(page, {250, 10, 20}, 6);
}

TEST(TiffColors, EmbeddedProfileIsApplied) {
  // A grey profile of gamma 1: half the light is far brighter than half the sRGB value.
  cmsToneCurve* curve = cmsBuildGamma(nullptr, 1.0);
  const cmsHPROFILE profile = cmsCreateGrayProfile(cmsD50_xyY(), curve);
  cmsUInt32Number size = 0;
  cmsSaveProfileToMem(profile, nullptr, &size);
  std::vector<std::uint8_t> bytes(size);
  cmsSaveProfileToMem(profile, bytes.data(), &size);
  cmsCloseProfile(profile);
  cmsFreeToneCurve(curve);
  STiffPage page = Uniform<std::uint8_t>({128}, PHOTOMETRIC_MINISBLACK);
  page.tags = [&](TIFF* tiff) {
    TIFFSetField(tiff, TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(bytes.size()), bytes.data());
  };
  ExpectColor(page, {188, 188, 188}, 3);
}

// The stored picture: red at its top left, green at its top right, blue at its bottom left, black elsewhere.
STiffPage Corners() {
  return MakePage<std::uint8_t>(30, 20, 3, [](std::uint32_t x, std::uint32_t y, std::uint32_t s) {
    const bool left = x < 10, right = x >= 20, top = y < 8, bottom = y >= 12;
    return (s == 0 && left && top) || (s == 1 && right && top) || (s == 2 && left && bottom) ? 255 : 0;
  });
}

struct SDisplayed {
  std::uint16_t orientation;
  bool swapped;
  int red, green, blue;  // corners: 0 top left, 1 top right, 2 bottom left, 3 bottom right
};

constexpr SDisplayed kDisplayed[] = {
    {ORIENTATION_TOPLEFT, false, 0, 1, 2},  {ORIENTATION_TOPRIGHT, false, 1, 0, 3},
    {ORIENTATION_BOTRIGHT, false, 3, 2, 1}, {ORIENTATION_BOTLEFT, false, 2, 3, 0},
    {ORIENTATION_LEFTTOP, true, 0, 2, 1},   {ORIENTATION_RIGHTTOP, true, 1, 3, 0},
    {ORIENTATION_RIGHTBOT, true, 3, 1, 2},  {ORIENTATION_LEFTBOT, true, 2, 0, 3},
};

SRgb Corner(const SRgbPicture& picture, int corner) {
  return picture.At(corner % 2 == 0 ? 0 : picture.width - 1, corner < 2 ? 0 : picture.height - 1);
}

TEST(TiffColors, EveryOrientationIsDisplayed) {
  for (const SDisplayed& shown : kDisplayed) {
    for (const std::uint32_t tile : {0u, 16u}) {
      STiffPage page = Corners();
      page.orientation = shown.orientation;
      page.tile = tile;
      CTestImage image(WriteTiff(page));
      EXPECT_EQ(shown.swapped ? 20u : 30u, image->Info().width);
      EXPECT_EQ(shown.swapped ? 30u : 20u, image->Info().height);
      for (const std::uint32_t scale : {1u, 2u, 5u}) {
        const SRgbPicture picture = Render(image, image->Info().width / scale, image->Info().height / scale);
        EXPECT_EQ((SRgb{255, 0, 0}), Corner(picture, shown.red)) << shown.orientation;
        EXPECT_EQ((SRgb{0, 255, 0}), Corner(picture, shown.green)) << shown.orientation;
        EXPECT_EQ((SRgb{0, 0, 255}), Corner(picture, shown.blue)) << shown.orientation;
      }
      const std::vector<std::uint16_t> samples = ReadSamples(image);
      const std::size_t width = image->Info().width, height = image->Info().height;
      const std::size_t corners[] = {0, width - 1, (height - 1) * width, height * width - 1};
      EXPECT_EQ(255, samples[corners[shown.red] * 3]);
      EXPECT_EQ(255, samples[corners[shown.green] * 3 + 1]);
      EXPECT_EQ(255, samples[corners[shown.blue] * 3 + 2]);
    }
  }
}

TEST(TiffColors, ChannelsInSamplesAreComposited) {
  STiffPage page = MakePage<std::uint16_t>(
      30, 10, 3, [](std::uint32_t x, std::uint32_t, std::uint32_t s) { return x / 10 == s ? 4000 : 100; });
  page.photometric = PHOTOMETRIC_MINISBLACK;
  page.extraSamples = {EXTRASAMPLE_UNSPECIFIED, EXTRASAMPLE_UNSPECIFIED};
  CTestImage image(WriteTiff(page));
  const SRgbPicture picture = Render(image, 30, 10);
  EXPECT_EQ((SRgb{255, 0, 0}), picture.At(5, 5));
  EXPECT_EQ((SRgb{0, 255, 0}), picture.At(15, 5));
  EXPECT_EQ((SRgb{0, 0, 255}), picture.At(25, 5));
  const SRgbPicture second = Render(image, 30, 10, false, 2u);
  EXPECT_EQ((SRgb{0, 0, 0}), second.At(5, 5));
  EXPECT_EQ((SRgb{0, 255, 0}), second.At(15, 5));
  const SRgbPicture none = Render(image, 30, 10, false, 0u);
  EXPECT_EQ((SRgb{0, 0, 0}), none.At(15, 5));
  const auto metadata = image->Metadata();
  EXPECT_EQ(3u, metadata.picture.GetPlaneCount());
  ASSERT_EQ(1u, metadata.loops.size());
  EXPECT_EQ(std::uint32_t{kQvLoopLambda}, metadata.loops[0].type);
  EXPECT_EQ(3u, metadata.loops[0].size);
}

}  // namespace
}  // namespace tifftest
