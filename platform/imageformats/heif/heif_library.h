#pragma once

#include <libheif/heif.h>

#include <memory>

namespace imageformats {

// What is used of libheif, which is loaded when it is first asked for, with the libraries that decode for it.
struct SHeifLibrary {
  decltype(&heif_context_alloc) contextAlloc = nullptr;
  decltype(&heif_context_free) contextFree = nullptr;
  decltype(&heif_context_read_from_reader) contextRead = nullptr;
  decltype(&heif_context_set_max_decoding_threads) contextSetThreads = nullptr;
  decltype(&heif_context_get_primary_image_handle) contextGetPrimary = nullptr;
  decltype(&heif_image_handle_release) handleRelease = nullptr;
  decltype(&heif_image_handle_get_width) handleGetWidth = nullptr;
  decltype(&heif_image_handle_get_height) handleGetHeight = nullptr;
  decltype(&heif_image_handle_has_alpha_channel) handleHasAlpha = nullptr;
  decltype(&heif_image_handle_is_premultiplied_alpha) handleIsPremultiplied = nullptr;
  decltype(&heif_image_handle_get_luma_bits_per_pixel) handleGetBits = nullptr;
  decltype(&heif_image_handle_get_list_of_metadata_block_IDs) handleListMetadata = nullptr;
  decltype(&heif_image_handle_get_metadata_size) handleGetMetadataSize = nullptr;
  decltype(&heif_image_handle_get_metadata) handleGetMetadata = nullptr;
  decltype(&heif_image_handle_get_raw_color_profile_size) handleGetProfileSize = nullptr;
  decltype(&heif_image_handle_get_raw_color_profile) handleGetProfile = nullptr;
  decltype(&heif_decoding_options_alloc) optionsAlloc = nullptr;
  decltype(&heif_decoding_options_free) optionsFree = nullptr;
  decltype(&heif_decode_image) decode = nullptr;
  decltype(&heif_image_get_width) imageGetWidth = nullptr;
  decltype(&heif_image_get_height) imageGetHeight = nullptr;
  decltype(&heif_image_get_bits_per_pixel_range) imageGetBits = nullptr;
  decltype(&heif_image_get_plane_readonly) imageGetPlane = nullptr;
  decltype(&heif_image_release) imageRelease = nullptr;
};

// Null when the library is not installed. Any thread.
const SHeifLibrary* FindHeifLibrary() noexcept;
// Throws CUnsupportedError instead.
const SHeifLibrary& HeifLibrary();

// The owners of libheif's objects.
struct SHeifRelease {
  void operator()(heif_context* context) const noexcept { FindHeifLibrary()->contextFree(context); }
  void operator()(heif_image_handle* handle) const noexcept { FindHeifLibrary()->handleRelease(handle); }
  void operator()(heif_image* image) const noexcept { FindHeifLibrary()->imageRelease(image); }
  void operator()(heif_decoding_options* options) const noexcept { FindHeifLibrary()->optionsFree(options); }
};
template <class Object>
using CHeifOwner = std::unique_ptr<Object, SHeifRelease>;

}  // namespace imageformats
