#include "platform/imageformats/dicom/dicom_codec.h"

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <utility>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/text.h"
#include "platform/imageformats/codec/exif.h"
#include "platform/imageformats/dicom/dicom_bands.h"
#include "platform/imageformats/dicom/frame_decoder.h"

namespace imageformats {

namespace {

// Labels carry names, and so do the pictures of whole slides that show them.
void RefuseLabels(const SDicomHeader& header) {
  const bool isLabel = header.imageType.find("LABEL") != std::string::npos;
  const bool isOverview = header.imageType.find("OVERVIEW") != std::string::npos;
  if (isLabel || isOverview) throw CUnsupportedError("The file is the label of a slide or shows it, and is not shown");
}

// YYYYMMDDhhmmss, a fraction, an offset.
void ApplyDicomDate(const std::string& text, SImageMetadata& metadata) {
  if (text.size() < 14) return;
  const auto part = [&](std::size_t at, std::size_t size) { return text.substr(at, size); };
  const std::string date =
      part(0, 4) + ":" + part(4, 2) + ":" + part(6, 2) + " " + part(8, 2) + ":" + part(10, 2) + ":" + part(12, 2);
  std::optional<int> offset;
  const std::size_t sign = text.find_first_of("+-", 14);
  if (sign != std::string::npos && text.size() >= sign + 5) {
    const int zone = std::atoi(text.substr(sign + 1, 4).c_str());
    offset = (zone / 100 * 60 + zone % 100) * (text[sign] == '-' ? -1 : 1);
  }
  ParseExifDate(date.c_str(), offset, &metadata.text.date, &metadata.acquisitionTime);
}

class CDicomImage final : public CBandedImage {
 public:
  explicit CDicomImage(std::shared_ptr<const CInput> input)
      : CBandedImage(std::move(input)), m_header(ReadDicomHeader(Input())) {
    RefuseLabels(m_header);
    SStoredPixels pixels = DicomPixels(m_header);
    pixels.size = m_header.IsTiled() ? m_header.total : m_header.frame;
    SetPixels(std::move(pixels), Compression());
    m_info.pixelType = m_header.isSigned ? kQvPixelSigned : kQvPixelUnsigned;
    if (m_header.IsTiled()) {
      m_info.tileWidth = m_header.frame.width;
      m_info.tileHeight = m_header.frame.height;
    } else {
      m_info.sequenceCount = m_header.frames;
    }
  }

  SImageMetadata Metadata() override {
    SImageMetadata metadata = PlainMetadata(m_info, "DICOM", ModelComponents(Pixels().model));
    if (!m_header.modality.empty()) metadata.text.type = TextOf("DICOM, " + m_header.modality);
    metadata.text.capturing = TextOf(Joined({m_header.manufacturer, m_header.model}, " "));
    metadata.text.info1 = TextOf(m_header.software);
    ApplyDicomDate(m_header.dateTime, metadata);
    ApplyOptics(metadata);
    ApplyLoop(metadata);
    return metadata;
  }

 private:
  std::uint32_t Compression() const noexcept {
    switch (m_header.coding) {
      case EDicomCoding::kNative:
        return kQvCompressionNone;
      case EDicomCoding::kRle:
        return kQvCompressionLossless;
      case EDicomCoding::kJpeg:
        return kQvCompressionJpeg;
      default:
        return kQvCompressionOther;
    }
  }

  void ApplyOptics(SImageMetadata& metadata) const {
    if (m_header.spacingX > 0.0) {
      metadata.calibration = metadata.picture.calibration = m_header.spacingX;
      if (m_header.spacingY > 0.0) metadata.aspect = m_header.spacingY / m_header.spacingX;
    }
    if (m_header.objectivePower > 0.0) {
      metadata.picture.objectiveMagnification = m_header.objectivePower;
      metadata.text.optics = TextOf(NumberText(m_header.objectivePower, 2) + "x");
      metadata.objective = metadata.picture.objectiveName = metadata.text.optics;
    }
    if (m_header.aperture > 0.0) metadata.picture.numericalAperture = m_header.aperture;
  }

  void ApplyLoop(SImageMetadata& metadata) const {
    if (m_header.IsTiled()) return;
    const std::uint32_t type = m_header.frameSeconds > 0.0 ? kQvLoopTime : kQvLoopCustom;
    AddLoop(type, m_header.frames, m_header.frameSeconds, &metadata);
  }

  std::unique_ptr<IPixelBands> OpenBands(SSize wanted, CRenderGuard& guard) override {
    return OpenDicomBands(Input(), m_header, Pixels(), wanted, guard);
  }

  SDicomHeader m_header;
};

class CDicomCodecModule final : public CCodecModule {
 public:
  const char* Name() const noexcept override { return "DCM"; }
  bool Matches(const CInput& input) const noexcept override { return IsDicom(input); }
  std::unique_ptr<COpenedImage> Open(std::shared_ptr<const CInput> input) const override {
    return std::make_unique<CDicomImage>(std::move(input));
  }
};

}  // namespace

const CCodecModule& DicomCodec() noexcept {
  static const CDicomCodecModule module;
  return module;
}

}  // namespace imageformats
