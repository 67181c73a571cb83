#pragma once

#include <jxl/decode.h>

namespace imageformats {

// What is used of libjxl, which is loaded when it is first asked for.
struct SJxlLibrary {
  decltype(&JxlDecoderCreate) create = nullptr;
  decltype(&JxlDecoderDestroy) destroy = nullptr;
  decltype(&JxlDecoderSubscribeEvents) subscribeEvents = nullptr;
  decltype(&JxlDecoderSetKeepOrientation) setKeepOrientation = nullptr;
  decltype(&JxlDecoderSetParallelRunner) setParallelRunner = nullptr;
  decltype(&JxlDecoderSetDecompressBoxes) setDecompressBoxes = nullptr;
  decltype(&JxlDecoderSetInput) setInput = nullptr;
  decltype(&JxlDecoderReleaseInput) releaseInput = nullptr;
  decltype(&JxlDecoderCloseInput) closeInput = nullptr;
  decltype(&JxlDecoderProcessInput) processInput = nullptr;
  decltype(&JxlDecoderGetBasicInfo) getBasicInfo = nullptr;
  decltype(&JxlDecoderGetExtraChannelInfo) getExtraChannelInfo = nullptr;
  decltype(&JxlDecoderGetColorAsEncodedProfile) getColorAsEncodedProfile = nullptr;
  decltype(&JxlDecoderGetICCProfileSize) getIccProfileSize = nullptr;
  decltype(&JxlDecoderGetColorAsICCProfile) getColorAsIccProfile = nullptr;
  decltype(&JxlDecoderGetFrameHeader) getFrameHeader = nullptr;
  decltype(&JxlDecoderGetBoxType) getBoxType = nullptr;
  decltype(&JxlDecoderSetBoxBuffer) setBoxBuffer = nullptr;
  decltype(&JxlDecoderReleaseBoxBuffer) releaseBoxBuffer = nullptr;
  decltype(&JxlDecoderImageOutBufferSize) imageOutBufferSize = nullptr;
  decltype(&JxlDecoderSetImageOutBuffer) setImageOutBuffer = nullptr;
};

// Null when the library is not installed in the version that this was built with. Any thread.
const SJxlLibrary* FindJxlLibrary() noexcept;
// Throws CUnsupportedError instead.
const SJxlLibrary& JxlLibrary();

}  // namespace imageformats
