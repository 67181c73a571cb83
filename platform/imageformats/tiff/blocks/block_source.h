#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/render/area_reducer.h"
#include "platform/imageformats/tiff/directory/page.h"

namespace imageformats::tiff {

// How decoded rows are laid out: samples in the machine's byte order, each row starting on a byte, samples that are no
// whole bytes packed from the high bit on.
struct SDecodedLayout {
  std::uint32_t bits = 8;     // per sample
  std::uint32_t samples = 1;  // per pixel, over all planes
  ESampleFormat format = ESampleFormat::kUnsigned;
  bool planar = false;
  std::uint32_t photometric = 0;  // what the samples mean once decoded: never YCbCr, LogL or LogLuv
  bool bigEndian = false;         // the order of samples of 5 to 7 bytes, which stay as the file has them
};

// What a page's samples are once decoded by the kind of source that OpenBlocks chooses for it.
SDecodedLayout DecodedLayoutOf(const SPage& page) noexcept;

// Delivers a page's pixels in blocks of a size that suits how they are stored: tiles, strips, or some rows. The blocks
// form a grid over the axes; those at the right and lower border may be smaller than BlockSize.
class CBlockSource {
 public:
  virtual ~CBlockSource() = default;

  const SDecodedLayout& Layout() const noexcept { return m_layout; }
  // The grid's axes, those of a scaled decoding where the source scales.
  const SSourceAxis& AxisX() const noexcept { return m_x; }
  const SSourceAxis& AxisY() const noexcept { return m_y; }
  const SSize& BlockSize() const noexcept { return m_block; }
  // Bytes from one row of a block to the next.
  std::size_t Stride() const noexcept { return m_stride; }

  // Decodes the block at the grid place; `plane` is 0 unless the layout is planar. The rows stay valid until the next
  // call and may be changed by the caller. Throws CDamagedError when the file ends before the block or the block does
  // not decode.
  virtual std::uint8_t* ReadBlock(std::uint32_t column, std::uint32_t row, std::uint32_t plane) = 0;

  // Opens another source of the same blocks, which shares nothing with this one but the file: for another thread. Any
  // thread may call it. Null when blocks are decoded one out of the other, so that a second source would gain nothing.
  using SOpenTwin = std::function<std::unique_ptr<CBlockSource>(CRenderGuard& guard)>;
  const SOpenTwin& Twin() const noexcept { return m_twin; }
  void SetTwin(SOpenTwin twin) { m_twin = m_isSequential ? nullptr : std::move(twin); }
  // Keeps the handle that it reads through.
  void Own(std::unique_ptr<CTiffHandle> tiff) noexcept { m_tiffOfItsOwn = std::move(tiff); }

 protected:
  bool m_isSequential = false;
  SDecodedLayout m_layout;
  SSourceAxis m_x, m_y;
  SSize m_block;
  std::size_t m_stride = 0;

 private:
  SOpenTwin m_twin;
  std::unique_ptr<CTiffHandle> m_tiffOfItsOwn;
};

struct SBlockRequest {
  SSize wanted;                  // what the picture is reduced to; 0 x 0: full size
  bool fast = false;             // see SJpegDecodeOptions
  std::uint64_t dataOffset = 0;  // bytes to add to where pixels lie (see SPlane)
};

// The source that reads the page at least cost: uncompressed data straight from the file, JPEG scaled while decoding,
// everything else through libtiff. `tiff` and `guard` must outlive it. Throws CUnsupportedError for what
// UnsupportedReason names.
std::unique_ptr<CBlockSource> OpenBlocks(CTiffHandle& tiff, const SPage& page, const SBlockRequest& request,
                                         CRenderGuard& guard);

// The single kinds; for OpenBlocks.
std::unique_ptr<CBlockSource> OpenRawBlocks(CTiffHandle& tiff, const SPage& page, std::uint64_t dataOffset,
                                            CRenderGuard& guard);
std::unique_ptr<CBlockSource> OpenLibtiffBlocks(CTiffHandle& tiff, const SPage& page, CRenderGuard& guard);
std::unique_ptr<CBlockSource> OpenJpegBlocks(CTiffHandle& tiff, const SPage& page, const SBlockRequest& request,
                                             CRenderGuard& guard);
std::unique_ptr<CBlockSource> OpenJpeg2000Blocks(CTiffHandle& tiff, const SPage& page, const SBlockRequest& request,
                                                 CRenderGuard& guard);
// Null when the strip cannot be made a stream that stands by itself.
std::unique_ptr<CBlockSource> OpenOldJpegBlocks(CTiffHandle& tiff, const SPage& page, const SBlockRequest& request,
                                                CRenderGuard& guard);
std::unique_ptr<CBlockSource> OpenRgbaBlocks(CTiffHandle& tiff, const SPage& page, CRenderGuard& guard);

// Where a tile or strip lies in the file. Throws CDamagedError when it has no bytes or they are not all there.
struct SBlockExtent {
  std::uint64_t offset = 0;
  std::uint64_t size = 0;
};
SBlockExtent LocateBlock(CTiffHandle& tiff, std::uint32_t index);

// Throws CDamagedError when an uncompressed strip or tile is stated to have fewer bytes than its rows take.
void RequireBytes(std::uint64_t stated, std::uint64_t needed);

// Throws what libtiff's failure to decode means: CUnsupportedError or CDamagedError.
[[noreturn]] void ThrowPixelError(const CTiffHandle& tiff);

// Reads bytes of a tile or strip; throws CDamagedError when they are not all there.
void ReadBlockBytes(const CTiffHandle& tiff, std::uint64_t offset, std::uint8_t* out, std::size_t size);

// Whether bytes are stored with their lowest bit first.
bool IsBitReversed(TIFF* tiff);

}  // namespace imageformats::tiff
