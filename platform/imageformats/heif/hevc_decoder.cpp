#include "platform/imageformats/heif/hevc_decoder.h"

#include <libde265/de265.h>
#include <libheif/heif.h>
#include <libheif/heif_plugin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace imageformats {

namespace {

struct SHevcLibrary {
  decltype(&de265_new_decoder) create = nullptr;
  decltype(&de265_free_decoder) destroy = nullptr;
  decltype(&de265_set_parameter_bool) setParameter = nullptr;
  decltype(&de265_push_NAL) pushUnit = nullptr;
  decltype(&de265_flush_data) flush = nullptr;
  decltype(&de265_decode) decode = nullptr;
  decltype(&de265_get_next_picture) getNextPicture = nullptr;
  decltype(&de265_get_image_width) getWidth = nullptr;
  decltype(&de265_get_image_height) getHeight = nullptr;
  decltype(&de265_get_chroma_format) getChroma = nullptr;
  decltype(&de265_get_bits_per_pixel) getBits = nullptr;
  decltype(&de265_get_image_plane) getPlane = nullptr;
  decltype(&de265_get_image_full_range_flag) getFullRange = nullptr;
  decltype(&de265_get_image_colour_primaries) getPrimaries = nullptr;
  decltype(&de265_get_image_transfer_characteristics) getTransfer = nullptr;
  decltype(&de265_get_image_matrix_coefficients) getMatrix = nullptr;
  bool isThere = false;
};

struct SHeifImageFunctions {
  decltype(&heif_register_decoder_plugin) registerDecoder = nullptr;
  decltype(&heif_image_create) create = nullptr;
  decltype(&heif_image_release) release = nullptr;
  decltype(&heif_image_add_plane) addPlane = nullptr;
  decltype(&heif_image_get_plane) getPlane = nullptr;
  decltype(&heif_image_set_nclx_color_profile) setColor = nullptr;
  decltype(&heif_nclx_color_profile_alloc) colorAlloc = nullptr;
  decltype(&heif_nclx_color_profile_free) colorFree = nullptr;
  decltype(&heif_nclx_color_profile_set_color_primaries) setPrimaries = nullptr;
  decltype(&heif_nclx_color_profile_set_transfer_characteristics) setTransfer = nullptr;
  decltype(&heif_nclx_color_profile_set_matrix_coefficients) setMatrix = nullptr;
};

SHeifImageFunctions g_heif;

SHevcLibrary LoadHevc() noexcept {
  static const CLoadedLibrary file{"libde265.so.0"};
  SHevcLibrary hevc;
  hevc.isThere =
      file.Fill(hevc.create, "de265_new_decoder") && file.Fill(hevc.destroy, "de265_free_decoder") &&
      file.Fill(hevc.setParameter, "de265_set_parameter_bool") && file.Fill(hevc.pushUnit, "de265_push_NAL") &&
      file.Fill(hevc.flush, "de265_flush_data") && file.Fill(hevc.decode, "de265_decode") &&
      file.Fill(hevc.getNextPicture, "de265_get_next_picture") && file.Fill(hevc.getWidth, "de265_get_image_width") &&
      file.Fill(hevc.getHeight, "de265_get_image_height") && file.Fill(hevc.getChroma, "de265_get_chroma_format") &&
      file.Fill(hevc.getBits, "de265_get_bits_per_pixel") && file.Fill(hevc.getPlane, "de265_get_image_plane") &&
      file.Fill(hevc.getFullRange, "de265_get_image_full_range_flag") &&
      file.Fill(hevc.getPrimaries, "de265_get_image_colour_primaries") &&
      file.Fill(hevc.getTransfer, "de265_get_image_transfer_characteristics") &&
      file.Fill(hevc.getMatrix, "de265_get_image_matrix_coefficients");
  return hevc;
}

const SHevcLibrary& Hevc() noexcept {
  static const SHevcLibrary library = LoadHevc();
  return library;
}

bool LoadHeifImage(const CLoadedLibrary& file) noexcept {
  return file.Fill(g_heif.registerDecoder, "heif_register_decoder_plugin") &&
         file.Fill(g_heif.create, "heif_image_create") && file.Fill(g_heif.release, "heif_image_release") &&
         file.Fill(g_heif.addPlane, "heif_image_add_plane") && file.Fill(g_heif.getPlane, "heif_image_get_plane") &&
         file.Fill(g_heif.setColor, "heif_image_set_nclx_color_profile") &&
         file.Fill(g_heif.colorAlloc, "heif_nclx_color_profile_alloc") &&
         file.Fill(g_heif.colorFree, "heif_nclx_color_profile_free") &&
         file.Fill(g_heif.setPrimaries, "heif_nclx_color_profile_set_color_primaries") &&
         file.Fill(g_heif.setTransfer, "heif_nclx_color_profile_set_transfer_characteristics") &&
         file.Fill(g_heif.setMatrix, "heif_nclx_color_profile_set_matrix_coefficients");
}

constexpr heif_error kDone = {heif_error_Ok, heif_suberror_Unspecified, "Success"};
constexpr heif_error kDamaged = {heif_error_Decoder_plugin_error, heif_suberror_Unspecified, "the HEVC data"};

const char* NameOfDecoder() noexcept { return "libde265 on the calling thread"; }

// More than libheif's own.
int PriorityFor(heif_compression_format format) noexcept { return format == heif_compression_HEVC ? 1000 : 0; }

heif_error NewDecoder(void** decoder) noexcept {
  if (!Hevc().isThere) {
    return {heif_error_Unsupported_feature, heif_suberror_Unsupported_codec, "libde265 is not installed"};
  }
  *decoder = Hevc().create();
  if (*decoder == nullptr) return {heif_error_Memory_allocation_error, heif_suberror_Unspecified, "no memory"};
  Hevc().setParameter(*decoder, DE265_DECODER_PARAM_SUPPRESS_FAULTY_PICTURES, 1);
  return kDone;
}

void FreeDecoder(void* decoder) noexcept { Hevc().destroy(decoder); }

// Units, each behind its size in four bytes.
heif_error PushData(void* decoder, const void* data, std::size_t size) noexcept {
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  constexpr std::size_t kSizeBytes = 4;
  for (std::size_t at = 0; at < size;) {
    if (size - at < kSizeBytes) return kDamaged;
    std::size_t unit = 0;
    for (std::size_t i = 0; i < kSizeBytes; ++i) unit = unit << 8 | bytes[at + i];
    at += kSizeBytes;
    if (unit > size - at) return kDamaged;
    if (Hevc().pushUnit(decoder, bytes + at, static_cast<int>(unit), 0, nullptr) != DE265_OK) return kDamaged;
    at += unit;
  }
  return kDone;
}

bool CopyPlane(const de265_image* from, int channel, heif_image* to) noexcept {
  const int width = Hevc().getWidth(from, channel), height = Hevc().getHeight(from, channel);
  const int bits = Hevc().getBits(from, channel);
  const auto plane = static_cast<heif_channel>(heif_channel_Y + channel);
  if (width <= 0 || height <= 0 || bits < 8 || bits > 16) return false;
  if (g_heif.addPlane(to, plane, width, height, bits).code != heif_error_Ok) return false;
  int fromStride = 0, toStride = 0;
  const std::uint8_t* source = Hevc().getPlane(from, channel, &fromStride);
  std::uint8_t* target = g_heif.getPlane(to, plane, &toStride);
  const int rowBytes = width * (bits > 8 ? 2 : 1);
  if (source == nullptr || target == nullptr || fromStride < rowBytes || toStride < rowBytes) return false;
  for (std::ptrdiff_t y = 0; y < height; ++y) {
    std::memcpy(target + y * toStride, source + y * fromStride, static_cast<std::size_t>(rowBytes));
  }
  return true;
}

// What the stream says of its colours; the file's own word counts more.
void CopyColor(const de265_image* from, heif_image* to) noexcept {
  heif_color_profile_nclx* color = g_heif.colorAlloc();
  if (color == nullptr) return;
  g_heif.setPrimaries(color, static_cast<std::uint16_t>(Hevc().getPrimaries(from)));
  g_heif.setTransfer(color, static_cast<std::uint16_t>(Hevc().getTransfer(from)));
  g_heif.setMatrix(color, static_cast<std::uint16_t>(Hevc().getMatrix(from)));
  color->full_range_flag = Hevc().getFullRange(from) != 0;
  g_heif.setColor(to, color);
  g_heif.colorFree(color);
}

heif_error TakePicture(const de265_image* from, heif_image** out) noexcept {
  const de265_chroma chroma = Hevc().getChroma(from);
  const bool isGrey = chroma == de265_chroma_mono;
  const heif_error made =
      g_heif.create(Hevc().getWidth(from, 0), Hevc().getHeight(from, 0),
                    isGrey ? heif_colorspace_monochrome : heif_colorspace_YCbCr, static_cast<heif_chroma>(chroma), out);
  if (made.code != heif_error_Ok) return made;
  for (int channel = 0; channel < (isGrey ? 1 : 3); ++channel) {
    if (CopyPlane(from, channel, *out)) continue;
    g_heif.release(*out);
    *out = nullptr;
    return kDamaged;
  }
  CopyColor(from, *out);
  return kDone;
}

heif_error DecodeImage(void* decoder, heif_image** out) noexcept {
  *out = nullptr;
  Hevc().flush(decoder);
  for (int more = 1; more != 0;) {
    if (Hevc().decode(decoder, &more) != DE265_OK) return kDamaged;
    if (const de265_image* picture = Hevc().getNextPicture(decoder)) return TakePicture(picture, out);
  }
  return kDamaged;
}

void SetStrict(void* /*decoder*/, int /*isStrict*/) noexcept {}

}  // namespace

bool RegisterHevcDecoder(const CLoadedLibrary& heif) noexcept {
  static const heif_decoder_plugin decoder = [] {
    heif_decoder_plugin functions{};
    functions.plugin_api_version = 2;
    functions.get_plugin_name = NameOfDecoder;
    functions.does_support_format = PriorityFor;
    functions.new_decoder = NewDecoder;
    functions.free_decoder = FreeDecoder;
    functions.push_data = PushData;
    functions.decode_image = DecodeImage;
    functions.set_strict_decoding = SetStrict;
    return functions;
  }();
  (void)Hevc();
  return LoadHeifImage(heif) && g_heif.registerDecoder(&decoder).code == heif_error_Ok;
}

}  // namespace imageformats
