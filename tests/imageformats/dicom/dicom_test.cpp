#include <gtest/gtest.h>

#include "system/qvstatus.h"
#include "tests/imageformats/support/damage.h"
#include "tests/imageformats/support/opened.h"
#include "tests/support/encode_dicom.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/encode_jpeg2000.h"

namespace imageformats {
namespace {

using namespace qvtest;

constexpr const char* kExplicit = "1.2.840.10008.1.2.1";
constexpr const char* kImplicit = "1.2.840.10008.1.2";
constexpr const char* kBigEndian = "1.2.840.10008.1.2.2";
constexpr const char* kRunLengths = "1.2.840.10008.1.2.5";
constexpr const char* kBaseline = "1.2.840.10008.1.2.4.50";
constexpr const char* kLossless2000 = "1.2.840.10008.1.2.4.90";
constexpr std::uint32_t kPixelData = 0x7FE00010;

SFileBytes SampleBytes(const STestPicture& picture, bool bigEndian = false) {
  SFileBytes bytes;
  for (const std::uint16_t sample : picture.samples) {
    const auto low = static_cast<std::uint8_t>(sample), high = static_cast<std::uint8_t>(sample >> 8);
    if (picture.bits > 8 && bigEndian) bytes.push_back(high);
    bytes.push_back(low);
    if (picture.bits > 8 && !bigEndian) bytes.push_back(high);
  }
  return bytes;
}

CDicomWriter Describe(const STestPicture& picture, bool bigEndian = false, bool implicit = false) {
  return DicomPicture(picture.width, picture.height, picture.components, picture.bits,
                      picture.components == 3 ? "RGB" : "MONOCHROME2", bigEndian, implicit);
}

TEST(Dicom, EveryEncodingReadsBackExactly) {
  for (const std::uint32_t components : {1u, 3u}) {
    for (const std::uint32_t bits : {8u, 12u, 16u}) {
      if (components == 3 && bits > 8) continue;
      const STestPicture picture = NoisePicture(13, 8, components, bits, bits);
      const auto file = [&](const char* syntax, bool bigEndian, bool implicit) {
        return Describe(picture, bigEndian, implicit)
            .Bytes(kPixelData, bits > 8 ? "OW" : "OB", SampleBytes(picture, bigEndian))
            .File(syntax);
      };
      EXPECT_EQ(ReadAll(*OpenBytes(file(kExplicit, false, false))).samples, picture.samples);
      EXPECT_EQ(ReadAll(*OpenBytes(file(kImplicit, false, true))).samples, picture.samples);
      EXPECT_EQ(ReadAll(*OpenBytes(file(kBigEndian, true, false))).samples, picture.samples);
    }
  }
}

TEST(Dicom, BytesInBigEndianWordsAreSwapped) {
  STestPicture picture = BlackPicture(2, 2, 1);
  picture.samples = {1, 2, 3, 4};
  const SFileBytes file = Describe(picture, true).Bytes(kPixelData, "OW", {2, 1, 4, 3}).File(kBigEndian);
  EXPECT_EQ(ReadAll(*OpenBytes(file)), picture);
}

TEST(Dicom, PlanesOfColoursAreInterleaved) {
  CDicomWriter writer = DicomPicture(2, 1, 3, 8, "RGB");
  const SFileBytes file = writer.Short(0x00280006, 1).Bytes(kPixelData, "OB", {1, 2, 3, 4, 5, 6}).File(kExplicit);
  EXPECT_EQ(ReadAll(*OpenBytes(file)).samples, (std::vector<std::uint16_t>{1, 3, 5, 2, 4, 6}));
}

TEST(Dicom, PalettesAreLookedUp) {
  CDicomWriter writer = DicomPicture(3, 1, 1, 8, "PALETTE COLOR");
  for (const std::uint32_t tag : {0x00281101u, 0x00281102u, 0x00281103u}) {
    writer.Bytes(tag, "US", {2, 0, 1, 0, 16, 0});  // two colours, the first for the value 1
  }
  writer.Bytes(0x00281201, "OW", {0, 10, 0, 40}).Bytes(0x00281202, "OW", {0, 20, 0, 50});
  const SFileBytes file =
      writer.Bytes(0x00281203, "OW", {0, 30, 0, 60}).Bytes(kPixelData, "OB", {0, 1, 2}).File(kExplicit);
  EXPECT_EQ(ReadAll(*OpenBytes(file)).samples, (std::vector<std::uint16_t>{10, 20, 30, 10, 20, 30, 40, 50, 60}));
}

TEST(Dicom, SignedSamplesAreShownThroughTheirWindow) {
  // Stored -1000, 0, 1000 with a slope of 2 and an intercept of -100: -2100, -100, 1900.
  CDicomWriter writer = DicomPicture(3, 1, 1, 16, "MONOCHROME2");
  writer.Short(0x00280103, 1).Text(0x00281050, "DS", "-100").Text(0x00281051, "DS", "4000");
  writer.Text(0x00281052, "DS", "-100").Text(0x00281053, "DS", "2");
  const SFileBytes file = writer.Bytes(kPixelData, "OW", {0x18, 0xFC, 0, 0, 0xE8, 0x03}).File(kExplicit);
  const STestPicture shown = RenderBytes(file, 3, 1);
  EXPECT_EQ(shown.At(0, 0), 0);
  EXPECT_NEAR(shown.At(1, 0), 128, 1);
  EXPECT_EQ(shown.At(2, 0), 255);
  EXPECT_EQ(OpenBytes(file)->Info().pixelType, kQvPixelSigned);
}

TEST(Dicom, WhereTheLowestIsWhiteItIs) {
  CDicomWriter writer = DicomPicture(2, 1, 1, 8, "MONOCHROME1");
  EXPECT_EQ(RenderBytes(writer.Bytes(kPixelData, "OB", {0, 255}).File(kExplicit), 2, 1).samples,
            (std::vector<std::uint16_t>{255, 255, 255, 0, 0, 0}));
}

TEST(Dicom, RunLengthsOfWordsAndColours) {
  const auto head = [](std::uint8_t count, std::uint8_t second, std::uint8_t third) {
    SFileBytes bytes(64);
    bytes[0] = count;
    bytes[4] = 64;
    bytes[8] = second;
    bytes[12] = third;
    return bytes;
  };
  // Words 0x0105, 0x0106, 0x0107, 0x0108: the high bytes are a run, the low ones literal.
  const SFileBytes words = Concatenated({head(2, 66, 0), {0xFD, 1}, {3, 5, 6, 7, 8, 0x80}});
  EXPECT_EQ(ReadAll(*OpenBytes(DicomPicture(2, 2, 1, 16, "MONOCHROME2").Fragments({words}).File(kRunLengths))).samples,
            (std::vector<std::uint16_t>{0x105, 0x106, 0x107, 0x108}));
  const SFileBytes colors = Concatenated({head(3, 66, 68), {0xFF, 9}, {0xFF, 8}, {1, 6, 7}});
  EXPECT_EQ(ReadAll(*OpenBytes(DicomPicture(2, 1, 3, 8, "RGB").Fragments({colors}).File(kRunLengths))).samples,
            (std::vector<std::uint16_t>{9, 8, 6, 9, 8, 7}));
}

TEST(Dicom, JpegFramesComeCloseToTheirAverage) {
  const STestPicture picture = SmoothPicture(320, 240, 3);
  const SFileBytes file =
      DicomPicture(320, 240, 3, 8, "YBR_FULL_422").Fragments({EncodeJpeg(picture, {})}).File(kBaseline);
  EXPECT_GE(Psnr(RenderBytes(file, 60, 45), AreaAverage(picture, 60, 45)), 36.0);
}

TEST(Dicom, Jpeg2000FramesReadBackExactly) {
  SJpeg2000Recipe recipe;
  recipe.isFile = false;
  const STestPicture picture = NoisePicture(33, 21, 1, 12, 3);
  const SFileBytes file = Describe(picture).Fragments({EncodeJpeg2000(picture, recipe)}).File(kLossless2000);
  EXPECT_EQ(ReadAll(*OpenBytes(file)).samples, picture.samples);
}

TEST(Dicom, TheMiddleOfSeveralFramesIsShown) {
  const STestPicture middle = NoisePicture(6, 4, 1, 8, 1);
  const SFileBytes black(24), frames = Concatenated({black, SampleBytes(middle), black});
  CDicomWriter writer = Describe(middle);
  const auto image = OpenBytes(
      writer.Text(0x00280008, "IS", "3").Text(0x00181063, "DS", "250").Bytes(kPixelData, "OB", frames).File(kExplicit));
  EXPECT_EQ(ReadAll(*image), middle);
  EXPECT_EQ(image->Info().sequenceCount, 3u);
  const SImageMetadata metadata = image->Metadata();
  ASSERT_EQ(metadata.loops.size(), 1u);
  EXPECT_EQ(metadata.loops[0].type, kQvLoopTime);
  EXPECT_DOUBLE_EQ(metadata.loops[0].step, 0.25);
}

TEST(Dicom, FramesOfSeveralFragmentsAreFoundByTheirOffsets) {
  SJpeg2000Recipe recipe;
  recipe.isFile = false;
  const STestPicture picture = NoisePicture(32, 16, 1, 8, 3);
  SFileBytes stream = EncodeJpeg2000(picture, recipe);
  if (stream.size() % 2 != 0) stream.push_back(0);
  const SFileBytes first(stream.begin(), stream.begin() + 100), rest(stream.begin() + 100, stream.end());
  CDicomWriter writer = Describe(picture);
  const auto second = static_cast<std::uint32_t>(stream.size() + 16);
  const SFileBytes file =
      writer.Text(0x00280008, "IS", "2").Fragments({first, rest, first, rest}, {0, second}).File(kLossless2000);
  EXPECT_EQ(ReadAll(*OpenBytes(file)), picture);
}

// A slide of 2 x 2 tiles of 4 x 4 pixels, of which it shows 7 x 6.
CDicomWriter Slide(std::uint32_t frames) {
  CDicomWriter writer = DicomPicture(4, 4, 1, 8, "MONOCHROME2");
  writer.Text(0x00280008, "IS", std::to_string(frames)).Long(0x00480006, 7).Long(0x00480007, 6);
  return writer;
}

SFileBytes TileOf(std::uint8_t value) { return SFileBytes(16, value); }

TEST(Dicom, TilesOfASlideAreLaidOutRowByRow) {
  CDicomWriter writer = Slide(4);
  const auto image = OpenBytes(writer.Text(0x00209311, "CS", "TILED_FULL")
                                   .Bytes(kPixelData, "OB", Concatenated({TileOf(1), TileOf(2), TileOf(3), TileOf(4)}))
                                   .File(kExplicit));
  EXPECT_EQ(image->Info().width, 7u);
  EXPECT_EQ(image->Info().tileWidth, 4u);
  const STestPicture read = ReadAll(*image);
  EXPECT_EQ(read.At(3, 3), 1);
  EXPECT_EQ(read.At(6, 0), 2);
  EXPECT_EQ(read.At(0, 5), 3);
  EXPECT_EQ(read.At(6, 5), 4);
}

TEST(Dicom, TilesThatASparseSlideLeavesOutAreWhite) {
  const auto place = [](std::uint32_t column, std::uint32_t row) {
    const SFileBytes corner = CDicomWriter().Long(0x0048021E, column).Long(0x0048021F, row).Elements();
    return CDicomWriter().Sequence(0x0048021A, {corner}).Elements();
  };
  CDicomWriter writer = Slide(2);
  const SFileBytes file = writer.Sequence(0x52009230, {place(5, 1), place(1, 5)})
                              .Bytes(kPixelData, "OB", Concatenated({TileOf(2), TileOf(3)}))
                              .File(kExplicit);
  const STestPicture read = ReadAll(*OpenBytes(file));
  EXPECT_EQ(read.At(0, 0), 255);
  EXPECT_EQ(read.At(6, 0), 2);
  EXPECT_EQ(read.At(0, 5), 3);
  EXPECT_EQ(read.At(6, 5), 255);
}

TEST(Dicom, LabelsOfSlidesAreNotShown) {
  CDicomWriter writer;
  writer.Text(0x00080008, "CS", "ORIGINAL\\PRIMARY\\LABEL\\NONE");
  const SFileBytes pixels = DicomPicture(2, 1, 1, 8, "MONOCHROME2").Bytes(kPixelData, "OB", {1, 2}).Elements();
  const SFileBytes head = writer.File(kExplicit);
  EXPECT_EQ(OutcomeOf(Concatenated({head, pixels})), kQvUnsupported);
}

TEST(Dicom, TextsNameTheInstrumentAndNotThePatient) {
  CDicomWriter writer;
  writer.Text(0x00080008, "CS", "ORIGINAL").Text(0x0008002A, "DT", "20240513091200.5+0200");
  writer.Text(0x00080060, "CS", "SM").Text(0x00080070, "LO", "Optics works").Text(0x00080090, "PN", "Who^Doctor");
  writer.Text(0x00081090, "LO", "Scanner 7").Text(0x00100010, "PN", "Who^Patient").Text(0x00100020, "LO", "Who 17");
  writer.Text(0x00181020, "LO", "1.2");
  const SFileBytes spacing = CDicomWriter().Text(0x00280030, "DS", "0.0005\\0.00025").Elements();
  const SFileBytes shared = CDicomWriter().Sequence(0x00289110, {spacing}).Elements();
  CDicomWriter rest = DicomPicture(2, 1, 1, 8, "MONOCHROME2");
  rest.Text(0x00480112, "DS", "40").Sequence(0x52009229, {shared}).Bytes(kPixelData, "OB", {1, 2});
  const SImageMetadata metadata = OpenBytes(Concatenated({writer.File(kExplicit), rest.Elements()}))->Metadata();
  EXPECT_EQ(metadata.text.type, L"DICOM, SM");
  EXPECT_EQ(metadata.text.capturing, L"Optics works Scanner 7");
  EXPECT_EQ(metadata.text.info1, L"1.2");
  EXPECT_EQ(metadata.text.date, L"2024-05-13 09:12:00");
  EXPECT_EQ(metadata.text.optics, L"40x");
  EXPECT_DOUBLE_EQ(metadata.calibration, 0.25);
  EXPECT_DOUBLE_EQ(metadata.aspect, 2.0);
  EXPECT_NEAR(metadata.acquisitionTime, 2460443.8, 0.01);
  for (const CQvStringW* text : {&metadata.text.author, &metadata.text.description, &metadata.text.imageID,
                                 &metadata.text.group, &metadata.text.sampleID, &metadata.text.info2}) {
    EXPECT_TRUE(text->IsEmpty());
  }
}

TEST(Dicom, OtherTransferSyntaxesAreNamed) {
  const SFileBytes file = DicomPicture(2, 1, 1, 8, "MONOCHROME2").Fragments({{1, 2}}).File("1.2.840.10008.1.2.4.100");
  EXPECT_EQ(OutcomeOf(file), kQvUnsupported);
}

TEST(Dicom, CutFilesAreDamaged) {
  const STestPicture picture = NoisePicture(6, 4, 1, 8, 1);
  ExpectDamagedWhereverCut(Describe(picture).Bytes(kPixelData, "OB", SampleBytes(picture)).File(kExplicit), 0);
  SJpeg2000Recipe recipe;
  recipe.isFile = false;
  const SFileBytes stream = EncodeJpeg2000(picture, recipe);
  // The end of the sequence, and the padding.
  ExpectDamagedWhereverCut(Describe(picture).Fragments({stream}).File(kLossless2000), 8);
}

TEST(Dicom, ChangedBytesDoNoHarm) {
  CDicomWriter writer = Slide(4);
  ExpectNoHarmOfChanges(writer.Text(0x00209311, "CS", "TILED_FULL")
                            .Bytes(kPixelData, "OB", Concatenated({TileOf(1), TileOf(2), TileOf(3), TileOf(4)}))
                            .File(kExplicit));
  SFileBytes run(64);
  run[0] = 1;
  run[4] = 64;
  ExpectNoHarmOfChanges(DicomPicture(4, 4, 1, 8, "MONOCHROME2")
                            .Fragments({Concatenated({run, {0xF8, 3, 7, 1, 2, 3, 4, 5, 6, 7, 8}})})
                            .File(kRunLengths));
  ExpectNoHarmOfChanges(DicomPicture(16, 16, 1, 8, "MONOCHROME2")
                            .Fragments({EncodeJpeg(NoisePicture(16, 16, 1, 8, 1), {})})
                            .File(kBaseline));
}

TEST(Dicom, ClaimsOfHugePicturesAreDamaged) {
  EXPECT_EQ(OutcomeOf(DicomPicture(65535, 65535, 1, 16, "MONOCHROME2").Bytes(kPixelData, "OW", {1, 2}).File(kExplicit)),
            kQvFailure);
  CDicomWriter slide = DicomPicture(1, 1, 1, 8, "MONOCHROME2");
  slide.Long(0x00480006, 0xFFFFFFF0).Long(0x00480007, 0xFFFFFFF0).Bytes(kPixelData, "OB", {1, 2});
  EXPECT_EQ(OutcomeOf(slide.File(kExplicit)), kQvFailure);
  CDicomWriter frames = DicomPicture(100, 100, 1, 8, "MONOCHROME2");
  frames.Text(0x00280008, "IS", "999999999").Bytes(kPixelData, "OB", {1, 2});
  EXPECT_EQ(OutcomeOf(frames.File(kExplicit)), kQvFailure);
  EXPECT_EQ(OutcomeOf(DicomPicture(60000, 60000, 1, 8, "MONOCHROME2").Fragments({SFileBytes(70)}).File(kRunLengths)),
            kQvFailure);
}

}  // namespace
}  // namespace imageformats
