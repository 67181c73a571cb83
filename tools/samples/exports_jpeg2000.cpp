#include <openjpeg.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "tools/samples/exports.h"

namespace {

// What the encoder writes to.
struct SMemoryStream {
  CBytes bytes;
  std::size_t next = 0;
};

OPJ_SIZE_T WriteBytes(void* data, OPJ_SIZE_T size, void* user) {
  auto& stream = *static_cast<SMemoryStream*>(user);
  stream.bytes.resize(std::max(stream.bytes.size(), stream.next + size));
  std::memcpy(stream.bytes.data() + stream.next, data, size);
  stream.next += size;
  return size;
}

OPJ_OFF_T SkipBytes(OPJ_OFF_T count, void* user) {
  static_cast<SMemoryStream*>(user)->next += static_cast<std::size_t>(count);
  return count;
}

OPJ_BOOL SeekByte(OPJ_OFF_T to, void* user) {
  static_cast<SMemoryStream*>(user)->next = static_cast<std::size_t>(to);
  return OPJ_TRUE;
}

struct SImageFree {
  void operator()(opj_image_t* image) const { opj_image_destroy(image); }
};

std::unique_ptr<opj_image_t, SImageFree> PlanesOf(const SRgbImage& image) {
  opj_image_cmptparm_t planes[3] = {};
  for (opj_image_cmptparm_t& plane : planes) {
    plane.dx = plane.dy = 1;
    plane.w = static_cast<OPJ_UINT32>(image.width);
    plane.h = static_cast<OPJ_UINT32>(image.height);
    plane.prec = 8;
  }
  std::unique_ptr<opj_image_t, SImageFree> result(opj_image_create(3, planes, OPJ_CLRSPC_SRGB));
  if (!result) throw std::bad_alloc();
  result->x1 = planes[0].w;
  result->y1 = planes[0].h;
  for (std::size_t i = 0; i < image.pixels.size(); ++i) result->comps[i % 3].data[i / 3] = image.pixels[i];
  return result;
}

}  // namespace

CBytes EncodeJpeg2000(const SRgbImage& image) {
  const auto planes = PlanesOf(image);
  opj_cparameters_t parameters;
  opj_set_default_encoder_parameters(&parameters);
  parameters.tcp_numlayers = 1;
  parameters.tcp_rates[0] = 12;
  parameters.cp_disto_alloc = 1;
  parameters.irreversible = 1;
  parameters.tcp_mct = 1;
  parameters.numresolution = 5;
  opj_codec_t* codec = opj_create_compress(OPJ_CODEC_JP2);
  opj_stream_t* stream = opj_stream_create(1 << 16, OPJ_FALSE);
  SMemoryStream memory;
  opj_stream_set_user_data(stream, &memory, nullptr);
  opj_stream_set_write_function(stream, WriteBytes);
  opj_stream_set_skip_function(stream, SkipBytes);
  opj_stream_set_seek_function(stream, SeekByte);
  const bool done = opj_setup_encoder(codec, &parameters, planes.get()) &&
                    opj_start_compress(codec, planes.get(), stream) && opj_encode(codec, stream) &&
                    opj_end_compress(codec, stream);
  opj_stream_destroy(stream);
  opj_destroy_codec(codec);
  if (!done) throw std::runtime_error("OpenJPEG cannot write the picture");
  return memory.bytes;
}
