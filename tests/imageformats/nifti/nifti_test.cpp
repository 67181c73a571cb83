#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "platform/imageformats/base/format_error.h"
#include "tests/imageformats/arrays/array_bytes_writer.h"
#include "tests/imageformats/support/damage.h"
#include "tests/imageformats/support/opened.h"
#include "tests/support/temp_folder.h"

namespace imageformats {
namespace {

using namespace qvtest;

struct SNiftiRecipe {
  int version = 1;  // 0: Analyze 7.5
  bool bigEndian = false;
  bool pair = false;
  int type = 2;
  std::vector<int> sizes = {2, 2};
  std::vector<double> steps = {};
  int units = 0;
  double slope = 0.0, intercept = 0.0, darkest = 0.0, brightest = 0.0;
  int intent = 0;
};

// The header alone, up to the place of the pixels.
CArrayBytesWriter NiftiWriter(const SNiftiRecipe& recipe) {
  const bool is2 = recipe.version == 2;
  CArrayBytesWriter file(is2 ? 544 : recipe.pair || recipe.version == 0 ? 348 : 352, recipe.bigEndian);
  const auto real = [&](std::size_t at1, std::size_t at2, double value) {
    is2 ? file.Put(at2, value) : file.Put(at1, static_cast<float>(value));
  };
  const auto dimension = [&](std::size_t i, int value) {
    is2 ? file.Put(16 + 8 * i, std::int64_t{value}) : file.Put(40 + 2 * i, static_cast<std::int16_t>(value));
  };
  file.Put(0, std::int32_t{is2 ? 540 : 348});
  dimension(0, static_cast<int>(recipe.sizes.size()));
  for (std::size_t i = 0; i < recipe.sizes.size(); ++i) dimension(i + 1, recipe.sizes[i]);
  for (std::size_t i = 0; i < recipe.steps.size(); ++i) real(80 + 4 * i, 112 + 8 * i, recipe.steps[i]);
  file.Put(is2 ? 12 : 70, static_cast<std::int16_t>(recipe.type));
  real(124, 192, recipe.brightest);
  real(128, 200, recipe.darkest);
  if (recipe.version == 0) {
    file.PutText(38, "r");
    return file;
  }
  file.PutText(is2 ? 4 : 344, std::string(recipe.pair ? "ni" : "n+") + (is2 ? "2" : "1"));
  real(112, 176, recipe.slope);
  real(116, 184, recipe.intercept);
  if (is2) {
    file.Put(168, std::int64_t{recipe.pair ? 0 : 544});
    file.Put(500, std::int32_t{recipe.units});
    file.Put(504, std::int32_t{recipe.intent});
  } else {
    file.Put(108, recipe.pair ? 0.0f : 352.0f);
    file.Put(123, static_cast<std::uint8_t>(recipe.units));
    file.Put(68, static_cast<std::int16_t>(recipe.intent));
  }
  return file;
}

template <class T>
SFileBytes Nifti(const SNiftiRecipe& recipe, const std::vector<T>& samples) {
  CArrayBytesWriter file = NiftiWriter(recipe);
  for (const T sample : samples) file.Append(sample);
  return file.Bytes();
}

SFileBytes Bytes(const SNiftiRecipe& recipe, const SFileBytes& samples) { return Nifti<std::uint8_t>(recipe, samples); }

TEST(Nifti, BothVersionsReadInBothByteOrders) {
  for (const int version : {1, 2}) {
    for (const bool big : {false, true}) {
      const SFileBytes file =
          Nifti<std::uint16_t>({.version = version, .bigEndian = big, .type = 512}, {1, 2, 300, 400});
      const auto image = OpenBytes(file);
      EXPECT_EQ(ReadAll(*image).samples, (CSamples{300, 400, 1, 2})) << "the first row is the lowest";
      EXPECT_EQ(image->Metadata().text.type, version == 1 ? CQvStringW(L"NIfTI-1") : CQvStringW(L"NIfTI-2"));
      EXPECT_EQ(ReadSamples(Gzipped(file)), (CSamples{300, 400, 1, 2}));
    }
  }
}

template <class T>
CSamples ReadType(int type, T low, T high) {
  return ReadSamples(Nifti<T>({.bigEndian = true, .type = type, .sizes = {2, 1}}, {low, high}));
}

TEST(Nifti, EveryTypeIsRead) {
  EXPECT_EQ(ReadType<std::uint8_t>(2, 5, 255), (CSamples{5, 255}));
  EXPECT_EQ(ReadType<std::int8_t>(256, -128, 127), (CSamples{0, 255}));
  EXPECT_EQ(ReadType<std::int16_t>(4, -32768, 32767), (CSamples{0, 65535}));
  EXPECT_EQ(ReadType<std::uint16_t>(512, 0, 65535), (CSamples{0, 65535}));
  EXPECT_EQ(ReadType<std::int32_t>(8, -65536, 65536), (CSamples{32767, 32769}));
  EXPECT_EQ(ReadType<std::uint32_t>(768, 65536, 0xFFFF0000u), (CSamples{1, 65535}));
  EXPECT_EQ(ReadType<std::int64_t>(1024, 0, 1ll << 48), (CSamples{32768, 32769}));
  EXPECT_EQ(ReadType<std::uint64_t>(1280, 0, 1ull << 48), (CSamples{0, 1}));
  EXPECT_EQ(ReadType<float>(16, -2.0f, 2.0f), (CSamples{0, 65535}));
  EXPECT_EQ(ReadType<double>(64, -2.0, 2.0), (CSamples{0, 65535}));
}

TEST(Nifti, ColoursAreShownAndOpacityIsLaidOverWhite) {
  const SFileBytes rgb = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(Render(*OpenBytes(Bytes({.type = 128, .sizes = {2, 1}}, rgb)), 2, 1).samples, (CSamples{1, 2, 3, 4, 5, 6}));
  const SFileBytes rgba = {1, 2, 3, 255, 4, 5, 6, 0};
  EXPECT_EQ(Render(*OpenBytes(Bytes({.type = 2304, .sizes = {2, 1}}, rgba)), 2, 1).samples,
            (CSamples{1, 2, 3, 255, 255, 255}));
}

TEST(Nifti, OtherTypesAreUnsupported) {
  for (const int type : {0, 1, 32, 1536, 1792, 2048, 9999}) {
    EXPECT_EQ(OutcomeOf(Bytes({.type = type}, SFileBytes(256))), kQvUnsupported) << type;
  }
}

TEST(Nifti, TheMiddlePlaneOfTheFirstTimePointIsShown) {
  const auto image = OpenBytes(Bytes({.sizes = {1, 1, 3, 2}}, {10, 20, 30, 40, 50, 60}));
  EXPECT_EQ(ReadAll(*image).samples, CSamples{20});
  EXPECT_EQ(image->Info().sequenceCount, 6u);
}

TEST(Nifti, ValuesAtAPlaceAreChannels) {
  const auto image = OpenBytes(Bytes({.sizes = {2, 1, 1, 1, 2}}, {200, 0, 0, 100}));
  EXPECT_EQ(Render(*image, 2, 1).samples, (CSamples{200, 0, 0, 0, 100, 0}));
}

TEST(Nifti, TheScaleMayTurnDarkIntoBright) {
  const std::vector<std::int16_t> samples = {0, 1000};
  const auto render = [&](double slope) {
    return Render(*OpenBytes(Nifti<std::int16_t>({.type = 4, .sizes = {2, 1}, .slope = slope}, samples)), 2, 1)
        .At(0, 0);
  };
  EXPECT_EQ(render(2.0), 0);
  EXPECT_EQ(render(0.0), 0);
  EXPECT_EQ(render(std::numeric_limits<double>::quiet_NaN()), 0);
  EXPECT_EQ(render(-2.0), 255);
}

TEST(Nifti, TheDisplayRangeOfTheHeaderIsKeptWhileItSuits) {
  SNiftiRecipe recipe{.type = 4, .sizes = {3, 1}, .darkest = 0.0, .brightest = 2000.0};
  const std::vector<std::int16_t> samples = {0, 1000, 2000};
  EXPECT_EQ(Render(*OpenBytes(Nifti<std::int16_t>(recipe, samples)), 3, 1).At(1, 0), 128);
  recipe.brightest = 1000.0;
  EXPECT_EQ(Render(*OpenBytes(Nifti<std::int16_t>(recipe, samples)), 3, 1).At(1, 0), 255);
}

// Placement `version` as the rows' direction (right, forwards, up).
bool FirstRowIsAbove(double right, double forwards, double up) {
  CArrayBytesWriter file = NiftiWriter({.sizes = {1, 2}});
  file.Put(254, std::int16_t{1});
  file.Put(284, static_cast<float>(right));
  file.Put(300, static_cast<float>(forwards));
  file.Put(316, static_cast<float>(up));
  file.Append(SFileBytes{10, 20});
  return ReadSamples(file.Bytes()).front() == 10;
}

TEST(Nifti, WhatIsForwardsOrUpIsAbove) {
  EXPECT_FALSE(FirstRowIsAbove(0, 1, 0));
  EXPECT_TRUE(FirstRowIsAbove(0, -1, 0.5));
  EXPECT_FALSE(FirstRowIsAbove(0.1, 0, 2));
  EXPECT_TRUE(FirstRowIsAbove(0.1, 0, -2));
  EXPECT_FALSE(FirstRowIsAbove(-3, 0, -2));
}

TEST(Nifti, ARotationTellsTheSame) {
  CArrayBytesWriter file = NiftiWriter({.sizes = {1, 2}});
  file.Put(252, std::int16_t{1});
  file.Put(256, 1.0f);  // half a turn about x: forwards becomes backwards
  file.Append(SFileBytes{10, 20});
  EXPECT_EQ(ReadSamples(file.Bytes()).front(), 10);
}

TEST(Nifti, CalibrationComesFromTheSteps) {
  for (const int version : {1, 2}) {
    const SImageMetadata metadata =
        OpenBytes(Bytes({.version = version, .sizes = {1, 1, 2, 2}, .steps = {0.5, 1.0, 2.0, 250.0}, .units = 3 | 16},
                        SFileBytes(4)))
            ->Metadata();
    EXPECT_DOUBLE_EQ(metadata.calibration, 0.5);
    EXPECT_DOUBLE_EQ(metadata.aspect, 2.0);
    EXPECT_DOUBLE_EQ(metadata.picture.zStep, 2.0);
    ASSERT_EQ(metadata.loops.size(), 2u);
    EXPECT_EQ(metadata.loops[0].type, kQvLoopTime);
    EXPECT_DOUBLE_EQ(metadata.loops[0].step, 0.25);
  }
  const auto millimetres = OpenBytes(Bytes({.sizes = {1, 1}, .steps = {0.25, 0.25}, .units = 2}, {1}));
  EXPECT_DOUBLE_EQ(millimetres->Metadata().calibration, 250.0);
  EXPECT_EQ(OpenBytes(Bytes({.sizes = {1, 1}, .steps = {0.25, 0.25}}, {1}))->Metadata().calibration, 0.0);
}

TEST(Nifti, TextsAreTheDescriptionAndTheIntent) {
  CArrayBytesWriter file = NiftiWriter({.sizes = {1, 1}});
  file.PutText(148, "Brain of a mouse");
  file.PutText(328, "atlas");
  file.Append(std::uint8_t{1});
  const SImageMetadata metadata = OpenBytes(file.Bytes())->Metadata();
  EXPECT_EQ(metadata.text.description, CQvStringW(L"Brain of a mouse"));
  EXPECT_EQ(metadata.text.info1, CQvStringW(L"atlas"));
}

TEST(Nifti, LabelsGetDistinctColours) {
  const auto image = OpenBytes(Nifti<std::int16_t>({.type = 4, .sizes = {3, 1}, .intent = 1002}, {0, 1, 2}));
  const STestPicture shown = Render(*image, 3, 1);
  EXPECT_EQ(CSamples(shown.samples.begin(), shown.samples.begin() + 3), (CSamples{0, 0, 0}));
  const CSamples one(shown.samples.begin() + 3, shown.samples.begin() + 6),
      two(shown.samples.begin() + 6, shown.samples.end());
  EXPECT_NE(one, two);
  EXPECT_FALSE(one[0] == one[1] && one[1] == one[2]);
}

TEST(Nifti, APairIsReadFromBothFiles) {
  const CTempFolder folder;
  const SFileBytes pixels = {1, 2, 3, 4};
  for (const int version : {0, 1, 2}) {
    SCOPED_TRACE(version);
    const std::wstring header =
        folder.MakeFileWide("brain.hdr", NiftiWriter({.version = version, .pair = true}).Bytes());
    folder.MakeFile("brain.img", pixels);
    EXPECT_EQ(ReadAll(*OpenPath(header)).samples, (CSamples{3, 4, 1, 2}));
  }
  folder.MakeFile("packed.img.gz", Gzipped(pixels));
  const SFileBytes header = NiftiWriter({.pair = true}).Bytes();
  EXPECT_EQ(ReadAll(*OpenPath(folder.MakeFileWide("packed.hdr.gz", Gzipped(header)))).samples, (CSamples{3, 4, 1, 2}));
  EXPECT_THROW(OpenPath(folder.MakeFileWide("alone.hdr", header)), CDamagedError);
  EXPECT_THROW(OpenBytes(header), CDamagedError);
}

TEST(Nifti, TheForerunnerIsKnownByItsNumbers) {
  const CTempFolder folder;
  folder.MakeFile("old.img", SFileBytes{1, 2, 3, 4});
  CArrayBytesWriter header = NiftiWriter({.version = 0});
  header.PutText(38, std::string_view("\0", 1));
  EXPECT_THROW(OpenPath(folder.MakeFileWide("old.hdr", header.Bytes())), CDamagedError);
  header.Put(72, std::int16_t{8});
  const auto image = OpenPath(folder.MakeFileWide("old.hdr", header.Bytes()));
  EXPECT_EQ(ReadAll(*image).samples, (CSamples{3, 4, 1, 2}));
  EXPECT_EQ(image->Metadata().text.type, CQvStringW(L"Analyze 7.5"));
}

TEST(Nifti, DamageIsNoPicture) {
  const std::vector<std::int16_t> samples = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  ExpectToSurviveDamage(Nifti<std::int16_t>({.type = 4, .sizes = {2, 2, 3}}, samples));
  ExpectToSurviveDamage(Nifti<std::int16_t>({.version = 2, .bigEndian = true, .type = 4, .sizes = {2, 2, 3}}, samples));
  ExpectToSurviveDamage(Gzipped(Nifti<std::int16_t>({.type = 4, .sizes = {2, 2, 3}}, samples)));
}

TEST(Nifti, ClaimsOfHugeSizesAreRefused) {
  for (const int side : {32767, 0, -5}) {
    const SFileBytes small = Bytes({.type = 64, .sizes = {side, side, side, side, side}}, SFileBytes(1000));
    EXPECT_EQ(OutcomeOf(small), kQvFailure) << side;
    EXPECT_EQ(OutcomeOf(Gzipped(small)), kQvFailure) << side;
  }
  CArrayBytesWriter file = NiftiWriter({.version = 2, .type = 64, .sizes = {1, 1}});
  for (std::size_t i = 1; i < 8; ++i) file.Put(16 + 8 * i, std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(OutcomeOf(file.Bytes()), kQvFailure);
}

}  // namespace
}  // namespace imageformats
