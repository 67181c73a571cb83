#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/imageformats/base/input.h"
#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/render/area_reducer.h"

namespace imageformats {

// What the pixels of a JPEG stream are, as far as markers tell or the container says.
enum class EJpegColor { kFromMarkers, kGrey, kRgb, kYCbCr, kCmyk, kYcck };

struct SJpegHeader {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t components = 0;  // of the stream
  bool progressive = false;
  bool adobeInverted = false;  // CMYK and YCCK whose ink values are stored inverted (Adobe marker)
  EJpegColor color = EJpegColor::kFromMarkers;
};

struct SJpegDecodeOptions {
  std::uint32_t scale = 8;  // of 8: the picture is decoded at scale/8 of its size, 1..8
  bool fast = false;        // faster, less exact transform and upsampling; early stop of progressive streams
  EJpegColor color = EJpegColor::kFromMarkers;  // overrides what the markers say (TIFF's photometric interpretation)
  bool keepYCbCr = false;                       // deliver YCbCr as stored instead of RGB
};

// Decodes one JPEG stream through libjpeg-turbo; the only owner of its state, and the only place with setjmp. Delivers
// 1 (grey), 3 (R G B) or 4 (C M Y K, as stored: see adobeInverted) components of 8 bits. A stream that ends early, or
// whose entropy-coded data is damaged, throws CDamagedError; warnings that leave whole pictures are tolerated. 12-bit,
// lossless and hierarchical streams throw CUnsupportedError from ReadHeader. One thread.
class CJpegDecoder {
 public:
  // A whole file, or memory that outlives the decoder.
  explicit CJpegDecoder(std::shared_ptr<const CInput> input);
  explicit CJpegDecoder(std::span<const std::uint8_t> stream);
  CJpegDecoder(const CJpegDecoder&) = delete;
  CJpegDecoder& operator=(const CJpegDecoder&) = delete;
  ~CJpegDecoder();

  // Quantisation and Huffman tables that abbreviated streams leave out (TIFF tag JPEGTables): a tables-only stream.
  // Before ReadHeader; they stay in force for later streams.
  void LoadTables(std::span<const std::uint8_t> tables);
  // Turns to another stream with the state kept: tiles of one file after another, without a new decoder each.
  void SetStream(std::span<const std::uint8_t> stream);

  const SJpegHeader& ReadHeader();

  // Begins decoding; reads the header first when that was not done. Ends a decoding in progress. `guard` must live
  // until the last row.
  void Start(const SJpegDecodeOptions& how, CRenderGuard& guard);
  // After Start.
  SSize OutputSize() const noexcept;
  std::uint32_t OutputComponents() const noexcept;
  // The axes of the output for a CAreaReducer: exact extents of scaled pixels.
  SSourceAxis AxisX() const noexcept;
  SSourceAxis AxisY() const noexcept;
  // Decodes the next `count` rows to `rows`, `stride` bytes apart. count must not exceed the rows left.
  void ReadRows(std::uint8_t* rows, std::size_t stride, std::uint32_t count);
  // Rows not yet read.
  std::uint32_t RowsLeft() const noexcept;

 private:
  struct SState;
  std::unique_ptr<SState> m_state;
};

// The scale, of 8, at which to decode a picture of `stored` pixels that is to be averaged down to `wanted`: the
// smallest that leaves twice the wanted pixels along both axes, three times unless `fast`. A picture that is scaled by
// its transform is not quite one of averages; with less to spare it falls below 36 dB against the average of all pixels
// (measured on photographs and micrographs), with three times it stays above 38 dB.
std::uint32_t JpegScaleFor(SSize stored, SSize wanted, bool fast) noexcept;

}  // namespace imageformats
