#include "host/files/failure_reason.h"

#include "host/output/text.h"
#include "host/session/image_format_manager.h"
#include "picture/qvpicture.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

constexpr std::uint32_t kOverview = 1;
constexpr std::uint32_t kAllChannels = 0xFFFFFFFFu;
constexpr std::uint32_t kProbeSide = 128;

}  // namespace

std::string CFailureReason::OrElse(const CQvStringW& text, const char* otherwise) {
  return text.IsEmpty() ? std::string(otherwise) : Printable(text);
}

std::string CFailureReason::OfFile(const CQvStringW& path) {
  m_isUnsupported = true;
  if (!m_manager) m_manager = CreateImageFormatManager();
  if (!m_manager) return "the image formats are not installed";
  CQvRef<IQvImageCodec> codec;
  if (m_manager->GetCodecForFile(path, codec.Out()) != kQvOk) {
    return OrElse(m_manager->GetErrorText(), "not an image of a known format");
  }
  return OfCodec(*codec, path);
}

std::string CFailureReason::OfCodec(IQvImageCodec& codec, const CQvStringW& path) {
  m_isUnsupported = false;
  CQvRef<IQvPictureSource> source;
  if (codec.OpenInputFile(path, source.Out()) != kQvOk) {
    return OrElse(m_manager->GetErrorText(), "damaged or unreadable");
  }
  return OfSource(*source, &m_isUnsupported);
}

std::string CFailureReason::OfSource(IQvPictureSource& source, bool* isUnsupported) {
  SQvImageInfo info;
  if (source.GetPictureInfo(&info) != kQvOk) return OrElse(source.GetErrorText(), "its geometry cannot be read");
  CQvRef<IQvMetadataReader> reader;
  if (source.GetMetadataReader(reader.Out()) != kQvOk) return OrElse(source.GetErrorText(), "its texts cannot be read");
  CQvPicture picture;
  if (!picture.Reinit(kProbeSide, kProbeSide, 8, 3, false)) return "out of memory";
  const std::int32_t rendered =
      source.RenderPicture(&kProbeSide, &kProbeSide, picture.Get(), kOverview, true, 0, 0, kAllChannels);
  if (isUnsupported) *isUnsupported = rendered == kQvUnsupported;
  if (rendered == kQvUnsupported) return OrElse(source.GetErrorText(), "such pixels are not supported");
  if (rendered != kQvOk) return OrElse(source.GetErrorText(), "its pixels are damaged");
  return "could not be read at first, but can be now; run again";
}

}  // namespace qvhost
