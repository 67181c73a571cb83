#include "platform/imageformats/tiff/rows/blocks_ahead.h"

#include <utility>

#include "platform/imageformats/base/format_error.h"

namespace imageformats::tiff {

namespace {

// Of a handle and its buffers; and for each byte of a decoded block, with the compressed bytes, libtiff's copy of them,
// and what a decoder keeps.
constexpr std::uint64_t kBytesOfHandle = 256 << 10, kBytesPerByte = 4;

constexpr std::uint32_t BlocksAlong(std::uint32_t pixels, std::uint32_t block) noexcept {
  return pixels == 0 ? 0 : 1 + (pixels - 1) / block;
}

}  // namespace

// A source of its own.
class CBlocksAhead::CWorker final : public IPieceWorker {
 public:
  CWorker(std::unique_ptr<CBlockSource> source, const SGrid& grid) : m_source(std::move(source)), m_grid(grid) {}

  void Do(std::uint64_t block) override { m_data = m_grid.Read(*m_source, block); }
  std::uint8_t* Data() const noexcept { return m_data; }

 private:
  const std::unique_ptr<CBlockSource> m_source;
  const SGrid& m_grid;
  std::uint8_t* m_data = nullptr;
};

std::uint8_t* CBlocksAhead::SGrid::Read(CBlockSource& source, std::uint64_t block) const {
  const std::uint64_t place = block / planes.size();
  return source.ReadBlock(static_cast<std::uint32_t>(place % across), static_cast<std::uint32_t>(place / across),
                          planes[block % planes.size()]);
}

CBlocksAhead::SGrid CBlocksAhead::GridOf(const CBlockSource& source, std::vector<std::uint32_t> planes) {
  return {std::move(planes), BlocksAlong(source.AxisX().pixels, source.BlockSize().width),
          BlocksAlong(source.AxisY().pixels, source.BlockSize().height)};
}

CBlocksAhead::CBlocksAhead(CBlockSource& source, std::vector<std::uint32_t> planes, CRenderGuard& guard)
    : m_source(source), m_grid(GridOf(source, std::move(planes))) {
  if (!source.Twin()) return;
  const std::uint64_t blockBytes = CRenderGuard::Multiply(source.Stride(), source.BlockSize().height);
  const std::uint64_t workerBytes = CRenderGuard::Multiply(blockBytes + kBytesOfHandle / kBytesPerByte, kBytesPerByte);
  const auto make = [this](CRenderGuard& guardOfWorker) {
    return std::make_unique<CWorker>(m_source.Twin()(guardOfWorker), m_grid);
  };
  m_ahead = std::make_unique<CWorkAhead>(m_grid.Blocks(), workerBytes, make, guard);
}

std::uint8_t* CBlocksAhead::Next() {
  const std::uint64_t block = m_next++;
  IPieceWorker* worker = m_ahead ? m_ahead->Take(block) : nullptr;
  return worker != nullptr ? static_cast<CWorker*>(worker)->Data() : ReadHere(block);
}

std::uint8_t* CBlocksAhead::ReadHere(std::uint64_t block) {
  try {
    return m_grid.Read(m_source, block);
  } catch (const CFormatError&) {
    // What helpers hold may be what it lacks.
    if (!m_ahead || !m_ahead->Stop()) throw;
    return m_grid.Read(m_source, block);
  }
}

}  // namespace imageformats::tiff
