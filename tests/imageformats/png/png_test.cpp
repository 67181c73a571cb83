#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <cmath>
#include <string_view>

#include "platform/imageformats/png/png_rows.h"
#include "platform/imageformats/render/orientation.h"
#include "tests/imageformats/support/opened.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/encode_png.h"
#include "tests/support/file_bytes.h"
#include "tests/support/icc_profile.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_picture.h"

namespace imageformats {
namespace {

using namespace qvtest;

STestPicture Noise(std::uint32_t width, std::uint32_t height, std::uint32_t components, std::uint32_t bits) {
  return NoisePicture(width, height, components, bits, width + components + bits);
}

STestPicture GreyAsRgb(const STestPicture& grey) {
  STestPicture rgb{grey.width, grey.height, 3, 8, {}};
  for (const std::uint16_t v : grey.samples) rgb.samples.insert(rgb.samples.end(), {v, v, v});
  return rgb;
}

struct SKind {
  std::uint32_t components, bits;
};
constexpr SKind kKinds[] = {{1, 1}, {1, 2}, {1, 4}, {1, 8}, {1, 16}, {2, 8}, {2, 16}, {3, 8}, {3, 16}, {4, 8}, {4, 16}};

TEST(Png, EveryTypeAndFilterReadsBackExactly) {
  constexpr int kFilters[] = {PNG_FILTER_NONE, PNG_FILTER_SUB, PNG_FILTER_UP, PNG_FILTER_AVG, PNG_FILTER_PAETH, -1};
  for (const SKind& kind : kKinds) {
    for (const bool interlaced : {false, true}) {
      for (const int filters : kFilters) {
        SCOPED_TRACE(testing::Message() << kind.components << " components of " << kind.bits << " bits, interlaced "
                                        << interlaced << " filters " << filters);
        for (const SSize size : {SSize{1, 1}, SSize{5, 3}, SSize{37, 29}}) {
          STestPicture picture = Noise(size.width, size.height, kind.components, kind.bits);
          SPngRecipe recipe;
          recipe.interlaced = interlaced;
          recipe.filters = filters;
          const auto image = OpenBytes(EncodePng(picture, recipe));
          EXPECT_EQ(image->Info().bpcInMemory, kind.bits == 16 ? 16 : 8);
          if (kind.bits < 8) {
            const unsigned most = (1u << kind.bits) - 1;
            for (std::uint16_t& s : picture.samples) s = static_cast<std::uint16_t>(s * 255 / most);
          }
          EXPECT_EQ(ReadAll(*image).samples, picture.samples);
        }
      }
    }
  }
}

// Small pictures are inflated in one go, others row by row: both must be right.
// Squares of 20 pixels, numbered from 1 on without order.
STestPicture Labels(std::uint32_t bits) {
  STestPicture picture{240, 180, 1, bits, {}};
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    for (std::uint32_t x = 0; x < picture.width; ++x) {
      const bool isBackground = x % 30 < 10 || y % 30 < 10;
      picture.samples.push_back(static_cast<std::uint16_t>(isBackground ? 0 : 1 + (x / 30 * 7 + y / 30 * 5) % 48));
    }
  }
  return picture;
}

TEST(Png, LabelsHaveDistinctColours) {
  for (const std::uint32_t bits : {8u, 16u}) {
    const STestPicture shown = RenderBytes(EncodePng(Labels(bits)), 80, 60);
    const auto color = [&](std::uint32_t x, std::uint32_t y) {
      const auto first = shown.samples.begin() + 3 * (y * shown.width + x);
      return std::vector<std::uint16_t>(first, first + 3);
    };
    EXPECT_EQ(color(1, 1), (std::vector<std::uint16_t>{0, 0, 0}));
    EXPECT_NE(color(6, 6), color(16, 6));
    EXPECT_NE(color(6, 6), color(6, 16));
    EXPECT_GT(*std::max_element(shown.samples.begin(), shown.samples.end()), 200);
  }
}

TEST(Png, AMaskOfZeroAndOneIsVisible) {
  STestPicture mask{80, 60, 1, 8, {}};
  for (std::uint32_t i = 0; i < 80 * 60; ++i) mask.samples.push_back(i % 80 < 40 ? 0 : 1);
  const STestPicture shown = RenderBytes(EncodePng(mask), 40, 30);
  EXPECT_EQ(shown.samples[0], 0);
  EXPECT_EQ(shown.samples[3 * 39], 255);
}

TEST(Png, BothWaysOfDecodingAgree) {
  for (const SKind& kind : kKinds) {
    const SFileBytes bytes = EncodePng(Noise(67, 41, kind.components, kind.bits));
    const auto input = CInput::FromMemory(bytes.data(), bytes.size());
    const SPngHeader header = ReadPngHeader(*input);
    CRenderGuard guard;
    const auto whole = OpenWholePngRows(*input, header, guard), library = OpenLibpngRows(input, header, guard);
    ASSERT_NE(whole, nullptr);
    for (std::uint32_t y = 0; y < header.height;) {
      const IPngRowSource::SBand a = whole->NextBand(7), b = library->NextBand(a.count);
      ASSERT_EQ(a.count, b.count);
      for (std::uint32_t i = 0; i < a.count; ++i, ++y) {
        const std::vector<std::uint8_t> rowA(a.rows + i * a.stride, a.rows + i * a.stride + header.RowBytes());
        const std::vector<std::uint8_t> rowB(b.rows + i * b.stride, b.rows + i * b.stride + header.RowBytes());
        ASSERT_EQ(rowA, rowB) << y;
      }
    }
  }
}

TEST(Png, LargePicturesAreStreamedWithinTheLimit) {
  const STestPicture picture = SmoothPicture(1300, 1130, 3);  // more than the four mebibytes below
  const SFileBytes bytes = EncodePng(picture);
  const auto input = CInput::FromMemory(bytes.data(), bytes.size());
  CRenderGuard guard(SRenderLimits{4u << 20, 1ull << 40, std::chrono::hours(1)});
  EXPECT_EQ(OpenWholePngRows(*input, ReadPngHeader(*input), guard), nullptr);
  const auto image = OpenBytes(bytes);
  SQvPicBuf out;
  CQvPicBufAPI::Init(&out);
  ASSERT_EQ(CQvPicBufAPI::Reinit(&out, 207, 180, 0, 8, 3, true), 0);
  EXPECT_NO_THROW(image->Render({207, 180, true, kAllChannels}, out, guard));
  const STestPicture average = AreaAverage(picture, 207, 180);
  EXPECT_NEAR(static_cast<const std::uint8_t*>(out.data)[90 * out.widthBytes + 300], average.At(100, 90, 0), 1);
  CQvPicBufAPI::Free(&out);
}

TEST(Png, InterlacedPicturesNeedTheirMemory) {
  SPngRecipe recipe;
  recipe.interlaced = true;
  const SFileBytes bytes = EncodePng(SmoothPicture(800, 800, 3), recipe);
  const auto image = OpenBytes(bytes);
  SQvPicBuf out;
  CQvPicBufAPI::Init(&out);
  ASSERT_EQ(CQvPicBufAPI::Reinit(&out, 18, 18, 0, 8, 3, true), 0);
  CRenderGuard guard(SRenderLimits{1u << 20, 1ull << 40, std::chrono::hours(1)});
  EXPECT_THROW(image->Render({18, 18, true, kAllChannels}, out, guard), CDamagedError);
  CQvPicBufAPI::Free(&out);
}

TEST(Png, TheTimeIsLookedAtBetweenPiecesOfNoContent) {
  const SFileBytes sound = EncodePng(SmoothPicture(20, 10, 3));
  const std::string_view chars(reinterpret_cast<const char*>(sound.data()), sound.size());
  const SFileBytes nothing = {0, 0, 0, 0, 'I', 'D', 'A', 'T', 0x35, 0xAF, 0x06, 0x1E};
  SFileBytes bytes = sound;
  for (int i = 0; i < 100; ++i) {
    bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(chars.find("IDAT")) - 4, nothing.begin(), nothing.end());
  }
  EXPECT_EQ(ReadAll(*OpenBytes(bytes)).samples, ReadAll(*OpenBytes(sound)).samples);
  const auto input = CInput::FromMemory(bytes.data(), bytes.size());
  SRenderLimits spent;
  spent.time = std::chrono::milliseconds(-1);
  CRenderGuard guard(spent);
  EXPECT_THROW(OpenWholePngRows(*input, ReadPngHeader(*input), guard), CDamagedError);
}

TEST(Png, RendersToTheExactAverage) {
  for (const std::uint32_t components : {1u, 3u}) {
    const STestPicture picture = Noise(301, 203, components, 8);
    for (const bool interlaced : {false, true}) {
      SPngRecipe recipe;
      recipe.interlaced = interlaced;
      const SFileBytes bytes = EncodePng(picture, recipe);
      for (const SSize size : {SSize{266, 180}, SSize{30, 20}, SSize{1, 1}, SSize{301, 203}}) {
        STestPicture average = AreaAverage(picture, size.width, size.height);
        if (components == 1) average = GreyAsRgb(average);
        EXPECT_LE(LargestDifference(RenderBytes(bytes, size.width, size.height), average), 1);
      }
    }
  }
}

TEST(Png, TransparentPixelsAreLaidOverWhiteBeforeAveraging) {
  STestPicture picture{2, 1, 4, 8, {200, 0, 0, 255, 0, 0, 0, 0}};
  const STestPicture shown = RenderBytes(EncodePng(picture), 1, 1);
  EXPECT_NEAR(shown.At(0, 0, 0), (200 + 255) / 2, 1);
  EXPECT_NEAR(shown.At(0, 0, 1), 128, 1);
  // Grey of 16 bits, half transparent.
  STestPicture grey{2, 1, 2, 16, {0, 32768, 0, 65535}};
  const STestPicture shownGrey = RenderBytes(EncodePng(grey), 2, 1);
  EXPECT_EQ(shownGrey.At(0, 0, 0), 255);
  EXPECT_EQ(shownGrey.At(1, 0, 0), 0);
}

TEST(Png, PalettesAndTheirOpacity) {
  STestPicture indices{4, 1, 1, 2, {0, 1, 2, 3}};
  SPngRecipe recipe;
  recipe.palette = true;
  recipe.colors = {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {10, 20, 30}};
  auto image = OpenBytes(EncodePng(indices, recipe));
  EXPECT_EQ(image->Info().components, 3u);
  EXPECT_EQ(ReadAll(*image).samples, (std::vector<std::uint16_t>{255, 0, 0, 0, 255, 0, 0, 0, 255, 10, 20, 30}));
  recipe.paletteOpacity = {255, 0};
  image = OpenBytes(EncodePng(indices, recipe));
  EXPECT_EQ(image->Info().components, 4u);
  EXPECT_EQ(Render(*image, 4, 1).samples,
            (std::vector<std::uint16_t>{255, 0, 0, 255, 255, 255, 0, 0, 255, 10, 20, 30}));
}

TEST(Png, ATransparentColourIsTransparent) {
  SPngRecipe recipe;
  recipe.transparent = {77};
  STestPicture grey{3, 1, 1, 8, {77, 78, 0}};
  EXPECT_EQ(RenderBytes(EncodePng(grey, recipe), 3, 1).samples,
            (std::vector<std::uint16_t>{255, 255, 255, 78, 78, 78, 0, 0, 0}));
  recipe.transparent = {1};
  STestPicture bits{2, 1, 1, 1, {1, 0}};
  EXPECT_EQ(RenderBytes(EncodePng(bits, recipe), 2, 1).At(1, 0, 0), 0);
  recipe.transparent = {1, 2, 3};
  STestPicture rgb{2, 1, 3, 8, {1, 2, 3, 1, 2, 4}};
  EXPECT_EQ(ReadAll(*OpenBytes(EncodePng(rgb, recipe))).samples,
            (std::vector<std::uint16_t>{1, 2, 3, 0, 1, 2, 4, 255}));
  recipe.transparent = {1000, 2000, 3000};
  STestPicture wide{2, 1, 3, 16, {1000, 2000, 3000, 1000, 2000, 3001}};
  EXPECT_EQ(ReadAll(*OpenBytes(EncodePng(wide, recipe))).samples,
            (std::vector<std::uint16_t>{1000, 2000, 3000, 0, 1000, 2000, 3001, 65535}));
}

TEST(Png, SixteenBitsAreStretchedAndKeepTheirHue) {
  STestPicture grey = SmoothPicture(100, 80, 1, 12);  // twelve bits in sixteen: dark as it stands
  grey.bits = 16;
  const STestPicture shown = RenderBytes(EncodePng(grey), 50, 40);
  const auto [least, most] = std::minmax_element(shown.samples.begin(), shown.samples.end());
  EXPECT_LE(*least, 3);
  EXPECT_GE(*most, 252);
  STestPicture rgb{3, 1, 3, 16, {100, 200, 400, 0, 0, 0, 400, 200, 100}};
  const STestPicture hue = RenderBytes(EncodePng(rgb), 3, 1);
  EXPECT_EQ(hue.At(0, 0, 2), 255);
  EXPECT_EQ(hue.At(0, 0, 1), 128);
  EXPECT_EQ(hue.At(0, 0, 0), 64);
}

TEST(Png, SignificantBitsDecideAboutStretching) {
  STestPicture grey{2, 1, 1, 16, {0x1010, 0x8080}};
  SPngRecipe recipe;
  recipe.significantBits = 8;
  const auto image = OpenBytes(EncodePng(grey, recipe));
  EXPECT_EQ(image->Info().bpcSignificant, 8);
  EXPECT_EQ(Render(*image, 2, 1).samples, (std::vector<std::uint16_t>{16, 16, 16, 128, 128, 128}));
}

TEST(Png, GammaIsHonouredUnlessTheFileSaysMoreExactly) {
  STestPicture grey{1, 1, 1, 8, {128}};
  SPngRecipe linear, screen, managed;
  linear.gamma = 1.0;
  screen.gamma = 0.45455;
  managed.gamma = 1.0;
  managed.profile = SrgbProfile();
  STestPicture rgb{1, 1, 3, 8, {128, 128, 128}};
  EXPECT_EQ(RenderBytes(EncodePng(grey, linear), 1, 1).At(0, 0, 0), 188);  // the sRGB curve at 128 / 255
  EXPECT_EQ(RenderBytes(EncodePng(grey, screen), 1, 1).At(0, 0, 0), 128);
  EXPECT_EQ(RenderBytes(EncodePng(rgb, managed), 1, 1).At(0, 0, 0), 128);
}

TEST(Png, ProfilesAreFollowed) {
  STestPicture red{4, 4, 3, 8, std::vector<std::uint16_t>(48, 0)};
  for (std::size_t i = 0; i < 48; i += 3) red.samples[i] = 255;
  SPngRecipe recipe;
  recipe.profile = SwappedPrimariesProfile();
  const STestPicture shown = RenderBytes(EncodePng(red, recipe), 2, 2);
  EXPECT_GT(shown.At(0, 0, 1), 220);
  EXPECT_LT(shown.At(0, 0, 0), 50);
}

TEST(Png, OrientationTurnsThePicture) {
  STestPicture picture{3, 1, 1, 8, {60, 120, 180}};
  SPngRecipe recipe;
  recipe.exif = ExifWithOrientation(6);
  recipe.exif.erase(recipe.exif.begin(), recipe.exif.begin() + 6);
  const auto image = OpenBytes(EncodePng(picture, recipe));
  EXPECT_EQ(image->Info().width, 1u);
  EXPECT_EQ(image->Info().height, 3u);
  EXPECT_EQ(ReadAll(*image).samples, (std::vector<std::uint16_t>{60, 120, 180}));
  EXPECT_EQ(Render(*image, 1, 3).At(0, 2, 0), 180);
}

TEST(Png, ManySmallDataChunksAreOneStream) {
  SPngRecipe recipe;
  recipe.dataChunk = 32;
  const STestPicture picture = Noise(90, 70, 3, 8);
  const CTempFolder folder;
  const SFileBytes bytes = EncodePng(picture, recipe);
  EXPECT_EQ(ReadAll(*OpenBytes(bytes)).samples, picture.samples);
  EXPECT_EQ(ReadAll(*OpenPath(folder.MakeFileWide("a.png", bytes))).samples, picture.samples);
}

}  // namespace
}  // namespace imageformats
