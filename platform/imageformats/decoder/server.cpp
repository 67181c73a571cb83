#include "platform/imageformats/decoder/server.h"

#include <utility>

#include "platform/imageformats/base/error_text.h"
#include "platform/imageformats/component/codec_registry.h"
#include "platform/imageformats/process/image_records.h"
#include "platform/imageformats/process/protocol.h"

namespace imageformats {

namespace {

// Once the viewer is gone there is nobody to clean up for.
[[noreturn]] void Leave() { _exit(0); }

std::string GetText(CWireReader& question) {
  std::string text;
  question.Text(text);
  return text;
}

// Codecs of one name share what opens; which of them knows the content only detection asks.
bool IsKnown(const std::string& codecName, const CInput& input) {
  for (const CCodecModule* codec : AllCodecs()) {
    if (codecName == codec->Name() && codec->Matches(input)) return true;
  }
  return false;
}

void PutTag(COpenedImage& image, CWireReader& question, CWireWriter& answer) {
  CQvStringW name;
  question.Text(name);
  CQvByteArray bytes;
  const bool found = image.CustomTag(name, bytes);
  answer.Value(found);
  if (found) answer.Bytes(bytes.GetData(0), bytes.GetSize());
}

void PutPlateOf(COpenedImage& image, CWireWriter& answer) {
  const std::optional<SPlate> plate = image.Plate();
  answer.Value(plate.has_value());
  if (plate) PutPlate(answer, *plate);
}

void PutOpened(COpenedImage& image, bool withMetadata, CWireWriter& answer) {
  PutImageInfo(answer, image.Info());
  answer.Value(image.SourceBytes());
  answer.Value(image.HasCustomTags());
  answer.Value(withMetadata);
  if (withMetadata) PutMetadata(answer, image.Metadata());
}

}  // namespace

void CDecoderServer::Run() {
  for (;;) {
    SMessage message;
    if (m_channel.Receive(&message) == CChannel::EResult::kClosed) return;
    Take(message);
  }
}

void CDecoderServer::Take(SMessage& message) {
  if (message.kind == kRequestMemory) {
    m_pixels = CSharedPixels();
    if (message.descriptor) m_pixels = CSharedPixels::Map(std::move(message.descriptor));
  } else if (message.kind == kRequestClose) {
    m_images.erase(CWireReader(message.content).Get<std::uint32_t>());
  } else {
    Answer(message);
  }
}

void CDecoderServer::Answer(SMessage& message) {
  CWireWriter content;
  CErrorText error;
  const std::int32_t status = RunReportingErrors(error, [&] {
    CWireReader question(message.content);
    Work(message.kind, question, std::move(message.descriptor), content);
  });
  CWireWriter answer;
  answer.Value(status);
  if (status == kQvOk) {
    answer.Raw(content.Content());
  } else {
    answer.Text(CQvStringUtils::WtoUTF8(error.Get()).Str());
  }
  if (m_channel.Send(kAnswer, answer.Content()) != CChannel::EResult::kDone) Leave();
  m_spent.reset();
}

void CDecoderServer::Work(std::uint32_t kind, CWireReader& question, CDescriptor descriptor, CWireWriter& answer) {
  switch (kind) {
    case kRequestOpen:
      return Open(question, std::move(descriptor), answer);
    case kRequestDetect: {
      const std::string codecName = GetText(question);
      const CQvStringW name = CQvStringUtils::UTF8toW(GetText(question));
      const CQvStringA nativePath(GetText(question));
      return answer.Value(IsKnown(codecName, *CInput::FromHandle(descriptor.Release(), name, nativePath, nullptr)));
    }
    case kRequestMetadata:
      return PutMetadata(answer, Image(question).Metadata());
    case kRequestTag:
      return PutTag(Image(question), question, answer);
    case kRequestRender:
      return Render(question);
    case kRequestRead:
      return Read(Image(question), question);
    case kRequestAssociated:
      return PutAssociated(answer, Image(question).AssociatedImages());
    case kRequestPlate:
      return PutPlateOf(Image(question), answer);
    case kRequestRenderWell:
      return RenderWell(Image(question), question);
    case kRequestRenderAssociated:
      return RenderAssociated(Image(question), question);
    default:
      throw CDamagedError("The decoder was asked for something that it does not know");
  }
}

void CDecoderServer::Open(CWireReader& question, CDescriptor descriptor, CWireWriter& answer) {
  const auto number = question.Get<std::uint32_t>();
  const CCodecModule* codec = FindCodecByName(GetText(question));
  const CQvStringW name = CQvStringUtils::UTF8toW(GetText(question));
  const CQvStringA nativePath(GetText(question));
  const bool isFile = question.Get<bool>();
  const bool isFolder = question.Get<bool>();
  const auto [stream, size] = question.Bytes();
  const bool andRead = question.Get<bool>();
  Require(codec != nullptr && (descriptor || size != 0), "The decoder was asked to open nothing");
  const auto beside = [this](const std::string& other) { return AskBeside(other); };
  std::unique_ptr<COpenedImage> image = codec->Open(
      size != 0 ? CInput::FromBytes({stream, stream + size})
                : CInput::FromHandle(descriptor.Release(), isFile ? name : CQvStringW(), nativePath, beside, isFolder));
  PutOpened(*image, isFile, answer);
  const bool isRead = andRead && ReadAtOnce(*image);
  answer.Value(isRead);
  (isRead ? m_spent : m_images[number]) = std::move(image);
}

// A picture that cannot be read is asked for again, to be told why.
bool CDecoderServer::ReadAtOnce(COpenedImage& image) noexcept {
  CErrorText ignored;
  return RunReportingErrors(ignored, [&] {
           const SQvImageInfo& info = image.Info();
           const std::uint64_t rowBytes =
               CRenderGuard::Multiply(std::uint64_t{info.width} * info.components, info.bpcInMemory / 8);
           Require(info.height != 0 && CRenderGuard::Multiply(rowBytes, info.height) <= m_pixels.Size(),
                   "The picture is large");
           SQvPicBuf picture =
               Target(static_cast<std::uint32_t>(rowBytes), info.width, info.height, info.bpcInMemory, info.components);
           CRenderGuard guard(LimitsOf(image));
           image.Read(picture, guard);
         }) == kQvOk;
}

void CDecoderServer::Render(CWireReader& question) {
  const auto number = question.Get<std::uint32_t>();
  COpenedImage& image = Image(number);
  const auto rowBytes = question.Get<std::uint32_t>();
  SRenderRequest request;
  GetRenderRequest(question, request);
  SQvPicBuf picture = Target(rowBytes, request.width, request.height, 8, 3);
  CRenderGuard guard(LimitsOf(image));
  image.Render(request, picture, guard);
  if (!question.Get<bool>()) return;
  m_spent = std::move(m_images[number]);
  m_images.erase(number);
}

void CDecoderServer::Read(COpenedImage& image, CWireReader& question) {
  const auto rowBytes = question.Get<std::uint32_t>();
  const auto width = question.Get<std::uint32_t>();
  const auto height = question.Get<std::uint32_t>();
  const auto bits = question.Get<std::uint32_t>();
  const auto components = question.Get<std::uint32_t>();
  SQvPicBuf picture = Target(rowBytes, width, height, bits, components);
  CRenderGuard guard(LimitsOf(image));
  image.Read(picture, guard);
}

void CDecoderServer::RenderAssociated(COpenedImage& image, CWireReader& question) {
  const auto rowBytes = question.Get<std::uint32_t>();
  const auto width = question.Get<std::uint32_t>();
  const auto height = question.Get<std::uint32_t>();
  SQvPicBuf picture = Target(rowBytes, width, height, 8, 3);
  CRenderGuard guard(LimitsOf(image));
  image.RenderAssociated(GetText(question), picture, guard);
}

void CDecoderServer::RenderWell(COpenedImage& image, CWireReader& question) {
  const auto rowBytes = question.Get<std::uint32_t>();
  SRenderRequest request;
  GetRenderRequest(question, request);
  SQvPicBuf picture = Target(rowBytes, request.width, request.height, 8, 3);
  CRenderGuard guard(LimitsOf(image));
  image.RenderWell(question.Get<std::uint32_t>(), request, picture, guard);
}

SQvPicBuf CDecoderServer::Target(std::uint32_t rowBytes, std::uint32_t width, std::uint32_t height, std::uint32_t bits,
                                 std::uint32_t components) const {
  const std::uint64_t needed = CRenderGuard::Multiply(std::uint64_t{width} * components, bits / 8);
  Require(needed <= rowBytes && std::uint64_t{rowBytes} * height <= m_pixels.Size(), "There is no memory to draw into");
  return {width, height, rowBytes, bits, components, std::size_t{rowBytes} * height, m_pixels.Data()};
}

std::shared_ptr<const CInput> CDecoderServer::AskBeside(const std::string& name) {
  CWireWriter question;
  question.Text(name);
  SMessage reply;
  if (m_channel.Send(kAskBeside, question.Content()) != CChannel::EResult::kDone ||
      m_channel.Receive(&reply) != CChannel::EResult::kDone || reply.kind != kBeside) {
    Leave();
  }
  if (!reply.descriptor) return nullptr;
  try {
    return CInput::FromHandle(reply.descriptor.Release(), CQvStringUtils::UTF8toW(name), CQvStringA(), nullptr);
  } catch (const CFormatError&) {
    return nullptr;
  }
}

COpenedImage& CDecoderServer::Image(CWireReader& question) const { return Image(question.Get<std::uint32_t>()); }

COpenedImage& CDecoderServer::Image(std::uint32_t number) const {
  const auto found = m_images.find(number);
  Require(found != m_images.end(), "The decoder does not know the image");
  return *found->second;
}

}  // namespace imageformats
