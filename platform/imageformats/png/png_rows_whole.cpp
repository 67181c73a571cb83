#include <algorithm>
#include <memory>
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
  // `rows`: one of zeros above the picture's, and these as they were inflated, each behind its filter's byte.
  CWholePngRows(std::unique_ptr<std::uint8_t[]> rows, const SPngHeader& header, CRenderGuard& guard)
      : m_rows(std::move(rows)),
        m_rowBytes(static_cast<std::size_t>(header.RowBytes())),
        m_pixelBytes(std::max<std::size_t>(1, header.StoredChannels() * header.bitDepth / 8u)),
        m_rowsLeft(header.height),
        m_guard(guard) {}

  SBand NextBand(std::uint32_t most) override {
    m_guard.CheckTime();
    const std::size_t stride = m_rowBytes + 1;
    const SBand band{m_rows.get() + m_next * stride + 1, stride, std::min(most, m_rowsLeft)};
    if (!UnfilterPngRows(m_rows.get() + m_next * stride + 1, stride, band.count, m_rowBytes, m_pixelBytes)) {
      throw CDamagedError("The PNG data is damaged: bad adaptive filter value");
    }
    m_next += band.count;
    m_rowsLeft -= band.count;
    return band;
  }

 private:
  std::unique_ptr<std::uint8_t[]> m_rows;
  std::size_t m_rowBytes;
  std::size_t m_pixelBytes;
  std::size_t m_next = 1;
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
  const std::uint64_t stride = header.RowBytes() + 1, unpacked = CRenderGuard::Multiply(stride, header.height);
  const std::uint64_t budget = std::min(kMaxWholeBytes, guard.Available());
  if (header.interlaced || unpacked >= budget || stride >= budget - unpacked) return nullptr;
  const std::vector<std::uint8_t> packed = ReadIdatContent(input, header, budget - unpacked - stride, guard);
  if (packed.empty() || unpacked / kMaxDeflateRatio > packed.size()) return nullptr;
  auto rows = std::make_unique_for_overwrite<std::uint8_t[]>(static_cast<std::size_t>(stride + unpacked));
  std::fill_n(rows.get(), stride, std::uint8_t{0});
  if (!InflateExactly(packed, {rows.get() + stride, static_cast<std::size_t>(unpacked)})) return nullptr;
  guard.Reserve(stride + unpacked);
  return std::make_unique<CWholePngRows>(std::move(rows), header, guard);
}

}  // namespace imageformats
