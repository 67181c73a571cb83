#include <gtest/gtest.h>

#include "system/qvstatus.h"
#include "tests/imageformats/support/damage.h"
#include "tests/imageformats/support/opened.h"
#include "tests/support/encode_heif.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/icc_profile.h"
#include "tests/support/temp_folder.h"
#include "tools/samples/samples.h"

namespace imageformats {
namespace {

using namespace qvtest;

class HeifTest : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    if (!CanEncodeHeif(GetParam())) GTEST_SKIP() << "this libheif has no encoder";
    recipe.av1 = GetParam();
  }
  SFileBytes Encode(const STestPicture& picture) const { return EncodeHeif(picture, recipe); }

  SHeifRecipe recipe;
};

TEST_P(HeifTest, PicturesComeClose) {
  const STestPicture picture = SmoothPicture(321, 241, 3);
  const auto image = OpenBytes(Encode(picture));
  EXPECT_GE(Psnr(ReadAll(*image), picture), 36.0);
  EXPECT_GE(Psnr(Render(*image, 60, 45), AreaAverage(picture, 60, 45)), 40.0);
  EXPECT_EQ(image->Metadata().text.type, GetParam() ? L"AVIF" : L"HEIF");
}

TEST_P(HeifTest, TheSampleLabHasOneOnRequest) {
  CTempFolder folder;
  MakeSamples({folder.Path(), 0, 1, 5, true});
  const auto bytes = ReadFile(folder.Path(recipe.av1 ? "Exports/agar plate.avif" : "Exports/agar plate.heic"));
  const auto image = OpenBytes(bytes);
  EXPECT_EQ(image->Info().width, 40u);
  EXPECT_EQ(image->Info().height, 32u);
}

TEST_P(HeifTest, MoreThanEightBitsAreStretched) {
  if (recipe.av1) GTEST_SKIP() << "libheif's encoder for AV1 asserts";
  STestPicture picture = BlackPicture(64, 48, 3, 10);
  for (std::size_t i = 0; i < picture.samples.size(); ++i) {
    picture.samples[i] = static_cast<std::uint16_t>(i / 3 % 64 * 4);
  }
  const auto image = OpenBytes(Encode(picture));
  EXPECT_EQ(image->Info().bpcSignificant, 10);
  EXPECT_EQ(image->Info().bpcInMemory, 16);
  const STestPicture shown = Render(*image, 64, 48);
  EXPECT_LE(shown.At(0, 20, 1), 12);
  EXPECT_GE(shown.At(63, 20, 1), 243);
}

TEST_P(HeifTest, OpacityIsLaidOverWhite) {
  STestPicture picture = BlackPicture(32, 32, 4);
  for (std::uint32_t y = 0; y < 32; ++y) {
    for (std::uint32_t x = 16; x < 32; ++x) picture.At(x, y, 3) = 255;
  }
  const STestPicture shown = RenderBytes(Encode(picture), 32, 32);
  EXPECT_GE(shown.At(4, 16, 0), 250);
  EXPECT_LE(shown.At(28, 16, 0), 5);
}

TEST_P(HeifTest, IsTurnedAsTheFileSaysAndNotAsExifDoes) {
  const STestPicture picture = SmoothPicture(64, 32, 3);
  recipe.exif = ExifOfAuthor("Ann", 8);
  EXPECT_EQ(OpenBytes(Encode(picture))->Info().width, 64u);
  recipe.orientation = 6;
  const auto image = OpenBytes(Encode(picture));
  EXPECT_EQ(image->Info().width, 32u);
  EXPECT_EQ(image->Info().height, 64u);
  EXPECT_NEAR(Render(*image, 32, 64).At(31, 0, 1), picture.At(0, 0, 1), 12);
  EXPECT_EQ(image->Metadata().text.author, L"Ann");
}

TEST_P(HeifTest, TheProfileIsFollowed) {
  STestPicture red = BlackPicture(32, 16, 3);
  for (std::size_t i = 0; i < red.samples.size(); i += 3) red.samples[i] = 255;
  recipe.profile = SwappedPrimariesProfile();
  const STestPicture shown = RenderBytes(Encode(red), 32, 16);
  EXPECT_GT(shown.At(10, 8, 1), 200);
  EXPECT_LT(shown.At(10, 8, 0), 100);
}

TEST_P(HeifTest, CutFilesAreDamaged) { ExpectDamagedWhereverCut(Encode(SmoothPicture(16, 16, 3)), 0); }

TEST_P(HeifTest, ChangedBytesDoNoHarm) { ExpectNoHarmOfChanges(Encode(SmoothPicture(16, 16, 3))); }

TEST_P(HeifTest, WhatNeedsTooMuchMemoryIsRefused) {
  EXPECT_EQ(OutcomeOf(Encode(BlackPicture(2100, 2000, 3))), kQvFailure);
}

INSTANTIATE_TEST_SUITE_P(Both, HeifTest, testing::Values(false, true),
                         [](const auto& codec) { return codec.param ? "Avif" : "Heic"; });

}  // namespace
}  // namespace imageformats
