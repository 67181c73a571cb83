#pragma once

#include <memory>

#include "platform/imageformats/codec/codec_module.h"
#include "platform/imageformats/process/decoder.h"

namespace imageformats {

// Opens the input in the decoder, which must be running, by the codec of that name. `nativePath` is what the codec's
// library opens files by, empty for codecs that read the input. Throws what the codec throws there, and what
// CDecoder::Ask throws.
std::unique_ptr<COpenedImage> OpenRemoteImage(std::shared_ptr<CDecoder> decoder, const char* codecName,
                                              std::shared_ptr<const CInput> input, std::string nativePath);

// Whether the codec of that name knows the content. Throws what CDecoder::Ask throws.
bool MatchesRemotely(CDecoder& decoder, const char* codecName, const CInput& input, const std::string& nativePath);

}  // namespace imageformats
