// Sample types.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <initializer_list>

#include "tests/imageformats/tiff/tiff_test_image.h"
#include "tests/support/tiff_writer.h"

namespace tifftest {
namespace {

using namespace qvtest;

using SCodes = std::initializer_list<std::uint16_t>;

constexpr std::uint32_t kWide = 64, kHigh = 48;

// A ramp from left to right in `levels` equal steps.
template <class T>
STiffPage Ramp(double least, double most, std::uint16_t format) {
  STiffPage page = MakePage<T>(kWide, kHigh, 1, [&](std::uint32_t x, std::uint32_t, std::uint32_t) {
    return least + (most - least) * x / (kWide - 1);
  });
  page.format = format;
  return page;
}

// From black at the left to white at the right, straight.
void ExpectRamp(const std::vector<std::uint8_t>& bytes) {
  const SRgbPicture picture = Render(bytes, kWide, kHigh);
  for (std::uint32_t x = 0; x < kWide; ++x) {
    const double expected = 255.0 * x / (kWide - 1);
    EXPECT_NEAR(picture.At(x, kHigh / 2).r, expected, 3.0) << x;
    EXPECT_EQ(picture.At(x, 0).r, picture.At(x, kHigh - 1).b);
  }
}

TEST(TiffSamples, IntegersOfWholeBytesAreStretched) {
  ExpectRamp(WriteTiff(Ramp<std::uint8_t>(0, 255, SAMPLEFORMAT_UINT)));
  ExpectRamp(WriteTiff(Ramp<std::uint16_t>(1000, 1255, SAMPLEFORMAT_UINT)));
  ExpectRamp(WriteTiff(Ramp<std::uint32_t>(70000, 3e9, SAMPLEFORMAT_UINT)));
  ExpectRamp(WriteTiff(Ramp<std::uint64_t>(5e9, 1e18, SAMPLEFORMAT_UINT)));
}

TEST(TiffSamples, SignedIntegersAreStretched) {
  ExpectRamp(WriteTiff(Ramp<std::int16_t>(-3000, 2000, SAMPLEFORMAT_INT)));
  ExpectRamp(WriteTiff(Ramp<std::int32_t>(-2e9, 2e9, SAMPLEFORMAT_INT)));
  ExpectRamp(WriteTiff(Ramp<std::int64_t>(-4e18, 4e18, SAMPLEFORMAT_INT)));
}

TEST(TiffSamples, FloatingPointIsStretched) {
  ExpectRamp(WriteTiff(Ramp<float>(-0.5, 0.75, SAMPLEFORMAT_IEEEFP)));
  ExpectRamp(WriteTiff(Ramp<double>(1e-12, 1e-10, SAMPLEFORMAT_IEEEFP)));
}

TEST(TiffSamples, NotANumberIsLeftOut) {
  STiffPage page = Ramp<float>(0.0, 1.0, SAMPLEFORMAT_IEEEFP);
  for (const std::size_t i : {5u, 77u, 1000u}) {
    const float bad = i == 77 ? INFINITY : NAN;
    std::memcpy(&page.pixels[i * 4], &bad, sizeof bad);
  }
  const SRgbPicture picture = Render(WriteTiff(page), 16, 12);
  EXPECT_LT(picture.At(0, 0).r, 16);
  EXPECT_GT(picture.At(15, 11).r, 239);
}

TEST(TiffSamples, HalfAndTripleFloats) {
  STiffPage half = Ramp<std::uint16_t>(0, 0, SAMPLEFORMAT_IEEEFP), triple = half;
  triple.bits = 24;
  half.pixels.clear();
  triple.pixels.clear();
  for (std::uint32_t i = 0; i < kWide * kHigh; ++i) {
    // 1 + x/64 exactly: exponent of 1, the fraction in the mantissa's high bits.
    const std::uint32_t fraction = i % kWide;
    Append<std::uint16_t>(&half.pixels, static_cast<std::uint16_t>(15u << 10 | fraction << 4));
    const std::uint32_t value = 63u << 16 | fraction << 10;
    for (int b = 0; b < 3; ++b) triple.pixels.push_back(static_cast<std::uint8_t>(value >> (8 * b)));
  }
  ExpectRamp(WriteTiff(half));
  ExpectRamp(WriteTiff(triple));
}

// Packs values of any width below 64 bits, high bit first.
std::vector<std::uint8_t> Pack(std::uint32_t bits, double most, std::uint32_t samples = 1) {
  const std::size_t rowBytes = (std::size_t{kWide} * samples * bits + 7) / 8;
  std::vector<std::uint8_t> bytes(rowBytes * kHigh);
  const std::uint64_t largest = (std::uint64_t{1} << bits) - 1;
  for (std::uint32_t y = 0; y < kHigh; ++y) {
    std::size_t at = y * rowBytes * 8;
    for (std::uint32_t x = 0; x < kWide * samples; ++x) {
      const double wanted = most * (x / samples) / (kWide - 1);
      const std::uint64_t value = std::min(static_cast<std::uint64_t>(wanted + 0.5), largest);
      for (std::uint32_t bit = bits; bit-- > 0; ++at) {
        bytes[at / 8] = static_cast<std::uint8_t>(bytes[at / 8] | (value >> bit & 1) << (7 - at % 8));
      }
    }
  }
  return bytes;
}

TEST(TiffSamples, OddNumbersOfBits) {
  for (const std::uint16_t bits : SCodes{9, 10, 11, 12, 13, 14, 15, 17, 20, 31, 33, 37, 41, 52, 63}) {
    STiffPage page = Ramp<std::uint8_t>(0, 0, SAMPLEFORMAT_UINT);
    page.bits = bits;
    page.pixels = Pack(bits, std::ldexp(1.0, bits) - 1.0);
    for (const char* mode : {"wl", "wb"}) ExpectRamp(WriteTiff(page, mode));
    page.compression = COMPRESSION_ADOBE_DEFLATE;
    ExpectRamp(WriteTiff(page));
  }
}

TEST(TiffSamples, IntegersOfFiveToSevenBytes) {
  for (const std::uint16_t bits : SCodes{40, 48, 56}) {
    for (const bool bigEndian : {false, true}) {
      for (const bool isSigned : {false, true}) {
        STiffPage page = Ramp<std::uint8_t>(0, 0, isSigned ? SAMPLEFORMAT_INT : SAMPLEFORMAT_UINT);
        page.bits = bits;
        page.pixels.clear();
        for (std::uint32_t i = 0; i < kWide * kHigh; ++i) {
          const std::int64_t step = std::int64_t{1} << (bits - 7);
          const std::int64_t value = step * (i % kWide) - (isSigned ? 20 * step : 0);
          for (std::uint32_t b = 0; b < bits; b += 8) {
            page.pixels.push_back(static_cast<std::uint8_t>(value >> (bigEndian ? bits - 8 - b : b)));
          }
        }
        ExpectRamp(WriteTiff(page, bigEndian ? "wb" : "wl"));
      }
    }
  }
}

TEST(TiffSamples, ReadScalesLongIntegersToSixteenBits) {
  for (const std::uint16_t bits : SCodes{20, 31, 33, 52}) {
    STiffPage page = Ramp<std::uint8_t>(0, 0, SAMPLEFORMAT_UINT);
    page.bits = bits;
    page.pixels = Pack(bits, std::ldexp(1.0, bits) - 1.0);
    CTestImage image(WriteTiff(page));
    const std::vector<std::uint16_t> samples = ReadSamples(image);
    EXPECT_EQ(0, samples[0]) << bits;
    EXPECT_NEAR(65535.0 * 21 / (kWide - 1), samples[21], 1.0) << bits;
    EXPECT_EQ(65535, samples[kWide - 1]) << bits;
  }
}

TEST(TiffSamples, TwentyFourBits) {
  STiffPage page = Ramp<std::uint8_t>(0, 0, SAMPLEFORMAT_UINT);
  page.bits = 24;
  page.pixels.clear();
  for (std::uint32_t i = 0; i < kWide * kHigh; ++i) {
    const std::uint32_t value = 16000000u / (kWide - 1) * (i % kWide);
    for (int b = 0; b < 3; ++b) page.pixels.push_back(static_cast<std::uint8_t>(value >> (8 * b)));
  }
  ExpectRamp(WriteTiff(page, "wl"));
  ExpectRamp(WriteTiff(page, "wb"));
}

TEST(TiffSamples, FewBitsAreShownAsStoredOnTheFullScale) {
  for (const std::uint16_t bits : SCodes{1, 2, 3, 4, 6}) {
    STiffPage page = Ramp<std::uint8_t>(0, 0, SAMPLEFORMAT_UINT);
    page.bits = bits;
    const double most = std::ldexp(1.0, bits) - 1.0;
    page.pixels = Pack(bits, most);
    const SRgbPicture picture = Render(WriteTiff(page), kWide, kHigh);
    for (std::uint32_t x = 0; x < kWide; ++x) {
      const double stored = std::round(most * x / (kWide - 1));
      EXPECT_NEAR(picture.At(x, 7).g, 255.0 * stored / most, 1.0) << bits << " " << x;
    }
  }
}

TEST(TiffSamples, TwelveBitsInSixteenAreNotDark) {
  STiffPage page = Ramp<std::uint16_t>(0, 4095, SAMPLEFORMAT_UINT);
  page.tags = [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_SMAXSAMPLEVALUE, 4095.0); };
  const std::vector<std::uint8_t> bytes = WriteTiff(page);
  ExpectRamp(bytes);
  CTestImage image(bytes);
  EXPECT_EQ(12, image->Info().bpcSignificant);
  EXPECT_EQ(16, image->Info().bpcInMemory);
}

TEST(TiffSamples, ReadDeliversWhatIsStored) {
  STiffPage page =
      MakePage<std::uint16_t>(5, 4, 1, [](std::uint32_t x, std::uint32_t y, std::uint32_t) { return 1000 * y + x; });
  for (const char* mode : {"wl", "wb", "wl8", "wb8"}) {
    CTestImage image(WriteTiff(page, mode));
    const std::vector<std::uint16_t> samples = ReadSamples(image);
    ASSERT_EQ(20u, samples.size());
    EXPECT_EQ(0, samples[0]);
    EXPECT_EQ(4, samples[4]);
    EXPECT_EQ(3004, samples[19]);
  }
}

TEST(TiffSamples, ReadScalesFloatsBetweenTheirExtremes) {
  CTestImage image(WriteTiff(Ramp<float>(-7.0, 13.0, SAMPLEFORMAT_IEEEFP)));
  EXPECT_EQ(std::uint32_t{kQvPixelFloat}, image->Info().pixelType);
  const std::vector<std::uint16_t> samples = ReadSamples(image);
  EXPECT_EQ(0, samples[0]);
  EXPECT_EQ(65535, samples[kWide - 1]);
}

TEST(TiffSamples, FloatingPointPredictor) {
  STiffPage page = Ramp<float>(2.0, 9.0, SAMPLEFORMAT_IEEEFP);
  page.compression = COMPRESSION_ADOBE_DEFLATE;
  page.predictor = PREDICTOR_FLOATINGPOINT;
  // In the machine's order: libtiff writes it wrongly in the other.
  ExpectRamp(WriteTiff(page, std::endian::native == std::endian::little ? "wl" : "wb"));
}

TEST(TiffSamples, FaxAndBilevelCompressionsShowTheSame) {
  STiffPage page = Ramp<std::uint8_t>(0, 0, SAMPLEFORMAT_UINT);
  page.bits = 1;
  page.photometric = PHOTOMETRIC_MINISWHITE;
  page.pixels = Pack(1, 1.0);
  const SRgbPicture expected = Render(WriteTiff(page), 32, 24);
  EXPECT_EQ(255, expected.At(2, 2).r);
  EXPECT_EQ(0, expected.At(30, 2).r);
  for (const std::uint16_t compression : SCodes{COMPRESSION_CCITTRLE, COMPRESSION_CCITTFAX3, COMPRESSION_CCITTFAX4,
                                                COMPRESSION_JBIG, COMPRESSION_PACKBITS}) {
    if (!TIFFIsCODECConfigured(compression)) continue;
    page.compression = compression;
    EXPECT_EQ(0, MaxDifference(expected, Render(WriteTiff(page), 32, 24))) << compression;
  }
}

}  // namespace
}  // namespace tifftest
