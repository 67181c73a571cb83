#include <gtest/gtest.h>
#include <openjpeg.h>

#include "system/qvstatus.h"
#include "tests/imageformats/support/damage.h"
#include "tests/imageformats/support/opened.h"
#include "tests/support/encode_jpeg2000.h"
#include "tests/support/icc_profile.h"

namespace imageformats {
namespace {

using namespace qvtest;

SFileBytes BareStream(const STestPicture& picture) {
  SJpeg2000Recipe recipe;
  recipe.isFile = false;
  recipe.resolutions = 1;
  return EncodeJpeg2000(picture, recipe);
}

TEST(Jpeg2000, ReadsBackExactlyAtEveryDepth) {
  for (const std::uint32_t components : {1u, 3u}) {
    for (const std::uint32_t bits : {8u, 12u, 16u}) {
      for (const bool isFile : {false, true}) {
        const STestPicture picture = NoisePicture(57, 43, components, bits, bits);
        SJpeg2000Recipe recipe;
        recipe.isFile = isFile;
        const auto image = OpenBytes(EncodeJpeg2000(picture, recipe));
        EXPECT_EQ(image->Info().bpcSignificant, bits);
        EXPECT_EQ(ReadAll(*image).samples, picture.samples) << components << " of " << bits;
      }
    }
  }
}

TEST(Jpeg2000, TilesAndOriginsMakeNoDifference) {
  const STestPicture picture = NoisePicture(157, 143, 3, 8, 4);
  SJpeg2000Recipe recipe;
  recipe.tileWidth = 50;
  recipe.tileHeight = 33;
  const auto tiled = OpenBytes(EncodeJpeg2000(picture, recipe));
  EXPECT_EQ(tiled->Info().tileWidth, 50u);
  EXPECT_EQ(tiled->Info().tileHeight, 33u);
  EXPECT_EQ(ReadAll(*tiled), picture);
  recipe.originX = 13;
  recipe.originY = 7;
  EXPECT_EQ(ReadAll(*OpenBytes(EncodeJpeg2000(picture, recipe))), picture);
}

TEST(Jpeg2000, SignedSamplesBeginAtZero) {
  const STestPicture picture = NoisePicture(20, 10, 1, 16, 4);
  SJpeg2000Recipe recipe;
  recipe.isSigned = true;
  EXPECT_EQ(ReadAll(*OpenBytes(EncodeJpeg2000(picture, recipe))), picture);
}

TEST(Jpeg2000, FewBitsFillTheBytesRange) {
  STestPicture picture = BlackPicture(2, 2, 1, 2);
  picture.samples = {0, 1, 2, 3};
  SJpeg2000Recipe recipe;
  recipe.resolutions = 1;
  EXPECT_EQ(ReadAll(*OpenBytes(EncodeJpeg2000(picture, recipe))).samples,
            (std::vector<std::uint16_t>{0, 85, 170, 255}));
}

TEST(Jpeg2000, OverviewsComeCloseToTheAverage) {
  const STestPicture picture = SmoothPicture(1021, 767, 3);
  const STestPicture average = AreaAverage(picture, 100, 75);
  for (const std::uint32_t tile : {0u, 100u, 256u}) {
    SJpeg2000Recipe recipe;
    recipe.tileWidth = recipe.tileHeight = tile;
    recipe.resolutions = 6;
    EXPECT_GE(Psnr(RenderBytes(EncodeJpeg2000(picture, recipe), 100, 75), average), 36.0) << tile;
  }
}

TEST(Jpeg2000, ChromaThatIsSampledLessOftenIsRepeated) {
  // Blue and red differences of a constant colour: luma 100, blue +20, red -30.
  STestPicture picture = BlackPicture(9, 7, 3);
  for (std::size_t i = 0; i < picture.samples.size(); i += 3) {
    picture.samples[i] = 100;
    picture.samples[i + 1] = 148;
    picture.samples[i + 2] = 98;
  }
  SJpeg2000Recipe recipe;
  recipe.chromaStep = 2;
  recipe.color = OPJ_CLRSPC_SYCC;
  const STestPicture shown = ReadAll(*OpenBytes(EncodeJpeg2000(picture, recipe)));
  for (std::uint32_t y = 0; y < 7; ++y) {
    for (std::uint32_t x = 0; x < 9; ++x) {
      EXPECT_EQ(shown.At(x, y, 0), 58);   // 100 - 1.402 * 30
      EXPECT_EQ(shown.At(x, y, 1), 115);  // 100 - 0.344 * 20 + 0.714 * 30
      EXPECT_EQ(shown.At(x, y, 2), 135);  // 100 + 1.772 * 20
    }
  }
}

TEST(Jpeg2000, OpacityIsLaidOverWhite) {
  STestPicture picture = BlackPicture(2, 1, 4);
  picture.samples = {10, 20, 30, 255, 40, 50, 60, 0};
  SJpeg2000Recipe recipe;
  recipe.hasAlpha = true;
  recipe.resolutions = 1;
  const SFileBytes bytes = EncodeJpeg2000(picture, recipe);
  EXPECT_EQ(ReadAll(*OpenBytes(bytes)), picture);
  EXPECT_EQ(RenderBytes(bytes, 2, 1).samples, (std::vector<std::uint16_t>{10, 20, 30, 255, 255, 255}));
}

TEST(Jpeg2000, AProfileIsFollowed) {
  STestPicture red = BlackPicture(4, 4, 3);
  for (std::size_t i = 0; i < red.samples.size(); i += 3) red.samples[i] = 255;
  const SFileBytes color = Concatenated({{2, 0, 0}, SwappedPrimariesProfile()});
  const STestPicture shown = RenderBytes(Jp2File({Jp2Box("colr", color)}, BareStream(red)), 4, 4);
  EXPECT_GT(shown.At(0, 0, 1), 200);
  EXPECT_LT(shown.At(0, 0, 0), 100);
}

const SFileBytes kSrgbColor = {1, 0, 0, 0, 0, 0, 16};

TEST(Jpeg2000, PalettesAreLookedUpBeforeAveraging) {
  STestPicture indices = BlackPicture(2, 2, 1);
  indices.samples = {0, 1, 1, 0};
  const SFileBytes palette = {0, 2, 3, 7, 7, 7, 200, 10, 20, 100, 30, 40};
  const SFileBytes bytes = Jp2File(
      {Jp2Box("colr", kSrgbColor), Jp2Box("pclr", palette), Jp2Box("cmap", {0, 0, 1, 0, 0, 0, 1, 1, 0, 0, 1, 2})},
      BareStream(indices));
  EXPECT_EQ(ReadAll(*OpenBytes(bytes)).samples,
            (std::vector<std::uint16_t>{200, 10, 20, 100, 30, 40, 100, 30, 40, 200, 10, 20}));
  EXPECT_EQ(RenderBytes(bytes, 1, 1).samples, (std::vector<std::uint16_t>{150, 20, 30}));
}

TEST(Jpeg2000, AFineCaptureResolutionIsTheCalibration) {
  // 4000000 and 2000000 pixels a metre, along y and x: 0.5 micrometres, twice as wide as high.
  const SFileBytes fine = {0, 4, 0, 1, 0, 2, 0, 1, 6, 6}, coarse = {0, 4, 0, 1, 0, 4, 0, 1, 3, 3};
  const auto file = [](const SFileBytes& resolution) {
    return OpenBytes(Jp2File({Jp2Box("colr", kSrgbColor), Jp2Box("res ", Jp2Box("resc", resolution))},
                             BareStream(NoisePicture(8, 8, 3, 8, 1))));
  };
  EXPECT_DOUBLE_EQ(file(fine)->Metadata().calibration, 0.5);
  EXPECT_DOUBLE_EQ(file(fine)->Metadata().aspect, 0.5);
  EXPECT_DOUBLE_EQ(file(coarse)->Metadata().calibration, 0.0);
  EXPECT_EQ(file(fine)->Metadata().text.type, L"JPEG 2000");
}

TEST(Jpeg2000, OtherColourSpacesAreUnsupported) {
  const SFileBytes lab = {1, 0, 0, 0, 0, 0, 14};
  EXPECT_EQ(OutcomeOf(Jp2File({Jp2Box("colr", lab)}, BareStream(NoisePicture(8, 8, 3, 8, 1)))), kQvUnsupported);
}

TEST(Jpeg2000, CutFilesAreDamaged) {
  SJpeg2000Recipe recipe;
  ExpectDamagedWhereverCut(EncodeJpeg2000(NoisePicture(19, 13, 1, 8, 1), recipe), 0);
  recipe.isFile = false;
  recipe.tileWidth = recipe.tileHeight = 10;
  ExpectDamagedWhereverCut(EncodeJpeg2000(NoisePicture(19, 13, 1, 8, 1), recipe), 2);  // the end marker
}

TEST(Jpeg2000, ChangedBytesDoNoHarm) {
  SJpeg2000Recipe recipe;
  recipe.tileWidth = recipe.tileHeight = 10;
  ExpectNoHarmOfChanges(EncodeJpeg2000(NoisePicture(19, 13, 3, 8, 1), recipe));
}

// A bare codestream's size, tile size and components, at their places.
SFileBytes StreamThatClaims(std::uint32_t side, std::uint32_t tile) {
  SFileBytes bytes = BareStream(NoisePicture(16, 16, 1, 8, 1));
  const auto put = [&](std::size_t at, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
  };
  put(8, side);
  put(12, side);
  put(24, tile);
  put(28, tile);
  return bytes;
}

TEST(Jpeg2000, ClaimsOfHugePicturesAreDamaged) {
  EXPECT_EQ(OutcomeOf(StreamThatClaims(0x7FFFFFFF, 0x7FFFFFFF)), kQvFailure);
  EXPECT_EQ(OutcomeOf(StreamThatClaims(60000, 60000)), kQvFailure);
  EXPECT_EQ(OutcomeOf(StreamThatClaims(65000, 255)), kQvFailure);
  EXPECT_EQ(OutcomeOf(StreamThatClaims(0x7FFFFFFF, 1)), kQvFailure);
}

}  // namespace
}  // namespace imageformats
