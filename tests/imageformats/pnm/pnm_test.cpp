#include <gtest/gtest.h>

#include <string>

#include "system/qvstatus.h"
#include "tests/imageformats/support/damage.h"
#include "tests/imageformats/support/opened.h"

namespace imageformats {
namespace {

using namespace qvtest;

// Raw samples as the formats have them: the high byte first.
SFileBytes RawSamples(const STestPicture& picture, std::uint32_t most) {
  SFileBytes bytes;
  for (const std::uint16_t sample : picture.samples) {
    if (most > 255) bytes.push_back(static_cast<std::uint8_t>(sample >> 8));
    bytes.push_back(static_cast<std::uint8_t>(sample));
  }
  return bytes;
}

std::string PlainSamples(const STestPicture& picture) {
  std::string text;
  for (const std::uint16_t sample : picture.samples) text.append(std::to_string(sample)).append(" ");
  return text;
}

SFileBytes RawFile(const std::string& header, const STestPicture& picture, std::uint32_t most = 255) {
  return Concatenated({BytesOf(header), RawSamples(picture, most)});
}

TEST(Pnm, RawAndPlainPicturesReadBackExactly) {
  const STestPicture grey = NoisePicture(13, 7, 1, 8, 1), rgb = NoisePicture(13, 7, 3, 8, 2);
  EXPECT_EQ(ReadAll(*OpenBytes(RawFile("P5 13 7 255\n", grey))), grey);
  EXPECT_EQ(ReadAll(*OpenBytes(RawFile("P6\n13\n7\n255\n", rgb))), rgb);
  EXPECT_EQ(ReadAll(*OpenBytes(BytesOf("P2 13 7 255\n" + PlainSamples(grey)))), grey);
  EXPECT_EQ(ReadAll(*OpenBytes(BytesOf("P3 13 7 255\n" + PlainSamples(rgb)))), rgb);
}

TEST(Pnm, SixteenBitsKeepTheirValues) {
  const STestPicture grey = NoisePicture(13, 7, 1, 16, 1), rgb = NoisePicture(13, 7, 3, 16, 2);
  const auto image = OpenBytes(RawFile("P5 13 7 65535\n", grey, 65535));
  EXPECT_EQ(image->Info().bpcInMemory, 16);
  EXPECT_EQ(ReadAll(*image), grey);
  EXPECT_EQ(ReadAll(*OpenBytes(BytesOf("P3 13 7 65535\n" + PlainSamples(rgb)))), rgb);
  STestPicture twelve = BlackPicture(2, 1, 1, 16);
  twelve.samples = {4000, 17};
  const auto narrow = OpenBytes(RawFile("P5 2 1 4095\n", twelve, 4095));
  EXPECT_EQ(narrow->Info().bpcSignificant, 12);
  EXPECT_EQ(ReadAll(*narrow), twelve);
}

TEST(Pnm, FewGreysFillTheBytesRange) {
  EXPECT_EQ(ReadAll(*OpenBytes(BytesOf("P2 4 1 3  0 1 2 3"))).samples, (std::vector<std::uint16_t>{0, 85, 170, 255}));
  EXPECT_EQ(ReadAll(*OpenBytes(BytesOf("P2 2 1 3  2 9\n"))).samples, (std::vector<std::uint16_t>{170, 255}));
}

TEST(Pnm, SetBitsAreBlack) {
  const std::vector<std::uint16_t> expected = {0, 255, 255, 255, 255, 255, 255, 0, 0, 255};
  EXPECT_EQ(ReadAll(*OpenBytes(BytesOf("P1 10 1 # bits\n1000 000110"))).samples, expected);
  EXPECT_EQ(ReadAll(*OpenBytes(Concatenated({BytesOf("P4 10 1\n"), {0x81, 0x80}}))).samples, expected);
}

TEST(Pnm, PamNamesItsSamples) {
  const STestPicture picture = NoisePicture(5, 3, 4, 8, 9);
  const std::string header = "P7\nWIDTH 5\nHEIGHT 3\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n";
  EXPECT_EQ(ReadAll(*OpenBytes(RawFile(header, picture))), picture);
  const std::string bits = "P7\nWIDTH 2\nHEIGHT 1\nDEPTH 2\nMAXVAL 1\nTUPLTYPE BLACKANDWHITE_ALPHA\nENDHDR\n";
  EXPECT_EQ(RenderBytes(Concatenated({BytesOf(bits), {0, 1, 0, 0}}), 2, 1).samples,
            (std::vector<std::uint16_t>{0, 0, 0, 255, 255, 255}));
  const std::string six = "P7\nWIDTH 2\nHEIGHT 1\nDEPTH 6\nMAXVAL 1\nENDHDR\n";
  EXPECT_EQ(OutcomeOf(Concatenated({BytesOf(six), SFileBytes(12)})), kQvUnsupported);
}

TEST(Pnm, RendersToTheExactAverage) {
  const STestPicture picture = NoisePicture(301, 203, 3, 8, 4);
  const SFileBytes bytes = RawFile("P6 301 203 255\n", picture);
  EXPECT_LE(LargestDifference(RenderBytes(bytes, 60, 41), AreaAverage(picture, 60, 41)), 1);
}

TEST(Pnm, CommentsAreTheDescription) {
  const auto image = OpenBytes(BytesOf("P2 # a\n# made by hand\n1 1 255 77\n"));
  EXPECT_EQ(image->Metadata().text.description, L"a\n made by hand");
  EXPECT_EQ(image->Metadata().text.type, L"PNM");
}

TEST(Pnm, TheFirstOfSeveralPicturesIsShown) {
  const STestPicture picture = NoisePicture(13, 7, 1, 8, 1);
  const SFileBytes file = RawFile("P5 13 7 255\n", picture);
  EXPECT_EQ(ReadAll(*OpenBytes(Concatenated({file, file}))), picture);
}

TEST(Pnm, CutFilesAreDamaged) {
  ExpectDamagedWhereverCut(RawFile("P5 13 7 255\n", NoisePicture(13, 7, 1, 8, 1)), 0);
  // Of the last number, a part is a number too.
  ExpectDamagedWhereverCut(BytesOf("P3 3 2 255 # text\n" + PlainSamples(NoisePicture(3, 2, 3, 8, 2))), 4);
  ExpectDamagedWhereverCut(Concatenated({BytesOf("P4 10 3\n"), SFileBytes(6)}), 0);
}

TEST(Pnm, ChangedBytesDoNoHarm) {
  ExpectNoHarmOfChanges(RawFile("P5 13 7 255\n", NoisePicture(13, 7, 1, 8, 1)));
  ExpectNoHarmOfChanges(BytesOf("P1 10 1 # bits\n1000 000110"));
  ExpectNoHarmOfChanges(RawFile("P7\nWIDTH 5\nHEIGHT 3\nDEPTH 2\nMAXVAL 255\nENDHDR\n", NoisePicture(5, 3, 2, 8, 9)));
}

TEST(Pnm, ClaimsOfHugePicturesAreDamaged) {
  for (const char* header : {"P5 999999999 999999999 255\n", "P4 999999999 999999999\n", "P1 999999999 999999999 0",
                             "P5 9999999999 1 255\n", "P2 3 3 70000 1 1 1", "P5 0 3 255\n"}) {
    EXPECT_EQ(OutcomeOf(Concatenated({BytesOf(header), SFileBytes(100)})), kQvFailure) << header;
  }
}

}  // namespace
}  // namespace imageformats
