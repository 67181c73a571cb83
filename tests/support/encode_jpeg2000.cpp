#include "tests/support/encode_jpeg2000.h"

#include <openjpeg.h>

#include <cstring>
#include <memory>
#include <stdexcept>

namespace qvtest {

namespace {

// What the encoder writes to.
struct STarget {
  SFileBytes bytes;
  std::size_t next = 0;
};

OPJ_SIZE_T Write(void* data, OPJ_SIZE_T size, void* user) {
  auto& target = *static_cast<STarget*>(user);
  if (target.bytes.size() < target.next + size) target.bytes.resize(target.next + size);
  std::memcpy(target.bytes.data() + target.next, data, size);
  target.next += size;
  return size;
}

OPJ_OFF_T Skip(OPJ_OFF_T count, void* user) {
  static_cast<STarget*>(user)->next += static_cast<std::size_t>(count);
  return count;
}

OPJ_BOOL Seek(OPJ_OFF_T to, void* user) {
  static_cast<STarget*>(user)->next = static_cast<std::size_t>(to);
  return OPJ_TRUE;
}

std::unique_ptr<opj_image_t, void (*)(opj_image_t*)> ImageOf(const STestPicture& picture,
                                                             const SJpeg2000Recipe& recipe) {
  std::vector<opj_image_cmptparm_t> planes(picture.components);
  for (std::uint32_t c = 0; c < picture.components; ++c) {
    const std::uint32_t step = c == 0 ? 1 : recipe.chromaStep;
    opj_image_cmptparm_t& plane = planes[c];
    plane = {};
    plane.dx = plane.dy = step;
    plane.w = (picture.width + step - 1) / step;
    plane.h = (picture.height + step - 1) / step;
    plane.prec = picture.bits;
    plane.sgnd = recipe.isSigned;
  }
  const auto color = recipe.color != 0        ? static_cast<OPJ_COLOR_SPACE>(recipe.color)
                     : picture.components < 3 ? OPJ_CLRSPC_GRAY
                                              : OPJ_CLRSPC_SRGB;
  std::unique_ptr<opj_image_t, void (*)(opj_image_t*)> image(opj_image_create(picture.components, planes.data(), color),
                                                             opj_image_destroy);
  if (!image) throw std::bad_alloc();
  image->x0 = recipe.originX;
  image->y0 = recipe.originY;
  image->x1 = recipe.originX + picture.width;
  image->y1 = recipe.originY + picture.height;
  if (recipe.hasAlpha) image->comps[picture.components - 1].alpha = 1;
  const int less = recipe.isSigned ? 1 << (picture.bits - 1) : 0;
  for (std::uint32_t c = 0; c < picture.components; ++c) {
    OPJ_INT32* out = image->comps[c].data;
    const std::uint32_t step = planes[c].dx;
    for (std::uint32_t y = 0; y < picture.height; y += step) {
      for (std::uint32_t x = 0; x < picture.width; x += step) *out++ = picture.At(x, y, c) - less;
    }
  }
  return image;
}

opj_cparameters_t ParametersOf(const SJpeg2000Recipe& recipe) {
  opj_cparameters_t parameters;
  opj_set_default_encoder_parameters(&parameters);
  parameters.numresolution = recipe.resolutions;
  parameters.tcp_numlayers = 1;
  parameters.cp_disto_alloc = 1;
  parameters.tcp_mct = 0;
  if (recipe.tileWidth != 0) {
    parameters.tile_size_on = OPJ_TRUE;
    parameters.cp_tdx = static_cast<int>(recipe.tileWidth);
    parameters.cp_tdy = static_cast<int>(recipe.tileHeight);
  }
  return parameters;
}

}  // namespace

SFileBytes EncodeJpeg2000(const STestPicture& picture, const SJpeg2000Recipe& recipe) {
  const auto image = ImageOf(picture, recipe);
  opj_cparameters_t parameters = ParametersOf(recipe);
  opj_codec_t* codec = opj_create_compress(recipe.isFile ? OPJ_CODEC_JP2 : OPJ_CODEC_J2K);
  opj_stream_t* stream = opj_stream_create(1 << 16, OPJ_FALSE);
  STarget target;
  opj_stream_set_user_data(stream, &target, nullptr);
  opj_stream_set_write_function(stream, Write);
  opj_stream_set_skip_function(stream, Skip);
  opj_stream_set_seek_function(stream, Seek);
  const bool done = opj_setup_encoder(codec, &parameters, image.get()) &&
                    opj_start_compress(codec, image.get(), stream) && opj_encode(codec, stream) &&
                    opj_end_compress(codec, stream);
  opj_stream_destroy(stream);
  opj_destroy_codec(codec);
  if (!done) throw std::runtime_error("OpenJPEG cannot write the file");
  return target.bytes;
}

SFileBytes Jp2Box(const std::string& type, const SFileBytes& content) {
  const auto size = static_cast<std::uint32_t>(content.size() + 8);
  SFileBytes box;
  for (int shift = 24; shift >= 0; shift -= 8) box.push_back(static_cast<std::uint8_t>(size >> shift));
  return Concatenated({box, BytesOf(type), content});
}

SFileBytes Jp2File(const std::vector<SFileBytes>& headerBoxes, const SFileBytes& codestream) {
  return Concatenated({Jp2Box("jP  ", {0x0D, 0x0A, 0x87, 0x0A}), Jp2Box("ftyp", BytesOf("jp2 ....jp2 ")),
                       Jp2Box("jp2h", Concatenated(headerBoxes)), Jp2Box("jp2c", codestream)});
}

}  // namespace qvtest
