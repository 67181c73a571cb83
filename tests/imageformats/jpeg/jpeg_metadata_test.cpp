#include <gtest/gtest.h>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/jpeg/stream/jpeg_markers.h"
#include "tests/imageformats/support/opened.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/file_bytes.h"
#include "tests/support/icc_profile.h"
#include "tests/support/test_picture.h"

namespace imageformats {
namespace {

using namespace qvtest;

TEST(JpegMetadata, DescribesThePicture) {
  SJpegRecipe recipe;
  recipe.quality = 80;
  recipe.segments = {{0xFE, BytesOf("Stained with H&E")}};
  const auto image = OpenBytes(EncodeJpeg(SmoothPicture(50, 40, 3), recipe));
  const SImageMetadata metadata = image->Metadata();
  EXPECT_EQ(metadata.text.type, CQvStringW(L"JPEG"));
  EXPECT_EQ(metadata.text.description, CQvStringW(L"Stained with H&E"));
  EXPECT_EQ(metadata.info.width, 50u);
  EXPECT_EQ(metadata.info.widthBytes, 150u);
  EXPECT_EQ(metadata.info.sequenceCount, 1u);
  EXPECT_EQ(metadata.info.compression, kQvCompressionJpeg);
  EXPECT_NEAR(metadata.info.compressionParam, 0.8, 0.02);
  ASSERT_EQ(metadata.picture.GetPlaneCount(), 1u);
  EXPECT_EQ(metadata.picture.planes.planes[0].components, 3u);
  // A resolution in dots per inch says how large to print, not what was seen.
  EXPECT_EQ(metadata.calibration, 0.0);
  EXPECT_TRUE(metadata.loops.empty());
}

TEST(JpegMarkers, CollectPieces) {
  SJpegRecipe recipe;
  const SFileBytes profile = SwappedPrimariesProfile();
  recipe.segments = ProfileSegments(profile);
  recipe.segments.push_back({0xE1, ExifWithOrientation(3)});
  recipe.segments.push_back({0xE1, BytesOf("http://ns.adobe.com/xap/1.0/ something")});
  recipe.chromaX = 2;
  const SFileBytes bytes = EncodeJpeg(SmoothPicture(50, 40, 3), recipe);
  const SJpegMarkers markers = ReadJpegMarkers(*CInput::FromMemory(bytes.data(), bytes.size()));
  EXPECT_EQ(markers.profile, profile);
  EXPECT_EQ(markers.exif.size(), ExifWithOrientation(3).size() - 6);
  EXPECT_EQ(markers.subsamplingX, 2u);
  EXPECT_EQ(markers.subsamplingY, 1u);
  EXPECT_EQ(markers.frameMarker, 0xC0);
}

TEST(JpegMarkers, RefuseWhatHasNoPicture) {
  const auto read = [](const SFileBytes& bytes) {
    return ReadJpegMarkers(*CInput::FromMemory(bytes.data(), bytes.size()));
  };
  EXPECT_THROW(read(BytesOf("GIF89a, really")), CDamagedError);
  EXPECT_THROW(read({0xFF, 0xD8, 0xFF, 0xD9}), CDamagedError);
  EXPECT_THROW(read({0xFF, 0xD8, 0xFF, 0xC0, 0, 11, 8, 0, 0, 0, 5, 1, 1, 0x11, 0}), CDamagedError);  // no height
  EXPECT_THROW(read({0xFF, 0xD8, 0xFF, 0xE0, 0, 1}), CDamagedError);
}

TEST(JpegMarkers, TheEndIsSeenBehindStuffedBytesAndSegments) {
  const auto ends = [](const SFileBytes& bytes, std::uint64_t from) {
    return HasEndOfImage(*CInput::FromMemory(bytes.data(), bytes.size()), from);
  };
  EXPECT_TRUE(ends({1, 2, 0xFF, 0x00, 3, 0xFF, 0xD0, 4, 0xFF, 0xFF, 0xD9}, 0));
  EXPECT_TRUE(ends({9, 0xFF, 0xC4, 0, 4, 0xFF, 0xD9, 1, 0xFF, 0xD9}, 0));
  EXPECT_FALSE(ends({9, 0xFF, 0xC4, 0, 4, 0xFF, 0xD9, 1}, 0));  // those are a segment's bytes
  EXPECT_FALSE(ends({1, 2, 3, 0xFF}, 0));
}

}  // namespace
}  // namespace imageformats
