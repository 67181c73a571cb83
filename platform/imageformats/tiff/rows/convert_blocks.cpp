#include "platform/imageformats/tiff/rows/convert_blocks.h"

#include <algorithm>

#include "platform/imageformats/tiff/rows/blocks_ahead.h"

namespace imageformats::tiff {
namespace {

// Rows are converted in bands of about this size, which stay in the cache until they are summed.
constexpr std::size_t kConvertedBandBytes = 128 << 10;

// One pass over a source's blocks.
class CBlockPass {
 public:
  CBlockPass(CBlockSource& source, CRowConverter& converter, IPixelSink& sink, CRenderGuard& guard)
      : m_source(source),
        m_converter(converter),
        m_sink(sink),
        m_block(source.BlockSize()),
        m_blocks(source, source.Layout().planar ? converter.ShownSamples() : std::vector<std::uint32_t>{0}, guard) {
    if (converter.IsIdentity()) return;
    const std::uint64_t rowBytes = CRenderGuard::Multiply(m_block.width, converter.PixelBytes());
    m_bandRows =
        static_cast<std::uint32_t>(std::clamp<std::uint64_t>(kConvertedBandBytes / rowBytes, 1, m_block.height));
    m_converted = guard.NewVector<std::uint8_t>(CRenderGuard::Multiply(rowBytes, m_bandRows));
    if (!source.Layout().planar) return;
    const std::uint64_t pixels = CRenderGuard::Multiply(m_block.width, m_block.height);
    m_gathered = guard.NewVector<std::uint8_t>(CRenderGuard::Multiply(pixels, converter.GatheredPixelBytes()));
  }

  void Run() {
    const SSize size = {m_source.AxisX().pixels, m_source.AxisY().pixels};
    for (std::uint32_t y = 0; y < size.height; y += Step(m_block.height, size.height - y)) {
      for (std::uint32_t x = 0; x < size.width; x += Step(m_block.width, size.width - x)) {
        ConvertBlock(x, y, std::min(m_block.height, size.height - y));
      }
    }
  }

 private:
  // Keeps the sums of positions within 32 bits.
  static std::uint32_t Step(std::uint32_t block, std::uint32_t left) noexcept { return std::min(block, left); }

  void ConvertBlock(std::uint32_t x, std::uint32_t y, std::uint32_t height) {
    const std::size_t stride = m_source.Stride();
    if (m_source.Layout().planar) {
      GatherPlanes(height);
      return ConvertRows(x, y, height, [&](std::uint32_t from, std::uint8_t* out) {
        m_converter.FinishGathered(m_gathered.data() + from * m_block.width * m_converter.GatheredPixelBytes(),
                                   m_block.width, out);
      });
    }
    const std::uint8_t* data = m_blocks.Next();
    if (m_converter.IsIdentity()) return m_sink.Add(x, y, m_block.width, height, data, stride);
    ConvertRows(x, y, height, [&](std::uint32_t from, std::uint8_t* out) {
      m_converter.Convert(data + from * stride, m_block.width, out);
    });
  }

  void GatherPlanes(std::uint32_t height) {
    const std::size_t gatheredRow = m_block.width * m_converter.GatheredPixelBytes();
    for (std::size_t index = 0; index < m_converter.ShownSamples().size(); ++index) {
      const std::uint8_t* data = m_blocks.Next();
      for (std::uint32_t i = 0; i < height; ++i) {
        m_converter.GatherPlane(index, data + i * m_source.Stride(), m_block.width,
                                m_gathered.data() + i * gatheredRow);
      }
    }
  }

  template <class ConvertRow>
  void ConvertRows(std::uint32_t x, std::uint32_t y, std::uint32_t height, ConvertRow&& convert) {
    const std::size_t rowBytes = m_block.width * m_converter.PixelBytes();
    for (std::uint32_t from = 0; from < height; from += m_bandRows) {
      const std::uint32_t count = std::min(m_bandRows, height - from);
      for (std::uint32_t i = 0; i < count; ++i) convert(from + i, m_converted.data() + i * rowBytes);
      m_sink.Add(x, y + from, m_block.width, count, m_converted.data(), rowBytes);
    }
  }

  CBlockSource& m_source;
  CRowConverter& m_converter;
  IPixelSink& m_sink;
  const SSize m_block;
  std::uint32_t m_bandRows = 0;
  std::vector<std::uint8_t> m_converted, m_gathered;
  CBlocksAhead m_blocks;
};

}  // namespace

void ConvertBlocks(CBlockSource& source, CRowConverter& converter, IPixelSink& sink, CRenderGuard& guard) {
  CBlockPass(source, converter, sink, guard).Run();
}

}  // namespace imageformats::tiff
