#include "platform/imageformats/tiff/rows/page_reader.h"

#include <algorithm>

namespace imageformats::tiff {
namespace {

// Rows are converted in pieces of about this size, which stay in the cache until they are summed.
constexpr std::size_t kPieceBytes = 128 << 10;

// One pass over a source's blocks.
class CBlockPass {
 public:
  CBlockPass(CBlockSource& source, CRowConverter& rows, IPixelSink& sink, CRenderGuard& guard)
      : m_source(source), m_rows(rows), m_sink(sink), m_block(source.BlockSize()) {
    if (rows.IsDirect()) return;
    const std::uint64_t rowBytes = CRenderGuard::Multiply(m_block.width, rows.PixelBytes());
    m_pieceRows = static_cast<std::uint32_t>(std::clamp<std::uint64_t>(kPieceBytes / rowBytes, 1, m_block.height));
    m_converted = guard.NewVector<std::uint8_t>(CRenderGuard::Multiply(rowBytes, m_pieceRows));
    if (!source.Layout().planar) return;
    const std::uint64_t pixels = CRenderGuard::Multiply(m_block.width, m_block.height);
    m_gathered = guard.NewVector<std::uint8_t>(CRenderGuard::Multiply(pixels, rows.GatheredBytes()));
  }

  void Run() {
    const SSize size = {m_source.AxisX().pixels, m_source.AxisY().pixels};
    for (std::uint32_t y = 0, row = 0; y < size.height; y += Step(m_block.height, size.height - y), ++row) {
      for (std::uint32_t x = 0, column = 0; x < size.width; x += Step(m_block.width, size.width - x), ++column) {
        PassBlock(column, row, x, y, std::min(m_block.height, size.height - y));
      }
    }
  }

 private:
  // Keeps the sums of positions within 32 bits.
  static std::uint32_t Step(std::uint32_t block, std::uint32_t left) noexcept { return std::min(block, left); }

  void PassBlock(std::uint32_t column, std::uint32_t row, std::uint32_t x, std::uint32_t y, std::uint32_t height) {
    const std::size_t stride = m_source.Stride();
    if (m_source.Layout().planar) {
      GatherPlanes(column, row, height);
      return PassConverted(x, y, height, [&](std::uint32_t from, std::uint8_t* out) {
        m_rows.FinishGathered(m_gathered.data() + from * m_block.width * m_rows.GatheredBytes(), m_block.width, out);
      });
    }
    const std::uint8_t* data = m_source.Fetch(column, row, 0);
    if (m_rows.IsDirect()) return m_sink.Add(x, y, m_block.width, height, data, stride);
    PassConverted(x, y, height, [&](std::uint32_t from, std::uint8_t* out) {
      m_rows.Convert(data + from * stride, m_block.width, out);
    });
  }

  void GatherPlanes(std::uint32_t column, std::uint32_t row, std::uint32_t height) {
    const std::size_t gatheredRow = m_block.width * m_rows.GatheredBytes();
    for (std::size_t pick = 0; pick < m_rows.Picks().size(); ++pick) {
      const std::uint8_t* data = m_source.Fetch(column, row, m_rows.Picks()[pick]);
      for (std::uint32_t i = 0; i < height; ++i) {
        m_rows.Gather(pick, data + i * m_source.Stride(), m_block.width, m_gathered.data() + i * gatheredRow);
      }
    }
  }

  template <class ConvertRow>
  void PassConverted(std::uint32_t x, std::uint32_t y, std::uint32_t height, ConvertRow&& convert) {
    const std::size_t rowBytes = m_block.width * m_rows.PixelBytes();
    for (std::uint32_t from = 0; from < height; from += m_pieceRows) {
      const std::uint32_t count = std::min(m_pieceRows, height - from);
      for (std::uint32_t i = 0; i < count; ++i) convert(from + i, m_converted.data() + i * rowBytes);
      m_sink.Add(x, y + from, m_block.width, count, m_converted.data(), rowBytes);
    }
  }

  CBlockSource& m_source;
  CRowConverter& m_rows;
  IPixelSink& m_sink;
  const SSize m_block;
  std::uint32_t m_pieceRows = 0;
  std::vector<std::uint8_t> m_converted, m_gathered;
};

}  // namespace

void ReadPixels(CBlockSource& source, CRowConverter& rows, IPixelSink& sink, CRenderGuard& guard) {
  CBlockPass(source, rows, sink, guard).Run();
}

}  // namespace imageformats::tiff
