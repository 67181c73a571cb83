#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/tiff/directory/tiff_handle.h"

namespace imageformats::tiff {

// The JPEG streams of a page's tiles or strips (TIFF Technical Note 2).
class CJpegStreams {
 public:
  // Of the selected directory.
  CJpegStreams(CTiffHandle& tiff, CRenderGuard& guard);

  // Tables that the streams leave out; empty when there are none.
  std::span<const std::uint8_t> Tables() const noexcept { return m_tables; }
  // The stream of that tile or strip; valid until the next call. Throws CDamagedError when it was not written to its
  // end.
  std::span<const std::uint8_t> Read(std::uint32_t index);

 private:
  CTiffHandle& m_tiff;
  CRenderGuard& m_guard;
  std::vector<std::uint8_t> m_tables, m_stream;
};

}  // namespace imageformats::tiff
