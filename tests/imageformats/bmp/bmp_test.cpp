#include <gtest/gtest.h>

#include "system/qvstatus.h"
#include "tests/imageformats/support/damage.h"
#include "tests/imageformats/support/opened.h"
#include "tests/support/encode_bmp.h"
#include "tests/support/icc_profile.h"

namespace imageformats {
namespace {

using namespace qvtest;

// Colours that differ in every component.
std::vector<std::array<std::uint8_t, 3>> SomeColors(std::size_t count) {
  std::vector<std::array<std::uint8_t, 3>> colors;
  for (std::size_t i = 0; i < count; ++i) {
    colors.push_back({static_cast<std::uint8_t>(7 * i + 3), static_cast<std::uint8_t>(250 - 5 * i),
                      static_cast<std::uint8_t>(11 * i + 90)});
  }
  return colors;
}

STestPicture LookedUp(const STestPicture& indices, const std::vector<std::array<std::uint8_t, 3>>& colors) {
  STestPicture rgb{indices.width, indices.height, 3, 8, {}};
  for (const std::uint16_t i : indices.samples) {
    for (const std::uint8_t c : colors.at(i)) rgb.samples.push_back(c);
  }
  return rgb;
}

TEST(Bmp, PalettesOfEveryDepthHeaderAndDirectionReadBackExactly) {
  for (const std::uint32_t bits : {1u, 2u, 4u, 8u}) {
    for (const std::uint32_t header : {12u, 40u, 64u, 108u, 124u}) {
      for (const bool topDown : {false, true}) {
        if (topDown && header == 12) continue;
        SCOPED_TRACE(testing::Message() << bits << " bits, header " << header << ", top down " << topDown);
        SBmpRecipe recipe{.headerSize = header, .topDown = topDown, .colors = SomeColors(1u << bits)};
        const STestPicture indices = NoisePicture(37, 11, 1, bits, bits);
        const auto image = OpenBytes(EncodeBmp(indices, bits, recipe));
        EXPECT_EQ(ReadAll(*image), LookedUp(indices, recipe.colors));
      }
    }
  }
}

TEST(Bmp, APaletteOfGreysIsAGreyPicture) {
  SBmpRecipe recipe;
  for (int i = 0; i < 256; ++i) recipe.colors.push_back({std::uint8_t(i), std::uint8_t(i), std::uint8_t(i)});
  const STestPicture picture = NoisePicture(20, 10, 1, 8, 3);
  const auto image = OpenBytes(EncodeBmp(picture, 8, recipe));
  EXPECT_EQ(image->Info().components, 1u);
  EXPECT_EQ(ReadAll(*image), picture);
  EXPECT_EQ(image->Metadata().text.type, L"BMP");
}

TEST(Bmp, TrueColourReadsBackAndAverages) {
  for (const bool topDown : {false, true}) {
    const STestPicture picture = NoisePicture(301, 203, 3, 8, 4);
    const SFileBytes bytes = EncodeBmp(picture, 24, {.topDown = topDown});
    EXPECT_EQ(ReadAll(*OpenBytes(bytes)), picture);
    EXPECT_LE(LargestDifference(RenderBytes(bytes, 60, 41), AreaAverage(picture, 60, 41)), 1);
  }
}

TEST(Bmp, SixteenBitsAreFiveOfEachColourOrAsTheFieldsSay) {
  STestPicture words = BlackPicture(2, 1, 1, 16);
  words.samples = {0x7C1F, 0x03E0};
  EXPECT_EQ(ReadAll(*OpenBytes(EncodeBmp(words, 16))).samples, (std::vector<std::uint16_t>{255, 0, 255, 0, 255, 0}));
  SBmpRecipe recipe{.compression = 3, .masks = {0xF800, 0x07E0, 0x001F, 0}};
  words.samples = {0xF81F, 0x0400};
  EXPECT_EQ(ReadAll(*OpenBytes(EncodeBmp(words, 16, recipe))).samples,
            (std::vector<std::uint16_t>{255, 0, 255, 0, 130, 0}));
}

SFileBytes WithOpacity(std::uint8_t first, std::uint8_t second) {
  SBmpRecipe recipe{.headerSize = 108, .compression = 3, .masks = {0xFF0000, 0xFF00, 0xFF, 0xFF000000}};
  return BmpFile(2, 1, 32, {10, 20, 30, first, 40, 50, 60, second}, recipe);
}

TEST(Bmp, OpacityIsLaidOverWhite) {
  EXPECT_EQ(ReadAll(*OpenBytes(WithOpacity(255, 0))).samples,
            (std::vector<std::uint16_t>{30, 20, 10, 255, 60, 50, 40, 0}));
  EXPECT_EQ(RenderBytes(WithOpacity(255, 0), 2, 1).samples, (std::vector<std::uint16_t>{30, 20, 10, 255, 255, 255}));
}

TEST(Bmp, OpacityThatIsZeroEverywhereIsNone) {
  EXPECT_EQ(RenderBytes(WithOpacity(0, 0), 2, 1).samples, (std::vector<std::uint16_t>{30, 20, 10, 60, 50, 40}));
}

TEST(Bmp, TheUnusedByteOfThirtyTwoBitsIsNoOpacity) {
  const SFileBytes bytes = BmpFile(1, 1, 32, {10, 20, 30, 0});
  EXPECT_EQ(ReadAll(*OpenBytes(bytes)).samples, (std::vector<std::uint16_t>{30, 20, 10}));
}

TEST(Bmp, RunLengthsOfEightBits) {
  // From below: a run and literals of an odd number; a step over; two rows of nothing.
  const SFileBytes runs = {2, 1, 0, 3, 2, 3, 1, 0, 0, 0, 1, 3, 0, 2, 2, 0, 1, 2, 0, 2, 0, 2, 1, 3, 0, 1};
  SBmpRecipe recipe{.compression = 1, .colors = SomeColors(4)};
  STestPicture indices = BlackPicture(5, 5, 1);
  indices.samples = {0, 0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0, 0, 3, 0, 0, 2, 0, 1, 1, 2, 3, 1};
  EXPECT_EQ(ReadAll(*OpenBytes(BmpFile(5, 5, 8, runs, recipe))), LookedUp(indices, recipe.colors));
}

TEST(Bmp, RunLengthsOfFourBits) {
  const SFileBytes runs = {3, 0x12, 0, 3, 0x32, 0x10, 0, 0, 6, 0x30, 0, 1};
  SBmpRecipe recipe{.compression = 2, .colors = SomeColors(16)};
  STestPicture indices = BlackPicture(6, 2, 1);
  indices.samples = {3, 0, 3, 0, 3, 0, 1, 2, 1, 3, 2, 1};
  EXPECT_EQ(ReadAll(*OpenBytes(BmpFile(6, 2, 4, runs, recipe))), LookedUp(indices, recipe.colors));
}

TEST(Bmp, AnEmbeddedProfileIsFollowed) {
  STestPicture red = BlackPicture(2, 2, 3);
  for (std::size_t i = 0; i < red.samples.size(); i += 3) red.samples[i] = 255;
  const STestPicture shown =
      RenderBytes(EncodeBmp(red, 24, {.headerSize = 124, .profile = SwappedPrimariesProfile()}), 2, 2);
  EXPECT_GT(shown.At(0, 0, 1), 200);
  EXPECT_LT(shown.At(0, 0, 0), 100);
}

TEST(Bmp, TheFirstOfAnArrayOfBitmapsIsShown) {
  const STestPicture picture = NoisePicture(7, 5, 3, 8, 1);
  SFileBytes bitmap = EncodeBmp(picture, 24);
  bitmap[10] = static_cast<std::uint8_t>(bitmap[10] + 14);  // pixels count from the file's start
  SFileBytes file = BytesOf("BA");
  file.resize(14);
  EXPECT_EQ(ReadAll(*OpenBytes(Concatenated({file, bitmap}))), picture);
}

TEST(Bmp, StreamsOfOtherFormatsInsideAreUnsupported) {
  for (const std::uint32_t compression : {4u, 5u, 11u}) {
    EXPECT_EQ(OutcomeOf(BmpFile(8, 8, 24, SFileBytes(192), {.compression = compression})), kQvUnsupported);
  }
}

TEST(Bmp, CutFilesAreDamaged) {
  const STestPicture picture = NoisePicture(9, 7, 1, 4, 5);
  ExpectDamagedWhereverCut(EncodeBmp(picture, 4, {.colors = SomeColors(16)}), 3);  // padding of the last row
  const SFileBytes runs = {9, 1, 0, 0, 9, 2, 0, 0, 0, 9, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 1};
  ExpectDamagedWhereverCut(BmpFile(9, 3, 8, runs, {.compression = 1, .colors = SomeColors(16)}), 3);
}

TEST(Bmp, ChangedBytesDoNoHarm) {
  ExpectNoHarmOfChanges(EncodeBmp(NoisePicture(9, 7, 1, 4, 5), 4, {.headerSize = 64, .colors = SomeColors(16)}));
  ExpectNoHarmOfChanges(WithOpacity(3, 4));
  const SFileBytes runs = {9, 1, 0, 0, 9, 2, 0, 2, 1, 1, 0, 9, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 1};
  ExpectNoHarmOfChanges(BmpFile(9, 4, 8, runs, {.compression = 1, .colors = SomeColors(16)}));
}

TEST(Bmp, ClaimsOfHugePicturesAreDamaged) {
  for (const std::uint32_t bits : {1u, 8u, 24u}) {
    const SFileBytes pixels(100), bytes = BmpFile(0x7FFFFFF0, 0x7FFFFFF0, bits, pixels, {.colors = SomeColors(2)});
    EXPECT_EQ(OutcomeOf(bytes), kQvFailure);
  }
  EXPECT_EQ(OutcomeOf(BmpFile(60000, 60000, 8, {0, 1}, {.compression = 1, .colors = SomeColors(2)})), kQvFailure);
}

TEST(Bmp, TextThatBeginsLikeOneIsNone) {
  EXPECT_EQ(OutcomeOf(BytesOf("BM is how this list of bird names begins, and it goes on for a while")), kQvFailure);
}

}  // namespace
}  // namespace imageformats
