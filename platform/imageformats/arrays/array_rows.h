#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "platform/imageformats/arrays/array_bytes.h"
#include "platform/imageformats/arrays/array_layout.h"
#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/render/area_reducer.h"

namespace imageformats {

// What the samples are averaged as. Throws CUnsupportedError for sizes that are not known.
ESampleType AveragedType(const SArrayLayout& layout);

// The rows of an array's pictures, ready for averaging: in this machine's byte order, packed, opacity laid over white.
class CArrayRows {
 public:
  // All must outlive the object.
  CArrayRows(const SArrayLayout& layout, IArrayBytes& bytes, CRenderGuard& guard);

  ESampleType Type() const noexcept { return m_type; }
  // In a pixel of a band: 1, or 3 of colours that stand together.
  std::uint32_t Components() const noexcept { return m_components; }

  struct SBand {
    std::uint32_t y = 0, count = 0;
    const std::uint8_t* rows = nullptr;  // aligned; valid during the call
    std::size_t stride = 0;
  };
  // All rows of the picture whose first sample stands at `offset`, from the first on.
  void ForEachBand(std::uint64_t offset, const std::function<void(const SBand&)>& body);

 private:
  void ReadBand(std::uint64_t offset, std::uint32_t rows);
  void LoadRow(const std::uint8_t* stored, std::uint8_t* out);
  const std::uint8_t* Gathered(const std::uint8_t* stored);
  void FlipSigns(std::uint8_t* row) const noexcept;
  void RemoveBlanks(const std::uint8_t* row, std::uint8_t* out) const noexcept;
  template <class T>
  void FlipSignsOf(std::uint8_t* row) const noexcept;
  template <class Stored, class T>
  void RemoveBlanksOf(const std::uint8_t* row, std::uint8_t* out) const noexcept;

  const SArrayLayout& m_layout;
  IArrayBytes& m_bytes;
  CRenderGuard& m_guard;
  std::uint32_t m_components;
  bool m_blends;             // opacity, of integers that it is known for
  std::uint32_t m_gathered;  // samples of a pixel that are loaded: m_components, and opacity
  ESampleType m_type;
  std::uint64_t m_rowSpan;  // bytes from a row's first to behind its last sample
  bool m_isPacked;          // rows are stored as they are loaded, but for the byte order
  std::uint32_t m_bandRows;
  std::size_t m_stride;
  std::vector<std::uint8_t> m_stored, m_packed;
  std::vector<std::uint64_t> m_wide, m_loaded;  // in words, for alignment
};

}  // namespace imageformats
