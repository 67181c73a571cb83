#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/imageformats/render/color_transform.h"
#include "platform/imageformats/render/tone_map.h"
#include "platform/imageformats/tiff/blocks/block_source.h"

namespace imageformats::tiff {

// What converted rows are made of, and how they are displayed.
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

  const SPixelFormat& PixelFormat() const noexcept { return m_pixelFormat; }
  // Decoded rows are converted rows already.
  bool IsIdentity() const noexcept { return m_isIdentity; }
  std::size_t PixelBytes() const noexcept { return m_pixelFormat.components * SampleBytes(m_pixelFormat.type); }
  // The samples that rows are made of, in order: the planes to decode of a planar page.
  const std::vector<std::uint32_t>& ShownSamples() const noexcept { return m_shownSamples; }

  // Converts a row of a chunky layout. `out` takes pixels * PixelBytes().
  void Convert(const std::uint8_t* row, std::size_t pixels, std::uint8_t* out);
  // Adds a row of plane ShownSamples()[index] of a planar layout to the row being gathered at `gathered`, of pixels *
  // GatheredPixelBytes(); when all are in, FinishGathered makes the converted row of it.
  void GatherPlane(std::size_t index, const std::uint8_t* row, std::size_t pixels, std::uint8_t* gathered);
  void FinishGathered(const std::uint8_t* gathered, std::size_t pixels, std::uint8_t* out) const;
  std::size_t GatheredPixelBytes() const noexcept { return m_shownSamples.size() * SampleBytes(m_unpackedType); }

 private:
  enum class EFinalStep { kNothing, kPalette, kAlpha, kPremultipliedAlpha, kSignedLab };

  void ChoosePicture(const SPage& page, const std::vector<std::uint32_t>& channels);
  void ChooseColors(const SPage& page);
  void ChooseAlpha(const SPage& page, std::uint32_t colors);
  void ChooseLab();
  void ChooseUnpackedType(bool indices);
  void MakeExpansion(bool indices);
  const std::uint8_t* Unpacked(const std::uint8_t* row, std::size_t samples);
  void MakePalette(const SPage& page);
  void LayOpacity(const std::uint8_t* gathered, std::size_t pixels, std::uint8_t* out) const;

  SDecodedLayout m_layout;
  SPixelFormat m_pixelFormat;
  std::vector<std::uint32_t> m_shownSamples;
  ESampleType m_unpackedType = ESampleType::kU8;  // of unpacked samples
  EFinalStep m_finalStep = EFinalStep::kNothing;
  bool m_zeroIsPaper = false;  // of pixels with opacity
  bool m_isIdentity = false;
  std::vector<std::uint8_t> m_expansion;  // of 1, 2 and 4 bits: the samples of each byte, onto 0..255 unless indices
  std::vector<std::uint8_t> m_palette;    // R G B by index
  std::vector<std::uint8_t> m_unpacked;   // all samples of a row
  std::vector<std::uint8_t> m_gathered;   // the shown ones
};

}  // namespace imageformats::tiff
