// What the fast flag costs, on pictures such as a lab has.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "tests/imageformats/support/opened.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/file_bytes.h"
#include "tests/support/test_picture.h"
#include "tests/support/thumbnail_size.h"
#include "tools/samples/fluorescence.h"
#include "tools/samples/photographs.h"
#include "tools/samples/tissue.h"

namespace imageformats {
namespace {

using namespace qvtest;

struct SScene {
  const char* name;
  STestPicture picture;
};

STestPicture Converted(const SRgbImage& image) {
  return {static_cast<std::uint32_t>(image.width),
          static_cast<std::uint32_t>(image.height),
          3,
          8,
          {image.pixels.begin(), image.pixels.end()}};
}

const std::vector<SScene>& Scenes() {
  static const std::vector<SScene> scenes = [] {
    SFieldOptions field;
    field.width = 500;
    field.height = 375;
    return std::vector<SScene>{{"mountains", Converted(RenderMountains(600, 450, 3))},
                               {"well plate", Converted(RenderWellPlate(450, 601, 5))},
                               {"tissue", Converted(RenderTissue(512, 384, 6))},
                               {"cells", Converted(Composite(MakeField(EFluorescence::kCells, field, 7)))}};
  }();
  return scenes;
}

std::vector<std::pair<const char*, SJpegRecipe>> Recipes() {
  SJpegRecipe plain, halved, progressive;
  halved.chromaX = halved.chromaY = 2;
  halved.quality = 80;
  progressive = halved;
  progressive.progressive = true;
  return {{"4:4:4", plain}, {"4:2:0", halved}, {"progressive", progressive}};
}

// A thumbnail as the cache keeps it.
STestPicture Stored(const STestPicture& thumbnail) {
  SJpegRecipe recipe;
  recipe.quality = 80;
  recipe.chromaX = recipe.chromaY = 2;
  return ReadAll(*OpenBytes(EncodeJpeg(thumbnail, recipe)));
}

// What is lost is what a user gets to see less: the stored thumbnail against the scene itself.
TEST(JpegQuality, FastLosesAtMostOneDecibelAndStaysNearTheAverageOfAllPixels) {
  for (const SScene& scene : Scenes()) {
    for (const auto& [kind, recipe] : Recipes()) {
      const SFileBytes bytes = EncodeJpeg(scene.picture, recipe);
      const STestPicture decoded = ReadAll(*OpenBytes(bytes));
      for (const SThumbnailSize box : {SThumbnailSize{240, 90}, SThumbnailSize{320, 120}, SThumbnailSize{80, 45}}) {
        const SThumbnailSize size = FitInto(box, decoded.width, decoded.height);
        const STestPicture truth = AreaAverage(scene.picture, size.width, size.height);
        const STestPicture full = AreaAverage(decoded, size.width, size.height);
        const STestPicture fast = RenderBytes(bytes, size.width, size.height, true);
        const auto where = [&, kind = kind] {
          return std::string(scene.name) + ", " + kind + ", " + std::to_string(size.width);
        };
        EXPECT_GE(Psnr(fast, full), 36.0) << where();
        EXPECT_GE(Psnr(Stored(fast), truth), Psnr(Stored(full), truth) - 1.0) << where();
      }
    }
  }
}

// From a reduction by 8 on, another decoder is at work. The wells of a plate lie on a grid, which some reductions hit
// better than others.
TEST(JpegQuality, NoStepIsSeenWhereTheMeansOfBlocksBegin) {
  constexpr double kStep = 2.0;
  for (const SScene& scene : Scenes()) {
    if (std::string_view(scene.name) == "well plate") continue;
    for (const auto& [kind, recipe] : Recipes()) {
      const SFileBytes bytes = EncodeJpeg(scene.picture, recipe);
      const STestPicture decoded = ReadAll(*OpenBytes(bytes));
      for (const bool fast : {true, false}) {
        const auto quality = [&](double reduction) {
          const auto width = static_cast<std::uint32_t>(decoded.width / reduction);
          const auto height = static_cast<std::uint32_t>(decoded.height / reduction);
          return Psnr(RenderBytes(bytes, width, height, fast), AreaAverage(decoded, width, height));
        };
        EXPECT_GE(quality(8.1), quality(7.8) - kStep) << scene.name << ", " << kind << ", " << fast;
        EXPECT_GE(quality(16.6), quality(15.2) - kStep) << scene.name << ", " << kind << ", " << fast;
        EXPECT_GE(quality(33.0), quality(31.0) - kStep) << scene.name << ", " << kind << ", " << fast;
      }
    }
  }
}

// Most of a large progressive file is its last scan, whose data are overwritten here.
TEST(JpegQuality, HighQualityDoesWithoutTheLastScanOfALargeFileFromAReductionBy16On) {
  SJpegRecipe recipe;
  recipe.quality = 90;
  recipe.chromaX = recipe.chromaY = 2;
  recipe.progressive = true;
  const SFileBytes whole = EncodeJpeg(Converted(RenderTissue(1200, 900, 6)), recipe);
  const STestPicture decoded = ReadAll(*OpenBytes(whole));
  constexpr std::array<std::uint8_t, 2> kScan = {0xFF, 0xDA};
  const auto lastScan = std::find_end(whole.begin(), whole.end(), kScan.begin(), kScan.end());
  SFileBytes without = whole;
  std::fill(without.begin() + (lastScan - whole.begin()) + 16, without.end() - 16, std::uint8_t{0x55});
  const auto quality = [&](const SFileBytes& bytes, std::uint32_t width, std::uint32_t height) {
    return Psnr(RenderBytes(bytes, width, height, false), AreaAverage(decoded, width, height));
  };
  EXPECT_EQ(quality(without, 72, 54), quality(whole, 72, 54));
  EXPECT_GE(quality(whole, 72, 54), quality(whole, 78, 58) - 2.0);
}

// Every pixel of noise is another one: leaving out three of four of them would leave 18 dB.
TEST(JpegQuality, HighQualityCountsEveryPixel) {
  const STestPicture picture = NoisePicture(480, 360, 3, 8, 11);
  for (const auto& [kind, recipe] : Recipes()) {
    SJpegRecipe fine = recipe;
    fine.quality = 95;
    const SFileBytes bytes = EncodeJpeg(picture, fine);
    const STestPicture decoded = ReadAll(*OpenBytes(bytes));
    for (const SThumbnailSize size : {SThumbnailSize{160, 120}, SThumbnailSize{120, 90}, SThumbnailSize{27, 20}}) {
      const STestPicture full = AreaAverage(decoded, size.width, size.height);
      EXPECT_GE(Psnr(RenderBytes(bytes, size.width, size.height, false), full), 34.0) << kind << ", " << size.width;
    }
  }
}

}  // namespace
}  // namespace imageformats
