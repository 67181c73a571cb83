#include <gtest/gtest.h>

#include "platform/imageformats/jpeg/jpeg_decoder.h"
#include "tests/imageformats/support/opened.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/file_bytes.h"
#include "tests/support/icc_profile.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_picture.h"

namespace imageformats {
namespace {

using namespace qvtest;

STestPicture GreyAsRgb(const STestPicture& grey) {
  STestPicture rgb{grey.width, grey.height, 3, 8, {}};
  for (const std::uint16_t v : grey.samples) rgb.samples.insert(rgb.samples.end(), {v, v, v});
  return rgb;
}

struct SNamedRecipe {
  const char* name;
  SJpegRecipe recipe;
};

std::vector<SNamedRecipe> AllKinds() {
  std::vector<SNamedRecipe> kinds = {{"baseline", {}}};
  SJpegRecipe r;
  r.chromaX = r.chromaY = 2;
  kinds.push_back({"4:2:0", r});
  r.progressive = true;
  kinds.push_back({"progressive 4:2:0", r});
  r.restartRows = 1;
  kinds.push_back({"progressive with restarts", r});
  r = {};
  r.chromaX = 2;
  r.restartRows = 2;
  kinds.push_back({"4:2:2 with restarts", r});
  r = {};
  r.separateScans = true;
  r.chromaX = r.chromaY = 2;
  kinds.push_back({"separate scans", r});
  r = {};
  r.progressive = true;
  kinds.push_back({"progressive 4:4:4", r});
  r = {};
  r.arithmetic = true;
  kinds.push_back({"arithmetic", r});
  r = {};
  r.keepRgb = true;
  kinds.push_back({"RGB", r});
  r = {};
  r.chromaX = 4;
  kinds.push_back({"4:1:1", r});
  r = {};
  r.chromaY = 2;
  kinds.push_back({"4:4:0", r});
  for (SNamedRecipe& kind : kinds) kind.recipe.quality = 95;
  return kinds;
}

TEST(Jpeg, EveryKindRendersToItsAverage) {
  const STestPicture picture = SmoothPicture(400, 300, 3);
  for (const SSize size : {SSize{20, 15}, SSize{37, 28}, SSize{133, 100}, SSize{400, 300}, SSize{399, 1}}) {
    const STestPicture average = AreaAverage(picture, size.width, size.height);
    for (const SNamedRecipe& kind : AllKinds()) {
      const SFileBytes bytes = EncodeJpeg(picture, kind.recipe);
      for (const bool fast : {true, false}) {
        EXPECT_GT(Psnr(RenderBytes(bytes, size.width, size.height, fast), average), 36.0)
            << kind.name << " " << size.width << "x" << size.height << " fast " << fast;
      }
    }
  }
}

TEST(Jpeg, FastIsNearTheAverageOfAllPixels) {
  const STestPicture picture = SmoothPicture(640, 448, 3);
  for (const SNamedRecipe& kind : AllKinds()) {
    const SFileBytes bytes = EncodeJpeg(picture, kind.recipe);
    const STestPicture decoded = ReadAll(*OpenBytes(bytes));
    for (const SSize size : {SSize{164, 115}, SSize{40, 28}}) {
      const STestPicture average = AreaAverage(decoded, size.width, size.height);
      const double exact = Psnr(RenderBytes(bytes, size.width, size.height, false), average);
      const double fast = Psnr(RenderBytes(bytes, size.width, size.height, true), average);
      EXPECT_GT(exact, 40.0) << kind.name << " " << size.width;
      EXPECT_GT(fast, 38.0) << kind.name << " " << size.width;
    }
  }
}

TEST(Jpeg, GreyStaysGrey) {
  const STestPicture picture = SmoothPicture(200, 100, 1);
  for (const bool progressive : {false, true}) {
    SJpegRecipe recipe;
    recipe.progressive = progressive;
    const SFileBytes bytes = EncodeJpeg(picture, recipe);
    const auto image = OpenBytes(bytes);
    EXPECT_EQ(image->Info().components, 1u);
    EXPECT_EQ(image->Info().bpcInMemory, 8);
    EXPECT_GT(Psnr(ReadAll(*image), picture), 38.0);
    EXPECT_GT(Psnr(Render(*image, 10, 5), GreyAsRgb(AreaAverage(picture, 10, 5))), 36.0);
    EXPECT_GT(Psnr(Render(*image, 90, 45), GreyAsRgb(AreaAverage(picture, 90, 45))), 38.0);
  }
}

TEST(Jpeg, ReadGivesThePixels) {
  const STestPicture picture = SmoothPicture(123, 77, 3);
  for (const SNamedRecipe& kind : AllKinds()) {
    const double wanted = kind.recipe.chromaX == 4 ? 30.0 : 36.0;  // the colour that the file left out
    EXPECT_GT(Psnr(ReadAll(*OpenBytes(EncodeJpeg(picture, kind.recipe))), picture), wanted) << kind.name;
  }
}

TEST(Jpeg, OperationsMayBeRepeatedInAnyOrder) {
  const SFileBytes bytes = EncodeJpeg(SmoothPicture(123, 77, 3));
  const auto image = OpenBytes(bytes);
  const STestPicture small = Render(*image, 50, 31);
  const STestPicture all = ReadAll(*image);
  EXPECT_EQ(Render(*image, 50, 31), small);
  image->Metadata();
  EXPECT_EQ(ReadAll(*image), all);
}

TEST(Jpeg, InksAreTurnedIntoLight) {
  STestPicture inks{64, 16, 4, 8, {}};
  inks.samples.assign(64 * 16 * 4, 0);
  for (std::uint32_t y = 0; y < 16; ++y) {
    for (std::uint32_t x = 0; x < 64; ++x) inks.At(x, y, x / 16) = 255;  // cyan, magenta, yellow, black
  }
  const std::vector<std::vector<int>> light = {{0, 255, 255}, {255, 0, 255}, {255, 255, 0}, {0, 0, 0}};
  SJpegRecipe plain, adobe, ycck;
  adobe.adobeCmyk = true;
  ycck.ycck = true;
  for (SJpegRecipe recipe : {plain, adobe, ycck}) {
    recipe.quality = 100;
    const auto image = OpenBytes(EncodeJpeg(inks, recipe));
    EXPECT_EQ(image->Info().components, 4u);
    const STestPicture shown = Render(*image, 4, 1);
    for (std::uint32_t x = 0; x < 4; ++x) {
      for (std::uint32_t c = 0; c < 3; ++c) EXPECT_NEAR(shown.At(x, 0, c), light[x][c], 4) << x << " " << c;
    }
    EXPECT_GT(Psnr(ReadAll(*image), inks), 35.0);
  }
}

TEST(Jpeg, OrientationTurnsGeometryPixelsAndRenderingAlike) {
  const STestPicture picture = SmoothPicture(96, 64, 3);
  SJpegRecipe recipe;
  const STestPicture upright = ReadAll(*OpenBytes(EncodeJpeg(picture, recipe)));
  for (int orientation = 1; orientation <= 8; ++orientation) {
    SCOPED_TRACE(orientation);
    recipe.segments = {{0xE1, ExifWithOrientation(orientation)}};
    const auto image = OpenBytes(EncodeJpeg(picture, recipe));
    const bool turned = orientation >= 5;
    ASSERT_EQ(image->Info().width, turned ? 64u : 96u);
    ASSERT_EQ(image->Info().height, turned ? 96u : 64u);
    const STestPicture read = ReadAll(*image);
    // What is displayed at (x, y), looked up in the stored picture.
    const auto stored = [&](std::uint32_t x, std::uint32_t y) {
      const std::uint32_t w = 95, h = 63;
      const std::uint32_t at[8][2] = {{x, y}, {w - x, y}, {w - x, h - y}, {x, h - y},
                                      {y, x}, {y, h - x}, {w - y, h - x}, {w - y, x}};
      return std::pair(at[orientation - 1][0], at[orientation - 1][1]);
    };
    for (std::uint32_t y = 0; y < read.height; y += 7) {
      for (std::uint32_t x = 0; x < read.width; x += 7) {
        const auto [sx, sy] = stored(x, y);
        ASSERT_EQ(read.At(x, y, 0), upright.At(sx, sy, 0)) << x << " " << y;
      }
    }
    const std::uint32_t width = turned ? 16 : 24, height = turned ? 24 : 16;
    EXPECT_GT(Psnr(Render(*image, width, height), AreaAverage(read, width, height)), 38.0);
  }
}

TEST(Jpeg, ProfilesAreFollowed) {
  SJpegRecipe recipe;
  recipe.quality = 100;
  recipe.segments = ProfileSegments(SwappedPrimariesProfile());
  STestPicture red{32, 32, 3, 8, std::vector<std::uint16_t>(32 * 32 * 3, 0)};
  for (std::size_t i = 0; i < red.samples.size(); i += 3) red.samples[i] = 255;
  const STestPicture shown = RenderBytes(EncodeJpeg(red, recipe), 4, 4);
  EXPECT_LT(shown.At(0, 0, 0), 50);
  EXPECT_GT(shown.At(0, 0, 1), 220);
}

TEST(Jpeg, SmallPicturesAreEnlarged) {
  const STestPicture picture = SmoothPicture(3, 2, 3);
  const STestPicture shown = RenderBytes(EncodeJpeg(picture), 270, 180);
  EXPECT_EQ(shown.width, 270u);
  EXPECT_NEAR(shown.At(0, 0, 0), picture.At(0, 0, 0), 12);
  EXPECT_NEAR(shown.At(269, 179, 2), picture.At(2, 1, 2), 12);
}

TEST(Jpeg, TwelveBitAndLosslessAreUnsupportedButOpen) {
  const SFileBytes sound = EncodeJpeg(SmoothPicture(40, 30, 3));
  const auto frame = [&](std::uint8_t marker, std::uint8_t precision) {
    SFileBytes bytes = sound;
    for (std::size_t i = 2; i + 4 < bytes.size(); ++i) {
      if (bytes[i] == 0xFF && bytes[i + 1] == 0xC0) {
        bytes[i + 1] = marker;
        bytes[i + 4] = precision;
        break;
      }
    }
    return bytes;
  };
  const std::pair<std::uint8_t, std::uint8_t> kinds[] = {{0xC1, 12}, {0xC2, 12}, {0xC3, 8}, {0xC5, 8}, {0xCB, 8}};
  for (const auto& [marker, precision] : kinds) {
    const SFileBytes bytes = frame(marker, precision);
    const auto image = OpenBytes(bytes);
    EXPECT_EQ(image->Info().width, 40u);
    EXPECT_EQ(image->Info().bpcSignificant, precision);
    EXPECT_THROW(Render(*image, 10, 10), CUnsupportedError) << static_cast<int>(marker);
    EXPECT_THROW(ReadAll(*image), CUnsupportedError) << static_cast<int>(marker);
  }
  EXPECT_THROW(RenderBytes(frame(0xC0, 9), 10, 10), CDamagedError);
}

TEST(Jpeg, AMissingEndMarkerAloneIsNoDamage) {
  for (const SNamedRecipe& kind : AllKinds()) {
    SFileBytes bytes = EncodeJpeg(SmoothPicture(200, 150, 3), kind.recipe);
    bytes.erase(bytes.end() - 2, bytes.end());
    // A separate scan's end, and that of arithmetic codes, is known by the next marker only.
    if (kind.recipe.separateScans || kind.recipe.arithmetic) continue;
    EXPECT_NO_THROW(RenderBytes(bytes, 100, 75)) << kind.name;
    EXPECT_NO_THROW(RenderBytes(bytes, 6, 4)) << kind.name;
  }
}

// Their decoders make up what is missing without a word.
TEST(Jpeg, ArithmeticCodesThatEndEarlyAreDamage) {
  for (const bool progressive : {false, true}) {
    for (const int restartRows : {0, 1}) {
      SJpegRecipe recipe;
      recipe.arithmetic = true;
      recipe.progressive = progressive;
      recipe.restartRows = restartRows;
      const SFileBytes whole = EncodeJpeg(NoisePicture(16, 12, 1, 8, 4), recipe);
      EXPECT_NO_THROW(RenderBytes(whole, 8, 6));
      for (std::size_t size = 4; size < whole.size(); ++size) {
        const SFileBytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_THROW(RenderBytes(cut, 8, 6), CDamagedError) << size << " of " << whole.size();
        EXPECT_THROW(ReadAll(*OpenBytes(cut)), CDamagedError) << size << " of " << whole.size();
      }
    }
  }
}

TEST(JpegDecoder, AnArithmeticStreamThatEndsEarlyIsDamage) {
  SJpegRecipe recipe;
  recipe.arithmetic = true;
  const SFileBytes whole = EncodeJpeg(NoisePicture(16, 16, 1, 8, 4), recipe);
  std::vector<std::uint8_t> rows(256);
  for (const std::size_t missing : {0, 20, 60}) {
    CJpegDecoder decoder{std::span<const std::uint8_t>(whole).first(whole.size() - missing)};
    CRenderGuard guard;
    decoder.Start({}, guard);
    if (missing == 0) {
      EXPECT_NO_THROW(decoder.ReadRows(rows.data(), 16, 16));
    } else {
      EXPECT_THROW(decoder.ReadRows(rows.data(), 16, 16), CDamagedError);
    }
  }
}

TEST(Jpeg, BytesBetweenSegmentsAndBehindTheEndAreTolerated) {
  const SFileBytes sound = EncodeJpeg(SmoothPicture(64, 48, 3));
  SFileBytes junk(sound.begin(), sound.begin() + 20);  // SOI, APP0
  for (std::uint8_t byte = 1; byte <= 5; ++byte) junk.push_back(byte);
  junk.insert(junk.end(), sound.begin() + 20, sound.end());
  junk.insert(junk.end(), 1000, 0x55);
  EXPECT_EQ(RenderBytes(junk, 32, 24), RenderBytes(sound, 32, 24));
}

TEST(JpegDecoder, TakesTablesAndStreamsInTurn) {
  const SFileBytes a = EncodeJpeg(SmoothPicture(64, 32, 3)), b = EncodeJpeg(NoisePicture(16, 16, 3, 8, 1));
  CJpegDecoder decoder{std::span<const std::uint8_t>(a)};
  CRenderGuard guard;
  EXPECT_EQ(decoder.ReadHeader().width, 64u);
  decoder.Start({}, guard);
  std::vector<std::uint8_t> rows(64 * 3 * 32);
  decoder.ReadRows(rows.data(), 64 * 3, 10);
  EXPECT_EQ(decoder.RowsLeft(), 22u);
  decoder.SetStream(b);
  EXPECT_EQ(decoder.ReadHeader().width, 16u);
  SJpegDecodeOptions half;
  half.scale = 4;
  decoder.Start(half, guard);
  EXPECT_EQ(decoder.OutputSize(), (SSize{8, 8}));
  decoder.ReadRows(rows.data(), 24, 8);
  EXPECT_EQ(decoder.RowsLeft(), 0u);
  EXPECT_THROW(decoder.ReadRows(rows.data(), 24, 1), CDamagedError);
}

TEST(JpegDecoder, ScalesLeaveTheirSpare) {
  EXPECT_EQ(JpegScaleFor({4000, 3000}, {240, 180}, true), 1u);
  EXPECT_EQ(JpegScaleFor({4000, 3000}, {240, 180}, false), 2u);
  EXPECT_EQ(JpegScaleFor({4000, 3000}, {1000, 750}, true), 4u);
  EXPECT_EQ(JpegScaleFor({100, 75}, {100, 75}, true), 8u);
  EXPECT_EQ(JpegScaleFor({10, 10}, {480, 180}, true), 8u);
}

TEST(Jpeg, MemoryOfRepeatedScansIsLimited) {
  SJpegRecipe recipe;
  recipe.progressive = true;
  const SFileBytes bytes = EncodeJpeg(SmoothPicture(512, 512, 3), recipe);
  CJpegDecoder decoder{std::span<const std::uint8_t>(bytes)};
  CRenderGuard guard(SRenderLimits{1 << 20, 1ull << 40, std::chrono::hours(1)});
  EXPECT_THROW(decoder.Start({}, guard), CDamagedError);
}

TEST(Jpeg, FilesAndMemoryGiveTheSame) {
  const CTempFolder folder;
  SJpegRecipe recipe;
  recipe.progressive = true;
  recipe.chromaX = recipe.chromaY = 2;
  // Larger than the buffers that files are read through.
  const SFileBytes bytes = EncodeJpeg(NoisePicture(700, 500, 3, 8, 2), recipe);
  ASSERT_GT(bytes.size(), 100000u);
  const auto image = OpenPath(folder.MakeFileWide("a.jpg", bytes));
  for (const SSize size : {SSize{20, 14}, SSize{43, 31}, SSize{300, 214}}) {
    EXPECT_EQ(Render(*image, size.width, size.height), RenderBytes(bytes, size.width, size.height));
  }
  EXPECT_EQ(ReadAll(*image), ReadAll(*OpenBytes(bytes)));
}

}  // namespace
}  // namespace imageformats
