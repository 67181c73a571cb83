#include <gtest/gtest.h>

#include "system/qvstatus.h"
#include "tests/imageformats/support/damage.h"
#include "tests/imageformats/support/opened.h"
#include "tests/support/encode_gif.h"

namespace imageformats {
namespace {

using namespace qvtest;

SGifRecipe FourColors() { return {0, 0, {{10, 20, 30}, {200, 100, 50}, {0, 255, 0}, {255, 255, 255}}, ""}; }

STestPicture LookedUp(const STestPicture& indices, const SGifRecipe& recipe) {
  STestPicture rgb{indices.width, indices.height, 3, 8, {}};
  for (const std::uint16_t i : indices.samples) {
    for (const std::uint8_t c : recipe.colors.at(i)) rgb.samples.push_back(c);
  }
  return rgb;
}

STestPicture Indices(std::uint32_t width, std::uint32_t height) { return NoisePicture(width, height, 1, 2, width); }

TEST(Gif, ReadsBackExactlyInterlacedOrNot) {
  for (const bool interlaced : {false, true}) {
    for (const std::uint32_t height : {1u, 5u, 43u}) {
      const STestPicture indices = Indices(37, height);
      const auto image = OpenBytes(EncodeGif({{.indices = indices, .interlaced = interlaced}}, FourColors()));
      EXPECT_EQ(ReadAll(*image), LookedUp(indices, FourColors()));
    }
  }
}

TEST(Gif, RendersToTheExactAverage) {
  const STestPicture indices = Indices(301, 203);
  const SFileBytes bytes = EncodeGif({{.indices = indices}}, FourColors());
  const STestPicture average = AreaAverage(LookedUp(indices, FourColors()), 60, 41);
  EXPECT_LE(LargestDifference(RenderBytes(bytes, 60, 41), average), 1);
}

TEST(Gif, WhatIsTransparentOrNotCoveredIsWhite) {
  SGifRecipe recipe = FourColors();
  recipe.width = 3;
  recipe.height = 2;
  STestPicture indices = BlackPicture(2, 1, 1);
  indices.samples = {1, 2};
  const SFileBytes bytes = EncodeGif({{.indices = indices, .x = 1, .y = 1, .transparent = 2}}, recipe);
  EXPECT_EQ(RenderBytes(bytes, 3, 2).samples,
            (std::vector<std::uint16_t>{255, 255, 255, 255, 255, 255, 255, 255, 255,  //
                                        255, 255, 255, 200, 100, 50, 255, 255, 255}));
}

TEST(Gif, AFrameLargerThanTheScreenIsShownWhole) {
  SGifRecipe recipe = FourColors();
  recipe.width = recipe.height = 1;
  const STestPicture indices = Indices(9, 4);
  EXPECT_EQ(ReadAll(*OpenBytes(EncodeGif({{.indices = indices}}, recipe))), LookedUp(indices, recipe));
}

TEST(Gif, FramesAreATimeSeriesAndTheFirstIsShown) {
  SGifRecipe recipe = FourColors();
  recipe.comment = "growing tips";
  std::vector<SGifFrame> frames;
  for (std::uint32_t i = 0; i < 3; ++i) frames.push_back({.indices = Indices(20 + i, 10), .delay = 25});
  const auto image = OpenBytes(EncodeGif(frames, recipe));
  EXPECT_EQ(image->Info().sequenceCount, 3u);
  const SImageMetadata metadata = image->Metadata();
  ASSERT_EQ(metadata.loops.size(), 1u);
  EXPECT_EQ(metadata.loops[0].type, kQvLoopTime);
  EXPECT_EQ(metadata.loops[0].size, 3u);
  EXPECT_DOUBLE_EQ(metadata.loops[0].step, 0.25);
  EXPECT_EQ(metadata.text.description, L"growing tips");
  EXPECT_EQ(metadata.text.type, L"GIF");
  EXPECT_EQ(ReadAll(*image), LookedUp(frames[0].indices, recipe));
}

TEST(Gif, FramesOfDifferentLengthHaveNoStep) {
  const auto image = OpenBytes(
      EncodeGif({{.indices = Indices(5, 5), .delay = 10}, {.indices = Indices(5, 5), .delay = 20}}, FourColors()));
  EXPECT_DOUBLE_EQ(image->Metadata().loops.at(0).step, 0.0);
}

TEST(Gif, CutFilesAreDamaged) {
  const SGifFrame frame{.indices = Indices(20, 12), .delay = 3};
  SGifRecipe recipe = FourColors();
  recipe.comment = "c";
  ExpectDamagedWhereverCut(EncodeGif({frame}, recipe), 1);
  // A second frame that was begun is missed, too.
  const SFileBytes one = EncodeGif({frame}, recipe), two = EncodeGif({frame, frame}, recipe);
  for (std::size_t size = one.size(); size + 1 < two.size(); ++size) {
    EXPECT_EQ(OutcomeOf({two.begin(), two.begin() + static_cast<std::ptrdiff_t>(size)}), kQvFailure) << size;
  }
}

TEST(Gif, ChangedBytesDoNoHarm) {
  SGifRecipe recipe = FourColors();
  recipe.comment = "c";
  ExpectNoHarmOfChanges(
      EncodeGif({{.indices = Indices(20, 12), .interlaced = true}, {.indices = Indices(7, 3)}}, recipe));
}

TEST(Gif, ClaimsOfHugePicturesAreDamaged) {
  SFileBytes bytes = EncodeGif({{.indices = Indices(20, 12)}}, FourColors());
  for (std::size_t i = 6; i < 10; ++i) bytes[i] = 0xFF;
  EXPECT_EQ(OutcomeOf(bytes), kQvFailure);
  EXPECT_EQ(OutcomeOf(BytesOf("GIF89a\x10\x20\x30\x40 and no block")), kQvFailure);
}

}  // namespace
}  // namespace imageformats
