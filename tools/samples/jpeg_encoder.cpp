#include "tools/samples/jpeg_encoder.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include <jpeglib.h>

namespace {

// Owns the compressor and the memory it writes to. The library reports failure by a call that must not return, and an
// exception must not cross its C frames; hence the jump.
class CJpegCompressor {
 public:
  CJpegCompressor() {
    m_info.err = jpeg_std_error(&m_errors);
    m_errors.error_exit = OnError;
    m_info.client_data = this;
  }
  ~CJpegCompressor() {
    jpeg_destroy_compress(&m_info);
    std::free(m_buffer);
  }
  CJpegCompressor(const CJpegCompressor&) = delete;
  CJpegCompressor& operator=(const CJpegCompressor&) = delete;

  bool Compress(const std::uint8_t* pixels, int width, int height, int components, const SJpegOptions& options) {
    if (setjmp(m_failed) != 0) return false;
    jpeg_create_compress(&m_info);
    jpeg_mem_dest(&m_info, &m_buffer, &m_size);
    m_info.image_width = static_cast<JDIMENSION>(width);
    m_info.image_height = static_cast<JDIMENSION>(height);
    m_info.input_components = components;
    m_info.in_color_space = components == 3 ? JCS_RGB : JCS_GRAYSCALE;
    jpeg_set_defaults(&m_info);
    // The fast transforms differ between processors; this one does not.
    m_info.dct_method = JDCT_ISLOW;
    jpeg_set_quality(&m_info, options.quality, TRUE);
    if (options.fullColor) m_info.comp_info[0].h_samp_factor = m_info.comp_info[0].v_samp_factor = 1;
    m_info.restart_in_rows = options.restartRows;
    if (options.progressive) jpeg_simple_progression(&m_info);
    jpeg_start_compress(&m_info, TRUE);
    if (!options.app1.empty()) {
      jpeg_write_marker(&m_info, JPEG_APP0 + 1, options.app1.data(), static_cast<unsigned>(options.app1.size()));
    }
    while (m_info.next_scanline < m_info.image_height) {
      const std::size_t row =
          static_cast<std::size_t>(m_info.next_scanline) * static_cast<std::size_t>(width * components);
      auto* address = const_cast<JSAMPROW>(pixels + row);
      jpeg_write_scanlines(&m_info, &address, 1);
    }
    jpeg_finish_compress(&m_info);
    return true;
  }

  CBytes Result() const { return {m_buffer, m_buffer + m_size}; }
  std::string Error() {
    char text[JMSG_LENGTH_MAX];
    m_errors.format_message(reinterpret_cast<j_common_ptr>(&m_info), text);
    return text;
  }

 private:
  [[noreturn]] static void OnError(j_common_ptr info) {
    std::longjmp(static_cast<CJpegCompressor*>(info->client_data)->m_failed, 1);
  }

  jpeg_compress_struct m_info{};
  jpeg_error_mgr m_errors{};
  std::jmp_buf m_failed{};
  unsigned char* m_buffer = nullptr;
  unsigned long m_size = 0;
};

CBytes Encode(const std::uint8_t* pixels, int width, int height, int components, const SJpegOptions& options) {
  CJpegCompressor compressor;
  if (!compressor.Compress(pixels, width, height, components, options)) {
    throw std::runtime_error("JPEG: " + compressor.Error());
  }
  return compressor.Result();
}

}  // namespace

CBytes EncodeJpeg(const SRgbImage& image, const SJpegOptions& options) {
  return Encode(image.pixels.data(), image.width, image.height, 3, options);
}

CBytes EncodeGreyJpeg(const CBytes& pixels, int width, int height, const SJpegOptions& options) {
  return Encode(pixels.data(), width, height, 1, options);
}
