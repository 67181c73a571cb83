#include <gtest/gtest.h>

#include <string>

#include "platform/imageformats/base/format_error.h"
#include "tests/imageformats/arrays/array_bytes_writer.h"
#include "tests/imageformats/support/damage.h"
#include "tests/imageformats/support/opened.h"
#include "tests/support/temp_folder.h"

namespace imageformats {
namespace {

using namespace qvtest;

SFileBytes Nrrd(const std::string& fields, const SFileBytes& data) {
  return Concatenated({BytesOf("NRRD0004\n# a comment\n" + fields + "\n"), data});
}

// The bytes 0, 1, 2 and so on.
SFileBytes Counting(std::size_t count) {
  SFileBytes bytes(count);
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::uint8_t>(i);
  return bytes;
}

const std::string kPlain = "type: uchar\ndimension: 2\nsizes: 3 2\nencoding: ";
const CSamples kSix = {0, 1, 2, 3, 4, 5};

TEST(Nrrd, EveryEncodingReadsTheSame) {
  EXPECT_EQ(ReadSamples(Nrrd(kPlain + "raw\n", Counting(6))), kSix);
  EXPECT_EQ(ReadSamples(Nrrd(kPlain + "gzip\n", Gzipped(Counting(6)))), kSix);
  EXPECT_EQ(ReadSamples(Nrrd(kPlain + "bz2\n", Bzip2ed(Counting(6)))), kSix);
  EXPECT_EQ(ReadSamples(Nrrd(kPlain + "hex\n", BytesOf("00 01\n02030405"))), kSix);
  EXPECT_EQ(ReadSamples(Nrrd(kPlain + "ascii\n", BytesOf("0 1 2\n3, 4\t+5"))), kSix);
}

TEST(Nrrd, SeveralCompressedMembersAreOneStream) {
  const SFileBytes two = Concatenated({Gzipped({0, 1}), Gzipped({2, 3, 4, 5})});
  EXPECT_EQ(ReadSamples(Nrrd(kPlain + "gz\n", two)), kSix);
  const SFileBytes streams = Concatenated({Bzip2ed({0, 1}), Bzip2ed({2, 3, 4, 5})});
  EXPECT_EQ(ReadSamples(Nrrd(kPlain + "bzip2\n", streams)), kSix);
}

template <class T>
void ExpectType(const std::string& name, T low, T high, std::uint16_t readLow, std::uint16_t readHigh) {
  for (const bool big : {false, true}) {
    CArrayBytesWriter data(0, big);
    data.Append(low);
    data.Append(high);
    const std::string fields = "type: " + name + "\ndimension: 2\nsizes: 2 1\nencoding: raw\nendian: ";
    EXPECT_EQ(ReadSamples(Nrrd(fields + (big ? "big\n" : "little\n"), data.Bytes())), (CSamples{readLow, readHigh}))
        << name;
  }
}

TEST(Nrrd, EveryTypeReadsInBothByteOrders) {
  ExpectType<std::int8_t>("signed char", -128, 127, 0, 255);
  ExpectType<std::uint8_t>("uint8_t", 3, 255, 3, 255);
  ExpectType<std::int16_t>("short", -32768, 5, 0, 32773);
  ExpectType<std::uint16_t>("unsigned short int", 7, 65535, 7, 65535);
  ExpectType<std::int32_t>("int", -65536, 65536, 32767, 32769);
  ExpectType<std::uint32_t>("uint32", 0x00020000u, 0xFFFF0000u, 2, 65535);
  ExpectType<std::int64_t>("long long int", 0, 1ll << 48, 32768, 32769);
  ExpectType<std::uint64_t>("unsigned long long", 1ull << 48, 1ull << 63, 1, 32768);
  ExpectType<float>("float", -1.5f, 2.5f, 0, 65535);
  ExpectType<double>("double", 1e-9, 2e9, 0, 65535);
}

TEST(Nrrd, NumbersInTextAreOfAnyType) {
  const auto text = [](const std::string& type, const std::string& numbers) {
    return ReadSamples(Nrrd("type: " + type + "\ndimension: 2\nsizes: 2 1\nencoding: text\n", BytesOf(numbers)));
  };
  EXPECT_EQ(text("int16", "-32768 32767"), (CSamples{0, 65535}));
  EXPECT_EQ(text("float", "-1e3 2.5"), (CSamples{0, 65535}));
  EXPECT_EQ(text("double", "0\n1"), (CSamples{0, 65535}));
  EXPECT_EQ(text("uint64", "0 18446744073709551615"), (CSamples{0, 65535}));
  EXPECT_THROW(text("int", "1 two"), CDamagedError);
  EXPECT_THROW(text("int", "1"), CDamagedError);
}

TEST(Nrrd, SkippedLinesAndBytesComeBeforeTheData) {
  const SFileBytes padded = Concatenated({BytesOf("one\ntwo\nxx"), Counting(6)});
  EXPECT_EQ(ReadSamples(Nrrd(kPlain + "raw\nline skip: 2\nbyte skip: 2\n", padded)), kSix);
  EXPECT_EQ(ReadSamples(Nrrd(kPlain + "raw\nbyte skip: -1\n", padded)), kSix);
  EXPECT_EQ(ReadSamples(Nrrd(kPlain + "gzip\nbyteskip: 2\n", Gzipped(Concatenated({{9, 9}, Counting(6)})))), kSix);
  EXPECT_THROW(ReadSamples(Nrrd(kPlain + "raw\nline skip: 3\n", padded)), CDamagedError);
}

TEST(Nrrd, TheDataMayLieBesideTheHeader) {
  const CTempFolder folder;
  folder.MakeFile("data.raw", Counting(6));
  const auto header = [](const std::string& name) {
    return BytesOf("NRRD0004\n" + kPlain + "raw\ndata file: " + name);
  };
  const std::wstring path = folder.MakeFileWide("a.nhdr", header("./data.raw"));
  const std::unique_ptr<COpenedImage> image = OpenPath(path);
  EXPECT_EQ(ReadAll(*image).samples, kSix);
  EXPECT_EQ(image->SourceBytes(), 6 + header("./data.raw").size());
  EXPECT_THROW(OpenPath(folder.MakeFileWide("b.nhdr", header("missing.raw"))), CDamagedError);
}

TEST(Nrrd, NoPathLeadsOutOfTheFolder) {
  const CTempFolder folder;
  folder.MakeFolder("deep");
  folder.MakeFile("data.raw", Counting(6));
  for (const std::string& name : {std::string("../data.raw"), folder.Path("data.raw")}) {
    const SFileBytes header = BytesOf("NRRD0004\n" + kPlain + "raw\ndata file: " + name);
    EXPECT_THROW(OpenPath(folder.MakeFileWide("deep/a.nhdr", header)), CDamagedError) << name;
  }
}

TEST(Nrrd, TheMiddlePlaneOfTheFirstTimePointIsShown) {
  const auto image = OpenBytes(Nrrd(
      "type: uchar\ndimension: 4\nsizes: 2 1 3 2\nencoding: raw\nkinds: domain domain domain time\n", Counting(12)));
  EXPECT_EQ(ReadAll(*image).samples, (CSamples{2, 3}));
  EXPECT_EQ(image->Info().sequenceCount, 6u);
}

TEST(Nrrd, ColoursMayStandTogetherOrApart) {
  const std::string sizes = "type: uchar\ndimension: 3\nencoding: raw\n";
  const SFileBytes data = Counting(6);
  EXPECT_EQ(ReadSamples(Nrrd(sizes + "sizes: 3 2 1\nkinds: RGB-color domain domain\n", data)), kSix);
  EXPECT_EQ(ReadSamples(Nrrd(sizes + "sizes: 2 1 3\nkinds: domain domain RGB-color\n", data)),
            (CSamples{0, 2, 4, 1, 3, 5}));
  const auto planar = OpenBytes(Nrrd(sizes + "sizes: 2 1 3\nkinds: domain domain RGB-color\n", data));
  EXPECT_EQ(Render(*planar, 2, 1).samples, (CSamples{0, 2, 4, 1, 3, 5}));
}

TEST(Nrrd, BytesInThreesAreColoursWhereNothingElseIsSaid) {
  const auto image = OpenBytes(Nrrd("type: uchar\ndimension: 3\nsizes: 3 5 5\nencoding: raw\n", Counting(75)));
  EXPECT_EQ(image->Info().components, 3u);
  EXPECT_EQ(image->Info().width, 5u);
  EXPECT_EQ(Render(*image, 5, 5).At(4, 4, 2), 74);
}

TEST(Nrrd, OpacityIsLaidOverWhite) {
  const auto image =
      OpenBytes(Nrrd("type: uchar\ndimension: 3\nsizes: 4 2 1\nkinds: RGBA-color domain domain\nencoding: raw\n",
                     {10, 20, 30, 255, 10, 20, 30, 0}));
  EXPECT_EQ(Render(*image, 2, 1).samples, (CSamples{10, 20, 30, 255, 255, 255}));
}

TEST(Nrrd, ValuesOfAVectorAreChannels) {
  const auto image = OpenBytes(
      Nrrd("type: uchar\ndimension: 3\nsizes: 2 2 1\nkinds: vector domain domain\nencoding: raw\n", {200, 0, 0, 100}));
  EXPECT_EQ(Render(*image, 2, 1).samples, (CSamples{200, 0, 0, 0, 100, 0}));
  const SImageMetadata metadata = image->Metadata();
  EXPECT_EQ(metadata.picture.planes.planes.size(), 2u);
  ASSERT_EQ(metadata.loops.size(), 1u);
  EXPECT_EQ(metadata.loops[0].type, kQvLoopLambda);
}

TEST(Nrrd, CalibrationComesFromSpacingsAndTheirUnits) {
  const std::string shape = "type: uchar\ndimension: 3\nsizes: 2 1 3\nencoding: raw\n";
  const SImageMetadata spacings =
      OpenBytes(Nrrd(shape + "spacings: 0.25 0.5 2\nunits: \"microns\" \"microns\" \"microns\"\n", Counting(6)))
          ->Metadata();
  EXPECT_DOUBLE_EQ(spacings.calibration, 0.25);
  EXPECT_DOUBLE_EQ(spacings.aspect, 2.0);
  EXPECT_DOUBLE_EQ(spacings.picture.zStep, 2.0);
  const SImageMetadata directions =
      OpenBytes(Nrrd(shape + "space dimension: 3\nspace directions: (0.003,0.004,0) (0,0.01,0) (0,0,1)\n"
                             "space units: \"mm\" \"mm\" \"mm\"\n",
                     Counting(6)))
          ->Metadata();
  EXPECT_DOUBLE_EQ(directions.calibration, 5.0);
  EXPECT_DOUBLE_EQ(directions.aspect, 2.0);
  EXPECT_DOUBLE_EQ(directions.picture.zStep, 1000.0);
  EXPECT_EQ(OpenBytes(Nrrd(shape + "spacings: 1 1 1\n", Counting(6)))->Metadata().calibration, 0.0);
  EXPECT_EQ(OpenBytes(Nrrd(shape + "spacings: nan inf 1\nunits: mm mm mm\n", Counting(6)))->Metadata().calibration,
            0.0);
}

TEST(Nrrd, TextsAreTheContentAndTheKeys) {
  const SImageMetadata metadata =
      OpenBytes(Nrrd(kPlain + "raw\ncontent: Cells of a fly\nObjective:=60x\nstain:=DAPI\n", Counting(6)))->Metadata();
  EXPECT_EQ(metadata.text.description, CQvStringW(L"Cells of a fly"));
  EXPECT_EQ(metadata.text.info1, CQvStringW(L"Objective: 60x\nstain: DAPI"));
  EXPECT_EQ(metadata.text.type, CQvStringW(L"NRRD"));
}

TEST(Nrrd, WhatThisBuildCannotReadIsUnsupported) {
  const std::string shape = "dimension: 2\nsizes: 3 2\n";
  for (const std::string& fields :
       {shape + "type: block\nblock size: 1\nencoding: raw\n", shape + "type: uchar\nencoding: zrl\n",
        shape + "type: uchar\nencoding: raw\ndata file: LIST\na.raw\n",
        std::string("dimension: 2\nsizes: 2 3\ntype: float\nkinds: complex domain\nencoding: raw\n")}) {
    EXPECT_EQ(OutcomeOf(Nrrd(fields, Counting(48))), kQvUnsupported) << fields;
  }
}

TEST(Nrrd, HeadersThatSayTooLittleAreDamaged) {
  for (const char* fields :
       {"type: uchar\nsizes: 3 2\nencoding: raw\n", "dimension: 2\nsizes: 3 2\nencoding: raw\n",
        "dimension: 2\ntype: uchar\nsizes: 3\nencoding: raw\n",
        "dimension: 2\ntype: uchar\nsizes: 3 0\nencoding: raw\n", "dimension: 2\ntype: uchar\nsizes: 3 2\n",
        "dimension: 99\ntype: uchar\nsizes: 3 2\nencoding: raw\n", "no field\n"}) {
    EXPECT_EQ(OutcomeOf(Nrrd(fields, Counting(6))), kQvFailure) << fields;
  }
}

TEST(Nrrd, DamageIsNoPicture) {
  ExpectToSurviveDamage(Nrrd(kPlain + "raw\n", Counting(6)));
  const std::string stack = "type: ushort\ndimension: 3\nsizes: 3 2 4\nendian: big\nencoding: ";
  ExpectToSurviveDamage(Nrrd(stack + "gzip\n", Gzipped(Counting(48))));
  ExpectToSurviveDamage(Nrrd(stack + "bzip2\n", Bzip2ed(Counting(48))));
  ExpectToSurviveDamage(Nrrd(kPlain + "hex\n", BytesOf("000102030405")));
}

TEST(Nrrd, ClaimsOfHugeSizesAreRefused) {
  for (const char* sizes : {"4294967295 4294967295", "4294967296 1", "18446744073709551615 2", "100000 100000"}) {
    for (const char* encoding : {"raw", "gzip", "bz2", "hex", "ascii"}) {
      const std::string fields =
          std::string("type: double\ndimension: 2\nsizes: ").append(sizes).append("\nencoding: ");
      EXPECT_EQ(OutcomeOf(Nrrd(fields + encoding + "\n", Gzipped(SFileBytes(100000)))), kQvFailure)
          << sizes << encoding;
    }
  }
}

}  // namespace
}  // namespace imageformats
