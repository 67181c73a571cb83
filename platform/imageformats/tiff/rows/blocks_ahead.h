#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/imageformats/base/work_ahead.h"
#include "platform/imageformats/tiff/blocks/block_source.h"

namespace imageformats::tiff {

// The blocks of a source row by row, of each place those of the wanted planes in their order; helper threads decode
// them ahead where that is worth it.
class CBlocksAhead {
 public:
  CBlocksAhead(CBlockSource& source, std::vector<std::uint32_t> planes, CRenderGuard& guard);

  // The next block, as ReadBlock delivers it.
  std::uint8_t* Next();

 private:
  struct SGrid {
    std::vector<std::uint32_t> planes;
    std::uint32_t across = 1, down = 1;

    std::uint64_t Blocks() const noexcept { return std::uint64_t{across} * down * planes.size(); }
    std::uint8_t* Read(CBlockSource& source, std::uint64_t block) const;
  };
  class CWorker;

  static SGrid GridOf(const CBlockSource& source, std::vector<std::uint32_t> planes);
  std::uint8_t* ReadHere(std::uint64_t block);

  CBlockSource& m_source;
  const SGrid m_grid;
  std::uint64_t m_next = 0;
  std::unique_ptr<CWorkAhead> m_ahead;  // null where it cannot be
};

}  // namespace imageformats::tiff
