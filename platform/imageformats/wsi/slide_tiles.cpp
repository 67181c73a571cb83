#include "platform/imageformats/wsi/slide_tiles.h"

#include <vector>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/tiff/directory/ifd_chain.h"
#include "platform/imageformats/tiff/directory/ifd_reader.h"
#include "platform/imageformats/tiff/directory/tiff_handle.h"

namespace imageformats {

namespace {

constexpr std::uint64_t kMaxTilePixels = 16u << 20;  // OpenSlide keeps them as words of 4 bytes
constexpr std::uint64_t kMaxTileBytes = 64u << 20;   // in the file

// `room` is how many tiles the file still has room for.
void CheckTiles(TIFF* tiff, std::uint64_t& room) {
  std::uint32_t width = 0, height = 0;
  TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &width);
  TIFFGetField(tiff, TIFFTAG_TILELENGTH, &height);
  if (std::uint64_t{width} * height > kMaxTilePixels) throw CDamagedError("The slide's tiles are impossibly large");
  const std::uint32_t tiles = TIFFNumberOfTiles(tiff);
  if (tiles > room) throw CDamagedError("The slide claims more tiles than its file has room for");
  room -= tiles;
  for (std::uint32_t i = 0; i < tiles; ++i) {
    int failed = 0;
    const std::uint64_t bytes = TIFFGetStrileByteCountWithErr(tiff, i, &failed);
    if (failed != 0) throw CDamagedError("The slide's table of tiles cannot be read");
    if (bytes > kMaxTileBytes) throw CDamagedError("A tile of the slide is impossibly large");
  }
}

// OpenSlide allocates a whole entry before it reads it.
void CheckEntries(const tiff::CIfdReader& directory, std::uint64_t fileSize) {
  for (std::size_t i = 0; i < directory.EntryCount(); ++i) {
    const tiff::SIfdEntry entry = directory.Entry(i);
    const auto size = static_cast<std::uint64_t>(TIFFDataWidth(static_cast<TIFFDataType>(entry.type)));
    Require(size == 0 || entry.count <= fileSize / size, "An entry of the slide's directory is larger than the file");
  }
}

// Without those that cannot be read: which of them it needs is OpenSlide's business.
bool IsTiled(tiff::CTiffHandle& handle, std::uint64_t directory) {
  try {
    handle.Select(directory);
    return TIFFIsTiled(handle.Get()) != 0;
  } catch (const CDamagedError&) {
    return false;
  }
}

std::vector<tiff::SIfdSummary> Directories(const CInput& input) {
  try {
    return tiff::ReadIfdChain(input);
  } catch (const CDamagedError&) {
    return {};
  }
}

}  // namespace

void CheckSlideTiles(const std::shared_ptr<const CInput>& input) {
  std::optional<tiff::CIfdReader> reader = tiff::CIfdReader::Open(*input);
  const std::vector<tiff::SIfdSummary> directories = Directories(*input);
  if (!reader || directories.empty()) return;
  tiff::CTiffHandle handle(input);
  std::uint64_t room = input->Size();
  for (const tiff::SIfdSummary& directory : directories) {
    reader->Read(directory.offset);
    CheckEntries(*reader, input->Size());
    if (IsTiled(handle, directory.offset)) CheckTiles(handle.Get(), room);
  }
}

}  // namespace imageformats
