#include "platform/imageformats/component/picture_source.h"

#include <utility>

#include "platform/imageformats/component/metadata_reader.h"
#include "platform/imageformats/component/refusals.h"
#include "platform/imageformats/component/view_settings.h"

namespace imageformats {

namespace {

class CPictureSource final : public IQvPictureSource {
 public:
  CPictureSource(std::unique_ptr<COpenedImage> image, std::shared_ptr<CErrorText> manager,
                 const std::optional<SFileRecord>& file)
      : m_image(std::move(image)), m_error(std::move(manager)), m_file(file) {}
  ~CPictureSource() = default;

  void Release() override { delete this; }

  std::int32_t GetPictureInfo(SQvImageInfo* info) override {
    return RunReportingErrors(m_error, [&] {
      Require(info != nullptr, "No place for the picture's geometry was given");
      *info = m_image->Info();
    });
  }

  std::int32_t ReadPicture(SQvPicBuf* picture, std::uint32_t reserved1, std::uint32_t reserved2) override {
    return RunReportingErrors(m_error, [&] {
      const SQvImageInfo& info = m_image->Info();
      Require(picture != nullptr && reserved1 == 0 && reserved2 == 0, "The picture is asked for in an unknown way");
      Require(HasShape(*picture, info.width, info.height, info.bpcInMemory, info.components),
              "The picture is asked for in another shape than its own");
      CRenderGuard guard(LimitsOf(*m_image));
      m_image->Read(*picture, guard);
    });
  }

  std::int32_t GetCustomTag(const CQvStringW& name, CQvByteArray* bytes) override {
    return RunAnswering(m_error, "The file has no such tag", [&] {
      Require(bytes != nullptr, "No place for the tag was given");
      return m_image->CustomTag(name, *bytes);
    });
  }

  std::int32_t RenderPicture(const std::uint32_t* width, const std::uint32_t* height, SQvPicBuf* picture,
                             std::uint32_t mode, bool fast, std::uint32_t first, std::uint32_t reserved,
                             std::uint32_t channels) override {
    return RunReportingErrors(m_error, [&] {
      Require(width != nullptr && height != nullptr && picture != nullptr, "No place for the rendering was given");
      Require(mode == kOverviewMode && first == 0 && reserved == 0, "The rendering is asked for in an unknown way");
      Require(HasShape(*picture, *width, *height, 8, 3), "The rendering is asked for in an impossible shape");
      RenderOnce({*width, *height, fast, channels, m_view}, *picture);
    });
  }

  std::int32_t GetMetadataReader(IQvMetadataReader** reader) override {
    return RunReportingErrors(m_error, [&] {
      Require(reader != nullptr, "No place for the reader was given");
      *reader = NewMetadataReader(m_image->Metadata());
    });
  }

  CQvStringW GetErrorText() const override { return m_error.Get(); }

 private:
  void RenderOnce(const SRenderRequest& request, SQvPicBuf& picture) {
    if (m_file) {
      if (const std::optional<std::string> reason = RefusalOf(*m_file, request.view)) throw CDamagedError(*reason);
    }
    CRenderGuard guard(LimitsOf(*m_image));
    try {
      m_image->Render(request, picture, guard);
    } catch (const CDamagedError& failure) {
      if (m_file && IsTimeExceeded(failure.what())) NoteRefusal(*m_file, request.view, failure.what());
      throw;
    }
  }

  std::unique_ptr<COpenedImage> m_image;
  CErrorText m_error;
  std::optional<SFileRecord> m_file;
  const SViewChoice m_view = CurrentView();
};

class COutputFile final : public IQvOutputImageFile {
 public:
  COutputFile(std::unique_ptr<IPictureWriter> writer, std::shared_ptr<CErrorText> manager)
      : m_writer(std::move(writer)), m_error(std::move(manager)) {}
  ~COutputFile() = default;

  void Release() override { delete this; }

  std::int32_t SetPictureFormat(const SQvImageInfo& format, double quality) override {
    return Step(EStep::kFormat, [&] { m_writer->SetFormat(format, quality); });
  }
  std::int32_t WritePicture(const void* data, std::uint32_t reserved1, std::uint32_t reserved2) override {
    return Step(EStep::kRows, [&] {
      Require(data != nullptr && reserved1 == 0 && reserved2 == 0, "There are no pixels to write");
      m_writer->Write(data);
    });
  }
  std::int32_t Finish() override {
    return Step(EStep::kFinish, [&] { m_writer->Finish(); });
  }

 private:
  enum class EStep { kFormat, kRows, kFinish, kDone };

  // A step that fails cannot be taken again: the writer's state is unknown.
  template <class Body>
  std::int32_t Step(EStep step, Body&& body) {
    return RunReportingErrors(m_error, [&] {
      Require(m_next == step, "The picture is written out of order");
      m_next = EStep::kDone;
      body();
      m_next = static_cast<EStep>(static_cast<int>(step) + 1);
    });
  }

  std::unique_ptr<IPictureWriter> m_writer;
  CErrorText m_error;
  EStep m_next = EStep::kFormat;
};

}  // namespace

bool HasShape(const SQvPicBuf& picture, std::uint32_t width, std::uint32_t height, std::uint32_t bpc,
              std::uint32_t components) {
  if (!CQvPicBufAPI::HasPixels(picture) || width == 0 || height == 0) return false;
  if (picture.width != width || picture.height != height) return false;
  if (picture.bpc != bpc || picture.components != components) return false;
  const std::uint64_t row = CRenderGuard::Multiply(std::uint64_t{width} * components, bpc / 8);
  return picture.widthBytes >= row && std::uint64_t{picture.widthBytes} * height <= picture.dataSize;
}

IQvPictureSource* NewPictureSource(std::unique_ptr<COpenedImage> image, std::shared_ptr<CErrorText> manager,
                                   const std::optional<SFileRecord>& file) {
  return new CPictureSource(std::move(image), std::move(manager), file);
}

IQvOutputImageFile* NewOutputFile(std::unique_ptr<IPictureWriter> writer, std::shared_ptr<CErrorText> manager) {
  return new COutputFile(std::move(writer), std::move(manager));
}

}  // namespace imageformats
