#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

bool COpenedImage::CustomTag(const CQvStringW& /*name*/, CQvByteArray& /*bytes*/) { return false; }

std::unique_ptr<IPictureWriter> CCodecModule::CreateWriter(CQvByteArray& /*destination*/) const { return nullptr; }

}  // namespace imageformats
