#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "platform/imageformats/base/format_error.h"
#include "tests/imageformats/arrays/array_bytes_writer.h"
#include "tests/imageformats/support/damage.h"
#include "tests/imageformats/support/opened.h"

namespace imageformats {
namespace {

using namespace qvtest;

using CCards = std::vector<std::string>;

void Pad(SFileBytes* bytes, std::uint8_t with) {
  while (bytes->size() % 2880 != 0) bytes->push_back(with);
}

SFileBytes Header(const CCards& cards) {
  SFileBytes bytes;
  const auto put = [&](std::string card) {
    card.resize(80, ' ');
    bytes.insert(bytes.end(), card.begin(), card.end());
  };
  for (const std::string& card : cards) put(card);
  put("END");
  Pad(&bytes, ' ');
  return bytes;
}

std::string Card(const std::string& keyword, const std::string& value) {
  std::string card = keyword;
  card.resize(8, ' ');
  return card.append("= ").append(value);
}

// SIMPLE, or the first card of an extension, and the shape.
CCards Shape(int bits, const std::vector<int>& sizes, const std::string& extension = "") {
  CCards cards = {extension.empty() ? Card("SIMPLE", "                   T / a comment") : Card("XTENSION", extension),
                  Card("BITPIX", std::to_string(bits)), Card("NAXIS", std::to_string(sizes.size()))};
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    std::string keyword = "NAXIS";
    cards.push_back(Card(keyword.append(std::to_string(i + 1)), std::to_string(sizes[i])));
  }
  return cards;
}

CCards With(CCards cards, const CCards& more) {
  cards.insert(cards.end(), more.begin(), more.end());
  return cards;
}

template <class T>
SFileBytes Data(const std::vector<T>& samples) {
  CArrayBytesWriter data(0, true);
  for (const T sample : samples) data.Append(sample);
  SFileBytes bytes = data.Bytes();
  Pad(&bytes, 0);
  return bytes;
}

template <class T>
SFileBytes Fits(const CCards& cards, const std::vector<T>& samples) {
  return Concatenated({Header(cards), Data(samples)});
}

SFileBytes FitsBytes(const CCards& cards, const SFileBytes& samples) { return Fits<std::uint8_t>(cards, samples); }

TEST(Fits, TheFirstRowIsTheLowest) {
  EXPECT_EQ(ReadSamples(FitsBytes(Shape(8, {2, 2}), {1, 2, 3, 4})), (CSamples{3, 4, 1, 2}));
  EXPECT_EQ(Render(*OpenBytes(FitsBytes(Shape(8, {1, 2}), {10, 200})), 1, 2).At(0, 0), 200);
}

TEST(Fits, EveryTypeIsRead) {
  EXPECT_EQ(ReadSamples(Fits<std::uint8_t>(Shape(8, {2, 1}), {5, 255})), (CSamples{5, 255}));
  EXPECT_EQ(ReadSamples(Fits<std::int16_t>(Shape(16, {2, 1}), {-32768, 32767})), (CSamples{0, 65535}));
  EXPECT_EQ(ReadSamples(Fits<std::int32_t>(Shape(32, {2, 1}), {-65536, 65536})), (CSamples{32767, 32769}));
  EXPECT_EQ(ReadSamples(Fits<std::int64_t>(Shape(64, {2, 1}), {0, 1ll << 48})), (CSamples{32768, 32769}));
  EXPECT_EQ(ReadSamples(Fits<float>(Shape(-32, {2, 1}), {-1.0f, 1.0f})), (CSamples{0, 65535}));
  EXPECT_EQ(ReadSamples(Fits<double>(Shape(-64, {2, 1}), {-1.0, 1.0})), (CSamples{0, 65535}));
}

TEST(Fits, UnsignedNumbersAreKeptExact) {
  const auto image =
      OpenBytes(Fits<std::int16_t>(With(Shape(16, {2, 1}), {Card("BZERO", "32768.0")}), {-32768, 32767}));
  EXPECT_EQ(image->Info().pixelType, kQvPixelUnsigned);
  EXPECT_EQ(ReadAll(*image).samples, (CSamples{0, 65535}));
  const CCards wide = With(Shape(32, {2, 1}), {Card("BZERO", "2147483648"), Card("BSCALE", "1.")});
  EXPECT_EQ(ReadSamples(Fits<std::int32_t>(wide, {std::numeric_limits<std::int32_t>::min(), -65536})),
            (CSamples{0, 32767}));
}

TEST(Fits, ANegativeScaleTurnsDarkIntoBright) {
  const CCards cards = With(Shape(16, {2, 1}), {Card("BSCALE", "-2.5D0"), Card("BZERO", "1E3")});
  EXPECT_EQ(Render(*OpenBytes(Fits<std::int16_t>(cards, {0, 1000})), 2, 1).At(0, 0), 255);
}

TEST(Fits, BlankPixelsDoNotCount) {
  const CCards cards = With(Shape(16, {4, 1}), {Card("BLANK", "-32768")});
  const auto image = OpenBytes(Fits<std::int16_t>(cards, {-32768, 0, 500, 1000}));
  const STestPicture shown = Render(*image, 4, 1);
  EXPECT_EQ(shown.At(0, 0), 0);
  EXPECT_EQ(shown.At(1, 0), 0);
  EXPECT_EQ(shown.At(2, 0), 128);
  // In an average with another pixel it is left out.
  const STestPicture halved = Render(*image, 2, 1);
  EXPECT_EQ(halved.At(0, 0), 0);
  EXPECT_EQ(halved.At(1, 0), 255);
  EXPECT_EQ(ReadAll(*image).bits, 16u);
}

TEST(Fits, NumbersThatAreNoneDoNotCount) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const STestPicture shown = Render(*OpenBytes(Fits<float>(Shape(-32, {4, 1}), {nan, 0.0f, 0.5f, 1.0f})), 4, 1);
  EXPECT_EQ(shown.At(2, 0), 128);
}

TEST(Fits, TheMiddlePlaneIsShown) {
  const auto image = OpenBytes(FitsBytes(Shape(8, {1, 1, 5, 2}), {10, 20, 30, 40, 50, 60, 70, 80, 90, 100}));
  EXPECT_EQ(ReadAll(*image).samples, CSamples{30});
  EXPECT_EQ(image->Info().sequenceCount, 10u);
}

TEST(Fits, ThreePlanesAreAPictureInColour) {
  const SFileBytes planes = {1, 2, 3, 4, 5, 6};
  const auto image = OpenBytes(FitsBytes(Shape(8, {2, 1, 3}), planes));
  EXPECT_EQ(ReadAll(*image).samples, (CSamples{1, 3, 5, 2, 4, 6}));
  EXPECT_EQ(Render(*image, 2, 1).samples, (CSamples{1, 3, 5, 2, 4, 6}));
  const CCards depth = With(Shape(8, {2, 1, 3}), {Card("CTYPE3", "'Z       '")});
  EXPECT_EQ(ReadSamples(FitsBytes(depth, planes)), (CSamples{3, 4}));
}

TEST(Fits, TheFirstPictureMayBeInAnExtension) {
  const SFileBytes empty = Header(With(Shape(8, {}), {Card("OBJECT", "'M 31'")}));
  const SFileBytes table =
      Concatenated({Header(Shape(8, {3, 2}, "'BINTABLE'")), Data<std::uint8_t>({1, 2, 3, 4, 5, 6})});
  const SFileBytes picture = Concatenated({Header(Shape(8, {2, 1}, "'IMAGE   '")), Data<std::uint8_t>({70, 80})});
  const SFileBytes file = Concatenated({empty, table, picture});
  const auto image = OpenBytes(file);
  EXPECT_EQ(ReadAll(*image).samples, (CSamples{70, 80}));
  EXPECT_EQ(image->Metadata().text.imageID, CQvStringW(L"M 31"));
  EXPECT_EQ(ReadSamples(Gzipped(file)), (CSamples{70, 80}));
  EXPECT_EQ(OutcomeOf(Concatenated({empty, table})), kQvFailure);
}

TEST(Fits, CompressedTilesAreUnsupported) {
  const CCards tiles =
      With(Shape(8, {8, 2}, "'BINTABLE'"), {Card("ZIMAGE", "T"), Card("ZNAXIS1", "30"), Card("ZNAXIS2", "20")});
  const SFileBytes file = Concatenated({Header(Shape(8, {})), Header(tiles), Data<std::uint8_t>(SFileBytes(16))});
  EXPECT_EQ(OutcomeOf(file), kQvUnsupported);
  EXPECT_EQ(OutcomeOf(Gzipped(file)), kQvUnsupported);
  EXPECT_EQ(OpenBytes(file)->Info().width, 30u);
}

TEST(Fits, WhatTheHeaderTellsIsKept) {
  const CCards cards =
      With(Shape(8, {1, 1, 2}),
           {Card("OBJECT", "'O''Neill''s cells'"), Card("OBSERVER", "'R. Lindqvist'"), Card("TELESCOP", "'Stand 3'"),
            Card("INSTRUME", "'sCMOS'"), Card("FILTER", "'DAPI    '"), Card("EXPTIME", "0.25 / seconds"),
            Card("DATE-OBS", "'2024-05-13T09:12:00.5'"), Card("CTYPE1", "'LINEAR'"), Card("CUNIT1", "'um'"),
            Card("CDELT1", "0.5"), Card("CUNIT2", "'um'"), Card("CDELT2", "-1.0"), Card("CUNIT3", "'um'"),
            Card("CDELT3", "2."), "COMMENT FITS (Flexible Image Transport System) format is defined in",
            "COMMENT fixed", "COMMENT stained"});
  const SImageMetadata metadata = OpenBytes(FitsBytes(cards, {1, 2}))->Metadata();
  EXPECT_EQ(metadata.text.imageID, CQvStringW(L"O'Neill's cells"));
  EXPECT_EQ(metadata.text.author, CQvStringW(L"R. Lindqvist"));
  EXPECT_EQ(metadata.text.capturing, CQvStringW(L"Stand 3 sCMOS"));
  EXPECT_EQ(metadata.text.optics, CQvStringW(L"DAPI"));
  EXPECT_EQ(metadata.text.info1, CQvStringW(L"exposure 0.25 s"));
  EXPECT_EQ(metadata.text.description, CQvStringW(L"fixed\nstained"));
  EXPECT_NEAR(metadata.acquisitionTime, 2460443.88333912, 1e-6);
  EXPECT_DOUBLE_EQ(metadata.calibration, 0.5);
  EXPECT_DOUBLE_EQ(metadata.aspect, 2.0);
  EXPECT_DOUBLE_EQ(metadata.picture.zStep, 2.0);
  ASSERT_EQ(metadata.loops.size(), 1u);
  EXPECT_EQ(metadata.loops[0].type, kQvLoopZ);
}

TEST(Fits, AxesOfAnythingButLengthAreNoCalibration) {
  const CCards sky = {Card("CTYPE1", "'RA---TAN'"), Card("CUNIT1", "'deg'"), Card("CDELT1", "0.1")};
  EXPECT_EQ(OpenBytes(FitsBytes(With(Shape(8, {1, 1}), sky), {1}))->Metadata().calibration, 0.0);
  const CCards spectrum = {Card("CTYPE1", "'WAVE'"), Card("CUNIT1", "'nm'"), Card("CDELT1", "0.1")};
  EXPECT_EQ(OpenBytes(FitsBytes(With(Shape(8, {1, 1}), spectrum), {1}))->Metadata().calibration, 0.0);
}

TEST(Fits, HeadersThatMakeNoSenseAreDamaged) {
  for (const CCards& cards :
       {Shape(7, {1, 1}), Shape(8, {-1, 1}), Shape(8, {}), Shape(8, {5}), Shape(8, {0, 4}),
        CCards{Card("SIMPLE", "T"), Card("BITPIX", "8")}, With(Shape(8, {}), {Card("NAXIS", "1000")})}) {
    EXPECT_EQ(OutcomeOf(FitsBytes(cards, {1, 2, 3, 4, 5})), kQvFailure) << cards.back();
  }
}

TEST(Fits, DamageIsNoPicture) {
  // The data fill their block, so that every cut takes some of them.
  std::vector<std::int16_t> samples(1440);
  for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<std::int16_t>(i * 7);
  const SFileBytes whole = Fits<std::int16_t>(Shape(16, {40, 36}), samples);
  ExpectToSurviveDamage(whole);
  ExpectToSurviveDamage(Gzipped(Fits<std::int16_t>(Shape(16, {40, 12, 3}), samples)));
}

TEST(Fits, ClaimsOfHugeSizesAreRefused) {
  for (const char* size : {"2000000000", "4294967296", "9000000000000000000", "1e30"}) {
    const CCards cards = {Card("SIMPLE", "T"),  Card("BITPIX", "-64"), Card("NAXIS", "4"),  Card("NAXIS1", size),
                          Card("NAXIS2", size), Card("NAXIS3", size),  Card("NAXIS4", size)};
    EXPECT_EQ(OutcomeOf(FitsBytes(cards, SFileBytes(10))), kQvFailure) << size;
    EXPECT_EQ(OutcomeOf(Gzipped(FitsBytes(cards, SFileBytes(10)))), kQvFailure) << size;
  }
}

}  // namespace
}  // namespace imageformats
