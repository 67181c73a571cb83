#include "platform/imageformats/tiff/blocks/block_source.h"

#include <utility>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/tiff/directory/ifd_reader.h"

namespace imageformats::tiff {
namespace {

// The JPEG codec decodes grey, three colours and CMYK; odd numbers of samples are left to libtiff.
bool IsPlainJpeg(const SPage& page) {
  if (page.compression != COMPRESSION_JPEG || page.bits != 8) return false;
  const std::uint32_t samples = page.RowSamples();
  return samples == 1 || samples == 3 || (samples == 4 && page.photometric == PHOTOMETRIC_SEPARATED);
}

// libtiff corrects the byte count of a picture's only strip, so that what the file states has to be looked up.
void CheckOnlyStrip(CTiffHandle& tiff, const SPage& page) {
  if (page.tiled || page.planar || page.BlocksDown() > 1) return;
  std::optional<CIfdReader> reader = CIfdReader::Open(tiff.Source());
  if (!reader || !reader->Read(page.offset)) return;
  const std::optional<SIfdEntry> counts = reader->Find(TIFFTAG_STRIPBYTECOUNTS);
  const std::optional<std::uint64_t> stated = counts ? reader->FirstInteger(*counts) : std::nullopt;
  if (stated) RequireBytes(*stated, TIFFVStripSize64(tiff.Get(), page.height));
}

// The source that reads the page at least cost.
std::unique_ptr<CBlockSource> OpenCheapest(CTiffHandle& tiff, const SPage& page, const SBlockRequest& request,
                                           CRenderGuard& guard) {
  if (IsPlainJpeg(page)) return OpenJpegBlocks(tiff, page, request, guard);
  if (IsJpeg2000(page.compression)) return OpenJpeg2000Blocks(tiff, page, request, guard);
  if (page.compression == COMPRESSION_OJPEG) {
    if (std::unique_ptr<CBlockSource> blocks = OpenOldJpegBlocks(tiff, page, request, guard)) return blocks;
  }
  if (page.photometric == PHOTOMETRIC_YCBCR) return OpenRgbaBlocks(tiff, page, guard);
  if (page.compression == COMPRESSION_NONE && !IsBitReversed(tiff.Get())) {
    return OpenRawBlocks(tiff, page, request.dataOffset, guard);
  }
  return OpenLibtiffBlocks(tiff, page, guard);
}

}  // namespace

SDecodedLayout DecodedLayoutOf(const SPage& page) noexcept {
  SDecodedLayout layout = {page.bits, page.samples, page.format, page.planar, page.photometric, page.bigEndian};
  switch (page.photometric) {
    case PHOTOMETRIC_YCBCR:
      layout.photometric = PHOTOMETRIC_RGB;
      // Plain JPEG may be planar; libtiff's conversion delivers R G B only.
      if (!IsPlainJpeg(page)) layout = {8, 3, ESampleFormat::kUnsigned, false, PHOTOMETRIC_RGB};
      break;
    case PHOTOMETRIC_LOGL:
      layout = {8, page.samples, ESampleFormat::kUnsigned, page.planar, PHOTOMETRIC_MINISBLACK};
      break;
    case PHOTOMETRIC_LOGLUV:
      layout = {8, page.samples, ESampleFormat::kUnsigned, page.planar, PHOTOMETRIC_RGB};
      break;
    default:
      break;
  }
  if (page.compression == COMPRESSION_PIXARLOG) layout.bits = page.bits == 8 ? 8 : page.bits == 16 ? 16 : 32;
  if (IsPlainJpeg(page)) layout.format = ESampleFormat::kUnsigned;
  return layout;
}

std::unique_ptr<CBlockSource> OpenBlocks(CTiffHandle& tiff, const SPage& page, const SBlockRequest& request,
                                         CRenderGuard& guard) {
  if (const std::string why = UnsupportedReason(page); !why.empty()) throw CUnsupportedError(why);
  guard.CheckPixels(page.width, page.height);
  tiff.Select(page.offset);
  if (page.compression == COMPRESSION_NONE) CheckOnlyStrip(tiff, page);
  std::unique_ptr<CBlockSource> source = OpenCheapest(tiff, page, request, guard);
  source->SetTwin([input = tiff.SharedSource(), page, request](CRenderGuard& guardOfTwin) {
    auto handle = std::make_unique<CTiffHandle>(input);
    handle->Select(page.offset);
    std::unique_ptr<CBlockSource> twin = OpenCheapest(*handle, page, request, guardOfTwin);
    twin->Own(std::move(handle));
    return twin;
  });
  return source;
}

bool IsBitReversed(TIFF* tiff) {
  std::uint16_t order = FILLORDER_MSB2LSB;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_FILLORDER, &order);
  return order == FILLORDER_LSB2MSB;
}

SBlockExtent LocateBlock(CTiffHandle& tiff, std::uint32_t index) {
  int failed = 0;
  SBlockExtent bytes;
  bytes.offset = TIFFGetStrileOffsetWithErr(tiff.Get(), index, &failed);
  if (!failed) bytes.size = TIFFGetStrileByteCountWithErr(tiff.Get(), index, &failed);
  if (failed) throw CDamagedError("The table of strips or tiles is damaged");
  if (bytes.size == 0) throw CDamagedError("A strip or tile was never written");
  const std::uint64_t end = tiff.Source().Size();
  if (bytes.offset > end || bytes.size > end - bytes.offset) {
    throw CDamagedError("The file is truncated: a strip or tile lies behind its end");
  }
  return bytes;
}

void RequireBytes(std::uint64_t stated, std::uint64_t needed) {
  if (stated < needed) throw CDamagedError("A strip or tile has fewer bytes than its rows");
}

void ThrowPixelError(const CTiffHandle& tiff) {
  const std::string& reason = tiff.Error().empty() ? tiff.Warning() : tiff.Error();
  if (reason.find("Missing JPEG tables") != std::string::npos) {
    throw CUnsupportedError("Old-style JPEG without its tables is not supported");
  }
  throw CDamagedError("The pixels are damaged" + (reason.empty() ? std::string() : ": " + reason));
}

void ReadBlockBytes(const CTiffHandle& tiff, std::uint64_t offset, std::uint8_t* out, std::size_t size) {
  if (tiff.Source().ReadAt(offset, out, size) != size) {
    throw CDamagedError("The file is truncated: a strip or tile lies behind its end");
  }
}

}  // namespace imageformats::tiff
