#include "platform/imageformats/jxl/jxl_library.h"

#include <jxl/version.h>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/loaded_library.h"

#define QV_JXL_TEXT(number) #number
#define QV_JXL_NAME(major, minor) "libjxl.so." QV_JXL_TEXT(major) "." QV_JXL_TEXT(minor)

namespace imageformats {

namespace {

bool FillJxlLibrary(const CLoadedLibrary& file, SJxlLibrary& library) noexcept {
  return file.Fill(library.create, "JxlDecoderCreate") && file.Fill(library.destroy, "JxlDecoderDestroy") &&
         file.Fill(library.subscribeEvents, "JxlDecoderSubscribeEvents") &&
         file.Fill(library.setKeepOrientation, "JxlDecoderSetKeepOrientation") &&
         file.Fill(library.setParallelRunner, "JxlDecoderSetParallelRunner") &&
         file.Fill(library.setDecompressBoxes, "JxlDecoderSetDecompressBoxes") &&
         file.Fill(library.setInput, "JxlDecoderSetInput") &&
         file.Fill(library.releaseInput, "JxlDecoderReleaseInput") &&
         file.Fill(library.closeInput, "JxlDecoderCloseInput") &&
         file.Fill(library.processInput, "JxlDecoderProcessInput") &&
         file.Fill(library.getBasicInfo, "JxlDecoderGetBasicInfo") &&
         file.Fill(library.getExtraChannelInfo, "JxlDecoderGetExtraChannelInfo") &&
         file.Fill(library.getColorAsEncodedProfile, "JxlDecoderGetColorAsEncodedProfile") &&
         file.Fill(library.getIccProfileSize, "JxlDecoderGetICCProfileSize") &&
         file.Fill(library.getColorAsIccProfile, "JxlDecoderGetColorAsICCProfile") &&
         file.Fill(library.getFrameHeader, "JxlDecoderGetFrameHeader") &&
         file.Fill(library.getBoxType, "JxlDecoderGetBoxType") &&
         file.Fill(library.setBoxBuffer, "JxlDecoderSetBoxBuffer") &&
         file.Fill(library.releaseBoxBuffer, "JxlDecoderReleaseBoxBuffer") &&
         file.Fill(library.imageOutBufferSize, "JxlDecoderImageOutBufferSize") &&
         file.Fill(library.setImageOutBuffer, "JxlDecoderSetImageOutBuffer");
}

}  // namespace

const SJxlLibrary* FindJxlLibrary() noexcept {
  static const CLoadedLibrary file{QV_JXL_NAME(JPEGXL_MAJOR_VERSION, JPEGXL_MINOR_VERSION)};
  static SJxlLibrary library;
  static const bool isThere = FillJxlLibrary(file, library);
  return isThere ? &library : nullptr;
}

const SJxlLibrary& JxlLibrary() {
  const SJxlLibrary* library = FindJxlLibrary();
  if (library == nullptr) throw CUnsupportedError("The library for JPEG XL, libjxl, is not installed");
  return *library;
}

}  // namespace imageformats
