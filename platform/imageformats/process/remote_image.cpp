#include "platform/imageformats/process/remote_image.h"

#include <atomic>
#include <cstring>
#include <optional>
#include <utility>

#include "platform/imageformats/process/image_records.h"
#include "platform/imageformats/process/protocol.h"

namespace imageformats {

namespace {

// Of a picture that is read when its stream is opened.
constexpr std::size_t kMostReadAtOnce = 1u << 20;
constexpr std::uint64_t kMostOpenedAgain = 16u << 20;

// A file's own name is all that a decoder of pictures has to know of where it lies.
std::string FileName(const CInput& input) {
  const std::string path = CQvStringUtils::WtoUTF8(input.Path()).Str();
  return path.substr(path.find_last_of("/\\") + 1);
}

void PutSource(CWireWriter& question, const char* codecName, const CInput& input, const std::string& nativePath) {
  question.Text(std::string(codecName));
  question.Text(FileName(input));
  question.Text(nativePath);
}

std::size_t RowBytes(const SQvPicBuf& picture) noexcept {
  return std::size_t{picture.width} * picture.components * (picture.bpc / 8);
}

// Rows that lie `rowBytes` apart.
void CopyRows(const CSharedPixels& pixels, std::size_t rowBytes, SQvPicBuf& picture) noexcept {
  for (std::size_t y = 0; y < picture.height; ++y) {
    std::memcpy(static_cast<std::uint8_t*>(picture.data) + y * picture.widthBytes, pixels.Data() + y * rowBytes,
                RowBytes(picture));
  }
}

class CRemoteImage final : public COpenedImage {
 public:
  CRemoteImage(std::shared_ptr<CDecoder> decoder, const char* codecName, std::shared_ptr<const CInput> input,
               std::string nativePath)
      : m_decoder(std::move(decoder)),
        m_codecName(codecName),
        m_input(std::move(input)),
        m_nativePath(std::move(nativePath)),
        m_number(NextNumber()),
        m_bytes(m_input->Size()) {
    if (IsInline()) {
      OpenAndRead();
    } else {
      if (!m_input->IsFile()) m_stream = NewMemoryFile(m_input->Memory().data(), m_input->Memory().size());
      Open(false);
    }
  }
  CRemoteImage(const CRemoteImage&) = delete;
  CRemoteImage& operator=(const CRemoteImage&) = delete;
  ~CRemoteImage() override {
    if (m_generation == m_decoder->Generation()) m_decoder->Tell(kRequestClose, NewQuestion());
  }

  const SQvImageInfo& Info() const override { return m_info; }
  std::uint64_t SourceBytes() const override { return m_bytes; }

  void Read(SQvPicBuf& picture, CRenderGuard&) override {
    if (!m_failure.empty()) throw CDamagedError(std::exchange(m_failure, {}));
    if (IsRead(picture)) return CopyRows(m_decoder->Lent(), RowBytes(picture), picture);
    CWireWriter rest;
    rest.Value(picture.width);
    rest.Value(picture.height);
    rest.Value(picture.bpc);
    rest.Value(picture.components);
    Draw(kRequestRead, rest, picture);
    m_decoder->TakeBackLarge();
  }

  void Render(const SRenderRequest& request, SQvPicBuf& picture, CRenderGuard&) override {
    const bool closes = ClosesWithRendering();
    CWireWriter rest;
    PutRenderRequest(rest, request);
    rest.Value(closes);
    Draw(kRequestRender, rest, picture);
    m_wasRendered = true;
    if (closes) m_generation = 0;
  }

  bool CustomTag(const CQvStringW& name, CQvByteArray& bytes) override {
    if (!m_hasTags) return false;
    CWireWriter rest;
    rest.Text(name);
    const std::vector<std::uint8_t> content = Ask(kRequestTag, rest);
    CWireReader answer(content);
    if (!answer.Get<bool>()) return false;
    const auto [data, size] = answer.Bytes();
    bytes.SetData(data, size, 0, 0);
    return true;
  }

  bool HasCustomTags() const override { return m_hasTags; }

  std::vector<SAssociatedImage> AssociatedImages() override {
    const std::vector<std::uint8_t> content = Ask(kRequestAssociated, CWireWriter());
    CWireReader answer(content);
    std::vector<SAssociatedImage> images;
    GetAssociated(answer, images);
    return images;
  }

  void RenderAssociated(const std::string& name, SQvPicBuf& picture, CRenderGuard&) override {
    CWireWriter rest;
    rest.Value(picture.width);
    rest.Value(picture.height);
    rest.Text(name);
    Draw(kRequestRenderAssociated, rest, picture);
    m_decoder->TakeBackLarge();
  }

  std::optional<SPlate> Plate() override {
    const std::vector<std::uint8_t> content = Ask(kRequestPlate, CWireWriter());
    CWireReader answer(content);
    std::optional<SPlate> plate;
    if (answer.Get<bool>()) GetPlate(answer, plate.emplace());
    return plate;
  }

  void RenderWell(std::uint32_t well, const SRenderRequest& request, SQvPicBuf& picture, CRenderGuard&) override {
    CWireWriter rest;
    PutRenderRequest(rest, request);
    rest.Value(well);
    Draw(kRequestRenderWell, rest, picture);
  }

  SImageMetadata Metadata() override {
    if (!m_metadata) {
      const std::vector<std::uint8_t> content = Ask(kRequestMetadata, CWireWriter());
      CWireReader answer(content);
      GetMetadata(answer, m_metadata.emplace());
    }
    return *m_metadata;
  }

 private:
  static std::uint32_t NextNumber() noexcept {
    static std::atomic<std::uint32_t> next = 1;
    return next++;
  }
  CDecoder::SSubject Subject() noexcept {
    return {*m_input, m_bytes, PictureBytes(m_info.width, m_info.height, m_info.components, m_info.bpcInMemory)};
  }
  CWireWriter NewQuestion() const {
    CWireWriter question;
    question.Value(m_number);
    return question;
  }

  bool IsInline() const noexcept { return !m_input->IsFile() && m_input->Size() <= kMostInline; }
  // What is small is rendered once and then no more, or opened again in no time; then it stays open.
  bool ClosesWithRendering() const noexcept {
    return m_nativePath.empty() && !m_input->IsFolder() && m_bytes <= kMostOpenedAgain && !m_wasRendered;
  }

  // Small streams are thumbnails, of which the next thing to be asked for is the picture.
  void OpenAndRead() {
    try {
      Open(true);
    } catch (const CStaleDecoder&) {
      throw;
    } catch (const CUnreadyDecoder&) {
      throw;
    } catch (const CDamagedError& failure) {
      if (m_decoder->IsRunning()) throw;
      // Whether it was the opening that ended the decoder shows when nothing else is asked.
      Reopen();
      m_failure = failure.what();
    }
  }

  void Open(bool andRead) {
    if (andRead) m_decoder->Lend(kMostReadAtOnce);
    CWireWriter question = NewQuestion();
    PutSource(question, m_codecName, *m_input, m_nativePath);
    question.Value(m_input->IsFile());
    question.Value(m_input->IsFolder());
    question.Bytes(m_input->Memory().data(), IsInline() ? m_input->Memory().size() : 0);
    question.Value(andRead);
    const int handle = IsInline() ? -1 : m_stream ? m_stream.Get() : m_input->Handle();
    const std::vector<std::uint8_t> content = m_decoder->Ask(kRequestOpen, question, Subject(), handle);
    TakeOpened(content, andRead);
  }

  void TakeOpened(const std::vector<std::uint8_t>& content, bool andRead) {
    m_generation = m_decoder->Generation();
    CWireReader answer(content);
    GetImageInfo(answer, m_info);
    // What lies beside a slide only its decoder knows.
    const auto bytes = answer.Get<std::uint64_t>();
    if (!m_nativePath.empty()) m_bytes = bytes;
    answer.Value(m_hasTags);
    if (answer.Get<bool>()) GetMetadata(answer, m_metadata.emplace());
    if (!answer.Get<bool>() || !andRead) return;
    m_generation = 0;
    m_lending = m_decoder->Lending();
  }

  // Whether the memory holds the picture that was read when the image was opened. Its size is the caller's, not what
  // the decoder said.
  bool IsRead(const SQvPicBuf& picture) const noexcept {
    return m_lending != 0 && m_lending == m_decoder->Lending() && m_decoder->IsRunning() &&
           CRenderGuard::Multiply(RowBytes(picture), picture.height) <= m_decoder->Lent().Size();
  }

  void Reopen() {
    if (!m_decoder->Start()) throw CDamagedError("The decoder cannot be started again");
    Open(false);
  }

  // A decoder that died of another image, or was ended from outside, is started again; once.
  template <class Body>
  decltype(auto) WithDecoder(Body&& body) {
    if (m_generation != m_decoder->Generation() || !m_decoder->IsRunning()) Reopen();
    try {
      return body();
    } catch (const CStaleDecoder&) {
      Reopen();
      return body();
    }
  }

  std::vector<std::uint8_t> Ask(std::uint32_t kind, const CWireWriter& rest) {
    CWireWriter question = NewQuestion();
    question.Raw(rest.Content());
    return WithDecoder([&] { return m_decoder->Ask(kind, question, Subject()); });
  }

  void Draw(std::uint32_t kind, const CWireWriter& rest, SQvPicBuf& picture) {
    const std::size_t size = std::size_t{picture.widthBytes} * picture.height;
    CWireWriter question = NewQuestion();
    question.Value(picture.widthBytes);
    question.Raw(rest.Content());
    const CSharedPixels& pixels = WithDecoder([&]() -> const CSharedPixels& {
      const CSharedPixels& lent = m_decoder->Lend(size);
      m_decoder->Ask(kind, question, Subject());
      return lent;
    });
    CopyRows(pixels, picture.widthBytes, picture);
  }

  std::shared_ptr<CDecoder> m_decoder;
  const char* m_codecName;
  std::shared_ptr<const CInput> m_input;
  std::string m_nativePath;
  CDescriptor m_stream;  // of an input that lies in memory
  std::uint32_t m_number;
  std::uint64_t m_bytes;
  std::uint64_t m_generation = 0;  // that has the image open; 0: none
  SQvImageInfo m_info;
  bool m_hasTags = false;
  bool m_wasRendered = false;
  std::uint64_t m_lending = 0;  // of the memory that the picture was read into; 0: it was not
  std::string m_failure;        // of reading the picture when the image was opened; told once
  std::optional<SImageMetadata> m_metadata;
};

}  // namespace

std::unique_ptr<COpenedImage> OpenRemoteImage(std::shared_ptr<CDecoder> decoder, const char* codecName,
                                              std::shared_ptr<const CInput> input, std::string nativePath) {
  return std::make_unique<CRemoteImage>(std::move(decoder), codecName, std::move(input), std::move(nativePath));
}

bool MatchesRemotely(CDecoder& decoder, const char* codecName, const CInput& input, const std::string& nativePath) {
  CWireWriter question;
  PutSource(question, codecName, input, nativePath);
  std::uint64_t bytes = input.Size();
  const std::vector<std::uint8_t> content = decoder.Ask(kRequestDetect, question, {input, bytes}, input.Handle());
  return CWireReader(content).Get<bool>();
}

}  // namespace imageformats
