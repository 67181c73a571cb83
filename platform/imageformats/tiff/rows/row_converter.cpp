#include "platform/imageformats/tiff/rows/row_converter.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>
#include <type_traits>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/render/alpha.h"
#include "platform/imageformats/tiff/rows/sample_unpack.h"

namespace imageformats::tiff {
namespace {

// `Samples`: the numbers of those that are shown. Of a constant number compilers make better loops.
template <class T, class Samples>
void CopySamples(const T* from, std::uint32_t stride, const Samples& shown, std::size_t pixels, T* to) noexcept {
  for (std::size_t i = 0; i < pixels; ++i, from += stride) {
    for (const std::uint32_t sample : shown) *to++ = from[sample];
  }
}

template <std::size_t kCount>
std::array<std::uint32_t, kCount> FirstOf(const std::vector<std::uint32_t>& shown) noexcept {
  std::array<std::uint32_t, kCount> samples;
  std::copy_n(shown.begin(), kCount, samples.begin());
  return samples;
}

template <class T>
void CopyShownSamples(const void* in, std::uint32_t stride, const std::vector<std::uint32_t>& shown, std::size_t pixels,
                      void* out) noexcept {
  const T* from = static_cast<const T*>(in);
  T* to = static_cast<T*>(out);
  switch (shown.size()) {
    case 1:
      return CopySamples(from, stride, FirstOf<1>(shown), pixels, to);
    case 2:
      return CopySamples(from, stride, FirstOf<2>(shown), pixels, to);
    case 3:
      return CopySamples(from, stride, FirstOf<3>(shown), pixels, to);
    case 4:
      return CopySamples(from, stride, FirstOf<4>(shown), pixels, to);
    default:
      return CopySamples(from, stride, shown, pixels, to);
  }
}

template <class T>
void InterleaveSample(const void* in, std::size_t pixels, std::size_t index, std::size_t shown, void* out) noexcept {
  const T* from = static_cast<const T*>(in);
  T* to = static_cast<T*>(out) + index;
  for (std::size_t i = 0; i < pixels; ++i, to += shown) *to = from[i];
}

// Calls the function with a value of the unsigned type of that size.
template <class Function>
void WithSize(std::size_t bytes, Function&& function) {
  switch (bytes) {
    case 1:
      return function(std::uint8_t{});
    case 2:
      return function(std::uint16_t{});
    case 4:
      return function(std::uint32_t{});
    default:
      return function(std::uint64_t{});
  }
}

template <class T>
void LookUpPalette(const void* in, std::size_t pixels, const std::vector<std::uint8_t>& palette,
                   std::uint8_t* out) noexcept {
  const T* from = static_cast<const T*>(in);
  const std::size_t last = palette.size() / 3 - 1;
  for (std::size_t i = 0; i < pixels; ++i, out += 3) {
    std::memcpy(out, palette.data() + 3 * std::min<std::size_t>(from[i], last), 3);
  }
}

// a and b from two's complement to an offset of half the range, so that they can be averaged like any other sample.
template <class T>
void OffsetLab(const void* in, std::size_t pixels, void* out) noexcept {
  constexpr T kSign = static_cast<T>(T{1} << (8 * sizeof(T) - 1));
  const T* from = static_cast<const T*>(in);
  T* to = static_cast<T*>(out);
  for (std::size_t i = 0; i < pixels; ++i, from += 3, to += 3) {
    to[0] = from[0];
    to[1] = from[1] ^ kSign;
    to[2] = from[2] ^ kSign;
  }
}

std::uint32_t ColorSamples(std::uint32_t photometric, std::uint32_t samples) noexcept {
  switch (photometric) {
    case PHOTOMETRIC_RGB:
    case PHOTOMETRIC_CIELAB:
    case PHOTOMETRIC_ICCLAB:
      return std::min(samples, 3u);
    case PHOTOMETRIC_SEPARATED:
      return samples >= 4 ? 4 : 1;
    default:
      return 1;
  }
}

}  // namespace

CRowConverter::CRowConverter(const SPage& page, const SDecodedLayout& layout,
                             const std::vector<std::uint32_t>& channels)
    : m_layout(layout) {
  m_pixelFormat.stretch = layout.bits > 8 || layout.format != ESampleFormat::kUnsigned;
  const bool isFloat = layout.format == ESampleFormat::kFloat;
  m_pixelFormat.nominal =
      isFloat ? SDisplayRange{0.0, 1.0} : NominalRange(std::min(page.SignificantBits(), layout.bits));
  ChoosePicture(page, channels);
  const bool allPicked = m_shownSamples.size() == layout.samples;
  std::vector<std::uint32_t> inOrder(m_shownSamples.size());
  std::iota(inOrder.begin(), inOrder.end(), 0);
  m_isIdentity = IsUnpacked(layout) && allPicked && m_shownSamples == inOrder &&
                 (!layout.planar || layout.samples == 1) && m_finalStep == EFinalStep::kNothing;
}

void CRowConverter::ChoosePicture(const SPage& page, const std::vector<std::uint32_t>& channels) {
  const bool indices = channels.empty() && m_layout.photometric == PHOTOMETRIC_PALETTE && !page.palette.empty();
  ChooseUnpackedType(indices);
  if (!channels.empty()) {
    // Pages of one picture may contradict each other.
    if (*std::max_element(channels.begin(), channels.end()) >= m_layout.samples) {
      throw CDamagedError("A page has fewer channels than the picture it belongs to");
    }
    m_shownSamples = channels;
    m_pixelFormat.inverted = m_layout.photometric == PHOTOMETRIC_MINISWHITE;
    m_pixelFormat.components = static_cast<std::uint32_t>(channels.size());
    return;
  }
  const std::uint32_t colors = ColorSamples(m_layout.photometric, m_layout.samples);
  m_shownSamples.resize(colors);
  std::iota(m_shownSamples.begin(), m_shownSamples.end(), 0);
  m_pixelFormat.components = colors;
  if (indices) {
    MakePalette(page);
  } else {
    ChooseColors(page);
    ChooseAlpha(page, colors);
  }
}

void CRowConverter::ChooseUnpackedType(bool indices) {
  m_unpackedType = UnpackedType(m_layout);
  m_pixelFormat.type = m_unpackedType;
  if (m_unpackedType == ESampleType::kU8) m_pixelFormat.nominal = NominalRange(8);
  if (m_unpackedType == ESampleType::kU8 && m_layout.bits < 8) MakeExpansion(indices);
}

// Samples of 3, 5, 6 and 7 bits, which hardly occur, are scaled one by one: the table then has an entry a value.
void CRowConverter::MakeExpansion(bool indices) {
  const std::uint32_t bits = m_layout.bits, most = (1u << bits) - 1;
  const bool wholeBytes = 8 % bits == 0;
  for (std::uint32_t entry = 0; entry < (wholeBytes ? 256 : most + 1); ++entry) {
    for (std::uint32_t shift = wholeBytes ? 8 : bits; shift > 0;) {
      shift -= bits;
      const std::uint32_t value = entry >> shift & most;
      m_expansion.push_back(static_cast<std::uint8_t>(indices ? value : (value * 255 + most / 2) / most));
    }
  }
}

const std::uint8_t* CRowConverter::Unpacked(const std::uint8_t* row, std::size_t samples) {
  if (IsUnpacked(m_layout)) return row;
  m_unpacked.resize((samples + 8) * SampleBytes(m_unpackedType));  // room for what a last byte holds too many
  std::uint8_t* out = m_unpacked.data();
  const std::size_t together = m_expansion.size() / 256;
  if (together > 0) {
    for (std::size_t done = 0; done < samples; done += together) {
      std::memcpy(out + done, m_expansion.data() + *row++ * together, together);
    }
    return out;
  }
  UnpackRow(m_layout, row, samples, out);
  if (!m_expansion.empty()) {
    for (std::size_t i = 0; i < samples; ++i) out[i] = m_expansion[out[i]];
  }
  return out;
}

void CRowConverter::ChooseColors(const SPage& page) {
  switch (m_layout.photometric) {
    case PHOTOMETRIC_RGB:
      m_pixelFormat.model = m_pixelFormat.components == 3 ? EColorModel::kRgb : EColorModel::kGrey;
      break;
    case PHOTOMETRIC_SEPARATED:
      m_pixelFormat.model = m_pixelFormat.components == 4 ? EColorModel::kCmyk : EColorModel::kGrey;
      m_pixelFormat.inverted = m_pixelFormat.components == 1;
      m_pixelFormat.nominal = NominalRange(m_unpackedType == ESampleType::kU8 ? 8 : m_layout.bits);
      break;
    case PHOTOMETRIC_CIELAB:
    case PHOTOMETRIC_ICCLAB:
      m_pixelFormat.model = m_pixelFormat.components == 3 ? EColorModel::kLab : EColorModel::kGrey;
      if (m_pixelFormat.components == 3) ChooseLab();
      break;
    case PHOTOMETRIC_MINISWHITE:
      m_pixelFormat.inverted = true;
      break;
    default:
      break;
  }
  if (page.photometric == PHOTOMETRIC_SEPARATED || m_pixelFormat.model == EColorModel::kLab)
    m_pixelFormat.stretch = false;
}

// TIFF 6.0, section 23 (CIELab: a and b signed), and Adobe's TIFF Technical Note 4 (ICCLab: offset by half the range,
// L of 16 bits full at FF00).
void CRowConverter::ChooseLab() {
  const bool isSigned = m_layout.photometric == PHOTOMETRIC_CIELAB;
  const bool wide = m_unpackedType == ESampleType::kU16;
  m_pixelFormat.lightnessScale = !wide ? 100.0 / 255.0 : isSigned ? 100.0 / 65535.0 : 100.0 / 65280.0;
  m_pixelFormat.labScale = wide ? 1.0 / 256.0 : 1.0;
  m_pixelFormat.labOffset = 128.0;
  if (isSigned) m_finalStep = EFinalStep::kSignedLab;
}

void CRowConverter::ChooseAlpha(const SPage& page, std::uint32_t colors) {
  const ESampleType type = m_unpackedType;
  const bool isFloat = type == ESampleType::kF32 || type == ESampleType::kF64;
  const bool isInks = m_pixelFormat.model == EColorModel::kCmyk || m_pixelFormat.inverted;
  if (type != ESampleType::kU8 && type != ESampleType::kU16 && (!isFloat || isInks)) return;
  if (m_pixelFormat.model == EColorModel::kLab) return;
  m_zeroIsPaper = isInks;
  for (std::uint32_t i = 0; i < page.extraSamples.size() && colors + i < m_layout.samples; ++i) {
    const std::uint16_t meaning = page.extraSamples[i];
    if (meaning != EXTRASAMPLE_ASSOCALPHA && meaning != EXTRASAMPLE_UNASSALPHA) continue;
    m_shownSamples.push_back(colors + i);
    m_finalStep = meaning == EXTRASAMPLE_ASSOCALPHA ? EFinalStep::kPremultipliedAlpha : EFinalStep::kAlpha;
    return;
  }
}

// Palettes hold 16-bit values; some writers put 8-bit ones there, all of them below 256.
void CRowConverter::MakePalette(const SPage& page) {
  const std::size_t count = page.palette.size() / 3;
  const bool narrow = std::all_of(page.palette.begin(), page.palette.end(), [](std::uint16_t v) { return v < 256; });
  m_palette.resize(page.palette.size());
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t k = 0; k < 3; ++k) {
      const std::uint16_t value = page.palette[k * count + i];
      m_palette[3 * i + k] = static_cast<std::uint8_t>(narrow ? value : value >> 8);
    }
  }
  m_finalStep = EFinalStep::kPalette;
  m_pixelFormat.type = ESampleType::kU8;
  m_pixelFormat.components = 3;
  m_pixelFormat.model = EColorModel::kRgb;
  m_pixelFormat.stretch = false;
  m_pixelFormat.nominal = NominalRange(8);
}

void CRowConverter::Convert(const std::uint8_t* row, std::size_t pixels, std::uint8_t* out) {
  const std::uint8_t* unpacked = Unpacked(row, pixels * m_layout.samples);
  m_gathered.resize(pixels * GatheredPixelBytes());
  WithSize(SampleBytes(m_unpackedType), [&]<class T>(T) {
    CopyShownSamples<T>(unpacked, m_layout.samples, m_shownSamples, pixels, m_gathered.data());
  });
  FinishGathered(m_gathered.data(), pixels, out);
}

void CRowConverter::GatherPlane(std::size_t index, const std::uint8_t* row, std::size_t pixels,
                                std::uint8_t* gathered) {
  const std::uint8_t* unpacked = Unpacked(row, pixels);
  WithSize(SampleBytes(m_unpackedType),
           [&]<class T>(T) { InterleaveSample<T>(unpacked, pixels, index, m_shownSamples.size(), gathered); });
}

void CRowConverter::LayOpacity(const std::uint8_t* gathered, std::size_t pixels, std::uint8_t* out) const {
  const auto colors = static_cast<std::uint32_t>(m_shownSamples.size() - 1);
  const bool premultiplied = m_finalStep == EFinalStep::kPremultipliedAlpha;
  const auto lay = [&]<class T>(T) {
    const auto* from = reinterpret_cast<const T*>(gathered);
    auto* to = reinterpret_cast<T*>(out);
    if constexpr (std::is_same_v<T, std::uint16_t>) {
      const auto opaque = static_cast<std::uint16_t>((1u << m_layout.bits) - 1);
      m_zeroIsPaper ? BlendOverPaper(from, pixels, colors, premultiplied, opaque, to)
                    : BlendOverWhite(from, pixels, colors, premultiplied, opaque, to);
    } else {
      BlendOverWhite(from, pixels, colors, premultiplied, to);
    }
  };
  switch (m_unpackedType) {
    case ESampleType::kU16:
      return lay(std::uint16_t{});
    case ESampleType::kF32:
      return lay(float{});
    case ESampleType::kF64:
      return lay(double{});
    default:
      return m_zeroIsPaper ? BlendOverPaper(gathered, pixels, colors, premultiplied, out)
                           : BlendOverWhite(gathered, pixels, colors, premultiplied, out);
  }
}

void CRowConverter::FinishGathered(const std::uint8_t* gathered, std::size_t pixels, std::uint8_t* out) const {
  const bool wide = m_unpackedType == ESampleType::kU16;
  switch (m_finalStep) {
    case EFinalStep::kPalette:
      return wide ? LookUpPalette<std::uint16_t>(gathered, pixels, m_palette, out)
                  : LookUpPalette<std::uint8_t>(gathered, pixels, m_palette, out);
    case EFinalStep::kSignedLab:
      return wide ? OffsetLab<std::uint16_t>(gathered, pixels, out) : OffsetLab<std::uint8_t>(gathered, pixels, out);
    case EFinalStep::kAlpha:
    case EFinalStep::kPremultipliedAlpha:
      return LayOpacity(gathered, pixels, out);
    case EFinalStep::kNothing:
      std::memcpy(out, gathered, pixels * PixelBytes());
  }
}

}  // namespace imageformats::tiff
