#include "platform/imageformats/planes/stored_samples.h"

#include <gtest/gtest.h>

#include <bit>

#include "platform/imageformats/base/format_error.h"

namespace imageformats {
namespace {

using EKind = SStoredSamples::EKind;

TEST(StoredSamples, AreLoadedFromEitherByteOrder) {
  const std::uint8_t bytes[] = {0x01, 0x02, 0xFF, 0xFE};
  std::uint16_t words[2];
  LoadSamples({EKind::kUnsigned, 2, true}, bytes, 2, words);
  EXPECT_EQ(words[0], 0x0102);
  EXPECT_EQ(words[1], 0xFFFE);
  LoadSamples({EKind::kUnsigned, 2, false}, bytes, 2, words);
  EXPECT_EQ(words[0], 0x0201);
  std::int32_t number;
  LoadSamples({EKind::kSigned, 4, true}, bytes, 1, &number);
  EXPECT_EQ(number, 0x0102FFFE);
}

TEST(StoredSamples, HalvesBecomeFloats) {
  const std::uint8_t bytes[] = {0x3C, 0x00, 0xC1, 0x00};
  float values[2];
  LoadSamples({EKind::kFloat, 2, true}, bytes, 2, values);
  EXPECT_EQ(values[0], 1.0f);
  EXPECT_EQ(values[1], -2.5f);
  EXPECT_EQ(LoadedType({EKind::kFloat, 2, true}), ESampleType::kF32);
}

TEST(StoredSamples, OtherSizesAreUnsupported) {
  EXPECT_THROW(LoadedType({EKind::kUnsigned, 3, false}), CUnsupportedError);
  EXPECT_THROW(LoadedType({EKind::kFloat, 1, false}), CUnsupportedError);
}

TEST(StoredSamples, NominalRangesAreThoseOfTheType) {
  EXPECT_EQ(NominalRangeOf({EKind::kUnsigned, 1, false}).high, 255.0);
  EXPECT_EQ(NominalRangeOf({EKind::kSigned, 2, false}).low, -32768.0);
  EXPECT_EQ(NominalRangeOf({EKind::kFloat, 4, false}).high, 1.0);
}

}  // namespace
}  // namespace imageformats
