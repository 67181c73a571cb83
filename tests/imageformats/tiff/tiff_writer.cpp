#include "tests/imageformats/tiff/tiff_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace qv_test {
namespace {

// A growing file in memory.
struct SMemoryFile {
  std::vector<std::uint8_t> bytes;
  std::size_t position = 0;
};

SMemoryFile* File(thandle_t handle) { return static_cast<SMemoryFile*>(handle); }

tmsize_t ReadFile(thandle_t handle, void* buffer, tmsize_t size) {
  SMemoryFile* file = File(handle);
  const std::size_t left = file->bytes.size() - std::min(file->position, file->bytes.size());
  const std::size_t count = std::min(static_cast<std::size_t>(size), left);
  if (count != 0) std::memcpy(buffer, file->bytes.data() + file->position, count);
  file->position += count;
  return static_cast<tmsize_t>(count);
}

tmsize_t WriteFile(thandle_t handle, void* buffer, tmsize_t size) {
  SMemoryFile* file = File(handle);
  const std::size_t end = file->position + static_cast<std::size_t>(size);
  if (end > file->bytes.size()) file->bytes.resize(end);
  if (size > 0) std::memcpy(file->bytes.data() + file->position, buffer, static_cast<std::size_t>(size));
  file->position = end;
  return size;
}

toff_t SeekFile(thandle_t handle, toff_t offset, int whence) {
  SMemoryFile* file = File(handle);
  if (whence == SEEK_CUR) offset += file->position;
  if (whence == SEEK_END) offset += file->bytes.size();
  file->position = offset;
  return offset;
}

void SetTags(TIFF* tiff, const STiffPage& page) {
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, page.width);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, page.height);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, page.bits);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, page.samples);
  TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, page.format);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, page.photometric);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, page.compression);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, page.planar);
  TIFFSetField(tiff, TIFFTAG_ORIENTATION, page.orientation);
  if (page.predictor != PREDICTOR_NONE) TIFFSetField(tiff, TIFFTAG_PREDICTOR, page.predictor);
  if (page.subfileType != 0) TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, page.subfileType);
  if (!page.description.empty()) TIFFSetField(tiff, TIFFTAG_IMAGEDESCRIPTION, page.description.c_str());
  if (!page.extraSamples.empty()) {
    TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, static_cast<int>(page.extraSamples.size()), page.extraSamples.data());
  }
  if (page.tile != 0) {
    TIFFSetField(tiff, TIFFTAG_TILEWIDTH, page.tile);
    TIFFSetField(tiff, TIFFTAG_TILELENGTH, page.tile);
  } else {
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, page.rowsPerStrip != 0 ? page.rowsPerStrip : page.height);
  }
  if (page.subIfds != 0) {
    const std::vector<std::uint64_t> places(page.subIfds);
    TIFFSetField(tiff, TIFFTAG_SUBIFD, static_cast<int>(page.subIfds), places.data());
  }
  if (page.tags) page.tags(tiff);
}

// Tiles hold whole bytes a pixel in all tests.
void WriteTiles(TIFF* tiff, const STiffPage& page, const std::uint8_t* plane, std::size_t pixelBytes,
                std::uint16_t sample) {
  std::vector<std::uint8_t> tile(std::size_t{page.tile} * page.tile * pixelBytes);
  for (std::uint32_t y = 0; y < page.height; y += page.tile) {
    for (std::uint32_t x = 0; x < page.width; x += page.tile) {
      // The padding repeats the border, as writers do for JPEG's sake.
      for (std::uint32_t r = 0; r < page.tile; ++r) {
        for (std::uint32_t c = 0; c < page.tile; ++c) {
          const std::size_t from =
              std::size_t{std::min(y + r, page.height - 1)} * page.width + std::min(x + c, page.width - 1);
          std::memcpy(&tile[(std::size_t{r} * page.tile + c) * pixelBytes], plane + from * pixelBytes, pixelBytes);
        }
      }
      EXPECT_GT(TIFFWriteTile(tiff, tile.data(), x, y, 0, sample), 0);
    }
  }
}

void WritePixels(TIFF* tiff, const STiffPage& page) {
  const bool planar = page.planar == PLANARCONFIG_SEPARATE;
  const std::uint32_t rowSamples = planar ? 1 : page.samples;
  const std::size_t rowBytes = (std::size_t{page.width} * rowSamples * page.bits + 7) / 8;
  const std::uint32_t stripRows = page.rowsPerStrip != 0 ? page.rowsPerStrip : page.height;
  std::uint32_t strip = 0;
  for (std::uint16_t s = 0; s < (planar ? page.samples : 1); ++s) {
    const std::uint8_t* plane = page.pixels.data() + s * rowBytes * page.height;
    ASSERT_GE(page.pixels.size(), (s + 1) * rowBytes * page.height);
    if (page.tile != 0) {
      WriteTiles(tiff, page, plane, std::size_t{rowSamples} * page.bits / 8, s);
      continue;
    }
    for (std::uint32_t y = 0; y < page.height; y += stripRows) {
      const std::size_t size = std::min(stripRows, page.height - y) * rowBytes;
      std::vector<std::uint8_t> rows(plane + y * rowBytes, plane + y * rowBytes + size);  // libtiff changes it
      EXPECT_GT(TIFFWriteEncodedStrip(tiff, strip++, rows.data(), static_cast<tmsize_t>(size)), 0);
    }
  }
}

}  // namespace

std::vector<std::uint8_t> WriteTiff(const std::vector<STiffPage>& pages, const char* mode) {
  TIFFSetWarningHandler(nullptr);
  SMemoryFile file;
  TIFF* tiff = TIFFClientOpen(
      "memory", mode, &file, ReadFile, WriteFile, SeekFile, [](thandle_t) { return 0; },
      [](thandle_t handle) { return toff_t{File(handle)->bytes.size()}; }, nullptr, nullptr);
  EXPECT_NE(nullptr, tiff);
  if (!tiff) return {};
  for (const STiffPage& page : pages) {
    SetTags(tiff, page);
    if (!page.pixels.empty()) WritePixels(tiff, page);
    EXPECT_EQ(1, TIFFWriteDirectory(tiff));
  }
  TIFFClose(tiff);
  return std::move(file.bytes);
}

std::vector<std::uint8_t> WriteTiff(const STiffPage& page, const char* mode) {
  return WriteTiff(std::vector<STiffPage>{page}, mode);
}

void SetBytesTag(TIFF* tiff, std::uint32_t tag, const std::vector<std::uint8_t>& bytes) {
  const TIFFFieldInfo info = {
      tag, TIFF_VARIABLE2, TIFF_VARIABLE2, TIFF_BYTE, FIELD_CUSTOM, 1, 1, const_cast<char*>("PrivateBytes")};
  TIFFMergeFieldInfo(tiff, &info, 1);
  TIFFSetField(tiff, tag, static_cast<std::uint32_t>(bytes.size()), bytes.data());
}

void SetLongsTag(TIFF* tiff, std::uint32_t tag, const std::vector<std::uint32_t>& values) {
  const TIFFFieldInfo info = {
      tag, TIFF_VARIABLE2, TIFF_VARIABLE2, TIFF_LONG, FIELD_CUSTOM, 1, 1, const_cast<char*>("PrivateLongs")};
  TIFFMergeFieldInfo(tiff, &info, 1);
  TIFFSetField(tiff, tag, static_cast<std::uint32_t>(values.size()), values.data());
}

}  // namespace qv_test
