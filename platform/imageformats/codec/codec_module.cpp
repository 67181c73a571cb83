#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

bool OpenedImage::CustomTag(const CQvStringW& /*name*/, CQvByteArray& /*bytes*/) { return false; }

std::unique_ptr<PictureWriter> CodecModule::CreateWriter(CQvByteArray& /*destination*/) const { return nullptr; }

}  // namespace imageformats
