#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <openjpeg.h>

#include "platform/imageformats/jpeg2000/codestream.h"

namespace imageformats {

// One component of what was decoded. Values are raised so that signed ones begin at 0.
struct SJpeg2000Plane {
  const std::int32_t* values = nullptr;
  std::uint32_t width = 0, height = 0;
  std::uint32_t stepX = 1, stepY = 1;  // of its pixels on the reference grid
  std::uint32_t bits = 8;
  bool isSigned = false;

  std::uint32_t At(std::uint32_t x, std::uint32_t y) const noexcept {
    const std::int32_t value = values[std::size_t{y} * width + x];
    return static_cast<std::uint32_t>(isSigned ? value + (std::int32_t{1} << (bits - 1)) : std::max(value, 0));
  }
};

// OpenJPEG at one codestream, and the only owner of its objects; tile by tile, on one thread. The input must outlive
// it.
class CJpeg2000Decoder {
 public:
  // Reads the header. `reduction`: how many times sides are halved, at most Reductions(). Throws CDamagedError.
  CJpeg2000Decoder(const CInput& input, const SCodestreamPlace& place, std::uint32_t reduction);
  CJpeg2000Decoder(const CJpeg2000Decoder&) = delete;
  CJpeg2000Decoder& operator=(const CJpeg2000Decoder&) = delete;

  // The planes; without values, and of the whole picture, before the first DecodeTile.
  std::uint32_t Planes() const noexcept { return m_image->numcomps; }
  SJpeg2000Plane Plane(std::uint32_t index) const noexcept;
  // How often the sides of every tile can be halved.
  std::uint32_t Reductions() const;
  // What decoding one tile of that many pixels takes, the tile's own bytes left out.
  std::uint64_t MemoryFor(std::uint64_t pixels) const;

  // Where plane 0 of the tile that was decoded last lies within that of the reduced picture.
  std::uint32_t TileX() const noexcept;
  std::uint32_t TileY() const noexcept;
  // Of plane 0, reduced.
  SSize ReducedSize() const noexcept { return m_reduced; }

  // Throws CDamagedError when the tile does not decode whole.
  void DecodeTile(std::uint32_t tile);

 private:
  struct SSource {
    const CInput* input;
    SCodestreamPlace place;
    std::uint64_t next;
  };
  struct SFree {
    void operator()(opj_image_t* image) const noexcept { opj_image_destroy(image); }
  };
  struct SStreamFree {
    void operator()(opj_stream_t* stream) const noexcept { opj_stream_destroy(stream); }
  };
  struct SCodecFree {
    void operator()(opj_codec_t* codec) const noexcept { opj_destroy_codec(codec); }
  };
  struct SInfoFree {
    void operator()(opj_codestream_info_v2_t* info) const noexcept { opj_destroy_cstr_info(&info); }
  };
  using CInfoPtr = std::unique_ptr<opj_codestream_info_v2_t, SInfoFree>;

  CInfoPtr CodingInfo() const;
  void OpenStream();
  void Setup();
  void CheckPlanes() const;
  [[noreturn]] void Fail() const;

  SSource m_source;
  std::uint32_t m_reduction;
  std::string m_error;
  std::unique_ptr<opj_stream_t, SStreamFree> m_stream;
  std::unique_ptr<opj_codec_t, SCodecFree> m_codec;
  std::unique_ptr<opj_image_t, SFree> m_image;
  std::uint32_t m_originX = 0, m_originY = 0;
  SSize m_reduced;
};

// The most halvings that leave at least four pixels for each wanted one; 0 for 0 x 0.
std::uint32_t Jpeg2000ReductionFor(SSize full, SSize wanted, std::uint32_t most) noexcept;

}  // namespace imageformats
