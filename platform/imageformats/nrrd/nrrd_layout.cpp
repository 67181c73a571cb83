#include "platform/imageformats/nrrd/nrrd_layout.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/units.h"

namespace imageformats {

namespace {

using EKind = SStoredSamples::EKind;

struct STypeNames {
  EKind kind;
  std::uint32_t bytes;
  std::array<std::string_view, 6> names;
};
constexpr STypeNames kTypes[] = {
    {EKind::kSigned, 1, {"signed char", "int8", "int8_t"}},
    {EKind::kUnsigned, 1, {"uchar", "unsigned char", "uint8", "uint8_t"}},
    {EKind::kSigned, 2, {"short", "short int", "signed short", "signed short int", "int16", "int16_t"}},
    {EKind::kUnsigned, 2, {"ushort", "unsigned short", "unsigned short int", "uint16", "uint16_t"}},
    {EKind::kSigned, 4, {"int", "signed int", "int32", "int32_t"}},
    {EKind::kUnsigned, 4, {"uint", "unsigned int", "uint32", "uint32_t"}},
    {EKind::kSigned, 8, {"longlong", "long long", "long long int", "signed long long", "int64", "int64_t"}},
    {EKind::kSigned, 8, {"signed long long int"}},
    {EKind::kUnsigned, 8, {"ulonglong", "unsigned long long", "unsigned long long int", "uint64", "uint64_t"}},
    {EKind::kFloat, 4, {"float"}},
    {EKind::kFloat, 8, {"double"}},
};

std::optional<SStoredSamples> SamplesOf(const SNrrdHeader& header) {
  for (const STypeNames& type : kTypes) {
    if (std::find(type.names.begin(), type.names.end(), header.type) != type.names.end()) {
      return SStoredSamples{type.kind, type.bytes, header.bigEndian};
    }
  }
  return std::nullopt;
}

// More values at each place are no channels that could be shown together.
constexpr std::uint64_t kMostNrrdChannels = 32;

enum class ERole { kSide, kColor, kChannels, kTime, kPlain, kComplex };

// What an axis is by its name; without one it is a side of the picture.
ERole RoleOf(const SNrrdAxis& axis) noexcept {
  const auto isOneOf = [](std::string_view text, std::initializer_list<std::string_view> names) {
    return std::find(names.begin(), names.end(), text) != names.end();
  };
  if (isOneOf(axis.kind, {"rgb-color", "3-color", "rgba-color", "4-color"}) && (axis.size == 3 || axis.size == 4)) {
    return ERole::kColor;
  }
  if (axis.kind == "complex") return ERole::kComplex;
  if (axis.kind == "time" || isOneOf(axis.label, {"t", "time"})) return ERole::kTime;
  const ERole several = axis.size <= kMostNrrdChannels ? ERole::kChannels : ERole::kPlain;
  if (isOneOf(axis.label, {"c", "channel", "channels"})) return several;
  if (isOneOf(axis.kind, {"", "???", "none", "domain", "space"})) return ERole::kSide;
  return axis.kind == "list" ? ERole::kPlain : several;
}

// Old files say nothing: bytes of which three or four stand together before two longer sides are colours.
bool LooksLikeColor(const SNrrdHeader& header, const SStoredSamples& samples) noexcept {
  const std::vector<SNrrdAxis>& axes = header.axes;
  const auto isSilent = [](const SNrrdAxis& axis) { return axis.kind.empty() && axis.label.empty(); };
  return axes.size() >= 3 && samples.bytes == 1 && samples.kind == EKind::kUnsigned &&
         (axes[0].size == 3 || axes[0].size == 4) && axes[1].size > 4 && axes[2].size > 4 &&
         std::all_of(axes.begin(), axes.end(), isSilent);
}

double LengthAlong(const SNrrdAxis& axis) { return axis.spacing * MicrometresPer(axis.unit).value_or(0.0); }

std::uint32_t SideOf(const SNrrdAxis& axis) {
  if (axis.size > 0xFFFFFFFFu) throw CDamagedError("The NRRD header names a size that is too large");
  return static_cast<std::uint32_t>(axis.size);
}

class CNrrdLayout {
 public:
  explicit CNrrdLayout(SArrayPicture& picture) : m_picture(picture), m_layout(picture.layout) {
    m_layout.size = {1, 1};
  }

  void Add(const SNrrdAxis& axis, ERole role, std::uint64_t step) {
    switch (role) {
      case ERole::kColor:
        m_layout.components = 3;
        m_layout.hasOpacity = axis.size == 4;
        m_layout.component = step;
        return;
      case ERole::kChannels:
        if (!m_picture.stack.channels.empty()) return AddPlain(axis, step, false);
        m_picture.stack.channels.resize(SideOf(axis));
        m_layout.channel = step;
        return;
      case ERole::kTime:
        return AddPlain(axis, step, true);
      case ERole::kSide:
        return AddSide(axis, step);
      default:
        return AddPlain(axis, step, false);
    }
  }

  void Complete() {
    if (m_layout.components > 1) m_picture.stack.channels.clear();
    if (m_sides == 1) m_layout.y = m_layout.x * m_layout.size.width;
  }

 private:
  void AddSide(const SNrrdAxis& axis, std::uint64_t step) {
    SImageMetadata& metadata = m_picture.metadata;
    const double length = LengthAlong(axis);
    switch (m_sides++) {
      case 0:
        m_layout.size.width = SideOf(axis);
        m_layout.x = step;
        metadata.calibration = length;
        return;
      case 1:
        m_layout.size.height = SideOf(axis);
        m_layout.y = step;
        if (length > 0.0 && metadata.calibration > 0.0) metadata.aspect = length / metadata.calibration;
        return;
      case 2:
        m_picture.stack.sizeZ = SideOf(axis);
        m_layout.z = step;
        metadata.picture.zStep = length;
        return;
      default:
        return AddPlain(axis, step, false);
    }
  }

  // Of more axes than there are names for, the first place is shown.
  void AddPlain(const SNrrdAxis& axis, std::uint64_t step, bool isTime) {
    SPlaneStack& stack = m_picture.stack;
    if (m_layout.t == 0) {
      m_layout.t = step;
      stack.sizeT = SideOf(axis);
      m_picture.tLoop = isTime ? kQvLoopTime : kQvLoopCustom;
      if (isTime) m_picture.timeStep = axis.spacing * SecondsPer(axis.unit).value_or(0.0);
    } else if (m_layout.position == 0) {
      m_layout.position = step;
      stack.positions = SideOf(axis);
    }
  }

  SArrayPicture& m_picture;
  SArrayLayout& m_layout;
  int m_sides = 0;
};

}  // namespace

void LayOutNrrd(const SNrrdHeader& header, SArrayPicture& picture) {
  const std::optional<SStoredSamples> samples = SamplesOf(header);
  if (samples) {
    picture.layout.samples = *samples;
  } else {
    picture.unsupported = "NRRD data of type \"" + header.type.substr(0, 40) + "\" are not supported";
  }
  const bool looksLikeColor = samples && LooksLikeColor(header, *samples);
  CNrrdLayout layout(picture);
  std::uint64_t step = picture.layout.samples.bytes;
  bool hasColor = false;
  for (std::size_t i = 0; i < header.axes.size(); ++i) {
    const SNrrdAxis& axis = header.axes[i];
    ERole role = i == 0 && looksLikeColor ? ERole::kColor : RoleOf(axis);
    if (role == ERole::kColor && hasColor) role = ERole::kPlain;
    if (role == ERole::kComplex) picture.unsupported = "NRRD data of complex numbers are not supported";
    hasColor = hasColor || role == ERole::kColor;
    layout.Add(axis, role, step);
    step = CRenderGuard::Multiply(step, axis.size);
  }
  layout.Complete();
  picture.source.size = step;
}

}  // namespace imageformats
