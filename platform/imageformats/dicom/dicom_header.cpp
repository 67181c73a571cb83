#include "platform/imageformats/dicom/dicom_header.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/integers.h"
#include "platform/imageformats/base/text.h"

namespace imageformats {

namespace {

constexpr std::uint64_t kDicomPreamble = 128;
constexpr std::uint16_t kDicomBytes = 'O' << 8 | 'B';
constexpr CDicomTag kSharedGroups = 0x52009229, kFrameGroups = 0x52009230, kOpticalPaths = 0x00480105;
constexpr double kMicrometresPerMillimetre = 1000.0;

enum EDicomTag : CDicomTag {
  kTransferSyntax = 0x00020010,
  kImageType = 0x00080008,
  kAcquisitionDate = 0x00080022,
  kContentDate = 0x00080023,
  kAcquisitionDateTime = 0x0008002A,
  kAcquisitionTime = 0x00080032,
  kContentTime = 0x00080033,
  kModality = 0x00080060,
  kManufacturer = 0x00080070,
  kManufacturerModel = 0x00081090,
  kSoftwareVersions = 0x00181020,
  kFrameTime = 0x00181063,
  kDimensionOrganization = 0x00209311,
  kSamplesPerPixel = 0x00280002,
  kPhotometric = 0x00280004,
  kPlanarConfiguration = 0x00280006,
  kNumberOfFrames = 0x00280008,
  kRows = 0x00280010,
  kColumns = 0x00280011,
  kPixelSpacing = 0x00280030,
  kBitsAllocated = 0x00280100,
  kBitsStored = 0x00280101,
  kHighBit = 0x00280102,
  kPixelRepresentation = 0x00280103,
  kWindowCenter = 0x00281050,
  kWindowWidth = 0x00281051,
  kRescaleIntercept = 0x00281052,
  kRescaleSlope = 0x00281053,
  kRedDescriptor = 0x00281101,
  kRedPalette = 0x00281201,
  kGreenPalette = 0x00281202,
  kBluePalette = 0x00281203,
  kSegmentedRedPalette = 0x00281221,
  kIccProfile = 0x00282000,
  kTotalColumns = 0x00480006,
  kTotalRows = 0x00480007,
  kObjectivePower = 0x00480112,
  kObjectiveAperture = 0x00480113,
  kColumnPosition = 0x0048021E,
  kRowPosition = 0x0048021F,
  kFocalPlanes = 0x00480303,
};

constexpr CDicomTag kWanted[] = {kTransferSyntax,
                                 kImageType,
                                 kAcquisitionDate,
                                 kContentDate,
                                 kAcquisitionDateTime,
                                 kAcquisitionTime,
                                 kContentTime,
                                 kModality,
                                 kManufacturer,
                                 kManufacturerModel,
                                 kSoftwareVersions,
                                 kFrameTime,
                                 kDimensionOrganization,
                                 kSamplesPerPixel,
                                 kPhotometric,
                                 kPlanarConfiguration,
                                 kNumberOfFrames,
                                 kRows,
                                 kColumns,
                                 kPixelSpacing,
                                 kBitsAllocated,
                                 kBitsStored,
                                 kHighBit,
                                 kPixelRepresentation,
                                 kWindowCenter,
                                 kWindowWidth,
                                 kRescaleIntercept,
                                 kRescaleSlope,
                                 kRedDescriptor,
                                 kRedPalette,
                                 kGreenPalette,
                                 kBluePalette,
                                 kSegmentedRedPalette,
                                 kIccProfile,
                                 kTotalColumns,
                                 kTotalRows,
                                 kObjectivePower,
                                 kObjectiveAperture,
                                 kColumnPosition,
                                 kRowPosition,
                                 kFocalPlanes};
static_assert(std::is_sorted(std::begin(kWanted), std::end(kWanted)));

using CDicomValue = std::vector<std::uint8_t>;

std::string_view Text(const CDicomValue& value) {
  return Trimmed({reinterpret_cast<const char*>(value.data()), value.size()});
}

// The first of several values.
double Decimal(const CDicomValue& value) { return LeadingNumber(Text(value)); }
double SecondDecimal(const CDicomValue& value) {
  const std::string_view text = Text(value);
  const std::size_t at = text.find('\\');
  return at == std::string_view::npos ? 0.0 : LeadingNumber(text.substr(at + 1));
}

class CDicomFields final : public IDicomVisitor {
 public:
  explicit CDicomFields(SDicomHeader& header) : m_header(header) {}

  bool Wants(CDicomTag tag) const override { return std::binary_search(std::begin(kWanted), std::end(kWanted), tag); }

  void Take(const SDicomPath& path, CDicomTag tag, const CDicomValue& value) override {
    if (path.root == 0) {
      TakeOuter(tag, value);
    } else if (path.root == kSharedGroups || path.root == kOpticalPaths || path.root == kFrameGroups) {
      TakeInner(path, tag, value);
    }
  }

  // To be called when all fields are taken.
  void Finish() {
    if (m_header.bitsStored == 0) m_header.bitsStored = m_header.bitsAllocated;
    if (!m_hasHighBit) m_header.highBit = m_header.bitsStored - 1;
    // A microscope's level tells date and time in one or in two.
    if (m_header.dateTime.empty()) m_header.dateTime = m_date + m_time;
    if (m_width >= 1.0 && m_slope != 0.0) {
      const double low = m_center - m_width / 2, high = m_center + m_width / 2;
      m_header.window = SDisplayRange{(low - m_intercept) / m_slope, (high - m_intercept) / m_slope};
      if (m_slope < 0.0) std::swap(m_header.window->low, m_header.window->high);
    }
  }

  const std::string& Syntax() const noexcept { return m_syntax; }
  bool HasSegmentedPalette() const noexcept { return m_isSegmented; }

 private:
  std::uint32_t Integer(const CDicomValue& value) const {
    const std::size_t size = std::min<std::size_t>(value.size(), 4);
    return static_cast<std::uint32_t>(IntegerAt(value.data(), size, m_header.encoding.bigEndian));
  }
  std::uint32_t Word(const CDicomValue& value, std::size_t i) const {
    if (value.size() < 2 * i + 2) return 0;
    return static_cast<std::uint32_t>(IntegerAt(value.data() + 2 * i, 2, m_header.encoding.bigEndian));
  }

  void TakeOuter(CDicomTag tag, const CDicomValue& value) {
    if (!TakeGeometry(tag, value) && !TakeTimes(tag, value) && !TakeEquipment(tag, value)) TakeShown({}, tag, value);
  }

  void TakeInner(const SDicomPath& path, CDicomTag tag, const CDicomValue& value) {
    if (path.root == kFrameGroups && (tag == kColumnPosition || tag == kRowPosition)) {
      TakePlace(path.item, tag, Integer(value));
    } else if (path.item == 0) {
      TakeShown(path, tag, value);
    }
  }

  void TakePlace(std::uint32_t frame, CDicomTag tag, std::uint32_t place) {
    if (m_header.places.size() <= frame) m_header.places.resize(std::size_t{frame} + 1);
    (tag == kColumnPosition ? m_header.places[frame].first : m_header.places[frame].second) = place;
  }

  bool TakeGeometry(CDicomTag tag, const CDicomValue& value) {
    switch (tag) {
      case kSamplesPerPixel:
        m_header.samples = Integer(value);
        return true;
      case kPhotometric:
        m_header.photometric = Text(value);
        return true;
      case kPlanarConfiguration:
        m_header.isPlanar = Integer(value) == 1;
        return true;
      case kNumberOfFrames:
        m_header.frames = static_cast<std::uint32_t>(std::clamp(Decimal(value), 1.0, 1e9));
        return true;
      case kRows:
        m_header.frame.height = Integer(value);
        return true;
      case kColumns:
        m_header.frame.width = Integer(value);
        return true;
      case kBitsAllocated:
        m_header.bitsAllocated = Integer(value);
        return true;
      case kBitsStored:
        m_header.bitsStored = Integer(value);
        return true;
      case kHighBit:
        m_header.highBit = Integer(value);
        m_hasHighBit = true;
        return true;
      case kPixelRepresentation:
        m_header.isSigned = Integer(value) == 1;
        return true;
      case kTotalColumns:
        m_header.total.width = Integer(value);
        return true;
      case kTotalRows:
        m_header.total.height = Integer(value);
        return true;
      case kDimensionOrganization:
        m_header.isTiledFull = Text(value) == "TILED_FULL";
        return true;
      case kFocalPlanes:
        m_header.focalPlanes = std::max(Integer(value), 1u);
        return true;
      default:
        return false;
    }
  }

  bool TakeTimes(CDicomTag tag, const CDicomValue& value) {
    switch (tag) {
      case kTransferSyntax:
        m_syntax = Text(value);
        return true;
      case kAcquisitionDateTime:
        m_header.dateTime = Text(value);
        return true;
      case kAcquisitionDate:
        m_date = Text(value);
        return true;
      case kAcquisitionTime:
        m_time = Text(value);
        return true;
      case kContentDate:
        if (m_date.empty()) m_date = Text(value);
        return true;
      case kContentTime:
        if (m_time.empty()) m_time = Text(value);
        return true;
      case kFrameTime:
        m_header.frameSeconds = Decimal(value) / 1000.0;
        return true;
      default:
        return false;
    }
  }

  bool TakeEquipment(CDicomTag tag, const CDicomValue& value) {
    switch (tag) {
      case kImageType:
        m_header.imageType = Text(value);
        return true;
      case kModality:
        m_header.modality = Text(value);
        return true;
      case kManufacturer:
        m_header.manufacturer = Text(value);
        return true;
      case kManufacturerModel:
        m_header.model = Text(value);
        return true;
      case kSoftwareVersions:
        m_header.software = Text(value);
        return true;
      default:
        return false;
    }
  }

  // What may stand outside of sequences and in those of the groups that frames share.
  void TakeShown(const SDicomPath&, CDicomTag tag, const CDicomValue& value) {
    switch (tag) {
      case kPixelSpacing:
        m_header.spacingY = Decimal(value) * kMicrometresPerMillimetre;
        m_header.spacingX = SecondDecimal(value) * kMicrometresPerMillimetre;
        break;
      case kWindowCenter:
        m_center = Decimal(value);
        break;
      case kWindowWidth:
        m_width = Decimal(value);
        break;
      case kRescaleIntercept:
        m_intercept = Decimal(value);
        break;
      case kRescaleSlope:
        m_slope = Decimal(value);
        break;
      case kRedDescriptor:
        m_header.firstColor = static_cast<std::int16_t>(Word(value, 1));
        m_colorBits = Word(value, 2);
        break;
      case kRedPalette:
        m_header.palette[0] = Palette(value);
        break;
      case kGreenPalette:
        m_header.palette[1] = Palette(value);
        break;
      case kBluePalette:
        m_header.palette[2] = Palette(value);
        break;
      case kSegmentedRedPalette:
        m_isSegmented = true;
        break;
      case kIccProfile:
        m_header.profile = value;
        break;
      case kObjectivePower:
        m_header.objectivePower = Decimal(value);
        break;
      case kObjectiveAperture:
        m_header.aperture = Decimal(value);
        break;
      default:
        break;
    }
  }

  // Words, of which some writers use the lower bytes only; or bytes.
  CDicomValue Palette(const CDicomValue& value) const {
    if (m_colorBits == 8) return value;
    CDicomValue colors;
    bool isLow = true;
    for (std::size_t i = 0; i < value.size() / 2; ++i) isLow = isLow && Word(value, i) < 256;
    for (std::size_t i = 0; i < value.size() / 2; ++i) {
      colors.push_back(static_cast<std::uint8_t>(isLow ? Word(value, i) : Word(value, i) >> 8));
    }
    return colors;
  }

  SDicomHeader& m_header;
  std::string m_syntax, m_date, m_time;
  double m_center = 0.0, m_width = 0.0, m_intercept = 0.0, m_slope = 1.0;
  std::uint32_t m_colorBits = 16;
  bool m_hasHighBit = false;
  bool m_isSegmented = false;
};

struct SDicomSyntax {
  std::string_view id;
  EDicomCoding coding;
  SDicomEncoding encoding = {};
};

constexpr SDicomSyntax kSyntaxes[] = {
    {"1.2.840.10008.1.2", EDicomCoding::kNative, {true, false}},
    {"1.2.840.10008.1.2.1", EDicomCoding::kNative},
    {"1.2.840.10008.1.2.2", EDicomCoding::kNative, {false, true}},
    {"1.2.840.10008.1.2.5", EDicomCoding::kRle},
    {"1.2.840.10008.1.2.4.50", EDicomCoding::kJpeg},
    {"1.2.840.10008.1.2.4.51", EDicomCoding::kJpeg},
    {"1.2.840.10008.1.2.4.90", EDicomCoding::kJpeg2000},
    {"1.2.840.10008.1.2.4.91", EDicomCoding::kJpeg2000},
};

void SetSyntax(std::string_view id, SDicomHeader& header) {
  const auto* known =
      std::find_if(std::begin(kSyntaxes), std::end(kSyntaxes), [&](const auto& s) { return s.id == id; });
  if (known == std::end(kSyntaxes)) {
    throw CUnsupportedError("The DICOM transfer syntax " + std::string(id) + " is not supported");
  }
  header.coding = known->coding;
  header.encoding = known->encoding;
}

void CheckDicom(const SDicomHeader& header, bool hasSegmentedPalette) {
  Require(header.frame.width != 0 && header.frame.height != 0, "The DICOM file has no picture");
  const bool isColor = header.photometric == "RGB" || header.photometric.starts_with("YBR_");
  Require(header.samples == (isColor ? 3u : 1u), "The DICOM file contradicts itself about its samples");
  if (!header.IsGrey() && !header.IsPalette() && !isColor) {
    throw CUnsupportedError("The DICOM photometric interpretation " + header.photometric + " is not supported");
  }
  if (header.bitsAllocated != 8 && header.bitsAllocated != 16) {
    throw CUnsupportedError("DICOM samples of " + std::to_string(header.bitsAllocated) + " bits are not supported");
  }
  Require(header.bitsStored <= header.bitsAllocated && header.highBit < header.bitsAllocated &&
              header.highBit + 1 >= header.bitsStored,
          "The DICOM file contradicts itself about its bits");
  const auto& colors = header.palette;
  if (hasSegmentedPalette) throw CUnsupportedError("Segmented DICOM palettes are not supported");
  const bool hasColors = !colors[0].empty() && !colors[1].empty() && !colors[2].empty();
  Require(!header.IsPalette() || hasColors, "The DICOM file's palette is missing");
  Require((header.total.width == 0) == (header.total.height == 0), "The DICOM slide has an impossible size");
}

}  // namespace

bool IsDicom(const CInput& input) noexcept {
  char mark[4];
  return input.Size() > kDicomPreamble + 4 && input.ReadAt(kDicomPreamble, mark, 4) == 4 &&
         std::memcmp(mark, "DICM", 4) == 0;
}

SDicomHeader ReadDicomHeader(const CInput& input) {
  Require(IsDicom(input), "The file is not a DICOM file");
  SDicomHeader header;
  CDicomFields fields(header);
  CDicomReader meta(input, kDicomPreamble + 4, {});
  meta.ReadMeta(fields);
  SetSyntax(fields.Syntax(), header);
  CDicomReader reader(input, meta.Position(), header.encoding);
  const CDicomReader::SElement pixels = reader.ReadUntilPixels(fields);
  header.pixels = reader.Position();
  header.pixelsLength = pixels.length;
  header.inWords = pixels.type != kDicomBytes;
  fields.Finish();
  CheckDicom(header, fields.HasSegmentedPalette());
  return header;
}

}  // namespace imageformats
