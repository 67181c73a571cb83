#include "platform/imageformats/tiff/directory/page.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "platform/imageformats/base/format_error.h"

namespace imageformats::tiff {
namespace {

// Profiles of printing presses reach a megabyte or two.
constexpr std::uint32_t kMaxPageProfileBytes = 16u << 20;
constexpr std::uint32_t kMaxSubIfds = 64;
// Of raw camera files (Adobe DNG); libtiff has no name for it.
constexpr std::uint32_t kPhotometricLinearRaw = 34892;

std::uint32_t ShortTag(TIFF* tiff, std::uint32_t tag, std::uint32_t fallback) {
  std::uint16_t value = 0;
  return TIFFGetField(tiff, tag, &value) ? value : fallback;
}

std::uint32_t LongTag(TIFF* tiff, std::uint32_t tag, std::uint32_t fallback) {
  std::uint32_t value = 0;
  return TIFFGetField(tiff, tag, &value) ? value : fallback;
}

ESampleFormat Format(std::uint32_t tag) noexcept {
  switch (tag) {
    case SAMPLEFORMAT_UINT:
    case SAMPLEFORMAT_VOID:
      return ESampleFormat::kUnsigned;
    case SAMPLEFORMAT_INT:
      return ESampleFormat::kSigned;
    case SAMPLEFORMAT_IEEEFP:
      return ESampleFormat::kFloat;
    default:
      return ESampleFormat::kOther;
  }
}

void ReadGeometry(TIFF* tiff, SPage* page) {
  page->width = LongTag(tiff, TIFFTAG_IMAGEWIDTH, 0);
  page->height = LongTag(tiff, TIFFTAG_IMAGELENGTH, 0);
  if (page->width == 0 || page->height == 0) throw CDamagedError("The picture has no size");
  constexpr std::uint32_t kMaxSide = 0x7FFFFFFFu;
  if (page->width > kMaxSide || page->height > kMaxSide) throw CDamagedError("The picture's size is impossible");
  page->tiled = TIFFIsTiled(tiff) != 0;
  if (page->tiled) {
    page->blockWidth = LongTag(tiff, TIFFTAG_TILEWIDTH, 0);
    page->blockHeight = LongTag(tiff, TIFFTAG_TILELENGTH, 0);
  } else {
    page->blockWidth = page->width;
    page->blockHeight = std::min(LongTag(tiff, TIFFTAG_ROWSPERSTRIP, page->height), page->height);
  }
  if (page->blockWidth == 0 || page->blockHeight == 0 || page->blockWidth > kMaxSide || page->blockHeight > kMaxSide) {
    throw CDamagedError("The size of tiles or strips is impossible");
  }
  page->orientation = OrientationFromTag(ShortTag(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT));
}

void ReadSubsampling(TIFF* tiff, SPage* page) {
  if (page->compression == COMPRESSION_JPEG || page->compression == COMPRESSION_OJPEG) return;
  std::uint16_t x = 1, y = 1;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_YCBCRSUBSAMPLING, &x, &y);
  page->subsamplingX = x;
  page->subsamplingY = y;
}

void ReadSampleLayout(TIFF* tiff, SPage* page) {
  std::uint16_t value = 1;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &value);
  page->bits = value;
  value = 1;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &value);
  page->samples = value;
  if (page->bits == 0 || page->samples == 0) throw CDamagedError("The pixels have no samples");
  page->format = Format(ShortTag(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT));
  page->compression = ShortTag(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
  page->planar =
      page->samples > 1 && ShortTag(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) == PLANARCONFIG_SEPARATE;
  page->inkSet = ShortTag(tiff, TIFFTAG_INKSET, INKSET_CMYK);
  if (page->compression == COMPRESSION_LZW || page->compression == COMPRESSION_DEFLATE ||
      page->compression == COMPRESSION_ADOBE_DEFLATE) {
    page->predictor = ShortTag(tiff, TIFFTAG_PREDICTOR, PREDICTOR_NONE);
  }
  // Files without the tag: as readers commonly take them.
  const std::uint32_t guess = page->samples >= 3 && page->bits <= 16 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
  page->photometric = ShortTag(tiff, TIFFTAG_PHOTOMETRIC, guess);
  if (page->photometric == PHOTOMETRIC_YCBCR) ReadSubsampling(tiff, page);
  std::uint16_t count = 0;
  std::uint16_t* types = nullptr;
  if (TIFFGetField(tiff, TIFFTAG_EXTRASAMPLES, &count, &types) && types) {
    page->extraSamples.assign(types, types + std::min<std::uint32_t>(count, page->samples));
  }
}

// libtiff counts strips and tiles with 32 bits.
void CheckBlockCount(const SPage& page) {
  const std::uint64_t blocks = std::uint64_t{page.BlocksAcross()} * page.BlocksDown();
  if (blocks > 0x7FFFFFFFu / page.samples) throw CDamagedError("The number of tiles or strips is impossible");
}

// The extreme values that a file states, over all samples.
void ReadExtremes(TIFF* tiff, SPage* page) {
  double low = 0.0, high = 0.0;
  if (TIFFGetField(tiff, TIFFTAG_SMINSAMPLEVALUE, &low)) page->minValue = low;
  if (TIFFGetField(tiff, TIFFTAG_SMAXSAMPLEVALUE, &high)) {
    page->maxValue = high;
  } else {
    page->maxValue = ShortTag(tiff, TIFFTAG_MAXSAMPLEVALUE, 0);
  }
  if (!std::isfinite(page->minValue) || !std::isfinite(page->maxValue)) page->minValue = page->maxValue = 0.0;
}

void ReadPalette(TIFF* tiff, SPage* page) {
  if (page->bits > 16) return;
  std::uint16_t* parts[3] = {};
  if (!TIFFGetField(tiff, TIFFTAG_COLORMAP, &parts[0], &parts[1], &parts[2])) return;
  const std::size_t count = std::size_t{1} << page->bits;
  for (const std::uint16_t* part : parts) {
    if (part) page->palette.insert(page->palette.end(), part, part + count);
  }
  if (page->palette.size() != 3 * count) page->palette.clear();
}

void ReadProfile(TIFF* tiff, SPage* page) {
  std::uint32_t size = 0;
  void* bytes = nullptr;
  if (!TIFFGetField(tiff, TIFFTAG_ICCPROFILE, &size, &bytes) || !bytes || size > kMaxPageProfileBytes) return;
  const auto* first = static_cast<const std::uint8_t*>(bytes);
  page->profile.assign(first, first + size);
}

void ReadSubIfds(TIFF* tiff, SPage* page) {
  std::uint16_t count = 0;
  std::uint64_t* offsets = nullptr;
  if (!TIFFGetField(tiff, TIFFTAG_SUBIFD, &count, &offsets) || !offsets) return;
  page->subIfds.assign(offsets, offsets + std::min<std::uint32_t>(count, kMaxSubIfds));
}

// What libtiff converts.
std::string UnsupportedYCbCr(const SPage& page) {
  if (page.bits != 8 || page.samples != 3) return "YCbCr of this layout is not supported";
  const std::uint32_t x = page.subsamplingX, y = page.subsamplingY;
  if (page.planar && x * y > 1) return kPlanarSubsampled;
  const bool arePowers = (x == 1 || x == 2 || x == 4) && (y == 1 || y == 2 || y == 4);
  const bool fits = arePowers && (y <= x || (x == 1 && y == 2));
  return fits ? std::string() : "YCbCr of this subsampling is not supported";
}

}  // namespace

std::uint32_t SPage::SignificantBits() const noexcept {
  const double limit = bits >= 64 ? 1.8446744073709552e19 : static_cast<double>(std::uint64_t{1} << bits);
  if (format != ESampleFormat::kUnsigned || maxValue < 1.0 || maxValue >= limit) return bits;
  return static_cast<std::uint32_t>(std::ilogb(maxValue)) + 1;
}

SPage ReadPage(CTiffHandle& handle, std::uint64_t directoryOffset) {
  handle.Select(directoryOffset);
  TIFF* tiff = handle.Get();
  SPage page;
  page.offset = directoryOffset;
  page.bigEndian = handle.IsBigEndian();
  ReadGeometry(tiff, &page);
  ReadSampleLayout(tiff, &page);
  CheckBlockCount(page);
  ReadExtremes(tiff, &page);
  if (page.photometric == PHOTOMETRIC_PALETTE) ReadPalette(tiff, &page);
  ReadProfile(tiff, &page);
  ReadSubIfds(tiff, &page);
  return page;
}

std::string UnsupportedReason(const SPage& page) {
  const bool bitsFit = page.format == ESampleFormat::kFloat
                           ? page.bits == 16 || page.bits == 24 || page.bits == 32 || page.bits == 64
                           : page.bits <= 64;
  if (page.format == ESampleFormat::kOther) return "Complex samples are not supported";
  if (!bitsFit) return "Samples of " + std::to_string(page.bits) + " bits are not supported";
  if (IsJpeg2000(page.compression)) {
    const bool fits = page.format == ESampleFormat::kUnsigned && (page.bits == 8 || page.bits == 16);
    if (!fits) return "JPEG 2000 in TIFF is supported for unsigned samples of 8 and 16 bits only";
  } else if (!TIFFIsCODECConfigured(static_cast<std::uint16_t>(page.compression))) {
    return "The compression " + std::to_string(page.compression) + " is not supported";
  }
  // libtiff adds up the differences of other pixels wrongly.
  if (page.compression == COMPRESSION_PIXARLOG && page.RowSamples() != 3 && page.RowSamples() != 4) {
    return "PixarLog is supported for pixels of 3 or 4 samples only";
  }
  if (page.compression == COMPRESSION_JPEG && page.bits != 8) return "JPEG of 12 bits is not supported";
  switch (page.photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_RGB:
    case PHOTOMETRIC_PALETTE:
    case PHOTOMETRIC_MASK:
    case PHOTOMETRIC_CIELAB:
    case PHOTOMETRIC_ICCLAB:
    case kPhotometricLinearRaw:
      return {};
    case PHOTOMETRIC_SEPARATED:
      if (page.samples == 1 || (page.samples >= 4 && page.inkSet == INKSET_CMYK)) return {};
      return "Separations in other inks than CMYK are not supported";
    case PHOTOMETRIC_YCBCR:
      return UnsupportedYCbCr(page);
    case PHOTOMETRIC_LOGL:
    case PHOTOMETRIC_LOGLUV:
      if (page.compression == COMPRESSION_SGILOG || page.compression == COMPRESSION_SGILOG24) return {};
      return "Logarithmic luminance without its compression is not supported";
    default:
      return "The photometric interpretation " + std::to_string(page.photometric) + " is not supported";
  }
}

}  // namespace imageformats::tiff
