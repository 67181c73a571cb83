#include "platform/imageformats/component/codec_registry.h"

#include "platform/imageformats/bmp/bmp_codec.h"
#include "platform/imageformats/dicom/dicom_codec.h"
#include "platform/imageformats/fits/fits_codec.h"
#include "platform/imageformats/gif/gif_codec.h"
#include "platform/imageformats/jpeg/jpeg_codec.h"
#include "platform/imageformats/jpeg2000/jpeg2000_codec.h"
#include "platform/imageformats/mrc/mrc_codec.h"
#include "platform/imageformats/nifti/nifti_codec.h"
#include "platform/imageformats/nrrd/nrrd_codec.h"
#include "platform/imageformats/png/png_codec.h"
#include "platform/imageformats/pnm/pnm_codec.h"
#include "platform/imageformats/tiff/tiff_codec.h"
#include "platform/imageformats/webp/webp_codec.h"
#include "platform/imageformats/zarr/zarr_codec.h"
#if defined(QV_HAVE_OPENSLIDE)
#include "platform/imageformats/wsi/wsi_codec.h"
#endif
#if defined(QV_HAVE_HEIF)
#include "platform/imageformats/heif/heif_codec.h"
#endif
#if defined(QV_HAVE_JXL)
#include "platform/imageformats/jxl/jxl_codec.h"
#endif

namespace imageformats {

std::span<const CCodecModule* const> AllCodecs() noexcept {
  static const CCodecModule* const codecs[] = {
#if defined(QV_HAVE_OPENSLIDE)
    &WsiCodec(),
#endif
    &TiffCodec(),
    &JpegCodec(),
    &PngCodec(),
    &ZarrCodec(),
    &BmpCodec(),
    &GifCodec(),
    &PnmCodec(),
    &NrrdCodec(),
    &NiftiCodec(),
    &FitsCodec(),
    &Jpeg2000Codec(),
    &WebpCodec(),
#if defined(QV_HAVE_HEIF)
    &HeifCodec(),
#endif
    &DicomCodec(),
    &MrcCodec(),  // by what its numbers mean, where an old one has no signature
#if defined(QV_HAVE_JXL)
    &JxlCodec(),  // two bytes may be all of its signature
#endif
#if defined(QV_HAVE_OPENSLIDE)
    &WsiFallbackCodec(),
#endif
  };
  return codecs;
}

const CCodecModule* FindCodecByName(std::string_view name) noexcept {
  for (const CCodecModule* codec : AllCodecs()) {
    if (name == codec->Name()) return codec;
  }
  return nullptr;
}

const CCodecModule* FindCodecFor(const CInput& input) noexcept {
  for (const CCodecModule* codec : AllCodecs()) {
    if (codec->Matches(input)) return codec;
  }
  return nullptr;
}

const CCodecModule* FindCodecFor(const CInput& input, const std::function<bool(const CCodecModule&)>& matches) {
  for (const CCodecModule* codec : AllCodecs()) {
    if (codec->MayMatch(input) && (codec->IsSettledByFirstLook(input) || matches(*codec))) return codec;
  }
  return nullptr;
}

}  // namespace imageformats
