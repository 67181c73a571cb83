#include "tools/samples/png_encoder.h"

#include <csetjmp>
#include <stdexcept>
#include <string>

#include <png.h>

namespace {

constexpr int ColorType(EPngColor color) {
  switch (color) {
    case EPngColor::kGrey:
      return PNG_COLOR_TYPE_GRAY;
    case EPngColor::kRgba:
      return PNG_COLOR_TYPE_RGBA;
    case EPngColor::kPalette:
      return PNG_COLOR_TYPE_PALETTE;
    default:
      return PNG_COLOR_TYPE_RGB;
  }
}

// Owns the library's two structures and the bytes written. As with JPEG, failure leaves the C frames by a jump.
class CPngWriter {
 public:
  CPngWriter() : m_png(png_create_write_struct(PNG_LIBPNG_VER_STRING, this, OnError, OnWarning)) {
    if (m_png != nullptr) m_info = png_create_info_struct(m_png);
  }
  ~CPngWriter() { png_destroy_write_struct(&m_png, &m_info); }
  CPngWriter(const CPngWriter&) = delete;
  CPngWriter& operator=(const CPngWriter&) = delete;

  bool Write(const SPngImage& image, png_bytepp rows) {
    if (m_info == nullptr || setjmp(png_jmpbuf(m_png)) != 0) return false;
    png_set_write_fn(m_png, this, OnData, nullptr);
    png_set_IHDR(m_png, m_info, static_cast<png_uint_32>(image.width), static_cast<png_uint_32>(image.height),
                 image.bits, ColorType(image.color), image.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (!image.filtered) png_set_filter(m_png, PNG_FILTER_TYPE_BASE, PNG_FILTER_NONE);
    if (image.color == EPngColor::kPalette) {
      png_color colors[256];
      for (std::size_t i = 0; i < image.palette.size(); ++i) {
        colors[i] = {image.palette[i][0], image.palette[i][1], image.palette[i][2]};
      }
      png_set_PLTE(m_png, m_info, colors, static_cast<int>(image.palette.size()));
    }
    png_write_info(m_png, m_info);
    png_write_image(m_png, rows);
    png_write_end(m_png, m_info);
    return true;
  }

  const CBytes& Result() const { return m_bytes; }
  const std::string& Error() const { return m_error; }

 private:
  [[noreturn]] static void OnError(png_structp png, png_const_charp message) {
    static_cast<CPngWriter*>(png_get_error_ptr(png))->m_error = message;
    png_longjmp(png, 1);
  }
  static void OnWarning(png_structp, png_const_charp) {}
  static void OnData(png_structp png, png_bytep data, png_size_t size) {
    auto& bytes = static_cast<CPngWriter*>(png_get_io_ptr(png))->m_bytes;
    bytes.insert(bytes.end(), data, data + size);
  }

  png_structp m_png;
  png_infop m_info = nullptr;
  CBytes m_bytes;
  std::string m_error = "out of memory";
};

int Components(EPngColor color) { return color == EPngColor::kRgb ? 3 : color == EPngColor::kRgba ? 4 : 1; }

}  // namespace

CBytes EncodePng(const SPngImage& image) {
  const auto rowBytes = static_cast<std::size_t>(image.width * Components(image.color) * image.bits / 8);
  const auto height = static_cast<std::size_t>(image.height);
  if (image.samples.size() != rowBytes * height || image.palette.size() > 256)
    throw std::runtime_error("PNG: wrong size");
  std::vector<png_bytep> rows(height);
  for (std::size_t y = 0; y < height; ++y) rows[y] = const_cast<png_bytep>(image.samples.data() + y * rowBytes);
  CPngWriter writer;
  if (!writer.Write(image, rows.data())) throw std::runtime_error("PNG: " + writer.Error());
  return writer.Result();
}
