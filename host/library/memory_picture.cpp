#include "host/library/memory_picture.h"

#include <memory>
#include <string_view>
#include <utility>

#include "host/files/failure_reason.h"
#include "host/session/image_format_manager.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

// The format that a file's first bytes tell; null when it is none of those that are read from memory.
const char* FindFormat(std::string_view bytes) {
  using namespace std::string_view_literals;
  const auto begins = [bytes](std::string_view signature) { return bytes.substr(0, signature.size()) == signature; };
  if (begins("\xFF\xD8"sv)) return "JPG";
  if (begins("\x89PNG"sv)) return "PNG";
  for (const std::string_view signature : {"II*\0"sv, "MM\0*"sv, "II+\0"sv, "MM\0+"sv}) {
    if (begins(signature)) return "TIF";
  }
  return nullptr;
}

// Passes everything on to the format's own source, and keeps alive what that one needs.
class CMemoryPictureSource final : public IQvPictureSource {
 public:
  explicit CMemoryPictureSource(std::string bytes) : m_bytes(std::move(bytes)), m_manager(CreateImageFormatManager()) {}

  std::int32_t Open(std::string* reason) {
    const char* format = FindFormat(m_bytes);
    if (!format && reason) *reason = "no image of a format that a library can hold";
    return m_manager && format ? OpenAs(format, reason) : kQvFailure;
  }

  void Release() override { delete this; }
  std::int32_t GetPictureInfo(SQvImageInfo* info) override { return m_source->GetPictureInfo(info); }
  std::int32_t ReadPicture(SQvPicBuf* picture, std::uint32_t reserved1, std::uint32_t reserved2) override {
    return m_source->ReadPicture(picture, reserved1, reserved2);
  }
  std::int32_t GetCustomTag(const CQvStringW& name, CQvByteArray* bytes) override {
    return m_source->GetCustomTag(name, bytes);
  }
  std::int32_t RenderPicture(const std::uint32_t* width, const std::uint32_t* height, SQvPicBuf* picture,
                             std::uint32_t mode, bool fast, std::uint32_t first, std::uint32_t reserved,
                             std::uint32_t channels) override {
    return m_source->RenderPicture(width, height, picture, mode, fast, first, reserved, channels);
  }
  std::int32_t GetMetadataReader(IQvMetadataReader** reader) override { return m_source->GetMetadataReader(reader); }
  CQvStringW GetErrorText() const override { return m_source->GetErrorText(); }

 private:
  std::int32_t OpenAs(const char* format, std::string* reason) {
    if (m_manager->GetCodecByName(format, m_codec.Out()) != kQvOk) return kQvFailure;
    const std::int32_t result = m_codec->OpenInputMemory(m_bytes.data(), m_bytes.size(), m_source.Out());
    if (result != kQvOk && reason) *reason = CFailureReason::OrElse(m_manager->GetErrorText(), "damaged or no image");
    return result;
  }

  // In the order in which each needs the one before it.
  const std::string m_bytes;
  const CQvRef<IQvImageFormatManager> m_manager;
  CQvRef<IQvImageCodec> m_codec;
  CQvRef<IQvPictureSource> m_source;
};

}  // namespace

std::int32_t OpenMemoryPicture(std::string bytes, IQvPictureSource** source, std::string* reason) {
  auto picture = std::make_unique<CMemoryPictureSource>(std::move(bytes));
  const std::int32_t result = picture->Open(reason);
  if (result == kQvOk) *source = picture.release();
  return result;
}

}  // namespace qvhost
