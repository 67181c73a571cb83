#include "platform/imageformats/component/image_format_manager_impl.h"

#include "platform/imageformats/component/codec_object.h"
#include "platform/imageformats/component/codec_registry.h"
#include "platform/imageformats/component/known_formats.h"

using namespace imageformats;

namespace {

const CCodecModule& CodecFor(const CInput& input, CDecoding& decoding) {
  Require(input.Size() != 0, "The file is empty");
  const CCodecModule* codec = decoding.FindCodec(input);
  if (codec == nullptr) throw CDamagedError(UnknownFormatReason(input));
  return *codec;
}

}  // namespace

CQvImageFormatManagerImpl::CQvImageFormatManagerImpl()
    : CComponentObject("CQvImageFormatManagerImpl", "IQvImageFormatManager"),
      m_error(std::make_shared<CErrorText>()),
      m_decoding(std::make_shared<CDecoding>()) {}

std::int32_t CQvImageFormatManagerImpl::GetCodecByName(const CQvStringA& formatName, IQvImageCodec** codec) {
  return RunReportingErrors(*m_error, [&] {
    Require(codec != nullptr, "No place for the codec was given");
    const CCodecModule* module = FindCodecByName(formatName.Str());
    Require(module != nullptr, "There is no such format");
    *codec = NewCodecObject(*module, m_decoding, m_error);
  });
}

std::int32_t CQvImageFormatManagerImpl::GetCodecForFile(const CQvStringW& path, IQvImageCodec** codec) {
  return RunReportingErrors(*m_error, [&] {
    Require(codec != nullptr, "No place for the codec was given");
    *codec = NewCodecObject(CodecFor(*CInput::FromFile(path), *m_decoding), m_decoding, m_error);
  });
}

std::int32_t CQvImageFormatManagerImpl::OpenImageFile(const CQvStringW& path, IQvImageFile** file) {
  return RunReportingErrors(*m_error, [&] {
    Require(file != nullptr, "No place for the file was given");
    const std::shared_ptr<const CInput> input = CInput::FromFile(path);
    *file = NewImageFile(path, input->StoredSize(), m_decoding->Open(CodecFor(*input, *m_decoding), input), m_error);
  });
}

CQvStringW CQvImageFormatManagerImpl::GetErrorText() const { return m_error->Get(); }
