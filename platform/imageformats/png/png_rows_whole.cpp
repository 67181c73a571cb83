#include <algorithm>
#include <vector>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/png/png_chunks.h"
#include "platform/imageformats/png/png_rows.h"
#include "platform/imageformats/png/png_unfilter.h"

namespace imageformats {

namespace {

// Packed and unpacked data together: two workers stay within 60 MiB.
constexpr std::uint64_t kMaxWholeBytes = 24u << 20;
// Deflate cannot pack better; a file that claims more is lying.
constexpr std::uint64_t kMaxDeflateRatio = 1032;

class CWholePngRows final : public IPngRowSource {
 public:
  CWholePngRows(std::vector<std::uint8_t> filtered, const SPngHeader& header, CRenderGuard& guard)
      : m_data(std::move(filtered)),
        m_rowBytes(static_cast<std::size_t>(header.RowBytes())),
        m_pixelBytes(std::max<std::size_t>(1, header.StoredChannels() * header.bitDepth / 8u)),
        m_rowsLeft(header.height),
        m_guard(guard) {}

  SBand NextBand(std::uint32_t most) override {
    m_guard.CheckTime();
    const SBand band{m_data.data() + m_next + 1, m_rowBytes + 1, std::min(most, m_rowsLeft)};
    for (std::uint32_t i = 0; i < band.count; ++i, m_next += m_rowBytes + 1) {
      std::uint8_t* row = m_data.data() + m_next + 1;
      const std::uint8_t* above = m_next == 0 ? nullptr : row - (m_rowBytes + 1);
      if (!UnfilterPngRow(row[-1], row, above, m_rowBytes, m_pixelBytes)) {
        throw CDamagedError("The PNG data is damaged: bad adaptive filter value");
      }
    }
    m_rowsLeft -= band.count;
    return band;
  }

 private:
  std::vector<std::uint8_t> m_data;  // rows, each behind its filter's byte
  std::size_t m_rowBytes;
  std::size_t m_pixelBytes;
  std::size_t m_next = 0;
  std::uint32_t m_rowsLeft;
  CRenderGuard& m_guard;
};

// All IDAT contents in one; empty when they are damaged or too much. There may be millions, without any content.
std::vector<std::uint8_t> ReadIdatContent(const CInput& input, const SPngHeader& header, std::uint64_t most,
                                          const CRenderGuard& guard) {
  std::uint64_t size = 0;
  const auto isData = [](const std::optional<SPngChunk>& c) { return c && c->tag == PngTag("IDAT"); };
  for (auto chunk = PngChunkAt(input, header.firstIdat); isData(chunk); chunk = NextPngChunk(input, *chunk)) {
    guard.CheckTime();
    size += chunk->size;
    if (size > most) return {};
  }
  std::vector<std::uint8_t> packed(static_cast<std::size_t>(size));
  std::size_t done = 0;
  for (auto chunk = PngChunkAt(input, header.firstIdat); done < size; chunk = NextPngChunk(input, *chunk)) {
    guard.CheckTime();
    if (!isData(chunk) || chunk->size > size - done) return {};
    if (!CopyPngContent(input, *chunk, packed.data() + done)) return {};
    done += chunk->size;
  }
  return packed;
}

}  // namespace

std::unique_ptr<IPngRowSource> OpenWholePngRows(const CInput& input, const SPngHeader& header, CRenderGuard& guard) {
  const std::uint64_t unpacked = CRenderGuard::Multiply(header.RowBytes() + 1, header.height);
  const std::uint64_t budget = std::min(kMaxWholeBytes, guard.Available());
  if (header.interlaced || unpacked >= budget) return nullptr;
  const std::vector<std::uint8_t> packed = ReadIdatContent(input, header, budget - unpacked, guard);
  if (packed.empty() || unpacked / kMaxDeflateRatio > packed.size()) return nullptr;
  std::vector<std::uint8_t> filtered(static_cast<std::size_t>(unpacked));
  if (!InflateExactly(packed, filtered)) return nullptr;
  guard.Reserve(unpacked);
  return std::make_unique<CWholePngRows>(std::move(filtered), header, guard);
}

}  // namespace imageformats
