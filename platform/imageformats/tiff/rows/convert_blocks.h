#pragma once

#include <cstdint>
#include <vector>

#include "platform/imageformats/tiff/rows/row_converter.h"

namespace imageformats::tiff {

// Receives converted rows as they come: rectangles that together cover the picture once, in any order.
class IPixelSink {
 public:
  virtual ~IPixelSink() = default;
  // Rows of `width` pixels, `stride` bytes apart, at (x, y) of the source's axes. What sticks out is to be ignored.
  virtual void Add(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height,
                   const std::uint8_t* rows, std::size_t stride) = 0;
};

// Averages the rows.
class CReducerSink final : public IPixelSink {
 public:
  explicit CReducerSink(CAreaReducer& reducer) : m_reducer(reducer) {}
  void Add(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height, const std::uint8_t* rows,
           std::size_t stride) override {
    m_reducer.AddBand(x, y, width, height, rows, stride);
  }

 private:
  CAreaReducer& m_reducer;
};

// Reads every block of the source once and passes its converted rows on.
void ConvertBlocks(CBlockSource& source, CRowConverter& converter, IPixelSink& sink, CRenderGuard& guard);

}  // namespace imageformats::tiff
