#include <gtest/gtest.h>

#include "system/qvstatus.h"
#include "tests/imageformats/support/damage.h"
#include "tests/imageformats/support/opened.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/encode_jxl.h"
#include "tests/support/icc_profile.h"
#include "tests/support/temp_folder.h"
#include "tools/samples/samples.h"

namespace imageformats {
namespace {

using namespace qvtest;

TEST(Jxl, LosslessPicturesReadBackExactly) {
  for (const std::uint32_t components : {1u, 2u, 3u, 4u}) {
    for (const std::uint32_t bits : {8u, 16u}) {
      const STestPicture picture = NoisePicture(57, 43, components, bits, 4);
      EXPECT_EQ(ReadAll(*OpenBytes(EncodeJxl(picture))), picture) << components << " of " << bits;
    }
  }
}

TEST(Jxl, RendersToTheExactAverage) {
  const STestPicture picture = NoisePicture(301, 203, 3, 8, 4);
  EXPECT_LE(LargestDifference(RenderBytes(EncodeJxl(picture), 60, 41), AreaAverage(picture, 60, 41)), 1);
}

TEST(Jxl, LossyPicturesComeClose) {
  const STestPicture picture = SmoothPicture(320, 240, 3);
  SJxlRecipe lossy;
  lossy.lossless = false;
  EXPECT_GE(Psnr(RenderBytes(EncodeJxl(picture, lossy), 60, 45), AreaAverage(picture, 60, 45)), 36.0);
}

TEST(Jxl, TheSampleLabHasOneOnRequest) {
  CTempFolder folder;
  MakeSamples({folder.Path(), 0, 1, 5, true});
  const auto image = OpenBytes(ReadFile(folder.Path("Exports/agar plate.jxl")));
  EXPECT_EQ(image->Info().width, 40u);
  EXPECT_EQ(image->Info().height, 32u);
}

TEST(Jxl, MoreThanEightBitsAreStretched) {
  STestPicture picture = BlackPicture(64, 48, 1, 16);
  for (std::size_t i = 0; i < picture.samples.size(); ++i) picture.samples[i] = static_cast<std::uint16_t>(i % 64 * 16);
  const auto image = OpenBytes(EncodeJxl(picture));
  EXPECT_EQ(image->Info().bpcSignificant, 16);
  const STestPicture shown = Render(*image, 64, 48);
  EXPECT_LE(shown.At(0, 20, 0), 4);
  EXPECT_GE(shown.At(63, 20, 0), 251);
}

TEST(Jxl, OpacityIsLaidOverWhite) {
  STestPicture picture = BlackPicture(2, 1, 4);
  picture.samples = {10, 20, 30, 255, 40, 50, 60, 0};
  EXPECT_EQ(RenderBytes(EncodeJxl(picture), 2, 1).samples, (std::vector<std::uint16_t>{10, 20, 30, 255, 255, 255}));
}

TEST(Jxl, IsTurnedAsTheCodestreamSays) {
  const STestPicture picture = NoisePicture(6, 4, 3, 8, 3);
  SJxlRecipe turned;
  turned.orientation = 6;
  const auto image = OpenBytes(EncodeJxl(picture, turned));
  EXPECT_EQ(image->Info().width, 4u);
  EXPECT_EQ(image->Info().height, 6u);
  EXPECT_EQ(Render(*image, 4, 6).At(3, 0, 1), picture.At(0, 0, 1));
}

TEST(Jxl, TheProfileIsFollowed) {
  STestPicture red = BlackPicture(4, 2, 3);
  for (std::size_t i = 0; i < red.samples.size(); i += 3) red.samples[i] = 255;
  SJxlRecipe recipe;
  recipe.profile = SwappedPrimariesProfile();
  const STestPicture shown = RenderBytes(EncodeJxl(red, recipe), 4, 2);
  EXPECT_GT(shown.At(0, 0, 1), 200);
  EXPECT_LT(shown.At(0, 0, 0), 100);
}

TEST(Jxl, PackedExifIsReadAndItsOrientationIsNot) {
  SJxlRecipe recipe;
  recipe.exif = ExifOfAuthor("Ann", 6);
  const auto image = OpenBytes(EncodeJxl(NoisePicture(6, 4, 3, 8, 3), recipe));
  EXPECT_EQ(image->Info().width, 6u);
  EXPECT_EQ(image->Metadata().text.author, L"Ann");
  EXPECT_EQ(image->Metadata().text.type, L"JPEG XL");
}

TEST(Jxl, TheFirstFrameIsShownOfATimeSeries) {
  SJxlRecipe recipe;
  recipe.frames = 3;
  const STestPicture picture = NoisePicture(10, 8, 3, 8, 3);
  const auto image = OpenBytes(EncodeJxl(picture, recipe));
  EXPECT_EQ(image->Info().sequenceCount, 3u);
  EXPECT_EQ(ReadAll(*image), picture);
  const SImageMetadata metadata = image->Metadata();
  ASSERT_EQ(metadata.loops.size(), 1u);
  EXPECT_EQ(metadata.loops[0].type, kQvLoopTime);
  EXPECT_DOUBLE_EQ(metadata.loops[0].step, 0.04);
}

TEST(Jxl, CutFilesAreDamaged) {
  SJxlRecipe lossy, boxed, moving;
  lossy.lossless = false;
  boxed.exif = ExifOfAuthor("Ann", 1);
  moving.frames = 2;
  ExpectDamagedWhereverCut(EncodeJxl(NoisePicture(17, 11, 3, 8, 4)), 0);
  ExpectDamagedWhereverCut(EncodeJxl(SmoothPicture(33, 17, 3), lossy), 0);
  ExpectDamagedWhereverCut(EncodeJxl(NoisePicture(17, 11, 1, 16, 4), boxed), 0);
  ExpectDamagedWhereverCut(EncodeJxl(NoisePicture(9, 7, 3, 8, 3), moving), 0);
}

TEST(Jxl, ChangedBytesDoNoHarm) {
  SJxlRecipe lossy;
  lossy.lossless = false;
  ExpectNoHarmOfChanges(EncodeJxl(NoisePicture(9, 7, 4, 8, 4)));
  ExpectNoHarmOfChanges(EncodeJxl(SmoothPicture(17, 9, 3), lossy));
}

TEST(Jxl, WhatNeedsTooMuchMemoryIsRefused) { EXPECT_EQ(OutcomeOf(EncodeJxl(BlackPicture(1600, 1300, 1))), kQvFailure); }

}  // namespace
}  // namespace imageformats
