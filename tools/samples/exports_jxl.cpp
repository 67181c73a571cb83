#include <jxl/encode.h>

#include <memory>
#include <stdexcept>

#include "tools/samples/exports.h"

namespace {

void CheckJxl(JxlEncoderStatus status) {
  if (status != JXL_ENC_SUCCESS) throw std::runtime_error("libjxl cannot write the picture");
}

struct SJxlEncoderFree {
  void operator()(JxlEncoder* encoder) const { JxlEncoderDestroy(encoder); }
};

CBytes JxlOutput(JxlEncoder* encoder) {
  CBytes file(1 << 16);
  std::uint8_t* next = file.data();
  std::size_t room = file.size();
  JxlEncoderStatus status;
  while ((status = JxlEncoderProcessOutput(encoder, &next, &room)) == JXL_ENC_NEED_MORE_OUTPUT) {
    const std::size_t used = file.size() - room;
    file.resize(2 * file.size());
    next = file.data() + used;
    room = file.size() - used;
  }
  CheckJxl(status);
  file.resize(file.size() - room);
  return file;
}

}  // namespace

CBytes EncodeJxl(const SRgbImage& image) {
  const std::unique_ptr<JxlEncoder, SJxlEncoderFree> encoder(JxlEncoderCreate(nullptr));
  JxlBasicInfo info;
  JxlEncoderInitBasicInfo(&info);
  info.xsize = static_cast<std::uint32_t>(image.width);
  info.ysize = static_cast<std::uint32_t>(image.height);
  info.bits_per_sample = 8;
  info.num_color_channels = 3;
  info.uses_original_profile = JXL_FALSE;
  CheckJxl(JxlEncoderSetBasicInfo(encoder.get(), &info));
  JxlColorEncoding color;
  JxlColorEncodingSetToSRGB(&color, JXL_FALSE);
  CheckJxl(JxlEncoderSetColorEncoding(encoder.get(), &color));
  const JxlPixelFormat format{3, JXL_TYPE_UINT8, JXL_NATIVE_ENDIAN, 0};
  JxlEncoderFrameSettings* settings = JxlEncoderFrameSettingsCreate(encoder.get(), nullptr);
  CheckJxl(JxlEncoderAddImageFrame(settings, &format, image.pixels.data(), image.pixels.size()));
  JxlEncoderCloseInput(encoder.get());
  return JxlOutput(encoder.get());
}
