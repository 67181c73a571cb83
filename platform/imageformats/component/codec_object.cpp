#include "platform/imageformats/component/codec_object.h"

#include <cstring>
#include <utility>

#include "imageformats/iqvassociatedimages.h"
#include "imageformats/iqvplate.h"
#include "platform/imageformats/base/text.h"
#include "platform/imageformats/component/component_object.h"
#include "platform/imageformats/component/metadata_reader.h"
#include "platform/imageformats/component/picture_source.h"

namespace imageformats {

namespace {

class CCodecObject final : public CComponentObject<IQvImageCodec> {
 public:
  CCodecObject(const CCodecModule& module, std::shared_ptr<CDecoding> decoding, std::shared_ptr<CErrorText> manager)
      : CComponentObject("CQvImageCodec", "IQvImageCodec"),
        m_module(module),
        m_decoding(std::move(decoding)),
        m_error(std::move(manager)) {}

  std::int32_t OpenInputFile(const CQvStringW& path, IQvPictureSource** source) override {
    return RunReportingErrors(m_error, [&] {
      Require(source != nullptr, "No place for the picture was given");
      const std::shared_ptr<const CInput> input = CInput::FromFile(path);
      const std::optional<SFileRecord> file = RecordOf(*input);
      *source = NewPictureSource(m_decoding->Open(m_module, input), m_error.Manager(), file);
    });
  }

  std::int32_t OpenInputMemory(const void* data, std::size_t size, IQvPictureSource** source) override {
    return RunReportingErrors(m_error, [&] {
      Require(source != nullptr, "No place for the picture was given");
      if (!m_module.CanOpenMemory()) throw CUnsupportedError("This format can only be read from files");
      *source = NewPictureSource(m_decoding->Open(m_module, CInput::FromMemory(data, size)), m_error.Manager());
    });
  }

  std::int32_t CreateOutputMemory(CQvByteArray* destination, IQvOutputImageFile** output) override {
    return RunReportingErrors(m_error, [&] {
      Require(destination != nullptr && output != nullptr, "No place for the picture was given");
      std::unique_ptr<IPictureWriter> writer = m_module.CreateWriter(*destination);
      if (!writer) throw CUnsupportedError("This format cannot be written");
      *output = NewOutputFile(std::move(writer), m_error.Manager());
    });
  }

 private:
  const CCodecModule& m_module;
  std::shared_ptr<CDecoding> m_decoding;
  CErrorText m_error;
};

class CImageFile final : public CComponentObject<IQvImageFile>, public IQvAssociatedImages, public IQvPlate {
 public:
  CImageFile(const CQvStringW& path, std::uint64_t size, std::unique_ptr<COpenedImage> image,
             std::shared_ptr<CErrorText> manager)
      : CComponentObject("CQvImageFile", "IQvImageFile"),
        m_path(path),
        m_size(size),
        m_image(std::move(image)),
        m_error(std::move(manager)) {}

  std::int32_t GetMetadataReader(const CQvStringW& path, IQvMetadataReader** reader) override {
    return RunReportingErrors(m_error, [&] {
      Require(reader != nullptr, "No place for the reader was given");
      Require(path == m_path, "Another file was opened");
      *reader = NewMetadataReader(m_image->Metadata());
    });
  }

  std::int32_t GetFileSize(const wchar_t* path, std::int64_t* size) override {
    return RunReportingErrors(m_error, [&] {
      Require(path != nullptr && size != nullptr && m_path == CQvStringW(path), "Another file was opened");
      *size = static_cast<std::int64_t>(m_size);
    });
  }

  std::int32_t GetAssociatedImages(std::vector<SQvAssociatedImage>* images) override {
    return RunReportingErrors(m_error, [&] {
      Require(images != nullptr, "No place for the images was given");
      std::vector<SQvAssociatedImage> found;
      for (const SAssociatedImage& image : m_image->AssociatedImages()) {
        found.push_back({TextOf(image.name), image.size.width, image.size.height});
      }
      *images = std::move(found);
    });
  }

  std::int32_t RenderAssociatedImage(const CQvStringW& name, SQvPicBuf* picture) override {
    return RunReportingErrors(m_error, [&] {
      Require(picture != nullptr && HasShape(*picture, picture->width, picture->height, 8, 3),
              "The image is asked for in an impossible shape");
      CRenderGuard guard(LimitsOf(*m_image));
      m_image->RenderAssociated(CQvStringUtils::WtoUTF8(name).Str(), *picture, guard);
    });
  }

  std::int32_t GetPlate(SQvPlate* plate) override {
    return RunReportingErrors(m_error, [&] {
      Require(plate != nullptr, "No place for the plate was given");
      const std::optional<SPlate> found = m_image->Plate();
      Require(found.has_value(), "The file belongs to no plate");
      SQvPlate result{TextOf(found->name), found->rows, found->columns, {}};
      for (const SPlateWell& well : found->wells) {
        result.wells.push_back({well.row, well.column, well.fields, CQvStringUtils::UTF8toW(well.location),
                                well.isHidden, well.size.width, well.size.height});
      }
      *plate = std::move(result);
    });
  }

  std::int32_t RenderWell(std::uint32_t well, SQvPicBuf* picture) override {
    return RunReportingErrors(m_error, [&] {
      Require(picture != nullptr && HasShape(*picture, picture->width, picture->height, 8, 3),
              "The well is asked for in an impossible shape");
      CRenderGuard guard(LimitsFor(m_image->SourceBytes()));
      m_image->RenderWell(well, *picture, guard);
    });
  }

 private:
  bool OffersToo(const char* interfaceName) const noexcept override {
    return std::strcmp(interfaceName, "IQvAssociatedImages") == 0 || std::strcmp(interfaceName, "IQvPlate") == 0;
  }

  CQvStringW m_path;
  std::uint64_t m_size;
  std::unique_ptr<COpenedImage> m_image;
  CErrorText m_error;
};

}  // namespace

IQvImageCodec* NewCodecObject(const CCodecModule& module, std::shared_ptr<CDecoding> decoding,
                              std::shared_ptr<CErrorText> manager) {
  return new (__FILE__, __LINE__) CCodecObject(module, std::move(decoding), std::move(manager));
}

IQvImageFile* NewImageFile(const CQvStringW& path, std::uint64_t size, std::unique_ptr<COpenedImage> image,
                           std::shared_ptr<CErrorText> manager) {
  return new (__FILE__, __LINE__) CImageFile(path, size, std::move(image), std::move(manager));
}

}  // namespace imageformats
