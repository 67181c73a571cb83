// Pictures that several threads decode are those that one decodes, and so are the refusals.

#include <gtest/gtest.h>

#include "platform/imageformats/base/format_error.h"
#include "tests/imageformats/support/helped.h"
#include "tests/imageformats/tiff/tiff_test_image.h"
#include "tests/support/tiff_writer.h"

namespace tifftest {
namespace {

using namespace qvtest;

struct SKind {
  std::uint16_t compression, planar, samples, predictor;
  std::uint32_t tile, rows;
};

constexpr std::uint32_t kWidth = 330, kHeight = 270;

std::vector<SKind> Kinds() {
  std::vector<SKind> kinds;
  for (const std::uint16_t compression : std::initializer_list<std::uint16_t>{
           COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS, COMPRESSION_JPEG}) {
    for (const std::uint32_t tile : {0u, 64u}) {
      for (const std::uint16_t planar : {std::uint16_t{PLANARCONFIG_CONTIG}, std::uint16_t{PLANARCONFIG_SEPARATE}}) {
        const bool hasPredictor = compression == COMPRESSION_LZW || compression == COMPRESSION_ADOBE_DEFLATE;
        const std::uint16_t predictor = hasPredictor ? PREDICTOR_HORIZONTAL : PREDICTOR_NONE;
        kinds.push_back({compression, planar, 3, predictor, tile, 16});
      }
    }
  }
  return kinds;
}

SFileBytes FileOf(const SKind& kind) {
  STiffPage page =
      MakePage<std::uint8_t>(kWidth, kHeight, kind.samples, [](std::uint32_t x, std::uint32_t y, std::uint32_t s) {
        return (x * x / 7 + y * (s + 3) + (x * 37 + y * 101) % 23) % 256;
      });
  page.compression = kind.compression;
  page.planar = kind.planar;
  page.predictor = kind.predictor;
  page.tile = kind.tile;
  page.rowsPerStrip = kind.rows;
  return WriteTiff(page);
}

std::string NameOf(const SKind& kind) {
  std::string name = "compression ";
  name.append(std::to_string(kind.compression)).append(", tile ").append(std::to_string(kind.tile));
  name.append(", planar ").append(std::to_string(kind.planar));
  return name;
}

struct SShown {
  std::vector<std::vector<std::uint8_t>> rendered;
  std::vector<std::uint16_t> read;
  friend bool operator==(const SShown&, const SShown&) = default;
};

SShown Show(const SFileBytes& file, std::size_t processors) {
  const CHelped helped(processors);
  CTestImage image(file);
  SShown shown;
  for (const std::uint32_t width : {11u, 60u, 200u}) {
    for (const bool fast : {true, false}) {
      shown.rendered.push_back(Render(image, width, width * kHeight / kWidth, fast).pixels);
    }
  }
  shown.read = ReadSamples(image);
  return shown;
}

// What is said of it; empty when it is shown.
std::string ReasonFor(const SFileBytes& file, std::size_t processors) {
  const CHelped helped(processors);
  try {
    CTestImage image(file);
    Render(image, 33, 27);
    return "";
  } catch (const imageformats::CFormatError& error) {
    return error.what();
  }
}

TEST(TiffHelped, EveryStorageShowsTheSameBitForBit) {
  for (const SKind& kind : Kinds()) {
    const SFileBytes file = FileOf(kind);
    const SShown alone = Show(file, 1);
    for (const std::size_t processors : {2u, 5u}) EXPECT_EQ(alone, Show(file, processors)) << NameOf(kind);
  }
}

TEST(TiffHelped, SixteenBitsInBothByteOrdersShowTheSame) {
  STiffPage page = MakePage<std::uint16_t>(
      2000, 700, 1, [](std::uint32_t x, std::uint32_t y, std::uint32_t) { return x * 31 + y * 17 + (x * y) % 1013; });
  for (const char* mode : {"wl", "wb", "wl8"}) {
    const SFileBytes file = WriteTiff(page, mode);
    EXPECT_EQ(Show(file, 1), Show(file, 4)) << mode;
  }
}

TEST(TiffHelped, ChannelsInPlanesOfTheirOwnShowTheSame) {
  std::vector<STiffPage> stack;
  for (std::uint32_t c = 0; c < 4; ++c) {
    stack.push_back(MakePage<std::uint16_t>(kWidth, kHeight, 1, [=](std::uint32_t x, std::uint32_t y, std::uint32_t) {
      return (x * (c + 1) + y * 7) % 4000;
    }));
    stack.back().compression = COMPRESSION_ADOBE_DEFLATE;
  }
  stack[0].description = "ImageJ=1.5\nimages=4\nchannels=4\nmode=composite\n";
  const SFileBytes file = WriteTiff(stack);
  EXPECT_EQ(Show(file, 1), Show(file, 4));
}

TEST(TiffHelped, DamageIsAnsweredInTheSameWords) {
  for (const SKind& kind : Kinds()) {
    const SFileBytes whole = FileOf(kind);
    for (const std::size_t at : {whole.size() / 4, whole.size() / 2, whole.size() * 3 / 4}) {
      SFileBytes damaged = whole;
      for (std::size_t i = at; i < std::min(at + 400, damaged.size()); ++i) damaged[i] = 0xFF;
      EXPECT_EQ(ReasonFor(damaged, 1), ReasonFor(damaged, 4)) << NameOf(kind) << ", at " << at;
    }
    const SFileBytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(whole.size() * 2 / 3));
    EXPECT_EQ(ReasonFor(cut, 1), ReasonFor(cut, 4)) << NameOf(kind);
  }
}

}  // namespace
}  // namespace tifftest
