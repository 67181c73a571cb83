#include <gtest/gtest.h>

#include <unistd.h>

#include <cmath>
#include <functional>

#include "platform/imageformats/base/format_error.h"
#include "tests/imageformats/arrays/array_bytes_writer.h"
#include "tests/imageformats/support/damage.h"
#include "tests/imageformats/support/opened.h"
#include "tests/support/temp_folder.h"

namespace imageformats {
namespace {

using namespace qvtest;

struct SMrcRecipe {
  std::int32_t width = 4, height = 3, sections = 1, mode = 0;
  bool bigEndian = false;
  bool signature = true;
  std::int32_t group = 1;  // space group
  std::int32_t extendedBytes = 0;
  float pixel = 2.5f;               // angstroms
  std::int32_t volumeSections = 0;  // 0: all
};

CArrayBytesWriter MrcWriter(const SMrcRecipe& recipe) {
  CArrayBytesWriter file(1024, recipe.bigEndian);
  const std::int32_t size[] = {recipe.width, recipe.height,
                               recipe.volumeSections ? recipe.volumeSections : recipe.sections};
  file.Put(0, recipe.width);
  file.Put(4, recipe.height);
  file.Put(8, recipe.sections);
  file.Put(12, recipe.mode);
  for (std::size_t i = 0; i < 3; ++i) {
    file.Put(28 + 4 * i, size[i]);
    file.Put(40 + 4 * i, recipe.pixel * static_cast<float>(size[i]) * (i == 2 ? 2.0f : 1.0f));
    file.Put(52 + 4 * i, 90.0f);
    file.Put(64 + 4 * i, static_cast<std::int32_t>(i + 1));
  }
  file.Put(76, 1.0f);  // no statistics: the least above the greatest
  file.Put(80, 0.0f);
  file.Put(88, recipe.group);
  file.Put(92, recipe.extendedBytes);
  if (recipe.signature) {
    file.PutText(208, "MAP ");
    file.PutText(212, recipe.bigEndian ? std::string_view("\x11\x11") : std::string_view("DD"));
  }
  file.Append(SFileBytes(static_cast<std::size_t>(recipe.extendedBytes), 0xEE));
  return file;
}

// A file whose sample at (x, y, section) is value(...).
template <class T>
SFileBytes MrcFile(const SMrcRecipe& recipe, const std::function<T(int x, int y, int z)>& value) {
  CArrayBytesWriter file = MrcWriter(recipe);
  for (int z = 0; z < recipe.sections; ++z) {
    for (int y = 0; y < recipe.height; ++y) {
      for (int x = 0; x < recipe.width; ++x) file.Append(value(x, y, z));
    }
  }
  return file.Bytes();
}

// Grey steps: rows count upwards from below.
template <class T>
SFileBytes Steps(const SMrcRecipe& recipe) {
  return MrcFile<T>(recipe, [](int x, int y, int z) { return static_cast<T>(10 * (y + 1) + x + 50 * z); });
}

std::uint16_t Corner(const STestPicture& picture, bool lower) { return picture.At(0, lower ? picture.height - 1 : 0); }

TEST(Mrc, TheFirstRowIsTheLowest) {
  const auto image = OpenBytes(Steps<std::uint16_t>({.mode = 6}));
  const STestPicture picture = ReadAll(*image);
  EXPECT_EQ(Corner(picture, true), 10);
  EXPECT_EQ(Corner(picture, false), 30);
  const STestPicture shown = Render(*image, 4, 3);
  EXPECT_LT(Corner(shown, true), Corner(shown, false));
}

TEST(Mrc, EveryModeReadsBackInBothByteOrders) {
  for (const bool big : {false, true}) {
    SCOPED_TRACE(big ? "big endian" : "little endian");
    EXPECT_EQ(ReadAll(*OpenBytes(Steps<std::int8_t>({.mode = 0, .bigEndian = big}))).At(3, 0), 33 + 128);
    EXPECT_EQ(ReadAll(*OpenBytes(Steps<std::int16_t>({.mode = 1, .bigEndian = big}))).At(3, 0), 33 + 32768);
    EXPECT_EQ(ReadAll(*OpenBytes(Steps<std::uint16_t>({.mode = 6, .bigEndian = big}))).At(3, 0), 33);
    // Floats are spread over the 16 bits.
    const STestPicture floats = ReadAll(*OpenBytes(Steps<float>({.mode = 2, .bigEndian = big})));
    EXPECT_EQ(floats.At(0, 2), 0);
    EXPECT_EQ(floats.At(3, 0), 65535);
    const std::function<std::uint16_t(int, int, int)> half = [](int x, int y, int) {
      return static_cast<std::uint16_t>(0x3C00 + 0x400 * y + x);  // 1, 2, 4 and a little more
    };
    const auto halves = OpenBytes(MrcFile<std::uint16_t>({.mode = 12, .bigEndian = big}, half));
    EXPECT_EQ(halves->Info().pixelType, kQvPixelFloat);
    EXPECT_EQ(ReadAll(*halves).At(3, 0), 65535);
    EXPECT_EQ(ReadAll(*halves).At(0, 2), 0);
  }
}

TEST(Mrc, ColourIsShownAsStored) {
  CArrayBytesWriter file = MrcWriter({.width = 2, .height = 2, .mode = 16});
  file.Append(SFileBytes{1, 2, 3, 4, 5, 6, 200, 0, 0, 0, 200, 0});
  const auto image = OpenBytes(file.Bytes());
  EXPECT_EQ(image->Info().components, 3u);
  const std::vector<std::uint16_t> turned = {200, 0, 0, 0, 200, 0, 1, 2, 3, 4, 5, 6};
  EXPECT_EQ(ReadAll(*image).samples, turned);
  EXPECT_EQ(Render(*image, 2, 2).samples, turned);
}

TEST(Mrc, FourBitsStandTwoInAByteAndRowsBeginOne) {
  CArrayBytesWriter file = MrcWriter({.width = 3, .height = 2, .mode = 101});
  file.Append(SFileBytes{0x21, 0x03, 0xFE, 0x0D});
  const auto image = OpenBytes(file.Bytes());
  EXPECT_EQ(image->Info().bpcSignificant, 4);
  EXPECT_EQ(ReadAll(*image).samples, (std::vector<std::uint16_t>{14, 15, 13, 1, 2, 3}));
  const STestPicture shown = Render(*image, 3, 2);
  EXPECT_EQ(shown.At(1, 0), 255);
  EXPECT_EQ(shown.At(0, 1), 17);
}

TEST(Mrc, BytesAreUnsignedWhereTheHeaderMeansThat) {
  const std::function<std::uint8_t(int, int, int)> value = [](int, int y, int) {
    return static_cast<std::uint8_t>(y == 0 ? 250 : 5);
  };
  SFileBytes bytes = MrcFile<std::uint8_t>({}, value);
  EXPECT_EQ(OpenBytes(bytes)->Info().pixelType, kQvPixelSigned);
  CArrayBytesWriter fields(0, false);
  fields.Append(std::int32_t{1146047817});
  fields.Append(std::int32_t{0});
  SFileBytes stamped = bytes;
  std::copy(fields.Bytes().begin(), fields.Bytes().end(), stamped.begin() + 152);
  EXPECT_EQ(OpenBytes(stamped)->Info().pixelType, kQvPixelUnsigned);
  EXPECT_EQ(Render(*OpenBytes(stamped), 4, 3).At(0, 2), 250);
  stamped[156] = 1;
  EXPECT_EQ(OpenBytes(stamped)->Info().pixelType, kQvPixelSigned);
  CArrayBytesWriter range(0, false);
  range.Append(0.0f);
  range.Append(250.0f);
  std::copy(range.Bytes().begin(), range.Bytes().end(), bytes.begin() + 76);
  EXPECT_EQ(OpenBytes(bytes)->Info().pixelType, kQvPixelUnsigned);
}

TEST(Mrc, ComplexNumbersAndUnknownModesAreUnsupported) {
  for (const int mode : {3, 4, 5, 7, 99}) {
    const auto image = OpenBytes(MrcFile<double>({.mode = mode}, [](int, int, int) { return 1.0; }));
    EXPECT_EQ(image->Info().width, 4u);
    EXPECT_THROW(Render(*image, 4, 3), CUnsupportedError) << mode;
    EXPECT_THROW(ReadAll(*image), CUnsupportedError) << mode;
  }
}

TEST(Mrc, TheMiddleSectionIsShown) {
  const auto image = OpenBytes(Steps<std::uint16_t>({.sections = 5, .mode = 6, .extendedBytes = 77}));
  EXPECT_EQ(Corner(ReadAll(*image), true), 10 + 2 * 50);
  EXPECT_EQ(image->Info().sequenceCount, 5u);
}

TEST(Mrc, VolumesInARowAreShownByTheFirst) {
  const SMrcRecipe recipe{.sections = 6, .mode = 6, .group = 401, .volumeSections = 3};
  const auto image = OpenBytes(Steps<std::uint16_t>(recipe));
  EXPECT_EQ(Corner(ReadAll(*image), true), 10 + 50);
  const SImageMetadata metadata = image->Metadata();
  ASSERT_EQ(metadata.loops.size(), 2u);
  EXPECT_EQ(metadata.loops[0].size, 2u);
  EXPECT_EQ(metadata.loops[1].type, kQvLoopZ);
  EXPECT_EQ(metadata.loops[1].size, 3u);
}

TEST(Mrc, OldFilesWithoutASignatureAreKnownByTheirSize) {
  for (const bool big : {false, true}) {
    SFileBytes bytes = Steps<std::int16_t>({.mode = 1, .bigEndian = big, .signature = false});
    EXPECT_EQ(ReadAll(*OpenBytes(bytes)).At(0, 2), 10 + 32768);
    bytes.push_back(0);
    EXPECT_THROW(OpenBytes(bytes), CDamagedError);
  }
}

TEST(Mrc, AWrongMachineStampIsSeenThrough) {
  SFileBytes bytes = Steps<std::int16_t>({.mode = 1, .bigEndian = true});
  bytes[212] = bytes[213] = 'D';
  EXPECT_EQ(ReadAll(*OpenBytes(bytes)).At(0, 2), 10 + 32768);
}

TEST(Mrc, CalibrationComesFromTheCell) {
  const auto image = OpenBytes(Steps<std::int16_t>({.sections = 4, .mode = 1, .pixel = 2.5f}));
  const SImageMetadata metadata = image->Metadata();
  EXPECT_NEAR(metadata.calibration, 2.5e-4, 1e-10);
  EXPECT_DOUBLE_EQ(metadata.aspect, 1.0);
  EXPECT_NEAR(metadata.picture.zStep, 5e-4, 1e-10);
  EXPECT_EQ(metadata.text.sampling, CQvStringW(L"0.00025 x 0.00025 \u00B5m per pixel, z step 0.0005 \u00B5m"));
  EXPECT_EQ(metadata.text.type, CQvStringW(L"MRC"));
  ASSERT_EQ(metadata.loops.size(), 1u);
  EXPECT_EQ(metadata.loops[0].type, kQvLoopZ);
}

TEST(Mrc, PicturesOfAStackAreNoPlanesOfAVolume) {
  const SImageMetadata metadata = OpenBytes(Steps<std::int16_t>({.sections = 4, .mode = 1, .group = 0}))->Metadata();
  ASSERT_EQ(metadata.loops.size(), 1u);
  EXPECT_EQ(metadata.loops[0].type, kQvLoopCustom);
  EXPECT_EQ(metadata.picture.zStep, 0.0);
}

TEST(Mrc, ACellWithoutASizeIsNoCalibration) {
  EXPECT_EQ(OpenBytes(Steps<std::int16_t>({.mode = 1, .pixel = 0.0f}))->Metadata().calibration, 0.0);
  EXPECT_EQ(OpenBytes(Steps<std::int16_t>({.mode = 1, .pixel = INFINITY}))->Metadata().calibration, 0.0);
}

TEST(Mrc, LabelsAreTheDescription) {
  CArrayBytesWriter file = MrcWriter({.mode = 0});
  file.Put(220, std::int32_t{2});
  file.PutText(224, "Ribosomes, 300 kV   ");
  file.PutText(304, "aligned");
  file.PutText(384, "left over from another file");
  file.Append(SFileBytes(12));
  EXPECT_EQ(OpenBytes(file.Bytes())->Metadata().text.description, CQvStringW(L"Ribosomes, 300 kV\naligned"));
}

TEST(Mrc, WholeFilesMayBeCompressed) {
  const SFileBytes bytes = Steps<std::uint16_t>({.sections = 5, .mode = 6});
  const auto image = OpenBytes(Gzipped(bytes));
  EXPECT_EQ(ReadAll(*image).samples, ReadAll(*OpenBytes(bytes)).samples);
  EXPECT_EQ(image->Info().compression, kQvCompressionLossless);
}

TEST(Mrc, DamageIsNoPicture) {
  ExpectToSurviveDamage(Steps<std::int16_t>({.mode = 1, .extendedBytes = 16}));
  ExpectToSurviveDamage(Steps<float>({.sections = 3, .mode = 2, .bigEndian = true}));
  ExpectToSurviveDamage(Gzipped(Steps<float>({.sections = 3, .mode = 2})));
}

TEST(Mrc, ClaimsOfHugeSizesAreRefused) {
  for (const std::int32_t side : {1 << 24, 40000, 1 << 30, -1, 0}) {
    CArrayBytesWriter file = MrcWriter({.width = side, .height = side, .sections = side, .mode = 2});
    file.Append(SFileBytes(500));
    EXPECT_EQ(OutcomeOf(file.Bytes()), kQvFailure) << side;
    EXPECT_EQ(OutcomeOf(Gzipped(file.Bytes())), kQvFailure) << side;
  }
}

// Far larger than memory: only the shown section is there.
TEST(Mrc, OfALongStackOnlyTheShownSectionIsRead) {
  const CTempFolder folder;
  const SMrcRecipe recipe{.width = 1000, .height = 1000, .sections = 10001, .mode = 2};
  const std::string path = folder.MakeFile("long.mrc", MrcWriter(recipe).Bytes());
  ASSERT_EQ(truncate(path.c_str(), 1024 + 4000000ll * recipe.sections), 0);
  const std::unique_ptr<COpenedImage> image = OpenPath(folder.Wide("long.mrc"));
  EXPECT_EQ(Render(*image, 10, 10).At(5, 5), 0);
}

}  // namespace
}  // namespace imageformats
