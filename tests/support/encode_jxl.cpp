#include "tests/support/encode_jxl.h"

#include <jxl/encode.h>

#include <memory>
#include <stdexcept>

namespace qvtest {

namespace {

struct SDestroyJxlEncoder {
  void operator()(JxlEncoder* encoder) const noexcept { JxlEncoderDestroy(encoder); }
};

void Check(JxlEncoderStatus status) {
  if (status != JXL_ENC_SUCCESS) throw std::runtime_error("libjxl cannot write the file");
}

bool HasAlpha(const STestPicture& picture) { return picture.components % 2 == 0; }

JxlBasicInfo BasicInfo(const STestPicture& picture, const SJxlRecipe& recipe) {
  JxlBasicInfo info;
  JxlEncoderInitBasicInfo(&info);
  info.xsize = picture.width;
  info.ysize = picture.height;
  info.bits_per_sample = picture.bits;
  info.num_color_channels = picture.components - (HasAlpha(picture) ? 1 : 0);
  info.num_extra_channels = HasAlpha(picture) ? 1 : 0;
  info.alpha_bits = HasAlpha(picture) ? picture.bits : 0;
  info.uses_original_profile = recipe.lossless ? JXL_TRUE : JXL_FALSE;
  info.orientation = static_cast<JxlOrientation>(recipe.orientation);
  if (recipe.frames > 1) {
    info.have_animation = JXL_TRUE;
    info.animation.tps_numerator = 1000;
    info.animation.tps_denominator = 1;
  }
  return info;
}

void SetColor(JxlEncoder* encoder, const STestPicture& picture, const SJxlRecipe& recipe) {
  if (!recipe.profile.empty())
    return Check(JxlEncoderSetICCProfile(encoder, recipe.profile.data(), recipe.profile.size()));
  JxlColorEncoding color;
  JxlColorEncodingSetToSRGB(&color, picture.components < 3 ? JXL_TRUE : JXL_FALSE);
  Check(JxlEncoderSetColorEncoding(encoder, &color));
}

void AddFrames(JxlEncoder* encoder, const STestPicture& picture, const SJxlRecipe& recipe) {
  JxlEncoderFrameSettings* settings = JxlEncoderFrameSettingsCreate(encoder, nullptr);
  Check(JxlEncoderSetFrameLossless(settings, recipe.lossless ? JXL_TRUE : JXL_FALSE));
  Check(JxlEncoderFrameSettingsSetOption(settings, JXL_ENC_FRAME_SETTING_EFFORT, 3));
  const bool isWide = picture.bits > 8;
  const JxlPixelFormat format{picture.components, isWide ? JXL_TYPE_UINT16 : JXL_TYPE_UINT8, JXL_NATIVE_ENDIAN, 0};
  const SFileBytes bytes(picture.samples.begin(), picture.samples.end());
  for (int i = 0; i < recipe.frames; ++i) {
    JxlFrameHeader header;
    JxlEncoderInitFrameHeader(&header);
    header.duration = recipe.frames > 1 ? 40 : 0;
    Check(JxlEncoderSetFrameHeader(settings, &header));
    Check(isWide ? JxlEncoderAddImageFrame(settings, &format, picture.samples.data(), picture.samples.size() * 2)
                 : JxlEncoderAddImageFrame(settings, &format, bytes.data(), bytes.size()));
  }
}

SFileBytes Written(JxlEncoder* encoder) {
  SFileBytes file(1 << 12);
  std::uint8_t* next = file.data();
  std::size_t room = file.size();
  JxlEncoderStatus status;
  while ((status = JxlEncoderProcessOutput(encoder, &next, &room)) == JXL_ENC_NEED_MORE_OUTPUT) {
    const std::size_t used = file.size() - room;
    file.resize(2 * file.size());
    next = file.data() + used;
    room = file.size() - used;
  }
  Check(status);
  file.resize(file.size() - room);
  return file;
}

}  // namespace

SFileBytes EncodeJxl(const STestPicture& picture, const SJxlRecipe& recipe) {
  const std::unique_ptr<JxlEncoder, SDestroyJxlEncoder> encoder(JxlEncoderCreate(nullptr));
  const JxlBasicInfo info = BasicInfo(picture, recipe);
  Check(JxlEncoderSetCodestreamLevel(encoder.get(), 10));
  if (recipe.exif.empty()) Check(JxlEncoderUseContainer(encoder.get(), JXL_FALSE));
  Check(JxlEncoderSetBasicInfo(encoder.get(), &info));
  SetColor(encoder.get(), picture, recipe);
  if (!recipe.exif.empty()) {
    const SFileBytes box = Concatenated({SFileBytes(4), recipe.exif});
    Check(JxlEncoderUseBoxes(encoder.get()));
    Check(JxlEncoderAddBox(encoder.get(), "Exif", box.data(), box.size(), JXL_TRUE));
  }
  AddFrames(encoder.get(), picture, recipe);
  JxlEncoderCloseInput(encoder.get());
  return Written(encoder.get());
}

}  // namespace qvtest
