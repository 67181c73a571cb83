#include "platform/imageformats/tiff/blocks/jpeg_streams.h"

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/tiff/blocks/block_source.h"

namespace imageformats::tiff {
namespace {

// A stream that an instrument has only begun to write ends in zeros, which decode to something. Whole ones end in the
// end-of-image marker, perhaps padded, or at least not in a long run of zeros.
bool EndsInZeros(std::span<const std::uint8_t> stream) noexcept {
  constexpr std::size_t kLongestPadding = 16;
  std::size_t end = stream.size();
  while (end > 0 && stream[end - 1] == 0) --end;
  const bool marked = end >= 2 && stream[end - 2] == 0xFF && stream[end - 1] == 0xD9;
  return !marked && stream.size() - end > kLongestPadding;
}

}  // namespace

CJpegStreams::CJpegStreams(CTiffHandle& tiff, CRenderGuard& guard) : m_tiff(tiff), m_guard(guard) {
  std::uint32_t size = 0;
  void* tables = nullptr;
  if (!TIFFGetField(tiff.Get(), TIFFTAG_JPEGTABLES, &size, &tables) || !tables || size == 0) return;
  const auto* first = static_cast<const std::uint8_t*>(tables);
  m_tables.assign(first, first + size);
}

std::span<const std::uint8_t> CJpegStreams::Read(std::uint32_t index) {
  const SBlockExtent place = LocateBlock(m_tiff, index);
  if (place.size > m_stream.size()) {
    m_guard.Reserve(place.size - m_stream.size());
    m_stream.resize(static_cast<std::size_t>(place.size));
  }
  const auto size = static_cast<std::size_t>(place.size);
  ReadBlockBytes(m_tiff, place.offset, m_stream.data(), size);
  const std::span<const std::uint8_t> stream(m_stream.data(), size);
  if (EndsInZeros(stream)) throw CDamagedError("The JPEG data of a strip or tile was not written to its end");
  return stream;
}

}  // namespace imageformats::tiff
