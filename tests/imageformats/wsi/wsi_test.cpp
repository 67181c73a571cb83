#include <gtest/gtest.h>

#include <cstring>

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
