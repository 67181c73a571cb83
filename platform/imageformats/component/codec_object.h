#pragma once

#include <memory>

#include "imageformats/iqvimageformatmanager.h"
#include "platform/imageformats/base/error_text.h"
#include "platform/imageformats/codec/codec_module.h"
#include "platform/imageformats/component/decoding.h"

namespace imageformats {

// A codec module as IQvImageCodec. Throws std::bad_alloc.
IQvImageCodec* NewCodecObject(const CCodecModule& module, std::shared_ptr<CDecoding> decoding,
                              std::shared_ptr<CErrorText> manager);

// An opened file as IQvImageFile. `path` is the one it was opened with. Throws std::bad_alloc.
IQvImageFile* NewImageFile(const CQvStringW& path, std::uint64_t size, std::unique_ptr<COpenedImage> image,
                           std::shared_ptr<CErrorText> manager);

}  // namespace imageformats
