#include "tools/samples/tiff_writer.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <stdexcept>

#include <tiffio.h>

namespace {

constexpr std::uint32_t kTagThumbnailJpeg = 65050;
constexpr std::uint32_t kTagThumbnailPixels = 65051;
// ImageJ's own tags: https://imagej.net/ij/source/ij/io/TiffDecoder.java
constexpr std::uint32_t kTagImageJCounts = 50838;
constexpr std::uint32_t kTagImageJMetadata = 50839;

char g_jpegName[] = "ThumbnailJpeg", g_pixelsName[] = "ThumbnailPixels";
char g_countsName[] = "ImageJMetadataByteCounts", g_metadataName[] = "ImageJMetadata";

void DeclarePrivateTags(TIFF* file) {
  static const TIFFFieldInfo kFields[] = {
      {kTagThumbnailJpeg, TIFF_VARIABLE2, TIFF_VARIABLE2, TIFF_UNDEFINED, FIELD_CUSTOM, 1, 1, g_jpegName},
      {kTagThumbnailPixels, TIFF_VARIABLE2, TIFF_VARIABLE2, TIFF_BYTE, FIELD_CUSTOM, 1, 1, g_pixelsName},
      {kTagImageJCounts, TIFF_VARIABLE2, TIFF_VARIABLE2, TIFF_LONG, FIELD_CUSTOM, 1, 1, g_countsName},
      {kTagImageJMetadata, TIFF_VARIABLE2, TIFF_VARIABLE2, TIFF_BYTE, FIELD_CUSTOM, 1, 1, g_metadataName},
  };
  TIFFMergeFieldInfo(file, kFields, static_cast<std::uint32_t>(std::size(kFields)));
}

const char* Mode(ETiffKind kind) {
  switch (kind) {
    case ETiffKind::kBigEndian:
      return "wb";
    case ETiffKind::kBigTiff:
      return "wl8";
    default:
      return "wl";
  }
}

int Photometric(const STiffPage& page) {
  if (page.compression == COMPRESSION_JPEG && page.components == 3) return PHOTOMETRIC_YCBCR;
  if (page.components >= 3) return PHOTOMETRIC_RGB;
  return page.whiteIsZero ? PHOTOMETRIC_MINISWHITE : PHOTOMETRIC_MINISBLACK;
}

std::size_t PixelBytes(const STiffPage& page) { return static_cast<std::size_t>(page.components * page.bits / 8); }

void SetText(TIFF* file, std::uint32_t tag, const std::string& text) {
  if (!text.empty()) TIFFSetField(file, tag, text.c_str());
}

}  // namespace

void CTiffWriter::SCloser::operator()(tiff* file) const { TIFFClose(file); }

CTiffWriter::CTiffWriter(const std::filesystem::path& path, ETiffKind kind)
    : m_name(path.string()), m_file(TIFFOpen(m_name.c_str(), Mode(kind))) {
  Check(m_file != nullptr, "cannot create ");
  DeclarePrivateTags(m_file.get());
}

CTiffWriter::~CTiffWriter() = default;

void CTiffWriter::Check(bool good, const char* what) const {
  if (!good) throw std::runtime_error(what + m_name);
}

void CTiffWriter::Write(const STiffPage& page, int subDirectories) {
  SetFields(page);
  SetPrivateFields(page);
  if (subDirectories > 0) {
    const std::vector<std::uint64_t> offsets(static_cast<std::size_t>(subDirectories), 0);
    TIFFSetField(m_file.get(), TIFFTAG_SUBIFD, subDirectories, offsets.data());
  }
  page.tileSize > 0 ? WriteTiles(page) : WriteStrips(page);
  Check(TIFFWriteDirectory(m_file.get()) == 1, "cannot write a directory of ");
}

void CTiffWriter::SetFields(const STiffPage& page) {
  TIFF* const file = m_file.get();
  TIFFSetField(file, TIFFTAG_IMAGEWIDTH, page.width);
  TIFFSetField(file, TIFFTAG_IMAGELENGTH, page.height);
  TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, page.bits);
  TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, page.components);
  TIFFSetField(file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(file, TIFFTAG_COMPRESSION, page.compression);
  TIFFSetField(file, TIFFTAG_PHOTOMETRIC, Photometric(page));
  if (page.bits == 32) TIFFSetField(file, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_IEEEFP);
  if (page.predictor != 0) TIFFSetField(file, TIFFTAG_PREDICTOR, page.predictor);
  if (page.compression == COMPRESSION_JPEG) {
    TIFFSetField(file, TIFFTAG_JPEGQUALITY, page.jpegQuality);
    TIFFSetField(file, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    if (page.components == 3) TIFFSetField(file, TIFFTAG_YCBCRSUBSAMPLING, 2, 2);
  }
  if (page.orientation != 0) TIFFSetField(file, TIFFTAG_ORIENTATION, page.orientation);
  if (page.reduced) TIFFSetField(file, TIFFTAG_SUBFILETYPE, FILETYPE_REDUCEDIMAGE);
  SetText(file, TIFFTAG_IMAGEDESCRIPTION, page.description);
  SetText(file, TIFFTAG_SOFTWARE, page.software);
  SetText(file, TIFFTAG_DATETIME, page.dateTime);
  SetText(file, TIFFTAG_ARTIST, page.artist);
  SetText(file, TIFFTAG_MAKE, page.make);
  SetText(file, TIFFTAG_MODEL, page.model);
  const double resolution = page.pixelsPerCentimetre > 0 ? page.pixelsPerCentimetre : page.pixelsPerUnit;
  if (resolution > 0) {
    TIFFSetField(file, TIFFTAG_XRESOLUTION, resolution);
    TIFFSetField(file, TIFFTAG_YRESOLUTION, resolution);
    TIFFSetField(file, TIFFTAG_RESOLUTIONUNIT, page.pixelsPerCentimetre > 0 ? RESUNIT_CENTIMETER : RESUNIT_NONE);
  }
}

void CTiffWriter::SetPrivateFields(const STiffPage& page) {
  const auto set = [this](std::uint32_t tag, std::size_t count, const void* data) {
    if (count != 0) TIFFSetField(m_file.get(), tag, static_cast<std::uint32_t>(count), data);
  };
  set(kTagThumbnailJpeg, page.thumbnailJpeg.size(), page.thumbnailJpeg.data());
  set(kTagThumbnailPixels, page.thumbnailPixels.size(), page.thumbnailPixels.data());
  set(kTagImageJCounts, page.imageJCounts.size(), page.imageJCounts.data());
  set(kTagImageJMetadata, page.imageJMetadata.size(), page.imageJMetadata.data());
}

void CTiffWriter::WriteStrips(const STiffPage& page) {
  TIFFSetField(m_file.get(), TIFFTAG_ROWSPERSTRIP,
               TIFFDefaultStripSize(m_file.get(), static_cast<std::uint32_t>(page.rowsPerStrip)));
  const std::size_t rowBytes = PixelBytes(page) * static_cast<std::size_t>(page.width);
  // The library turns rows into the file's byte order in place.
  std::vector<std::uint8_t> row(rowBytes);
  for (int y = 0; y < page.height; ++y) {
    std::memcpy(row.data(), static_cast<const std::uint8_t*>(page.pixels) + static_cast<std::size_t>(y) * rowBytes,
                rowBytes);
    Check(TIFFWriteScanline(m_file.get(), row.data(), static_cast<std::uint32_t>(y), 0) == 1,
          "cannot write pixels of ");
  }
}

// Tiles reach over the border; what lies outside repeats the last pixel, so that lossy compression has no edge to ring
// at.
void CTiffWriter::WriteTiles(const STiffPage& page) {
  TIFFSetField(m_file.get(), TIFFTAG_TILEWIDTH, page.tileSize);
  TIFFSetField(m_file.get(), TIFFTAG_TILELENGTH, page.tileSize);
  const std::size_t pixelBytes = PixelBytes(page);
  const auto* pixels = static_cast<const std::uint8_t*>(page.pixels);
  std::vector<std::uint8_t> tile(static_cast<std::size_t>(page.tileSize * page.tileSize) * pixelBytes);
  for (int top = 0; top < page.height; top += page.tileSize) {
    for (int left = 0; left < page.width; left += page.tileSize) {
      std::uint8_t* target = tile.data();
      for (int y = 0; y < page.tileSize; ++y) {
        const std::size_t row =
            static_cast<std::size_t>(std::min(top + y, page.height - 1)) * static_cast<std::size_t>(page.width);
        for (int x = 0; x < page.tileSize; ++x, target += pixelBytes) {
          std::memcpy(target,
                      pixels + (row + static_cast<std::size_t>(std::min(left + x, page.width - 1))) * pixelBytes,
                      pixelBytes);
        }
      }
      Check(TIFFWriteTile(m_file.get(), tile.data(), static_cast<std::uint32_t>(left), static_cast<std::uint32_t>(top),
                          0, 0) > 0,
            "cannot write pixels of ");
    }
  }
}

void CTiffWriter::Close() {
  Check(TIFFFlush(m_file.get()) == 1, "cannot finish ");
  m_file.reset();
}

STiffPage PageOf(const SRgbImage& image) {
  STiffPage page;
  page.width = image.width;
  page.height = image.height;
  page.components = 3;
  page.pixels = image.pixels.data();
  return page;
}

STiffPage PageOf(const std::vector<std::uint16_t>& counts, int width, int height) {
  STiffPage page;
  page.width = width;
  page.height = height;
  page.bits = 16;
  page.pixels = counts.data();
  return page;
}

CBytes AlignedRgbRows(const SRgbImage& image) {
  const auto exact = static_cast<std::size_t>(image.width) * 3;
  const std::size_t step = (exact + 3) / 4 * 4;
  CBytes rows(step * static_cast<std::size_t>(image.height));
  for (int y = 0; y < image.height; ++y) {
    std::copy_n(image.Pixel(0, y), exact, rows.data() + static_cast<std::size_t>(y) * step);
  }
  return rows;
}
