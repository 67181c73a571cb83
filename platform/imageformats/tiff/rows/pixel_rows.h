#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/imageformats/render/color_transform.h"
#include "platform/imageformats/render/tone_map.h"
#include "platform/imageformats/tiff/blocks/block_source.h"

namespace imageformats::tiff {

// What converted rows mean.
struct SPixelFormat {
  ESampleType type = ESampleType::kU8;
  std::uint32_t components = 1;
  EColorModel model = EColorModel::kGrey;  // not for channels
  bool inverted = false;                   // grey whose lowest value is white
  bool stretch = false;                    // more than 8 bits, signed or floating point
  SDisplayRange nominal;
  double labScale = 0.0, labOffset = 0.0;  // Lab: a, b = sample * labScale - labOffset
  double lightnessScale = 0.0;             // Lab: L = sample * lightnessScale
};

// Turns decoded rows into rows that can be averaged: samples widened to whole bytes (those of less than 8 bits
// onto 0..255), palettes looked up, transparency laid over white, signed Lab coordinates made positive, samples that
// are not shown left out.
class CRowConverter {
 public:
  // The page's picture; or, with `channels` not empty, those samples as independent channels.
  CRowConverter(const SPage& page, const SDecodedLayout& layout, const std::vector<std::uint32_t>& channels);

  const SPixelFormat& Meaning() const noexcept { return m_meaning; }
  // Decoded rows are converted rows already.
  bool IsDirect() const noexcept { return m_direct; }
  std::size_t PixelBytes() const noexcept { return m_meaning.components * SampleBytes(m_meaning.type); }
  // The samples that rows are made of, in order: the planes to decode of a planar page.
  const std::vector<std::uint32_t>& Picks() const noexcept { return m_picks; }

  // Converts a row of a chunky layout. `out` takes pixels * PixelBytes().
  void Convert(const std::uint8_t* row, std::size_t pixels, std::uint8_t* out);
  // Takes a row of plane Picks()[pick] of a planar layout into the row being gathered at `gathered`, of pixels *
  // GatheredBytes(); when all are in, FinishGathered makes the converted row of it.
  void Gather(std::size_t pick, const std::uint8_t* row, std::size_t pixels, std::uint8_t* gathered);
  void FinishGathered(const std::uint8_t* gathered, std::size_t pixels, std::uint8_t* out) const;
  std::size_t GatheredBytes() const noexcept { return m_picks.size() * SampleBytes(m_work); }

 private:
  enum class EFinalStep { kNothing, kPalette, kAlpha, kPremultipliedAlpha, kSignedLab };

  void ChoosePicture(const SPage& page, const std::vector<std::uint32_t>& channels);
  void ChooseColors(const SPage& page);
  void ChooseAlpha(const SPage& page, std::uint32_t colors);
  void ChooseLab();
  void ChooseWorkType(bool indices);
  void MakeExpansion(bool indices);
  const std::uint8_t* Unpacked(const std::uint8_t* row, std::size_t samples);
  void MakePalette(const SPage& page);

  SDecodedLayout m_layout;
  SPixelFormat m_meaning;
  std::vector<std::uint32_t> m_picks;
  ESampleType m_work = ESampleType::kU8;  // of unpacked samples
  EFinalStep m_last = EFinalStep::kNothing;
  bool m_direct = false;
  std::vector<std::uint8_t> m_expanded;  // of 1, 2 and 4 bits: the samples of each byte, onto 0..255 unless indices
  std::vector<std::uint8_t> m_palette;   // R G B by index
  std::vector<std::uint8_t> m_unpacked;  // all samples of a row
  std::vector<std::uint8_t> m_gathered;  // the picked ones
};

}  // namespace imageformats::tiff
