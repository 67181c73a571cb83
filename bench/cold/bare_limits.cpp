#include "bench/cold/bare_limits.h"

#include <cstdio>
#include <stdexcept>
#include <vector>

#include <jpeglib.h>
#include <png.h>
#include <tiffio.h>

#include "tests/support/c_handle.h"

namespace {

using CFile = qvtest::CHandle<std::FILE, std::fclose>;
using CTiffFile = qvtest::CHandle<TIFF, TIFFClose>;

CFile OpenFile(const std::string& path) {
  CFile file(std::fopen(path.c_str(), "rb"));
  if (!file) throw std::runtime_error("cannot open " + path);
  return file;
}

class CJpegReader {
 public:
  explicit CJpegReader(std::FILE* file) {
    m_info.err = jpeg_std_error(&m_errors);
    jpeg_create_decompress(&m_info);
    jpeg_stdio_src(&m_info, file);
    jpeg_read_header(&m_info, TRUE);
  }
  ~CJpegReader() { jpeg_destroy_decompress(&m_info); }
  CJpegReader(const CJpegReader&) = delete;
  CJpegReader& operator=(const CJpegReader&) = delete;

  std::uint64_t Decode() {
    m_info.scale_num = 1;
    m_info.scale_denom = 8;
    jpeg_start_decompress(&m_info);
    const std::size_t rowBytes = std::size_t{m_info.output_width} * static_cast<std::size_t>(m_info.output_components);
    std::vector<JSAMPLE> row(rowBytes);
    JSAMPROW address = row.data();
    while (m_info.output_scanline < m_info.output_height) jpeg_read_scanlines(&m_info, &address, 1);
    jpeg_finish_decompress(&m_info);
    return rowBytes * m_info.output_height;
  }

 private:
  jpeg_decompress_struct m_info{};
  jpeg_error_mgr m_errors{};
};

class CPngReader {
 public:
  explicit CPngReader(std::FILE* file)
      : m_png(png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr)),
        m_info(png_create_info_struct(m_png)) {
    png_init_io(m_png, file);
    png_read_info(m_png, m_info);
  }
  ~CPngReader() { png_destroy_read_struct(&m_png, &m_info, nullptr); }
  CPngReader(const CPngReader&) = delete;
  CPngReader& operator=(const CPngReader&) = delete;

  std::uint64_t Decode() {
    std::vector<png_byte> row(png_get_rowbytes(m_png, m_info));
    const png_uint_32 height = png_get_image_height(m_png, m_info);
    for (png_uint_32 y = 0; y < height; ++y) png_read_row(m_png, row.data(), nullptr);
    return std::uint64_t{row.size()} * height;
  }

 private:
  png_structp m_png;
  png_infop m_info;
};

CTiffFile OpenTiff(const std::string& path) {
  CTiffFile tiff(TIFFOpen(path.c_str(), "r"));
  if (!tiff) throw std::runtime_error("cannot open " + path);
  return tiff;
}

std::uint64_t DecodeDirectory(TIFF* tiff) {
  const bool tiled = TIFFIsTiled(tiff) != 0;
  std::uint16_t compression = COMPRESSION_NONE;
  TIFFGetField(tiff, TIFFTAG_COMPRESSION, &compression);
  // Else libtiff would leave the colour conversion to its caller.
  if (compression == COMPRESSION_JPEG) TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
  std::vector<std::uint8_t> block(static_cast<std::size_t>(tiled ? TIFFTileSize(tiff) : TIFFStripSize(tiff)));
  const auto size = static_cast<tmsize_t>(block.size());
  const std::uint32_t blocks = tiled ? TIFFNumberOfTiles(tiff) : TIFFNumberOfStrips(tiff);
  std::uint64_t bytes = 0;
  for (std::uint32_t i = 0; i < blocks; ++i) {
    const tmsize_t got =
        tiled ? TIFFReadEncodedTile(tiff, i, block.data(), size) : TIFFReadEncodedStrip(tiff, i, block.data(), size);
    if (got < 0) throw std::runtime_error("cannot decode a strip or tile");
    bytes += static_cast<std::uint64_t>(got);
  }
  return bytes;
}

}  // namespace

std::uint64_t DecodeJpegAtEighth(const std::string& path) {
  const CFile file = OpenFile(path);
  return CJpegReader(file.get()).Decode();
}

std::uint64_t DecodePngRows(const std::string& path) {
  const CFile file = OpenFile(path);
  return CPngReader(file.get()).Decode();
}

std::uint64_t DecodeTiff(const std::string& path, int first, int count) {
  const CTiffFile tiff = OpenTiff(path);
  std::uint64_t bytes = 0;
  for (int i = first; i < first + count; ++i) {
    if (TIFFSetDirectory(tiff.get(), static_cast<tdir_t>(i)) != 1) throw std::runtime_error("no such directory");
    bytes += DecodeDirectory(tiff.get());
  }
  return bytes;
}

std::uint64_t DecodeTiffSubDirectory(const std::string& path, int number) {
  const CTiffFile tiff = OpenTiff(path);
  std::uint16_t count = 0;
  const std::uint64_t* offsets = nullptr;
  if (TIFFGetField(tiff.get(), TIFFTAG_SUBIFD, &count, &offsets) != 1 || number >= count ||
      TIFFSetSubDirectory(tiff.get(), offsets[number]) != 1) {
    throw std::runtime_error("no such sub-directory");
  }
  return DecodeDirectory(tiff.get());
}
