#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "platform/imageformats/base/new_picture.h"
#include "platform/imageformats/component/codec_registry.h"
#include "platform/imageformats/render/orientation.h"
#include "platform/imageformats/wsi/wsi_codec.h"
#include "platform/imageformats/wsi/wsi_detect.h"
#include "tests/imageformats/support/opened.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/file_bytes.h"
#include "tests/support/samples.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_picture.h"
#include "tests/support/tiff_writer.h"

namespace imageformats {
namespace {

using namespace qvtest;

// Tiled levels, each half the one before, as slide scanners write them. `description` makes it a scanner's file, or
// not.
CQvStringW WriteTiledTiff(const CTempFolder& folder, const std::string& name, const std::string& description,
                          const STestPicture& picture, int levels) {
  std::vector<STiffPage> pages;
  for (int i = 0; i < levels; ++i) {
    const STestPicture level = AreaAverage(picture, picture.width >> i, picture.height >> i);
    STiffPage page = MakePage<std::uint8_t>(level.width, level.height, 3,
                                            [&](auto x, auto y, auto sample) { return level.At(x, y, sample); });
    page.compression = COMPRESSION_LZW;
    page.tile = 64;
    page.description = description;
    page.tags = [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_DATETIME, "2000:01:01 12:00:00"); };
    pages.push_back(page);
  }
  return folder.MakeFileWide(name, WriteTiff(pages));
}

template <class T>
T Get(const SFileBytes& bytes, std::size_t at) {
  T value;
  std::memcpy(&value, bytes.data() + at, sizeof value);
  return value;
}

// Where an entry of the first directory begins; the file is in the machine's byte order.
std::size_t EntryOf(const SFileBytes& bytes, std::uint16_t tag) {
  std::size_t entry = Get<std::uint32_t>(bytes, 4) + 2;
  while (Get<std::uint16_t>(bytes, entry) != tag) entry += 12;
  return entry;
}

SFileBytes WithCount(SFileBytes bytes, std::uint16_t tag, std::uint32_t count) {
  std::memcpy(bytes.data() + EntryOf(bytes, tag) + 4, &count, sizeof count);
  return bytes;
}

// Changes an entry's own value, which becomes a long one, or the first of those it points to.
SFileBytes WithValue(SFileBytes bytes, std::uint16_t tag, std::uint32_t value, bool elsewhere) {
  const std::size_t entry = EntryOf(bytes, tag);
  const std::uint16_t type = TIFF_LONG;
  if (!elsewhere) std::memcpy(bytes.data() + entry + 2, &type, sizeof type);
  const std::size_t place = elsewhere ? Get<std::uint32_t>(bytes, entry + 8) : entry + 8;
  std::memcpy(bytes.data() + place, &value, sizeof value);
  return bytes;
}

constexpr const char* kScanner =
    "Aperio Image Library v1.0\n700x500 [0,0 700x500] (64x64) LZW|AppMag = 20|MPP = 0.4990|Date = 01/01/00";

TEST(Wsi, ScannersFilesGoToItAndPlainTiledOnesDoNot) {
  const CTempFolder folder;
  const STestPicture picture = SmoothPicture(300, 200, 3);
  const auto slide = CInput::FromFile(WriteTiledTiff(folder, "a.svs", kScanner, picture, 2));
  const auto plain = CInput::FromFile(WriteTiledTiff(folder, "b.tif", "a tiled picture", picture, 2));
  EXPECT_STREQ(FindCodecFor(*slide)->Name(), "WSI");
  EXPECT_TRUE(MayBeSlideTiff(*plain));
  EXPECT_FALSE(IsSlide(*plain));
  const CCodecModule* other = FindCodecFor(*plain);
  EXPECT_TRUE(other == nullptr || std::string(other->Name()) != "WSI");
  const SFileBytes jpeg = EncodeJpeg(picture);
  EXPECT_FALSE(MayBeSlideTiff(*CInput::FromMemory(jpeg.data(), jpeg.size())));
}

TEST(Wsi, FilesThatNameNoScannerAreNotAskedFor) {
  const CTempFolder folder;
  const STestPicture picture = SmoothPicture(300, 200, 3);
  const auto mayBe = [&](const std::string& name, const std::string& description) {
    return MayBeSlideTiff(*CInput::FromFile(WriteTiledTiff(folder, name, description, picture, 2)));
  };
  EXPECT_FALSE(mayBe("none.tif", ""));
  EXPECT_FALSE(mayBe("imagej.tif", "ImageJ=1.53\nimages=1\n"));
  EXPECT_FALSE(
      mayBe("ome.tif", "<?xml version=\"1.0\"?><OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\"/>"));
  EXPECT_TRUE(mayBe("scanner.tif", kScanner));
}

TEST(Wsi, ProgramsThatMakeTiledFilesAreNoScanners) {
  const auto mayBe = [](const char* software) {
    STiffPage page = MakePage<std::uint8_t>(90, 70, 3, [](auto x, auto y, auto) { return x + y; });
    page.tile = 64;
    page.tags = [=](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_SOFTWARE, software); };
    const SFileBytes tiff = WriteTiff(page);
    return MayBeSlideTiff(*CInput::FromMemory(tiff.data(), tiff.size()));
  };
  EXPECT_FALSE(mayBe("a program that writes pyramids"));
  EXPECT_FALSE(mayBe("x"));
  EXPECT_TRUE(mayBe("MedScan 1"));
  EXPECT_TRUE(mayBe("Philips DP v1.0"));
}

TEST(Wsi, RendersTheAverageAndTellsTheScale) {
  const CTempFolder folder;
  const STestPicture picture = SmoothPicture(700, 500, 3);
  const auto image = OpenPath(WriteTiledTiff(folder, "a.svs", kScanner, picture, 3));
  EXPECT_EQ(image->Info().width, 700u);
  EXPECT_EQ(image->Info().height, 500u);
  EXPECT_EQ(image->Info().components, 3u);
  for (const SSize size : {SSize{252, 180}, SSize{70, 50}, SSize{600, 428}}) {
    EXPECT_GT(Psnr(Render(*image, size.width, size.height), AreaAverage(picture, size.width, size.height)), 38.0)
        << size.width;
  }
  EXPECT_EQ(ReadAll(*image).samples, picture.samples);
  const SImageMetadata metadata = image->Metadata();
  EXPECT_NEAR(metadata.calibration, 0.499, 1e-9);
  EXPECT_EQ(metadata.aspect, 1.0);
  EXPECT_EQ(metadata.objective, CQvStringW(L"20x"));
  EXPECT_EQ(metadata.picture.objectiveMagnification, 20.0);
  EXPECT_EQ(metadata.text.type, CQvStringW(L"Whole slide"));
  EXPECT_FALSE(metadata.text.description.IsEmpty());
}

// A slide with the two pictures that may name a patient: one colour each.
CQvStringW WriteLabelledSlide(const CTempFolder& folder) {
  std::vector<STiffPage> pages;
  const auto add = [&](std::uint32_t width, std::uint32_t height, int red, const std::string& description) {
    STiffPage page =
        MakePage<std::uint8_t>(width, height, 3, [&](auto, auto, auto sample) { return sample ? 9 : red; });
    page.compression = COMPRESSION_LZW;
    page.description = description;
    pages.push_back(page);
  };
  const std::string maker = "Aperio Image Library v1.0\n";
  add(640, 480, 100, kScanner);
  pages.back().tile = 64;
  add(64, 48, 100, maker + "640x480 -> 64x48");
  add(64, 48, 200, maker + "label 64x48");
  add(120, 40, 250, maker + "macro 120x40");
  return folder.MakeFileWide("labelled.svs", WriteTiff(pages));
}

TEST(Wsi, LabelAndMacroAreRenderedOnlyWhenAskedFor) {
  const CTempFolder folder;
  const auto image = OpenPath(WriteLabelledSlide(folder));
  ASSERT_EQ(image->Info().width, 640u);
  EXPECT_EQ(Render(*image, 64, 48).At(32, 24, 0), 100);
  EXPECT_EQ(Render(*image, 32, 24).At(16, 12, 0), 100);
  const std::vector<SAssociatedImage> images = image->AssociatedImages();
  const auto red = [&](const std::string& name) {
    CQvPicture picture = NewPicture(12, 8, 8, 3);
    CRenderGuard guard;
    image->RenderAssociated(name, *picture.Get(), guard);
    return int{picture.Row(4)[3 * 6]};
  };
  const auto holds = [&](const std::string& name, SSize size) {
    return std::any_of(images.begin(), images.end(), [&](const SAssociatedImage& associated) {
      return associated.name == name && associated.size == size;
    });
  };
  EXPECT_TRUE(holds("label", {64, 48}));
  EXPECT_TRUE(holds("macro", {120, 40}));
  EXPECT_EQ(red("label"), 200);
  EXPECT_EQ(red("macro"), 250);
  EXPECT_THROW(red("letter"), CDamagedError);
}

TEST(Wsi, WhatLiesBesideASlideIsNoEmbeddedThumbnail) {
  const CTempFolder folder;
  const auto image = OpenPath(WriteLabelledSlide(folder));
  CQvByteArray bytes;
  EXPECT_FALSE(image->HasCustomTags());
  for (const wchar_t* name : {L"QvCustomTag:ThumbailJpg", L"QvCustomTag:ThumbailPicbuf", L"label", L"thumbnail"}) {
    EXPECT_FALSE(image->CustomTag(name, bytes)) << name;
  }
}

TEST(Wsi, PicturesOfOtherNamesAreStillPictures) {
  const CTempFolder folder;
  const SFileBytes jpeg = EncodeJpeg(SmoothPicture(30, 20, 3));
  const auto usual = CInput::FromFile(folder.MakeFileWide("a.JPG", jpeg)),
             other = CInput::FromFile(folder.MakeFileWide("b.dat", jpeg));
  EXPECT_FALSE(MayBeSlidePreview(*usual));
  EXPECT_TRUE(MayBeSlidePreview(*other));
  EXPECT_STREQ(FindCodecFor(*usual)->Name(), "JPG");
  EXPECT_STREQ(FindCodecFor(*other)->Name(), "JPG");
}

TEST(Wsi, NeedsAFile) {
  const CCodecModule* codec = FindCodecByName("WSI");
  ASSERT_NE(codec, nullptr);
  EXPECT_FALSE(codec->CanOpenMemory());
}

TEST(Wsi, DamagedSlidesAreDamage) {
  const CTempFolder folder;
  const CQvStringW path = WriteTiledTiff(folder, "a.svs", kScanner, SmoothPicture(700, 500, 3), 1);
  const auto input = CInput::FromFile(path);
  SFileBytes bytes(input->Size());
  ASSERT_EQ(input->ReadAt(0, bytes.data(), bytes.size()), bytes.size());
  for (std::size_t i = 200; i < bytes.size() - 2000; i += 3) bytes[i] = 0xA5;
  const CQvStringW damaged = folder.MakeFileWide("b.svs", bytes);
  EXPECT_THROW(
      {
        const auto image = OpenPath(damaged);
        Render(*image, 100, 70);
      },
      CFormatError);
}

// The library would take the claimed memory, or end the process where there is none.
TEST(Wsi, TilesOfImpossibleSizeAreDamage) {
  const CTempFolder folder;
  const CQvStringW path = WriteTiledTiff(folder, "a.svs", kScanner, SmoothPicture(300, 200, 3), 1);
  const auto input = CInput::FromFile(path);
  SFileBytes bytes(input->Size());
  ASSERT_EQ(input->ReadAt(0, bytes.data(), bytes.size()), bytes.size());
  const auto refused = [&](const SFileBytes& damaged) {
    const auto slide = CInput::FromFile(folder.MakeFileWide("b.svs", damaged));
    EXPECT_TRUE(IsSlide(*slide));
    EXPECT_THROW(WsiCodec().Open(slide), CDamagedError);
  };
  EXPECT_NO_THROW(WsiCodec().Open(input));
  refused(WithValue(bytes, TIFFTAG_TILEBYTECOUNTS, 0x7FFFFF00u, true));
  refused(WithValue(bytes, TIFFTAG_TILEWIDTH, 1u << 20, false));
  refused(WithValue(bytes, TIFFTAG_IMAGEWIDTH, 1u << 30, false));
  refused(WithCount(bytes, TIFFTAG_DATETIME, 0x7FFFFF00u));
}

// A table of tiles that are all the same one: a picture of any size from next to nothing.
SFileBytes GridOfOneTile(std::uint32_t across) {
  STiffPage page = MakePage<std::uint8_t>(64, 64, 3, [](auto, auto, auto) { return 90; });
  page.compression = COMPRESSION_LZW;
  page.tile = 64;
  page.description = kScanner;
  SFileBytes bytes = WriteTiff(page);
  for (const std::uint16_t tag : {std::uint16_t{TIFFTAG_TILEOFFSETS}, std::uint16_t{TIFFTAG_TILEBYTECOUNTS}}) {
    const std::size_t entry = EntryOf(bytes, tag);
    const std::uint32_t value = Get<std::uint16_t>(bytes, entry + 2) == TIFF_SHORT
                                    ? Get<std::uint16_t>(bytes, entry + 8)
                                    : Get<std::uint32_t>(bytes, entry + 8);
    bytes = WithValue(bytes, tag, static_cast<std::uint32_t>(bytes.size()), false);
    bytes = WithCount(bytes, tag, across * across);
    for (std::uint32_t i = 0; i < across * across; ++i) Append(&bytes, value);
  }
  for (const std::uint16_t tag : {std::uint16_t{TIFFTAG_IMAGEWIDTH}, std::uint16_t{TIFFTAG_IMAGELENGTH}}) {
    bytes = WithValue(bytes, tag, 64 * across, false);
  }
  return bytes;
}

TEST(Wsi, AHugeGridOfTilesEnds) {
  const CTempFolder folder;
  const auto image = OpenPath(folder.MakeFileWide("a.svs", GridOfOneTile(40)));
  EXPECT_EQ(image->Info().width, 2560u);
  EXPECT_EQ(Render(*image, 30, 30).At(5, 5, 1), 90);
  SRenderLimits limits;
  limits.time = std::chrono::milliseconds(-1);
  CRenderGuard guard(limits);
  CQvPicture picture = NewPicture(30, 30, 8, 3);
  SRenderRequest request;
  request.width = request.height = 30;
  EXPECT_THROW(image->Render(request, *picture.Get(), guard), CDamagedError) << "the time is asked for between tiles";
  // A table that is not in the file.
  SFileBytes claims = GridOfOneTile(1);
  for (const std::uint16_t tag : {std::uint16_t{TIFFTAG_TILEOFFSETS}, std::uint16_t{TIFFTAG_TILEBYTECOUNTS}}) {
    claims = WithCount(claims, tag, 1u << 30);
  }
  for (const std::uint16_t tag : {std::uint16_t{TIFFTAG_IMAGEWIDTH}, std::uint16_t{TIFFTAG_IMAGELENGTH}}) {
    claims = WithValue(claims, tag, 1u << 21, false);
  }
  EXPECT_THROW(OpenPath(folder.MakeFileWide("b.svs", claims)), CDamagedError);
}

TEST(Wsi, ASampleSlideIsMade) {
  const std::string samples = SamplesFolder();
  if (samples.empty()) GTEST_SKIP() << "the sample files are not here";
  const auto image = OpenPath(CQvStringUtils::UTF8toW((samples + "/wsi/CMU-1-Small-Region.svs").c_str()));
  EXPECT_EQ(image->Info().width, 2220u);
  EXPECT_NEAR(image->Metadata().calibration, 0.499, 0.001);
  const STestPicture shown = Render(*image, 134, 180);
  EXPECT_GT(shown.At(3, 100, 1), 220);  // glass
}

}  // namespace
}  // namespace imageformats
