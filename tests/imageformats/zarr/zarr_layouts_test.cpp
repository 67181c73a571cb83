// How arrays are stored: types, byte orders, chunks, packings, shards, missing chunks. The files are made by
// tests/support/zarr_writer.h, which shares nothing with the reader.

#include <gtest/gtest.h>

#include <cmath>

#include "platform/imageformats/base/format_error.h"
#include "tests/imageformats/zarr/zarr_test_picture.h"

namespace zarrtest {
namespace {

using namespace qvtest;
using imageformats::CDamagedError;
using imageformats::CUnsupportedError;

class ZarrLayoutTest : public testing::Test {
 protected:
  STestPicture ReadBack(const SZarrArray& array) const { return ReadAll(*OpenPlane(m_folder, array)); }

  CTempFolder m_folder;
};

class ZarrPackingTest : public ZarrLayoutTest, public testing::WithParamInterface<std::tuple<int, const char*>> {};

TEST_P(ZarrPackingTest, GivesTheStoredPixels) {
  SZarrArray array = PlaneOfBytes();
  std::tie(array.version, array.packing) = GetParam();
  EXPECT_EQ(ReadBack(array), ExpectedPlane());
}

INSTANTIATE_TEST_SUITE_P(All, ZarrPackingTest,
                         testing::Combine(testing::Values(2, 3),
                                          testing::Values("none", "gzip", "zlib", "zstd", "blosc", "lz4", "bz2")));

struct STypeCase {
  const char* type;
  std::uint32_t bits;
  // From the stored value, 0 to 215, to the picture's.
  std::uint32_t (*shown)(std::uint32_t value);
};

std::uint32_t AsStored(std::uint32_t value) { return value; }
std::uint32_t FromSigned8(std::uint32_t value) { return value + 128; }
std::uint32_t FromSigned16(std::uint32_t value) { return value + 32768; }
std::uint32_t HighBitsOf32(std::uint32_t value) { return value << 20 >> 16; }
std::uint32_t HighBitsOfSigned32(std::uint32_t value) { return (value << 20 >> 16) + 32768; }
std::uint32_t HighBitsOf64(std::uint32_t value) { return value << 4; }
std::uint32_t HighBitsOfSigned64(std::uint32_t value) { return (value << 4) + 32768; }
std::uint32_t Spread(std::uint32_t value) { return static_cast<std::uint32_t>(value / 215.0 * 65535.0 + 0.5); }

class ZarrTypeTest : public ZarrLayoutTest, public testing::WithParamInterface<std::tuple<STypeCase, int, bool>> {};

TEST_P(ZarrTypeTest, GivesTheValuesInEitherByteOrder) {
  SZarrArray array = PlaneOfBytes();
  const STypeCase& wanted = std::get<0>(GetParam());
  array.type = wanted.type;
  array.version = std::get<1>(GetParam());
  array.bigEndian = std::get<2>(GetParam());
  const bool isWide = array.type.ends_with("int32"), isWidest = array.type.ends_with("int64");
  const double factor = isWide ? 0x1p20 : isWidest ? 0x1p52 : 1.0;
  const double low = wanted.shown == FromSigned8 ? -1.0 : 0.0;
  array.value = [&](const SZarrIndex& at) {
    const double value = 3.0 * at[0] + 2.0 * at[1];
    return (low < 0.0 ? std::min(value, 127.0) : value) * factor;
  };
  STestPicture expected = ExpectedPlane();
  expected.bits = wanted.bits;
  for (std::uint16_t& sample : expected.samples) {
    const std::uint32_t value = low < 0.0 ? std::min<std::uint32_t>(sample, 127) : sample;
    sample = static_cast<std::uint16_t>(wanted.shown(value));
  }
  EXPECT_EQ(ReadBack(array), expected);
}

INSTANTIATE_TEST_SUITE_P(
    All, ZarrTypeTest,
    testing::Combine(testing::Values(STypeCase{"uint8", 8, AsStored}, STypeCase{"int8", 8, FromSigned8},
                                     STypeCase{"uint16", 16, AsStored}, STypeCase{"int16", 16, FromSigned16},
                                     STypeCase{"uint32", 16, HighBitsOf32}, STypeCase{"int32", 16, HighBitsOfSigned32},
                                     STypeCase{"uint64", 16, HighBitsOf64}, STypeCase{"int64", 16, HighBitsOfSigned64},
                                     STypeCase{"float16", 16, Spread}, STypeCase{"float32", 16, Spread},
                                     STypeCase{"float64", 16, Spread}),
                     testing::Values(2, 3), testing::Bool()));

TEST_F(ZarrLayoutTest, ATruthValueIsBlackOrWhite) {
  for (const int version : {2, 3}) {
    SZarrArray array = PlaneOfBytes();
    array.version = version;
    array.type = "bool";
    array.fill = version == 3 ? "true" : "1";
    array.value = [](const SZarrIndex& at) { return at[1] < 25 ? 0.0 : 1.0; };
    array.isMissing = [](const SZarrIndex& chunk) { return chunk == SZarrIndex{2, 3}; };
    const STestPicture shown = Render(*OpenPlane(m_folder, array), 50, 40);
    EXPECT_EQ(shown.At(24, 10), 0);
    EXPECT_EQ(shown.At(25, 10), 255);
    EXPECT_EQ(shown.At(49, 39), 255);
  }
}

TEST_F(ZarrLayoutTest, AxesMayLieInReverseInAChunk) {
  for (const int version : {2, 3}) {
    SZarrArray array = PlaneOfBytes();
    array.version = version;
    array.reversed = true;
    array.chunk = {16, 7};
    EXPECT_EQ(ReadBack(array), ExpectedPlane());
  }
}

TEST_F(ZarrLayoutTest, ChunksMayLieSideBySideOrInFolders) {
  for (const int version : {2, 3}) {
    for (const char separator : {'.', '/'}) {
      for (const bool keysOfVersion2 : {false, true}) {
        const CTempFolder folder;
        SZarrArray array = PlaneOfBytes();
        array.version = version;
        array.separator = separator;
        array.keysOfVersion2 = keysOfVersion2;
        EXPECT_EQ(ReadAll(*OpenPlane(folder, array)), ExpectedPlane());
      }
    }
  }
}

TEST_F(ZarrLayoutTest, ChunksMayLieInShards) {
  for (const bool indexAtStart : {false, true}) {
    for (const bool indexIsBigEndian : {false, true}) {
      const CTempFolder folder;
      SZarrArray array = PlaneOfBytes();
      array.version = 3;
      array.chunk = {8, 8};
      array.shard = {16, 32};
      array.packing = "zstd";
      array.checksum = true;
      array.indexAtStart = indexAtStart;
      array.indexIsBigEndian = indexIsBigEndian;
      EXPECT_EQ(ReadAll(*OpenPlane(folder, array)), ExpectedPlane());
    }
  }
}

TEST_F(ZarrLayoutTest, MissingChunksAreTheFillValueInShardsToo) {
  for (const bool isSharded : {false, true}) {
    const CTempFolder folder;
    SZarrArray array = PlaneOfBytes();
    array.version = 3;
    if (isSharded) array.shard = {32, 32};
    array.fill = "9";
    array.isMissing = [](const SZarrIndex& chunk) { return chunk == SZarrIndex{1, 1}; };
    STestPicture expected = ExpectedPlane();
    for (std::uint32_t y = 16; y < 32; ++y) {
      for (std::uint32_t x = 16; x < 32; ++x) expected.At(x, y) = 9;
    }
    EXPECT_EQ(ReadAll(*OpenPlane(folder, array)), expected);
  }
}

struct SFillCase {
  const char* fill;
  double value;
};

class ZarrFillTest : public ZarrLayoutTest, public testing::WithParamInterface<SFillCase> {};

TEST_P(ZarrFillTest, SaysWhatMissingChunksHold) {
  SZarrArray array = PlaneOfBytes();
  array.type = "float32";
  array.fill = GetParam().fill;
  array.isMissing = [](const SZarrIndex& chunk) { return chunk == SZarrIndex{0, 0}; };
  array.value = [](const SZarrIndex& at) { return 10.0 + 2.0 * at[1]; };  // 10 to 108
  const std::uint16_t missing = ReadBack(array).At(3, 3);
  const double shown = std::isfinite(GetParam().value) ? (GetParam().value - 10.0) / 98.0 * 65535.0
                       : GetParam().value > 0.0        ? 65535.0
                                                       : 0.0;
  EXPECT_NEAR(missing, shown, 1.0) << array.fill;
}

INSTANTIATE_TEST_SUITE_P(All, ZarrFillTest,
                         testing::Values(SFillCase{"59", 59.0}, SFillCase{"59.5", 59.5}, SFillCase{"\"NaN\"", NAN},
                                         SFillCase{"\"Infinity\"", INFINITY}, SFillCase{"\"-Infinity\"", -INFINITY},
                                         SFillCase{"\"0x42200000\"", 40.0}, SFillCase{"\"AAAgQg==\"", 40.0}));

TEST_F(ZarrLayoutTest, NestedChunksOfOldVersionsAreFoundWithoutASeparator) {
  SZarrArray array = PlaneOfBytes();
  array.namesSeparator = false;
  CZarrFiles files;
  files.AddPicture("", "yx", {array});
  files.AddGroup("", 2, R"({"multiscales":[{"version":"0.2","datasets":[{"path":"0"}]}]})");
  EXPECT_EQ(ReadAll(*OpenIn(m_folder, "x.zarr", files)), ExpectedPlane());
}

TEST_F(ZarrLayoutTest, SaysWhatItDoesNotKnow) {
  const auto reasonOf = [&](const SZarrArray& array, const std::string& from, const std::string& to) {
    CZarrFiles files;
    files.AddPicture("", "yx", {array});
    SFileBytes& bytes = files.Files()[array.version == 3 ? "0/zarr.json" : "0/.zarray"];
    std::string text(bytes.begin(), bytes.end());
    const std::size_t at = text.find(from);
    if (at != std::string::npos) text.replace(at, from.size(), to);
    bytes = BytesOf(text);
    try {
      OpenIn(m_folder, "x.zarr", files);
    } catch (const CUnsupportedError& error) {
      return std::string(error.what());
    }
    return std::string("opened");
  };
  SZarrArray second = PlaneOfBytes(), third = PlaneOfBytes();
  third.version = 3;
  EXPECT_EQ(reasonOf(second, "\"filters\":null", "\"filters\":[{\"id\":\"delta\"}]"),
            "The filter delta is not supported");
  EXPECT_EQ(reasonOf(second, "\"compressor\":null", "\"compressor\":{\"id\":\"jpeg2k\"}"),
            "The compression jpeg2k is not supported");
  EXPECT_EQ(reasonOf(second, "|u1", "<c8"), "Samples of the type <c8 are not supported");
  EXPECT_EQ(reasonOf(third, "\"uint8\"", "\"complex64\""), "Samples of the type complex64 are not supported");
  EXPECT_EQ(reasonOf(third, "\"regular\"", "\"rectilinear\""), "Chunks in a rectilinear grid are not supported");
  EXPECT_EQ(reasonOf(third, "[{\"name\":\"bytes\"", "[{\"name\":\"odd\"},{\"name\":\"bytes\""),
            "The codec odd is not supported in this place");
}

}  // namespace
}  // namespace zarrtest
