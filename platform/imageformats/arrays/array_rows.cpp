#include "platform/imageformats/arrays/array_rows.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "platform/imageformats/render/alpha.h"

namespace imageformats {

namespace {

// Large enough for the disk, small enough to be still in the processor's cache when the rows are summed.
constexpr std::uint64_t kRowBandBytes = 256 << 10;

std::uint64_t RowSpan(const SArrayLayout& layout, std::uint32_t gathered) noexcept {
  const std::uint64_t width = layout.size.width;
  if (layout.isNibbles) return (width + 1) / 2;
  const std::uint64_t pixel = CRenderGuard::Multiply(gathered - 1, layout.component) + layout.samples.bytes;
  const std::uint64_t before = CRenderGuard::Multiply(width - 1, layout.x);
  return before > std::numeric_limits<std::uint64_t>::max() - pixel ? before : before + pixel;
}

}  // namespace

// Integers of which one is no value become floats, which know such a thing.
ESampleType AveragedType(const SArrayLayout& layout) {
  if (!layout.blank) return LoadedType(layout.samples);
  return layout.samples.bytes > 2 ? ESampleType::kF64 : ESampleType::kF32;
}

CArrayRows::CArrayRows(const SArrayLayout& layout, IArrayBytes& bytes, CRenderGuard& guard)
    : m_layout(layout),
      m_bytes(bytes),
      m_guard(guard),
      m_components(layout.IsPlanar() ? 1 : layout.components),
      m_blends(layout.hasOpacity && !layout.IsPlanar() && layout.samples.bytes <= 2 &&
               layout.samples.kind == SStoredSamples::EKind::kUnsigned),
      m_gathered(m_components + (m_blends ? 1 : 0)),
      m_type(AveragedType(layout)),
      m_rowSpan(RowSpan(layout, m_gathered)),
      m_isPacked(!layout.isNibbles && layout.x == std::uint64_t{m_gathered} * layout.samples.bytes &&
                 (m_gathered == 1 || layout.component == layout.samples.bytes)) {
  guard.CheckPixels(layout.size.width, layout.size.height);
  const std::uint64_t samples = CRenderGuard::Multiply(layout.size.width, m_gathered);
  const std::uint64_t loaded = CRenderGuard::Multiply(samples, imageformats::SampleBytes(m_type)) / 8 + 1;
  const std::uint64_t gap = layout.y > m_rowSpan ? layout.y - m_rowSpan : 0;
  const bool together = layout.y >= m_rowSpan && gap <= m_rowSpan;
  const std::uint64_t most = together ? kRowBandBytes / std::max<std::uint64_t>(layout.y, 1) : 1;
  m_bandRows = static_cast<std::uint32_t>(std::clamp<std::uint64_t>(most, 1, layout.size.height));
  m_stored = guard.NewVector<std::uint8_t>(m_bandRows == 1 ? m_rowSpan : CRenderGuard::Multiply(layout.y, m_bandRows));
  if (!m_isPacked) m_packed = guard.NewVector<std::uint8_t>(CRenderGuard::Multiply(samples, layout.samples.bytes));
  if (layout.blank) m_wide = guard.NewVector<std::uint64_t>(loaded);
  m_loaded = guard.NewVector<std::uint64_t>(CRenderGuard::Multiply(loaded, m_bandRows));
  m_stride = static_cast<std::size_t>(loaded * 8);
}

void CArrayRows::ForEachBand(std::uint64_t offset, const std::function<void(const SBand&)>& body) {
  for (std::uint32_t y = 0; y < m_layout.size.height;) {
    m_guard.CheckTime();
    const std::uint32_t rows = std::min(m_bandRows, m_layout.size.height - y);
    ReadBand(offset + y * m_layout.y, rows);
    body({y, rows, reinterpret_cast<const std::uint8_t*>(m_loaded.data()), m_stride});
    y += rows;
  }
}

void CArrayRows::ReadBand(std::uint64_t offset, std::uint32_t rows) {
  m_bytes.Read(offset, m_stored.data(), static_cast<std::size_t>((rows - 1) * m_layout.y + m_rowSpan));
  auto* out = reinterpret_cast<std::uint8_t*>(m_loaded.data());
  for (std::uint32_t i = 0; i < rows; ++i) LoadRow(m_stored.data() + i * m_layout.y, out + i * m_stride);
}

const std::uint8_t* CArrayRows::Gathered(const std::uint8_t* stored) {
  if (m_isPacked) return stored;
  std::uint8_t* to = m_packed.data();
  const std::uint32_t width = m_layout.size.width, bytes = m_layout.samples.bytes;
  for (std::uint32_t i = 0; i < width; ++i) {
    if (m_layout.isNibbles) {
      *to++ = static_cast<std::uint8_t>(stored[i / 2] >> (i % 2 * 4) & 15);
      continue;
    }
    for (std::uint32_t k = 0; k < m_gathered; ++k, to += bytes) {
      std::memcpy(to, stored + i * m_layout.x + k * m_layout.component, bytes);
    }
  }
  return m_packed.data();
}

template <class T>
void CArrayRows::FlipSignsOf(std::uint8_t* row) const noexcept {
  auto* samples = reinterpret_cast<T*>(row);
  const std::size_t count = std::size_t{m_layout.size.width} * m_gathered;
  constexpr T kSign = static_cast<T>(T{1} << (sizeof(T) * 8 - 1));
  for (std::size_t i = 0; i < count; ++i) samples[i] = static_cast<T>(samples[i] ^ kSign);
}

template <class Stored, class T>
void CArrayRows::RemoveBlanksOf(const std::uint8_t* row, std::uint8_t* out) const noexcept {
  const auto* from = reinterpret_cast<const Stored*>(row);
  auto* to = reinterpret_cast<T*>(out);
  const std::size_t count = std::size_t{m_layout.size.width} * m_gathered;
  const auto blank = static_cast<Stored>(*m_layout.blank);
  for (std::size_t i = 0; i < count; ++i) {
    to[i] = from[i] == blank ? std::numeric_limits<T>::quiet_NaN() : static_cast<T>(from[i]);
  }
}

void CArrayRows::LoadRow(const std::uint8_t* stored, std::uint8_t* out) {
  const std::size_t pixels = m_layout.size.width;
  auto* loaded = m_layout.blank ? reinterpret_cast<std::uint8_t*>(m_wide.data()) : out;
  LoadSamples(m_layout.samples, Gathered(stored), pixels * m_gathered, loaded);
  if (m_layout.flipsSign) FlipSigns(loaded);
  if (m_blends && m_layout.samples.bytes == 1) BlendOverWhite(loaded, pixels, m_components, false, loaded);
  if (m_blends && m_layout.samples.bytes == 2) {
    auto* words = reinterpret_cast<std::uint16_t*>(loaded);
    BlendOverWhite(words, pixels, m_components, false, 65535, words);
  }
  if (m_layout.blank) RemoveBlanks(loaded, out);
}

void CArrayRows::FlipSigns(std::uint8_t* row) const noexcept {
  switch (m_layout.samples.bytes) {
    case 1:
      return FlipSignsOf<std::uint8_t>(row);
    case 2:
      return FlipSignsOf<std::uint16_t>(row);
    case 4:
      return FlipSignsOf<std::uint32_t>(row);
    default:
      return FlipSignsOf<std::uint64_t>(row);
  }
}

void CArrayRows::RemoveBlanks(const std::uint8_t* row, std::uint8_t* out) const noexcept {
  switch (m_layout.samples.bytes) {
    case 1:
      return RemoveBlanksOf<std::uint8_t, float>(row, out);
    case 2:
      return RemoveBlanksOf<std::int16_t, float>(row, out);
    case 4:
      return RemoveBlanksOf<std::int32_t, double>(row, out);
    default:
      return RemoveBlanksOf<std::int64_t, double>(row, out);
  }
}

}  // namespace imageformats
