#include <gtest/gtest.h>

#include "system/qvstatus.h"
#include "tests/imageformats/support/damage.h"
#include "tests/imageformats/support/opened.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/encode_webp.h"
#include "tests/support/icc_profile.h"

namespace imageformats {
namespace {

using namespace qvtest;

constexpr std::uint8_t kHasProfile = 0x20, kHasExif = 0x08, kIsAnimation = 0x02;

TEST(Webp, LosslessPicturesReadBackExactly) {
  for (const std::uint32_t components : {3u, 4u}) {
    const STestPicture picture = NoisePicture(57, 43, components, 8, 4);
    EXPECT_EQ(ReadAll(*OpenBytes(EncodeWebp(picture))), picture);
  }
}

TEST(Webp, RendersToTheExactAverage) {
  const STestPicture picture = NoisePicture(301, 203, 3, 8, 4);
  EXPECT_LE(LargestDifference(RenderBytes(EncodeWebp(picture), 60, 41), AreaAverage(picture, 60, 41)), 1);
}

TEST(Webp, LossyPicturesComeClose) {
  const STestPicture picture = SmoothPicture(320, 240, 3);
  EXPECT_GE(Psnr(RenderBytes(EncodeLossyWebp(picture, 90), 60, 45), AreaAverage(picture, 60, 45)), 36.0);
}

TEST(Webp, LargePicturesAreScaledWhileDecoding) {
  STestPicture picture = BlackPicture(7000, 5000, 3);
  for (std::uint32_t y = 0; y < 5000; ++y) {
    for (std::uint32_t x = 0; x < 7000; ++x) picture.At(x, y, 1) = x < 3500 ? 200 : 20;
  }
  const STestPicture shown = RenderBytes(EncodeLossyWebp(picture, 20), 70, 50);
  EXPECT_NEAR(shown.At(10, 25, 1), 200, 6);
  EXPECT_NEAR(shown.At(60, 25, 1), 20, 6);
}

TEST(Webp, OpacityIsLaidOverWhite) {
  STestPicture picture = BlackPicture(2, 1, 4);
  picture.samples = {10, 20, 30, 255, 40, 50, 60, 0};
  EXPECT_EQ(RenderBytes(EncodeWebp(picture), 2, 1).samples, (std::vector<std::uint16_t>{10, 20, 30, 255, 255, 255}));
  // In a chunk of its own where the colours are lossy.
  const STestPicture lossy = RenderBytes(EncodeLossyWebp(BlackPicture(40, 40, 4), 90), 40, 40);
  EXPECT_EQ(lossy.At(20, 20, 0), 255);
}

TEST(Webp, ProfileAndExifAreFollowed) {
  STestPicture red = BlackPicture(4, 2, 3);
  for (std::size_t i = 0; i < red.samples.size(); i += 3) red.samples[i] = 255;
  const SFileBytes exif = ExifWithOrientation(6);
  const auto image =
      OpenBytes(WebpFile({WebpCanvas(kHasProfile | kHasExif, 4, 2), WebpChunk("ICCP", SwappedPrimariesProfile()),
                          WebpPixels(EncodeWebp(red)), WebpChunk("EXIF", exif)}));
  EXPECT_EQ(image->Info().width, 2u);
  EXPECT_EQ(image->Info().height, 4u);
  const STestPicture shown = Render(*image, 2, 4);
  EXPECT_GT(shown.At(0, 0, 1), 200);
  EXPECT_LT(shown.At(0, 0, 0), 100);
}

SFileBytes Animation(const STestPicture& first) {
  return WebpFile({WebpCanvas(kIsAnimation, 10, 8), WebpChunk("ANIM", SFileBytes(6)), WebpFrame(2, 4, first, 40),
                   WebpFrame(0, 0, BlackPicture(10, 8, 3), 40)});
}

TEST(Webp, TheFirstFrameIsShownOnItsCanvas) {
  const STestPicture first = NoisePicture(6, 3, 3, 8, 3);
  const auto image = OpenBytes(Animation(first));
  EXPECT_EQ(image->Info().sequenceCount, 2u);
  const STestPicture shown = Render(*image, 10, 8);
  EXPECT_EQ(shown.At(0, 0, 0), 255);
  EXPECT_EQ(shown.At(2, 4, 1), first.At(0, 0, 1));
  EXPECT_EQ(shown.At(7, 6, 2), first.At(5, 2, 2));
  EXPECT_EQ(shown.At(8, 6, 2), 255);
  const SImageMetadata metadata = image->Metadata();
  ASSERT_EQ(metadata.loops.size(), 1u);
  EXPECT_EQ(metadata.loops[0].type, kQvLoopTime);
  EXPECT_DOUBLE_EQ(metadata.loops[0].step, 0.04);
  EXPECT_EQ(metadata.text.type, L"WebP");
}

TEST(Webp, CutFilesAreDamaged) {
  ExpectDamagedWhereverCut(EncodeWebp(NoisePicture(17, 11, 3, 8, 4)), 0);
  ExpectDamagedWhereverCut(EncodeLossyWebp(SmoothPicture(33, 17, 3), 50), 0);
  ExpectDamagedWhereverCut(Animation(NoisePicture(6, 3, 3, 8, 3)), 0);
}

TEST(Webp, ChangedBytesDoNoHarm) {
  ExpectNoHarmOfChanges(EncodeWebp(NoisePicture(17, 11, 4, 8, 4)));
  ExpectNoHarmOfChanges(EncodeLossyWebp(SmoothPicture(33, 17, 3), 50));
  ExpectNoHarmOfChanges(Animation(NoisePicture(6, 3, 3, 8, 3)));
}

TEST(Webp, ClaimsOfHugePicturesAreDamaged) {
  const SFileBytes pixels = WebpPixels(EncodeWebp(NoisePicture(6, 4, 3, 8, 3)));
  EXPECT_EQ(OutcomeOf(WebpFile({WebpCanvas(0, 0xFFFFFF, 0xFFFFFF), pixels})), kQvFailure);
  SFileBytes lossless = EncodeWebp(NoisePicture(6, 4, 3, 8, 3));
  for (std::size_t i = 21; i < 24; ++i) lossless[i] = 0xFF;  // both sides, of 14 bits
  EXPECT_EQ(OutcomeOf(lossless), kQvFailure);
}

}  // namespace
}  // namespace imageformats
