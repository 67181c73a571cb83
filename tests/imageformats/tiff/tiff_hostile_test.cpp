// Damaged and hostile files: a clear answer, no crash, no hang, no half picture.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/new_picture.h"
#include "platform/imageformats/tiff/blocks/block_source.h"
#include "platform/imageformats/tiff/directory/ifd_chain.h"
#include "platform/imageformats/tiff/rows/row_converter.h"
#include "system/qvstatus.h"
#include "tests/imageformats/tiff/tiff_test_image.h"
#include "tests/support/tiff_writer.h"

namespace tifftest {
namespace {

using namespace qvtest;

STiffPage Detailed(std::uint16_t compression, std::uint32_t tile) {
  STiffPage page = MakePage<std::uint8_t>(
      70, 50, 3, [](std::uint32_t x, std::uint32_t y, std::uint32_t s) { return (x * 37 + y * 101 + s * 59) % 256; });
  page.compression = compression;
  page.tile = tile;
  page.rowsPerStrip = 16;
  return page;
}

std::vector<std::vector<std::uint8_t>> Files() {
  std::vector<std::vector<std::uint8_t>> files;
  for (const std::uint16_t compression : std::initializer_list<std::uint16_t>{
           COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS, COMPRESSION_JPEG}) {
    for (const std::uint32_t tile : {0u, 32u}) files.push_back(WriteTiff(Detailed(compression, tile)));
  }
  STiffPage full = Detailed(COMPRESSION_NONE, 16);
  full.subIfds = 1;
  STiffPage level = MakePage<std::uint8_t>(35, 25, 3, [](auto, auto, auto) { return 9; });
  level.subfileType = FILETYPE_REDUCEDIMAGE;
  files.push_back(WriteTiff({full, level}, "wb8"));
  std::vector<STiffPage> stack(6, MakePage<std::uint16_t>(20, 10, 1, [](auto x, auto, auto) { return x * 100; }));
  stack[0].description = "ImageJ=1.5\nimages=6\nchannels=2\nslices=3\n";
  files.push_back(WriteTiff(stack));
  stack[0].description =
      "<OME><Image ID=\"I\"><Pixels DimensionOrder=\"XYZCT\" Type=\"uint16\" SizeX=\"20\" SizeY=\"10\" SizeZ=\"3\" "
      "SizeC=\"2\" SizeT=\"1\"><Channel Name=\"a\"/><Channel Name=\"b\"/><TiffData IFD=\"0\" "
      "PlaneCount=\"6\"/></Pixels></Image></OME>";
  files.push_back(WriteTiff(stack));
  return files;
}

// Everything that can be asked of a file.
void Exercise(const std::vector<std::uint8_t>& bytes) {
  try {
    CTestImage image(bytes);
    const SQvImageInfo info = image->Info();
    EXPECT_GT(info.width, 0u);
    EXPECT_GT(info.height, 0u);
    EXPECT_TRUE(info.bpcInMemory == 8 || info.bpcInMemory == 16);
    try {
      Render(image, 20, 15);
    } catch (const imageformats::CFormatError&) {
    }
    try {
      RenderView(image, 20, 15, {imageformats::EPlaneChoice::kMaximum, 0, 3, 1});
    } catch (const imageformats::CFormatError&) {
    }
    CQvByteArray tag;
    image->CustomTag(L"QvCustomTag:ThumbailJpg", tag);
    image->Metadata();
    if (std::uint64_t{info.width} * info.height * info.components > 1 << 20) return;
    try {
      ReadSamples(image);
    } catch (const imageformats::CFormatError&) {
    }
  } catch (const imageformats::CFormatError& error) {
    EXPECT_STRNE("", error.what());
  }
}

TEST(TiffHostile, TruncatedFilesAreDamaged) {
  for (const auto& file : Files()) {
    ASSERT_EQ(kQvOk, StatusOf(file));
    // Of a file of several pages the first may be whole.
    CTestImage image(file);
    const bool single = image->Info().sequenceCount == 1 && file[2] != 43 && file[3] != 43;
    for (std::size_t size = 0; size < file.size(); size += 1 + size / 40) {
      const std::vector<std::uint8_t> cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
      if (cut.empty()) continue;
      const int status = StatusOf(cut);
      // The directory lies behind the pixels, so nothing is left of a shorter file but its header.
      EXPECT_TRUE(status == kQvFailure || (!single && status == kQvOk)) << size << " of " << file.size();
    }
  }
}

TEST(TiffHostile, HolesInCompressedPixelsAreDamage) {
  // A file that an instrument is still writing: zeros where data will come.
  for (const std::uint16_t compression : std::initializer_list<std::uint16_t>{
           COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS, COMPRESSION_JPEG}) {
    for (const std::uint32_t tile : {0u, 32u}) {
      const std::vector<std::uint8_t> file = WriteTiff(Detailed(compression, tile));
      const std::size_t directory = file[4] | file[5] << 8 | file[6] << 16;
      ASSERT_LT(directory, file.size());
      for (std::size_t kept = 8; kept + 64 < directory; kept += 97) {
        std::vector<std::uint8_t> holed = file;
        std::fill(holed.begin() + static_cast<std::ptrdiff_t>(kept),
                  holed.begin() + static_cast<std::ptrdiff_t>(directory), std::uint8_t{0});
        EXPECT_EQ(kQvFailure, StatusOf(holed)) << compression << " tile " << tile << " kept " << kept;
      }
    }
  }
}

TEST(TiffHostile, RandomChangesAreSurvived) {
  std::mt19937 random(20240229);
  const auto files = Files();
  for (int round = 0; round < 1500; ++round) {
    std::vector<std::uint8_t> bytes = files[random() % files.size()];
    const std::size_t changes = 1 + random() % 6;
    for (std::size_t i = 0; i < changes; ++i) {
      // Half of the changes go to the last part, where the directories are.
      const std::size_t from = random() % 2 == 0 ? 0 : bytes.size() - std::min<std::size_t>(bytes.size(), 600);
      const std::size_t place = from + random() % (bytes.size() - from);
      bytes[place] = static_cast<std::uint8_t>(random() % 4 == 0 ? 0xFF : random());
    }
    Exercise(bytes);
  }
}

TEST(TiffHostile, RandomBytesBehindAHeaderAreSurvived) {
  std::mt19937 random(7);
  for (int round = 0; round < 500; ++round) {
    std::vector<std::uint8_t> bytes = {'I', 'I', 42, 0, 8, 0, 0, 0};
    if (round % 2 == 0) bytes = {'M', 'M', 0, 43, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 16};
    const std::size_t size = bytes.size() + random() % 400;
    while (bytes.size() < size) bytes.push_back(static_cast<std::uint8_t>(random() % 3 == 0 ? 0 : random() % 16));
    Exercise(bytes);
  }
}

// Finds the entry of a tag in a little-endian classic file's first directory; returns its place.
std::size_t EntryOf(const std::vector<std::uint8_t>& file, std::uint16_t tag) {
  std::size_t at = file[4] | file[5] << 8 | file[6] << 16 | static_cast<std::size_t>(file[7]) << 24;
  const std::size_t count = file[at] | file[at + 1] << 8;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t entry = at + 2 + 12 * i;
    if ((file[entry] | file[entry + 1] << 8) == tag) return entry;
  }
  ADD_FAILURE() << "no tag " << tag;
  return 0;
}

void SetLong(std::vector<std::uint8_t>* file, std::size_t place, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) (*file)[place + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

// Makes the entry a single LONG.
void SetEntry(std::vector<std::uint8_t>* file, std::uint16_t tag, std::uint32_t value) {
  const std::size_t entry = EntryOf(*file, tag);
  (*file)[entry + 2] = 4;
  (*file)[entry + 3] = 0;
  SetLong(file, entry + 4, 1);
  SetLong(file, entry + 8, value);
}

// Takes one from the byte count of strip or tile `index` of a little-endian file. All bytes stay where they are.
void ShortenBlock(std::vector<std::uint8_t>* file, std::uint16_t tag, std::size_t index) {
  const std::size_t entry = EntryOf(*file, tag);
  const std::size_t size = (*file)[entry + 2] == 3 ? 2 : 4;
  std::uint32_t place = static_cast<std::uint32_t>(entry + 8);
  if ((*file)[entry + 4] * size > 4) std::memcpy(&place, &(*file)[entry + 8], 4);
  std::uint32_t count = 0;
  std::memcpy(&count, &(*file)[place + index * size], size);
  --count;
  std::memcpy(&(*file)[place + index * size], &count, size);
}

TEST(TiffHostile, AnUncompressedBlockOfTooFewBytesIsDamageWhateverLiesBehindIt) {
  for (const std::uint32_t rows : {0u, 16u, 1u}) {
    for (const bool bitReversed : {false, true}) {
      STiffPage page = Detailed(COMPRESSION_NONE, 0);
      page.rowsPerStrip = rows;
      if (bitReversed) page.tags = [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_FILLORDER, FILLORDER_LSB2MSB); };
      const std::size_t strips = rows == 0 ? 1 : (50 + rows - 1) / rows;
      for (const std::size_t index : {std::size_t{0}, strips - 1}) {
        std::vector<std::uint8_t> file = WriteTiff(page);
        file.resize(file.size() + 20000);
        ASSERT_EQ(kQvOk, StatusOf(file));
        ShortenBlock(&file, TIFFTAG_STRIPBYTECOUNTS, index);
        EXPECT_EQ(kQvFailure, StatusOf(file)) << rows << " rows, strip " << index << (bitReversed ? " reversed" : "");
      }
    }
  }
  std::vector<std::uint8_t> subsampled = WriteTiff([] {
    STiffPage page = Detailed(COMPRESSION_NONE, 0);
    page.photometric = PHOTOMETRIC_YCBCR;
    page.tags = [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_YCBCRSUBSAMPLING, 1, 1); };
    return page;
  }());
  subsampled.resize(subsampled.size() + 20000);
  ASSERT_EQ(kQvOk, StatusOf(subsampled));
  ShortenBlock(&subsampled, TIFFTAG_STRIPBYTECOUNTS, 2);
  EXPECT_EQ(kQvFailure, StatusOf(subsampled));
  for (const std::size_t index : {0, 11}) {
    std::vector<std::uint8_t> file = WriteTiff(Detailed(COMPRESSION_NONE, 16));
    ShortenBlock(&file, TIFFTAG_TILEBYTECOUNTS, index);
    EXPECT_EQ(kQvFailure, StatusOf(file)) << "tile " << index;
  }
}

// Writers of old leave the table of byte counts out.
TEST(TiffHostile, ASingleStripWithoutAByteCountIsWhole) {
  std::vector<std::uint8_t> file = WriteTiff([] {
    STiffPage page = Detailed(COMPRESSION_NONE, 0);
    page.rowsPerStrip = 0;
    return page;
  }());
  // A private tag behind all others would be out of order; one that nobody reads is not.
  file[EntryOf(file, TIFFTAG_STRIPBYTECOUNTS)] = static_cast<std::uint8_t>(TIFFTAG_MINSAMPLEVALUE);
  EXPECT_EQ(kQvOk, StatusOf(file));
}

TEST(TiffHostile, LoopsOfDirectoriesEnd) {
  const std::vector<STiffPage> pages(3, MakePage<std::uint8_t>(8, 8, 1, [](auto, auto, auto) { return 77; }));
  std::vector<std::uint8_t> file = WriteTiff(pages);
  // The pointer behind each directory, in turn, leads back to the first.
  const std::uint32_t first = file[4] | file[5] << 8 | file[6] << 16 | static_cast<std::uint32_t>(file[7]) << 24;
  std::uint32_t at = first;
  for (int i = 0; i < 3; ++i) {
    const std::size_t pointer = at + 2 + 12 * (file[at] | file[at + 1] << 8);
    std::vector<std::uint8_t> looped = file;
    SetLong(&looped, pointer, first);
    CTestImage image(looped);
    EXPECT_EQ(static_cast<std::uint32_t>(i + 1), image->Info().sequenceCount);
    EXPECT_EQ(77, Render(image, 4, 4).At(1, 1).r);
    at = file[pointer] | file[pointer + 1] << 8 | file[pointer + 2] << 16;
  }
}

TEST(TiffHostile, SubIfdsThatLeadBackEnd) {
  STiffPage full = MakePage<std::uint8_t>(64, 64, 1, [](auto, auto, auto) { return 77; });
  full.subIfds = 1;
  STiffPage level = MakePage<std::uint8_t>(32, 32, 1, [](auto, auto, auto) { return 33; });
  std::vector<std::uint8_t> file = WriteTiff({full, level});
  const std::uint32_t first = file[4] | file[5] << 8 | file[6] << 16 | static_cast<std::uint32_t>(file[7]) << 24;
  for (const std::uint32_t target : {first, first + 1, 0u, 0xFFFFFFFFu}) {
    std::vector<std::uint8_t> looped = file;
    SetLong(&looped, EntryOf(file, TIFFTAG_SUBIFD) + 8, target);
    EXPECT_EQ(77, Render(looped, 8, 8).At(1, 1).r);
  }
}

TEST(TiffHostile, AbsurdSizesAreRefusedBeforeMemoryIsTaken) {
  for (const std::uint16_t compression : std::initializer_list<std::uint16_t>{
           COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_JPEG}) {
    for (const std::uint32_t tile : {0u, 32u}) {
      const std::vector<std::uint8_t> sound = WriteTiff(Detailed(compression, tile));
      for (const std::uint32_t side : {0u, 100000u, 1000000u, 0x7FFFFFF0u, 0xFFFFFFFFu}) {
        std::vector<std::uint8_t> file = sound;
        SetEntry(&file, TIFFTAG_IMAGEWIDTH, side);
        SetEntry(&file, TIFFTAG_IMAGELENGTH, side);
        if (tile == 0) SetEntry(&file, TIFFTAG_ROWSPERSTRIP, side);
        EXPECT_EQ(kQvFailure, StatusOf(file)) << compression << " " << side;
        if (tile == 0) continue;
        SetEntry(&file, TIFFTAG_TILEWIDTH, side & ~15u);
        SetEntry(&file, TIFFTAG_TILELENGTH, side & ~15u);
        EXPECT_EQ(kQvFailure, StatusOf(file)) << compression << " " << side;
      }
    }
  }
}

TEST(TiffHostile, ASmallFileThatUnfoldsStaysWithinTheMemory) {
  // 8192 x 8192 zeros in one strip of about 65 KiB.
  STiffPage page;
  page.width = page.height = 8192;
  page.compression = COMPRESSION_ADOBE_DEFLATE;
  page.tags = [](TIFF* tiff) {
    std::vector<std::uint8_t> row(8192);
    for (std::uint32_t y = 0; y < 8192; ++y) TIFFWriteScanline(tiff, row.data(), y, 0);
  };
  CTestImage image(WriteTiff(page));
  imageformats::SRenderLimits limits;
  limits.memory = 24 << 20;
  limits.time = std::chrono::minutes(5);
  imageformats::CRenderGuard guard(limits);
  CQvPicture picture = imageformats::NewPicture(64, 64, 8, 3);
  imageformats::SRenderRequest request;
  request.width = request.height = 64;
  image->Render(request, *picture.Get(), guard);
  EXPECT_EQ(0, picture.Row(5)[5]);
}

TEST(TiffHostile, TheDeadlineEndsARendering) {
  CTestImage image(WriteTiff(Detailed(COMPRESSION_LZW, 16)));
  imageformats::SRenderLimits limits;
  limits.time = std::chrono::milliseconds(-1);
  imageformats::CRenderGuard guard(limits);
  CQvPicture picture = imageformats::NewPicture(16, 16, 8, 3);
  imageformats::SRenderRequest request;
  request.width = request.height = 16;
  EXPECT_THROW(image->Render(request, *picture.Get(), guard), imageformats::CDamagedError);
}

TEST(TiffHostile, DirectoriesThatAreNamedAgainAndAgainAreNotReadForEver) {
  const std::vector<std::uint8_t> file = WriteTiff(Detailed(COMPRESSION_LZW, 16));
  const auto input = imageformats::CInput::FromMemory(file.data(), file.size());
  const std::uint64_t first = imageformats::tiff::ReadIfdChain(*input).front().offset;
  const std::vector<std::uint64_t> offsets(1000000, first);
  const auto directories = imageformats::tiff::ReadIfdChainsFrom(*input, offsets, 64);
  EXPECT_GE(directories.size(), 1u);
  EXPECT_LT(directories.size(), file.size());
}

TEST(TiffHostile, TilesThatWereNeverWrittenAreDamage) {
  std::vector<std::uint8_t> file = WriteTiff(Detailed(COMPRESSION_ADOBE_DEFLATE, 0));
  const std::size_t counts = EntryOf(file, TIFFTAG_STRIPBYTECOUNTS);
  const std::uint32_t table = file[counts + 8] | file[counts + 9] << 8 | file[counts + 10] << 16;
  const bool shorts = file[counts + 2] == 3;
  for (int i = 0; i < (shorts ? 2 : 4); ++i) file[table + i] = 0;
  EXPECT_EQ(kQvFailure, StatusOf(file));
}

TEST(TiffHostile, ChannelsThatAPageDoesNotHaveAreDamage) {
  imageformats::tiff::SPage page;
  page.samples = 2;
  page.bits = 8;
  const imageformats::tiff::SDecodedLayout layout = imageformats::tiff::DecodedLayoutOf(page);
  EXPECT_NO_THROW(imageformats::tiff::CRowConverter(page, layout, {1, 0}));
  EXPECT_THROW(imageformats::tiff::CRowConverter(page, layout, {1, 2}), imageformats::CDamagedError);
}

TEST(TiffHostile, FilesThatAreNoTiffAreRefused) {
  EXPECT_EQ(kQvFailure, StatusOf({'I', 'I', 42, 0}));
  EXPECT_EQ(kQvFailure, StatusOf({'I', 'I', 42, 0, 0, 0, 0, 0}));
  EXPECT_EQ(kQvFailure, StatusOf({'M', 'M', 0, 42, 0xFF, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(kQvFailure, StatusOf({'t', 'e', 'x', 't', ' ', 'f', 'i', 'l', 'e'}));
}

}  // namespace
}  // namespace tifftest
