#include <gtest/gtest.h>
#include <libdeflate.h>

#include <memory>
#include <random>

#include "picture/qvpicture.h"
#include "platform/imageformats/base/new_picture.h"
#include "platform/imageformats/component/codec_registry.h"
#include "platform/imageformats/component/picture_source.h"
#include "platform/imageformats/png/png_header.h"
#include "system/qvref.h"
#include "system/qvstatus.h"
#include "tests/imageformats/support/opened.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/encode_png.h"
#include "tests/support/file_bytes.h"
#include "tests/support/icc_profile.h"
#include "tests/support/test_picture.h"

namespace imageformats {
namespace {

using namespace qvtest;

// Small enough for the means of JPEG blocks, and not.
constexpr std::uint32_t kSizes[2][2] = {{9, 7}, {37, 28}};

// What a host would see: everything asked of the bytes, through the interface. The rendering's status, or that of
// opening.
std::int32_t Outcome(const SFileBytes& bytes, bool* opened = nullptr) {
  std::int32_t status = kQvFailure;
  CErrorText text;
  CQvRef<IQvPictureSource> source;
  const std::int32_t opening = RunReportingErrors(
      text, [&] { source.Reset(NewPictureSource(OpenBytes(bytes), std::make_shared<CErrorText>())); });
  if (opened != nullptr) *opened = opening == 0;
  if (opening != 0) {
    EXPECT_FALSE(text.Get().IsEmpty());
    return opening;
  }
  SQvImageInfo info;
  EXPECT_EQ(source->GetPictureInfo(&info), kQvOk);
  CQvPicture picture;
  for (const auto& [width, height] : kSizes) {
    EXPECT_TRUE(picture.Reinit(width, height, 8, 3, false));
    status = source->RenderPicture(&width, &height, picture.Get(), kOverviewMode, width < 10, 0, 0, kAllChannels);
    EXPECT_EQ(status == kQvOk, source->GetErrorText().IsEmpty());
  }
  // A damaged header may claim any size: what it says is not read in full.
  if (std::uint64_t{info.width} * info.height < 1u << 17 &&
      picture.Reinit(info.width, info.height, info.bpcInMemory, info.components, false)) {
    source->ReadPicture(picture.Get(), 0, 0);
  }
  CQvRef<IQvMetadataReader> reader;
  EXPECT_EQ(source->GetMetadataReader(reader.Out()), kQvOk);
  return status;
}

SFileBytes Cut(const SFileBytes& bytes, std::size_t size) {
  return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
}

std::vector<SFileBytes> Subjects() {
  const STestPicture picture = NoisePicture(75, 57, 3, 8, 11);
  std::vector<SFileBytes> subjects;
  SJpegRecipe jpeg;
  jpeg.segments = {{0xE1, ExifWithOrientation(6)}, {0xFE, BytesOf("comment")}};
  subjects.push_back(EncodeJpeg(picture, jpeg));
  jpeg.chromaX = jpeg.chromaY = 2;
  jpeg.restartRows = 1;
  subjects.push_back(EncodeJpeg(picture, jpeg));
  jpeg.progressive = true;
  subjects.push_back(EncodeJpeg(picture, jpeg));
  jpeg.arithmetic = true;
  subjects.push_back(EncodeJpeg(picture, jpeg));
  // Large enough for the block means.
  subjects.push_back(EncodeJpeg(SmoothPicture(200, 150, 3), {}));
  SJpegRecipe progressive;
  progressive.progressive = true;
  progressive.chromaX = progressive.chromaY = 2;
  subjects.push_back(EncodeJpeg(SmoothPicture(300, 240, 3), progressive));
  SJpegRecipe inks;
  inks.ycck = true;
  subjects.push_back(EncodeJpeg(NoisePicture(40, 30, 4, 8, 2), inks));
  SPngRecipe png;
  png.texts = {{"Title", "x"}};
  png.compressedTexts = {{"Description", std::string(3000, 'y')}};
  png.profile = SwappedPrimariesProfile();
  png.dataChunk = 900;
  subjects.push_back(EncodePng(picture, png));
  png.interlaced = true;
  subjects.push_back(EncodePng(NoisePicture(50, 40, 2, 16, 3), {}));
  subjects.push_back(EncodePng(picture, png));
  SPngRecipe palette;
  palette.palette = true;
  palette.colors = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12}};
  palette.paletteOpacity = {0, 100};
  subjects.push_back(EncodePng(NoisePicture(60, 60, 1, 2, 3), palette));
  return subjects;
}

TEST(Hostile, SubjectsAreSound) {
  for (const SFileBytes& bytes : Subjects()) EXPECT_EQ(Outcome(bytes), 0);
}

TEST(Hostile, TruncatedPicturesAreDamageEverywhere) {
  std::size_t number = 0;
  for (const SFileBytes& bytes : Subjects()) {
    const std::size_t step = std::max<std::size_t>(bytes.size() / 40, 1);
    // The last bytes hold no pixels: the end marker or chunk, and what the last scan ends with.
    for (std::size_t size = 0; size + 40 < bytes.size(); size += step) {
      EXPECT_EQ(Outcome(Cut(bytes, size)), kQvFailure)
          << "subject " << number << ", " << size << " of " << bytes.size();
    }
    ++number;
  }
}

TEST(Hostile, RandomDamageNeverDoesHarm) {
  std::mt19937 random(20240607);
  for (const SFileBytes& sound : Subjects()) {
    for (int round = 0; round < 40; ++round) {
      SFileBytes bytes = sound;
      const unsigned changes = 1 + random() % 8;
      for (unsigned i = 0; i < changes; ++i) bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random());
      const std::int32_t status = Outcome(bytes);
      EXPECT_TRUE(status == kQvOk || status == kQvFailure || status == kQvUnsupported) << status;
    }
  }
}

TEST(Hostile, DamagedHeadersNeverDoHarm) {
  std::mt19937 random(7);
  for (const SFileBytes& sound : Subjects()) {
    for (std::size_t offset = 2; offset < std::min<std::size_t>(sound.size(), 700); offset += 1 + random() % 9) {
      SFileBytes bytes = sound;
      bytes[offset] = static_cast<std::uint8_t>(bytes[offset] ^ (1u << random() % 8));
      if (random() % 3 == 0) bytes[offset] = 0xFF;
      const std::int32_t status = Outcome(bytes);
      EXPECT_TRUE(status == kQvOk || status == kQvFailure || status == kQvUnsupported) << status;
    }
  }
}

// A header, an IDAT of nothing, and an end, all with good CRCs.
SFileBytes PngThatClaims(std::uint32_t width, std::uint32_t height, std::uint8_t depth, std::uint8_t type,
                         std::uint8_t interlaced) {
  const auto chunk = [](const std::string& tag, SFileBytes content) {
    SFileBytes bytes = BytesOf(tag);
    bytes.insert(bytes.end(), content.begin(), content.end());
    const std::uint32_t crc = libdeflate_crc32(0, bytes.data(), bytes.size());
    const auto word = [](std::size_t v) {
      return SFileBytes{static_cast<std::uint8_t>(v >> 24), static_cast<std::uint8_t>(v >> 16),
                        static_cast<std::uint8_t>(v >> 8), static_cast<std::uint8_t>(v)};
    };
    return Concatenated({word(content.size()), bytes, word(crc)});
  };
  SFileBytes header = {static_cast<std::uint8_t>(width >> 24),
                       static_cast<std::uint8_t>(width >> 16),
                       static_cast<std::uint8_t>(width >> 8),
                       static_cast<std::uint8_t>(width),
                       static_cast<std::uint8_t>(height >> 24),
                       static_cast<std::uint8_t>(height >> 16),
                       static_cast<std::uint8_t>(height >> 8),
                       static_cast<std::uint8_t>(height),
                       depth,
                       type,
                       0,
                       0,
                       interlaced};
  return Concatenated({{0x89, 'P', 'N', 'G', 13, 10, 26, 10},
                       chunk("IHDR", header),
                       chunk("IDAT", {0x78, 0x9C, 0x63, 0, 0, 0, 1, 0, 1}),
                       chunk("IEND", {})});
}

TEST(Hostile, HugeClaimsAreRefusedWithoutTheMemory) {
  EXPECT_EQ(Outcome(PngThatClaims(2000000000, 2000000000, 8, 2, 0)), kQvFailure);
  EXPECT_EQ(Outcome(PngThatClaims(2000000000, 1, 16, 6, 0)), kQvFailure);
  EXPECT_EQ(Outcome(PngThatClaims(30000, 30000, 8, 2, 1)), kQvFailure);
  EXPECT_EQ(Outcome(PngThatClaims(100000, 100000, 1, 0, 0)), kQvFailure);
  SFileBytes jpeg = EncodeJpeg(SmoothPicture(64, 64, 3), {});
  for (std::size_t i = 2; i + 8 < jpeg.size(); ++i) {
    if (jpeg[i] == 0xFF && jpeg[i + 1] == 0xC0) {
      for (std::size_t k = 5; k < 9; ++k) jpeg[i + k] = 0xFF;
      break;
    }
  }
  EXPECT_EQ(Outcome(jpeg), kQvFailure);
}

// The last scan, again and again.
SFileBytes WithLastScanRepeated(const SFileBytes& sound, int times) {
  std::size_t scan = 0;
  for (std::size_t i = 2; i + 1 < sound.size(); ++i) {
    if (sound[i] == 0xFF && sound[i + 1] == 0xDA) scan = i;
  }
  const SFileBytes last(sound.begin() + static_cast<std::ptrdiff_t>(scan), sound.end() - 2);
  SFileBytes bytes = Cut(sound, scan);
  for (int i = 0; i < times; ++i) bytes.insert(bytes.end(), last.begin(), last.end());
  bytes.insert(bytes.end(), {0xFF, 0xD9});
  return bytes;
}

TEST(Hostile, EndlessScansAreRefused) {
  SJpegRecipe recipe;
  recipe.separateScans = true;
  EXPECT_EQ(Outcome(WithLastScanRepeated(EncodeJpeg(SmoothPicture(16, 16, 3), recipe), 5000)), kQvFailure);
}

// Why rendering is given up that may take no time at all; empty when it is not.
std::string ReasonWithoutTime(const SFileBytes& bytes) {
  SRenderLimits limits;
  limits.time = std::chrono::milliseconds(-1);
  CRenderGuard guard(limits);
  CQvPicture picture = NewPicture(700, 700, 8, 3);
  SRenderRequest request;
  request.width = request.height = 700;
  try {
    OpenBytes(bytes)->Render(request, *picture.Get(), guard);
    return "";
  } catch (const CDamagedError& failure) {
    return failure.what();
  }
}

// A blank picture is next to nothing in each of its scans, and each scan takes the decoder through all its blocks.
TEST(Hostile, PicturesOfManyScansEnd) {
  for (const bool arithmetic : {false, true}) {
    SJpegRecipe recipe;
    recipe.scanPerFrequency = true;
    recipe.arithmetic = arithmetic;
    const SFileBytes sound = EncodeJpeg(BlackPicture(1200, 1200, 1, 8), recipe);
    EXPECT_LT(sound.size(), 100'000u);
    EXPECT_EQ(Outcome(sound), kQvOk) << "64 scans";
    EXPECT_TRUE(IsTimeExceeded(ReasonWithoutTime(sound))) << "the time is asked for within the scans";
  }
}

TEST(Hostile, DecompressionBombsInTextsAreLeftOut) {
  SPngRecipe recipe;
  recipe.compressedTexts = {{"Description", std::string(64u << 20, 'z')}};
  const auto image = OpenBytes(EncodePng(SmoothPicture(8, 8, 1), recipe));
  EXPECT_TRUE(image->Metadata().text.description.IsEmpty());
}

TEST(Hostile, AllTextsTogetherStayWithinTheirMemory) {
  SPngRecipe recipe;
  for (int i = 0; i < 400; ++i) recipe.compressedTexts.emplace_back("Comment", std::string(70000, 'z'));
  const SFileBytes bytes = EncodePng(SmoothPicture(8, 8, 1), recipe);
  std::size_t characters = 0;
  for (const auto& [keyword, text] : ReadPngTexts(*CInput::FromMemory(bytes.data(), bytes.size())).texts) {
    characters += text.size();
  }
  EXPECT_GT(characters, 15u << 20);
  EXPECT_LE(characters, 17u << 20);
}

}  // namespace
}  // namespace imageformats
