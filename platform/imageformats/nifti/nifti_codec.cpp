#include "platform/imageformats/nifti/nifti_codec.h"

#include <cmath>
#include <optional>
#include <utility>

#include "platform/imageformats/arrays/array_codec.h"
#include "platform/imageformats/arrays/byte_stream.h"
#include "platform/imageformats/base/text.h"
#include "platform/imageformats/nifti/nifti_header.h"

namespace imageformats {

namespace {

using EKind = SStoredSamples::EKind;

// More values at a place are no channels that could be shown together.
constexpr std::int64_t kMostNiftiChannels = 32;

std::optional<SStoredSamples> NiftiSamples(const SNiftiHeader& header) {
  const bool big = header.bigEndian;
  switch (header.type) {
    case kNiftiUint8:
    case kNiftiRgb:
    case kNiftiRgba:
      return SStoredSamples{EKind::kUnsigned, 1, big};
    case kNiftiInt8:
      return SStoredSamples{EKind::kSigned, 1, big};
    case kNiftiInt16:
      return SStoredSamples{EKind::kSigned, 2, big};
    case kNiftiUint16:
      return SStoredSamples{EKind::kUnsigned, 2, big};
    case kNiftiInt32:
      return SStoredSamples{EKind::kSigned, 4, big};
    case kNiftiUint32:
      return SStoredSamples{EKind::kUnsigned, 4, big};
    case kNiftiInt64:
      return SStoredSamples{EKind::kSigned, 8, big};
    case kNiftiUint64:
      return SStoredSamples{EKind::kUnsigned, 8, big};
    case kNiftiFloat:
      return SStoredSamples{EKind::kFloat, 4, big};
    case kNiftiDouble:
      return SStoredSamples{EKind::kFloat, 8, big};
    default:
      return std::nullopt;
  }
}

std::string NiftiUnsupported(std::int32_t type) {
  if (type == kNiftiComplex64 || type == kNiftiComplex128 || type == kNiftiComplex256) {
    return "NIfTI data of complex numbers are not supported";
  }
  std::string text = "NIfTI data of type ";
  return text.append(std::to_string(type)).append(" are not supported");
}

std::uint32_t NiftiSide(std::int64_t size) {
  if (size > 0xFFFFFFFFll) throw CDamagedError("The NIfTI header names a size that is too large");
  return static_cast<std::uint32_t>(size);
}

void LayOutNifti(const SNiftiHeader& header, SArrayPicture& picture) {
  SArrayLayout& layout = picture.layout;
  layout.components = header.type == kNiftiRgb || header.type == kNiftiRgba ? 3 : 1;
  layout.hasOpacity = header.type == kNiftiRgba;
  layout.component = layout.samples.bytes;
  layout.x = layout.component * (layout.components + (layout.hasOpacity ? 1 : 0));
  layout.size = {NiftiSide(header.sizes[0]), NiftiSide(header.sizes[1])};
  layout.y = layout.x * layout.size.width;
  layout.z = CRenderGuard::Multiply(layout.y, layout.size.height);
  layout.t = CRenderGuard::Multiply(layout.z, static_cast<std::uint64_t>(header.sizes[2]));
  const std::uint64_t values = CRenderGuard::Multiply(layout.t, static_cast<std::uint64_t>(header.sizes[3]));
  picture.stack.sizeZ = NiftiSide(header.sizes[2]);
  picture.stack.sizeT = NiftiSide(header.sizes[3]);
  if (layout.components == 1 && header.sizes[4] <= kMostNiftiChannels) {
    layout.channel = values;
    picture.stack.channels.resize(static_cast<std::size_t>(header.sizes[4]));
  } else {
    layout.position = values;
    picture.stack.positions = NiftiSide(header.sizes[4]);
  }
  picture.source.size = values;
  for (std::size_t i = 4; i < header.sizes.size(); ++i) {
    picture.source.size = CRenderGuard::Multiply(picture.source.size, static_cast<std::uint64_t>(header.sizes[i]));
  }
}

void ShowNifti(const SNiftiHeader& header, SArrayPicture& picture) {
  SPlaneStack& stack = picture.stack;
  stack.orientation = header.firstRowIsUpper ? EOrientation::kTopLeft : EOrientation::kBottomLeft;
  if (picture.layout.components > 1) return;
  if (header.slope != 0.0 && std::isfinite(header.slope) && std::isfinite(header.intercept)) {
    picture.layout.slope = header.slope;
    picture.layout.intercept = header.intercept;
  }
  stack.labels = header.isLabels && stack.channels.size() == 1;
  if (header.darkest < header.brightest && std::isfinite(header.brightest - header.darkest)) {
    for (SStackChannel& channel : stack.channels) channel.range = SDisplayRange{header.darkest, header.brightest};
  }
}

void DescribeNifti(const SNiftiHeader& header, SArrayPicture& picture) {
  SImageMetadata& metadata = picture.metadata;
  metadata.calibration = header.steps[0];
  if (header.steps[0] > 0.0 && header.steps[1] > 0.0) metadata.aspect = header.steps[1] / header.steps[0];
  metadata.picture.zStep = header.steps[2];
  picture.timeStep = header.isTime ? header.steps[3] : 0.0;
  picture.tLoop = header.isTime ? kQvLoopTime : kQvLoopCustom;
  metadata.text.description = TextOf(header.description);
  metadata.text.info1 = TextOf(header.intent);
}

// "a.hdr" goes with "a.img" or "a.img.gz".
std::shared_ptr<const CInput> OpenNiftiPixels(const CInput& header) {
  std::string name = CQvStringUtils::WtoUTF8(header.Path()).Str();
  name.erase(0, name.find_last_of("/\\") + 1);
  const auto drop = [&](std::string_view ending) {
    if (LowerAscii(name).ends_with(ending)) name.resize(name.size() - ending.size());
  };
  drop(".gz");
  drop(".hdr");
  for (const char* ending : {".img", ".img.gz"}) {
    if (name.empty()) break;
    std::string other = name;
    if (std::shared_ptr<const CInput> pixels = header.OpenBeside(other.append(ending))) return pixels;
  }
  throw CDamagedError("The file with the header's pixels is not beside it");
}

const char* NiftiName(ENiftiKind kind) noexcept {
  return kind == ENiftiKind::kAnalyze ? "Analyze 7.5" : kind == ENiftiKind::kNifti2 ? "NIfTI-2" : "NIfTI-1";
}

SArrayPicture ReadNifti(std::shared_ptr<const CInput> input) {
  const SNiftiHeader header = ReadNiftiHeader(UnpackedHead(*input, kNiftiHeadBytes));
  SArrayPicture picture;
  picture.format = NiftiName(header.kind);
  if (const std::optional<SStoredSamples> samples = NiftiSamples(header)) {
    picture.layout.samples = *samples;
  } else {
    picture.unsupported = NiftiUnsupported(header.type);
  }
  LayOutNifti(header, picture);
  ShowNifti(header, picture);
  DescribeNifti(header, picture);
  if (header.isPair) {
    picture.otherBytes = input->Size();
    input = OpenNiftiPixels(*input);
  }
  picture.source.encoding = IsGzip(*input) ? EArrayEncoding::kGzip : EArrayEncoding::kRaw;
  picture.source.input = std::move(input);
  picture.source.skip = header.offset;
  return picture;
}

}  // namespace

const CCodecModule& NiftiCodec() noexcept {
  static const CArrayCodec codec({"NIFTI", IsNifti, ReadNifti, true});
  return codec;
}

}  // namespace imageformats
