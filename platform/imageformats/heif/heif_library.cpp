#include "platform/imageformats/heif/heif_library.h"

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/loaded_library.h"
#include "platform/imageformats/heif/hevc_decoder.h"

namespace imageformats {

namespace {

bool FillHeifObjects(const CLoadedLibrary& file, SHeifLibrary& library) noexcept {
  return file.Fill(library.contextAlloc, "heif_context_alloc") && file.Fill(library.contextFree, "heif_context_free") &&
         file.Fill(library.contextRead, "heif_context_read_from_reader") &&
         file.Fill(library.contextSetThreads, "heif_context_set_max_decoding_threads") &&
         file.Fill(library.contextGetPrimary, "heif_context_get_primary_image_handle") &&
         file.Fill(library.optionsAlloc, "heif_decoding_options_alloc") &&
         file.Fill(library.optionsFree, "heif_decoding_options_free") &&
         file.Fill(library.decode, "heif_decode_image") && file.Fill(library.imageGetWidth, "heif_image_get_width") &&
         file.Fill(library.imageGetHeight, "heif_image_get_height") &&
         file.Fill(library.imageGetBits, "heif_image_get_bits_per_pixel_range") &&
         file.Fill(library.imageGetPlane, "heif_image_get_plane_readonly") &&
         file.Fill(library.imageRelease, "heif_image_release");
}

bool FillHeifHandle(const CLoadedLibrary& file, SHeifLibrary& library) noexcept {
  return file.Fill(library.handleRelease, "heif_image_handle_release") &&
         file.Fill(library.handleGetWidth, "heif_image_handle_get_width") &&
         file.Fill(library.handleGetHeight, "heif_image_handle_get_height") &&
         file.Fill(library.handleHasAlpha, "heif_image_handle_has_alpha_channel") &&
         file.Fill(library.handleIsPremultiplied, "heif_image_handle_is_premultiplied_alpha") &&
         file.Fill(library.handleGetBits, "heif_image_handle_get_luma_bits_per_pixel") &&
         file.Fill(library.handleListMetadata, "heif_image_handle_get_list_of_metadata_block_IDs") &&
         file.Fill(library.handleGetMetadataSize, "heif_image_handle_get_metadata_size") &&
         file.Fill(library.handleGetMetadata, "heif_image_handle_get_metadata") &&
         file.Fill(library.handleGetProfileSize, "heif_image_handle_get_raw_color_profile_size") &&
         file.Fill(library.handleGetProfile, "heif_image_handle_get_raw_color_profile");
}

// Versions that load their decoders as plug-ins do so here.
void InitHeif(const CLoadedLibrary& file) noexcept {
  decltype(&heif_init) init = nullptr;
  if (file.Fill(init, "heif_init")) init(nullptr);
}

}  // namespace

const SHeifLibrary* FindHeifLibrary() noexcept {
  static const CLoadedLibrary file{"libheif.so.1"};
  static SHeifLibrary library;
  static const bool isThere = [] {
    const bool isWhole = FillHeifObjects(file, library) && FillHeifHandle(file, library);
    if (!isWhole) return false;
    InitHeif(file);
    return RegisterHevcDecoder(file);
  }();
  return isThere ? &library : nullptr;
}

const SHeifLibrary& HeifLibrary() {
  const SHeifLibrary* library = FindHeifLibrary();
  if (library == nullptr) throw CUnsupportedError("The library for HEIF and AVIF, libheif, is not installed");
  return *library;
}

}  // namespace imageformats
