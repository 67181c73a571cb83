// ImageJ hyperstacks.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "platform/imageformats/tiff/dataset/imagej.h"
#include "tests/imageformats/tiff/tiff_ome_document.h"
#include "tests/imageformats/tiff/tiff_test_image.h"
#include "tests/support/tiff_writer.h"

namespace tifftest {
namespace {

using namespace qvtest;

using imageformats::tiff::ParseImageJDescription;
using imageformats::tiff::ParseImageJMetadata;

std::vector<STiffPage> StackPages(int count, const std::string& description) {
  std::vector<STiffPage> pages;
  for (int i = 0; i < count; ++i) {
    pages.push_back(MakePage<std::uint8_t>(8, 6, 1, [&](auto, auto, auto) { return 10 * (i + 1); }));
    pages.back().description = description;
  }
  return pages;
}

// The metadata block in the byte order of a file of that order: magic, types with counts, then the parts.
class CMetadataBlock {
 public:
  explicit CMetadataBlock(bool bigEndian) : m_big(bigEndian) { Add(m_header, 0x494A494Au, 4); }

  void Begin(const char (&type)[5], std::uint32_t count) {
    std::uint32_t magic = 0;
    for (int i = 0; i < 4; ++i) magic = magic << 8 | static_cast<std::uint8_t>(type[i]);
    Add(m_header, magic, 4);
    Add(m_header, count, 4);
  }
  void AddPart(const std::vector<std::uint8_t>& part) {
    m_counts.push_back(static_cast<std::uint32_t>(part.size()));
    m_parts.insert(m_parts.end(), part.begin(), part.end());
  }
  std::vector<std::uint8_t> Text(const std::u16string& text) const {
    std::vector<std::uint8_t> bytes;
    for (const char16_t unit : text) Add(bytes, unit, 2);
    return bytes;
  }
  std::vector<std::uint8_t> Doubles(std::initializer_list<double> values) const {
    std::vector<std::uint8_t> bytes;
    for (const double value : values) {
      std::uint64_t bits;
      std::memcpy(&bits, &value, sizeof bits);
      Add(bytes, bits, 8);
    }
    return bytes;
  }
  std::vector<std::uint8_t> Bytes() const {
    std::vector<std::uint8_t> bytes = m_header;
    bytes.insert(bytes.end(), m_parts.begin(), m_parts.end());
    return bytes;
  }
  std::vector<std::uint32_t> Counts() const {
    std::vector<std::uint32_t> counts = {static_cast<std::uint32_t>(m_header.size())};
    counts.insert(counts.end(), m_counts.begin(), m_counts.end());
    return counts;
  }

 private:
  void Add(std::vector<std::uint8_t>& bytes, std::uint64_t value, int size) const {
    for (int i = 0; i < size; ++i) {
      bytes.push_back(static_cast<std::uint8_t>(value >> (8 * (m_big ? size - 1 - i : i))));
    }
  }
  bool m_big;
  std::vector<std::uint8_t> m_header, m_parts;
  std::vector<std::uint32_t> m_counts;
};

// A lookup table that runs to one colour.
std::vector<std::uint8_t> Table(int r, int g, int b) {
  std::vector<std::uint8_t> table;
  for (const int full : {r, g, b}) {
    for (int i = 0; i < 256; ++i) table.push_back(static_cast<std::uint8_t>(full * i / 255));
  }
  return table;
}

void SetBlock(STiffPage* page, const CMetadataBlock& block) {
  page->tags = [block](TIFF* tiff) {
    SetLongsTag(tiff, 50838, block.Counts());
    SetBytesTag(tiff, 50839, block.Bytes());
  };
}

TEST(TiffImageJ, MiddleSliceOfTheFirstFrame) {
  CTestImage image(WriteTiff(StackPages(6, "ImageJ=1.53c\nimages=6\nslices=3\nframes=2\nhyperstack=true\n")));
  EXPECT_EQ((SRgb{20, 20, 20}), Shown(image));
  EXPECT_EQ(6u, image->Info().sequenceCount);
}

TEST(TiffImageJ, ChannelsRunFastest) {
  CTestImage image(
      WriteTiff(StackPages(12, "ImageJ=1.53c\nimages=12\nchannels=2\nslices=3\nframes=2\nmode=composite\n")));
  EXPECT_EQ((SRgb{30, 40, 0}), Shown(image));
  const auto metadata = image->Metadata();
  ASSERT_EQ(3u, metadata.loops.size());
  EXPECT_EQ(std::uint32_t{kQvLoopTime}, metadata.loops[0].type);
  EXPECT_EQ(std::uint32_t{kQvLoopZ}, metadata.loops[1].type);
  EXPECT_EQ(std::uint32_t{kQvLoopLambda}, metadata.loops[2].type);
  EXPECT_EQ(2u, metadata.loops[2].size);
}

TEST(TiffImageJ, LookupTablesAndRanges) {
  for (const bool big : {false, true}) {
    std::vector<STiffPage> pages = StackPages(2, "ImageJ=1.53c\nimages=2\nchannels=2\nmode=composite\n");
    // Pixels from 0 to 40 and from 0 to 80.
    for (int c = 0; c < 2; ++c) {
      for (std::size_t i = 0; i < 48; ++i) pages[c].pixels[i] = static_cast<std::uint8_t>((c + 1) * 40 * (i % 8) / 7);
    }
    CMetadataBlock block(big);
    block.Begin("info", 1);
    block.Begin("rang", 1);
    block.Begin("luts", 2);
    block.AddPart(block.Text(u"Made in a lab\nµ"));
    block.AddPart(block.Doubles({0, 40, 0, 80}));
    block.AddPart(Table(255, 0, 255));
    block.AddPart(Table(0, 128, 0));
    SetBlock(&pages[0], block);
    CTestImage image(WriteTiff(pages, big ? "wb" : "wl"));
    const SRgbPicture picture = Render(image, 8, 6);
    EXPECT_EQ((SRgb{0, 0, 0}), picture.At(0, 0));
    EXPECT_EQ((SRgb{255, 128, 255}), picture.At(7, 3));
    const auto metadata = image->Metadata();
    EXPECT_EQ(0xFF00FFu, metadata.picture.planes.planes[0].color);
    EXPECT_EQ(0x008000u, metadata.picture.planes.planes[1].color);
    EXPECT_EQ(CQvStringW(L"Made in a lab\nµ"), metadata.text.info1);
  }
}

TEST(TiffImageJ, RangesThatHideThePictureAreNotTaken) {
  std::vector<STiffPage> pages = StackPages(1, "ImageJ=1.53c\nmin=0\nmax=60000\n");
  pages[0] = MakePage<std::uint16_t>(8, 6, 1, [](std::uint32_t x, auto, auto) { return 100 + x * 10; });
  pages[0].description = "ImageJ=1.53c\nmin=0\nmax=60000\n";
  CTestImage dark(WriteTiff(pages));
  EXPECT_EQ(255, Render(dark, 8, 6).At(7, 3).r);
  pages[0].description = "ImageJ=1.53c\nmin=100\nmax=200\n";
  CTestImage chosen(WriteTiff(pages));
  EXPECT_EQ(179, Render(chosen, 8, 6).At(7, 3).r);
}

// Three planes of 80 x 6 pixels behind each other; the directory describes the first.
std::vector<std::uint8_t> RowOfPlanes() {
  STiffPage page = MakePage<std::uint8_t>(80, 18, 1, [](auto, std::uint32_t y, auto) { return 10 * (1 + y / 6); });
  page.rowsPerStrip = 18;
  page.description = "ImageJ=1.53c\nimages=3\nslices=3\n";
  std::vector<std::uint8_t> bytes = WriteTiff(page);
  // ImageLength is 6: the entry of tag 257, LONG or SHORT, count 1.
  for (const std::uint8_t type : {std::uint8_t{3}, std::uint8_t{4}}) {
    for (const std::uint8_t low : {std::uint8_t{1}, std::uint8_t{22}}) {
      const std::uint8_t entry[] = {low, 1, type, 0, 1, 0, 0, 0, 18, 0};
      const auto place = std::search(bytes.begin(), bytes.end(), std::begin(entry), std::end(entry));
      if (place != bytes.end()) place[8] = 6;
    }
  }
  return bytes;
}

TEST(TiffImageJ, StacksUnderOneDirectory) {
  CTestImage image(RowOfPlanes());
  EXPECT_EQ(6u, image->Info().height);
  EXPECT_EQ(3u, image->Info().sequenceCount);
  EXPECT_EQ(20, Shown(image).r);
}

// As one that another program is still copying: at every length with the first directory and its texts, and without the
// last directory.
TEST(TiffImageJ, AStackThatEndsTooEarlyIsDamaged) {
  const std::vector<std::uint8_t> whole =
      WriteTiff(StackPages(6, "ImageJ=1.53c\nimages=6\nslices=3\nframes=2\nhyperstack=true\n"));
  const std::size_t plane = whole.size() / 6;
  for (std::size_t size = plane + plane / 2; size < whole.size() - plane / 2; ++size) {
    EXPECT_EQ(-9, StatusOf({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)})) << size;
  }
}

TEST(TiffImageJ, ARowOfPlanesThatEndsTooEarlyIsDamaged) {
  std::vector<std::uint8_t> bytes = RowOfPlanes();
  EXPECT_EQ(0, StatusOf(bytes));
  const std::string description = "images=3\nslices=3";
  const auto place = std::search(bytes.begin(), bytes.end(), description.begin(), description.end());
  ASSERT_NE(place, bytes.end());
  place[7] = '5';
  place[16] = '5';
  EXPECT_EQ(-9, StatusOf(bytes));
}

// A page whose samples are the three channels, as ImageJ keeps colour pictures of 16 bits.
template <class T>
STiffPage PageOfChannels(std::uint32_t factor, const std::string& description) {
  STiffPage page =
      MakePage<T>(8, 6, 3, [&](std::uint32_t x, auto, std::uint32_t s) { return (s + 1) * 10 * factor * x / 7; });
  page.description = description;
  return page;
}

TEST(TiffImageJ, SamplesOfAPageAreItsChannels) {
  const std::string description = "ImageJ=1.53c\nimages=3\nchannels=3\nmode=composite\n";
  using Tags = std::initializer_list<std::uint16_t>;
  for (const std::uint16_t planar : Tags{PLANARCONFIG_CONTIG, PLANARCONFIG_SEPARATE}) {
    for (const std::uint16_t compression : Tags{COMPRESSION_NONE, COMPRESSION_ADOBE_DEFLATE}) {
      STiffPage page = PageOfChannels<std::uint8_t>(1, description);
      page.compression = compression;
      page.planar = planar;
      if (planar == PLANARCONFIG_SEPARATE) {
        const SFileBytes chunky = page.pixels;
        for (std::size_t i = 0; i < 48; ++i) {
          for (std::size_t s = 0; s < 3; ++s) page.pixels[s * 48 + i] = chunky[3 * i + s];
        }
      }
      CTestImage image(WriteTiff(page));
      EXPECT_EQ((SRgb{10, 20, 30}), Render(image, 8, 6).At(7, 3)) << planar << ' ' << compression;
      const auto metadata = image->Metadata();
      ASSERT_EQ(1u, metadata.loops.size());
      EXPECT_EQ(std::uint32_t{kQvLoopLambda}, metadata.loops[0].type);
      EXPECT_EQ(3u, metadata.loops[0].size);
    }
  }
  CTestImage wide(WriteTiff(PageOfChannels<std::uint16_t>(100, description), "wb"));
  EXPECT_EQ((SRgb{255, 255, 255}), Render(wide, 8, 6).At(7, 3));
  EXPECT_EQ((SRgb{0, 0, 0}), Render(wide, 8, 6).At(0, 3));
}

TEST(TiffImageJ, SlicesWhosePagesHoldTheChannels) {
  const std::string description = "ImageJ=1.53c\nimages=9\nchannels=3\nslices=3\n";
  CTestImage image(WriteTiff({PageOfChannels<std::uint8_t>(1, description), PageOfChannels<std::uint8_t>(2, ""),
                              PageOfChannels<std::uint8_t>(3, "")}));
  EXPECT_EQ((SRgb{20, 40, 60}), Render(image, 8, 6).At(7, 3));
  EXPECT_EQ(3u, image->Info().sequenceCount);
}

TEST(TiffImageJ, ACutPageOfChannelsIsDamaged) {
  std::vector<std::uint8_t> bytes =
      WriteTiff(PageOfChannels<std::uint16_t>(100, "ImageJ=1.53c\nimages=6\nchannels=3\nslices=2\n"));
  EXPECT_EQ(-9, StatusOf(bytes)) << "the second slice is missing";
}

TEST(TiffImageJ, LoopsFollowThePagesThatAreThere) {
  struct SCase {
    int pages;
    const char* sizes;
    std::uint32_t slices, frames, channels;
    int shown;
  };
  for (const SCase& c :
       {SCase{6, "images=3\nslices=6\n", 6, 1, 1, 40}, SCase{6, "images=6\nslices=3\n", 6, 1, 1, 40},
        SCase{6, "images=6\nchannels=2\nslices=6\n", 3, 1, 2, 0}, SCase{6, "images=6\nframes=4\n", 1, 6, 1, 10},
        SCase{6, "images=6\nslices=5\nframes=2\n", 3, 2, 1, 20}, SCase{3, "images=9\nslices=9\n", 3, 1, 1, 20}}) {
    CTestImage image(WriteTiff(StackPages(c.pages, std::string("ImageJ=1.53c\n") + c.sizes)));
    std::uint32_t slices = 1, frames = 1, channels = 1;
    for (const auto& loop : image->Metadata().loops) {
      if (loop.type == kQvLoopZ) slices = loop.size;
      if (loop.type == kQvLoopTime) frames = loop.size;
      if (loop.type == kQvLoopLambda) channels = loop.size;
    }
    EXPECT_EQ(c.slices, slices) << c.sizes;
    EXPECT_EQ(c.frames, frames) << c.sizes;
    EXPECT_EQ(c.channels, channels) << c.sizes;
    if (c.channels == 1) {
      EXPECT_EQ(c.shown, Shown(image).r) << c.sizes;
    }
  }
}

TEST(TiffImageJ, SizesThatContradictTheFileAreGivenUp) {
  CTestImage image(WriteTiff(StackPages(3, "ImageJ=1.53c\nimages=8\nchannels=2\nslices=4\n")));
  EXPECT_EQ(10, Shown(image).r);
  EXPECT_EQ(3u, image->Info().sequenceCount);
}

TEST(TiffImageJ, Calibration) {
  for (const auto& [unit, micrometres] : {std::pair{"micron", 0.25},
                                          {"\\u00B5m", 0.25},
                                          {"um", 0.25},
                                          {"nm", 0.00025},
                                          {"mm", 250.0},
                                          {"inch", 6350.0},
                                          {"pixel", 0.0}}) {
    std::vector<STiffPage> pages =
        StackPages(2, std::string("ImageJ=1.53c\nimages=2\nslices=2\nspacing=3.0\nunit=") + unit + "\nfinterval=1.5\n");
    pages[0].tags = [](TIFF* tiff) {
      TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 4.0);
      TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 2.0);
      TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_NONE);
    };
    CTestImage image(WriteTiff(pages));
    const auto metadata = image->Metadata();
    EXPECT_DOUBLE_EQ(micrometres, metadata.calibration) << unit;
    EXPECT_DOUBLE_EQ(micrometres * 12, metadata.picture.zStep) << unit;
    EXPECT_DOUBLE_EQ(micrometres > 0.0 ? 2.0 : 1.0, metadata.aspect) << unit;
  }
}

TEST(TiffImageJ, DescriptionsAreParsedWithCare) {
  EXPECT_FALSE(ParseImageJDescription("ImageI=1"));
  EXPECT_FALSE(ParseImageJDescription(""));
  const auto odd =
      ParseImageJDescription("ImageJ=\nchannels=-3\nslices=1e300\nframes=nan\nmin=5\nmax=1\nimages=\nunit\n=\n");
  ASSERT_TRUE(odd);
  EXPECT_EQ(1u, odd->channels);
  EXPECT_EQ(1u, odd->slices);
  EXPECT_EQ(1u, odd->frames);
  EXPECT_FALSE(odd->range);
  const auto huge = ParseImageJDescription("ImageJ=1\nchannels=1000000\nslices=1000000\nframes=1000000");
  EXPECT_EQ(1u, huge->channels * huge->slices * huge->frames);
  EXPECT_EQ(0.25, ParseImageJDescription("ImageJ=1\r\nfps=4\r\n")->frameInterval);
}

TEST(TiffImageJ, DamagedMetadataAddsWhatCanBeRead) {
  CMetadataBlock block(true);
  block.Begin("labl", 2);
  block.Begin("luts", 1);
  block.AddPart(block.Text(u"first"));
  block.AddPart(block.Text(u"second"));
  block.AddPart(Table(1, 2, 3));
  const std::vector<std::uint8_t> bytes = block.Bytes();
  std::vector<std::uint32_t> counts = block.Counts();
  for (std::size_t size = 0; size <= bytes.size(); size += 3) {
    imageformats::tiff::SImageJ imageJ;
    ParseImageJMetadata(counts, {bytes.data(), size}, &imageJ);
    EXPECT_GE(2u, imageJ.labels.size());
  }
  imageformats::tiff::SImageJ imageJ;
  counts[1] = 0xFFFFFFFFu;
  ParseImageJMetadata(counts, bytes, &imageJ);
  EXPECT_TRUE(imageJ.labels.empty());
  counts = {0xFFFFFFFFu, 1};
  ParseImageJMetadata(counts, bytes, &imageJ);
  EXPECT_TRUE(imageJ.labels.empty());
}

}  // namespace
}  // namespace tifftest
