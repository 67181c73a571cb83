#include <gtest/gtest.h>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/png/png_header.h"
#include "tests/imageformats/support/opened.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/encode_png.h"
#include "tests/support/file_bytes.h"
#include "tests/support/icc_profile.h"
#include "tests/support/test_picture.h"

namespace imageformats {
namespace {

using namespace qvtest;

SImageMetadata MetadataOf(const SPngRecipe& recipe) {
  return OpenBytes(EncodePng(SmoothPicture(20, 10, 3), recipe))->Metadata();
}

TEST(PngMetadata, DescribesThePicture) {
  const SImageMetadata metadata = MetadataOf({});
  EXPECT_EQ(metadata.text.type, CQvStringW(L"PNG"));
  EXPECT_EQ(metadata.info.components, 3u);
  EXPECT_EQ(metadata.info.compression, kQvCompressionLossless);
  EXPECT_EQ(metadata.info.tileHeight, 10u);
  EXPECT_EQ(metadata.picture.GetPlaneCount(), 1u);
  EXPECT_EQ(metadata.acquisitionTime, 0.0);
}

TEST(PngMetadata, KeywordsFillTheTexts) {
  SPngRecipe recipe;
  recipe.texts = {{"Title", "Plate 7"}, {"Author", "Ada \xC9xample"}, {"Software", "Plotter"}, {"Source", "Camera 3"}};
  recipe.compressedTexts = {{"Description", "Wound healing"}, {"Copyright", "CC0"}};
  recipe.unicodeTexts = {{"Comment", "5 \xC2\xB5m"}};
  const SImageMetadata metadata = MetadataOf(recipe);
  EXPECT_EQ(metadata.text.imageID, CQvStringW(L"Plate 7"));
  EXPECT_EQ(metadata.text.author, CQvStringW(L"Ada \u00C9xample"));
  EXPECT_EQ(metadata.text.info1, CQvStringW(L"Plotter"));
  EXPECT_EQ(metadata.text.capturing, CQvStringW(L"Camera 3"));
  EXPECT_EQ(metadata.text.description, CQvStringW(L"Wound healing"));
  EXPECT_EQ(metadata.text.info2, CQvStringW(L"CC0"));
}

TEST(PngMetadata, ACommentServesAsDescription) {
  SPngRecipe recipe;
  recipe.unicodeTexts = {{"Comment", "5 \xC2\xB5m"}};
  EXPECT_EQ(MetadataOf(recipe).text.description, CQvStringW(L"5 \u00B5m"));
}

TEST(PngMetadata, CreationTimeIsUnderstoodInItsUsualForms) {
  for (const char* text : {"Sat, 01 Jan 2000 12:00:00 +0000", "1 Jan 2000 13:00:00 +0100", "2000-01-01T12:00:00Z",
                           "2000:01:01 12:00:00"}) {
    SPngRecipe recipe;
    recipe.texts = {{"Creation Time", text}};
    const SImageMetadata metadata = MetadataOf(recipe);
    EXPECT_NEAR(metadata.acquisitionTime, 2451545.0, 1e-8) << text;
    EXPECT_FALSE(metadata.text.date.IsEmpty());
  }
  SPngRecipe recipe;
  recipe.texts = {{"Creation Time", "yesterday"}};
  EXPECT_EQ(MetadataOf(recipe).acquisitionTime, 0.0);
  EXPECT_EQ(MetadataOf(recipe).text.date, CQvStringW(L"yesterday"));
}

TEST(PngMetadata, TheLastChangeIsADateButNoAcquisition) {
  SPngRecipe recipe;
  recipe.modified = {2021, 3, 4, 5, 6, 7};
  const SImageMetadata metadata = MetadataOf(recipe);
  EXPECT_EQ(metadata.text.date, CQvStringW(L"2021-03-04 05:06:07"));
  EXPECT_EQ(metadata.acquisitionTime, 0.0);
}

TEST(PngHeader, ReadsWhatComesBeforeThePixels) {
  SPngRecipe recipe;
  recipe.gamma = 0.45455;
  recipe.profile = SwappedPrimariesProfile();
  recipe.significantBits = 5;
  const SFileBytes bytes = EncodePng(SmoothPicture(20, 10, 3), recipe);
  const SPngHeader header = ReadPngHeader(*CInput::FromMemory(bytes.data(), bytes.size()));
  EXPECT_EQ(header.width, 20u);
  EXPECT_EQ(header.bitDepth, 8);
  EXPECT_EQ(header.profile, recipe.profile);
  EXPECT_NEAR(header.gamma, 0.45455, 1e-5);
  EXPECT_EQ(header.significantBits, 5);
  EXPECT_EQ(header.RowBytes(), 60u);
}

TEST(PngHeader, RefusesImpossibleHeaders) {
  const SFileBytes sound = EncodePng(SmoothPicture(20, 10, 3));
  // Of width, height, depth, colour type, compression, filter and interlacing; each without its CRC being right.
  for (const auto& [offset, value] : std::vector<std::pair<std::size_t, std::uint8_t>>{
           {16, 0xFF}, {19, 0}, {23, 0}, {24, 3}, {25, 1}, {26, 1}, {27, 1}, {28, 2}}) {
    SFileBytes bytes = sound;
    bytes[offset] = value;
    EXPECT_THROW(ReadPngHeader(*CInput::FromMemory(bytes.data(), bytes.size())), CDamagedError) << offset;
  }
  EXPECT_THROW(ReadPngHeader(*CInput::FromMemory(sound.data(), 33)), CDamagedError);
}

}  // namespace
}  // namespace imageformats
