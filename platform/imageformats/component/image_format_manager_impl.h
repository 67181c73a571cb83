#pragma once

#include <memory>

#include "imageformats/iqvimageformatmanager.h"
#include "platform/imageformats/base/error_text.h"
#include "platform/imageformats/component/component_object.h"
#include "platform/imageformats/component/decoding.h"

// The component: codecs by name and by content. Each caller has one of its own.
class CQvImageFormatManagerImpl final : public imageformats::CComponentObject<IQvImageFormatManager> {
 public:
  CQvImageFormatManagerImpl();

  std::int32_t GetCodecByName(const CQvStringA& formatName, IQvImageCodec** codec) override;
  std::int32_t GetCodecForFile(const CQvStringW& path, IQvImageCodec** codec) override;
  std::int32_t OpenImageFile(const CQvStringW& path, IQvImageFile** file) override;
  CQvStringW GetErrorText() const override;

 private:
  // Shared with everything handed out, which may outlive the manager.
  std::shared_ptr<imageformats::CErrorText> m_error;
  std::shared_ptr<imageformats::CDecoding> m_decoding;
};
