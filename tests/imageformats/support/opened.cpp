#include "tests/imageformats/support/opened.h"

#include "platform/imageformats/base/new_picture.h"
#include "platform/imageformats/component/codec_registry.h"

using namespace imageformats;
using namespace qvtest;

namespace {

STestPicture FromBuffer(const SQvPicBuf& buffer) {
  STestPicture picture = BlackPicture(buffer.width, buffer.height, buffer.components, buffer.bpc);
  const std::size_t rowSamples = std::size_t{buffer.width} * buffer.components;
  for (std::uint32_t y = 0; y < buffer.height; ++y) {
    const auto* row = static_cast<const std::uint8_t*>(buffer.data) + std::size_t{y} * buffer.widthBytes;
    for (std::size_t i = 0; i < rowSamples; ++i) {
      picture.samples[y * rowSamples + i] = buffer.bpc == 8 ? row[i] : reinterpret_cast<const std::uint16_t*>(row)[i];
    }
  }
  return picture;
}

std::unique_ptr<COpenedImage> Open(std::shared_ptr<const CInput> input) {
  const CCodecModule* codec = FindCodecFor(*input);
  if (codec == nullptr) throw CDamagedError("no codec");
  return codec->Open(std::move(input));
}

class CBytesImage final : public COpenedImage {
 public:
  explicit CBytesImage(SFileBytes bytes)
      : m_bytes(std::move(bytes)), m_image(Open(CInput::FromMemory(m_bytes.data(), m_bytes.size()))) {}

  const SQvImageInfo& Info() const override { return m_image->Info(); }
  std::uint64_t SourceBytes() const override { return m_image->SourceBytes(); }
  void Read(SQvPicBuf& picture, CRenderGuard& guard) override { m_image->Read(picture, guard); }
  void Render(const SRenderRequest& request, SQvPicBuf& picture, CRenderGuard& guard) override {
    m_image->Render(request, picture, guard);
  }
  bool CustomTag(const CQvStringW& name, CQvByteArray& bytes) override { return m_image->CustomTag(name, bytes); }
  SImageMetadata Metadata() override { return m_image->Metadata(); }

 private:
  SFileBytes m_bytes;
  std::unique_ptr<COpenedImage> m_image;
};

}  // namespace

std::unique_ptr<COpenedImage> OpenBytes(SFileBytes bytes) { return std::make_unique<CBytesImage>(std::move(bytes)); }

std::unique_ptr<COpenedImage> OpenPath(const CQvStringW& path) { return Open(CInput::FromFile(path)); }

STestPicture ReadAll(COpenedImage& image) {
  const SQvImageInfo& info = image.Info();
  CQvPicture buffer = NewPicture(info.width, info.height, info.bpcInMemory, info.components);
  CRenderGuard guard;
  image.Read(*buffer.Get(), guard);
  return FromBuffer(*buffer.Get());
}

STestPicture Render(COpenedImage& image, std::uint32_t width, std::uint32_t height, bool fast) {
  CQvPicture buffer = NewPicture(width, height, 8, 3);
  CRenderGuard guard;
  image.Render({width, height, fast, kAllChannels}, *buffer.Get(), guard);
  return FromBuffer(*buffer.Get());
}
