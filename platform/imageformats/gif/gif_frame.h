#pragma once

#include <cstdint>
#include <memory>

#include <gif_lib.h>

#include "platform/imageformats/base/buffered_input.h"
#include "platform/imageformats/codec/color_table.h"

namespace imageformats {

// giflib at the first frame of a file, and the only owner of its objects.
class CGifFrame {
 public:
  // Throws CDamagedError.
  explicit CGifFrame(const CInput& input);

  std::uint32_t Width() const noexcept { return static_cast<std::uint32_t>(m_gif->Image.Width); }
  std::uint32_t Height() const noexcept { return static_cast<std::uint32_t>(m_gif->Image.Height); }
  // Of the frame, else of the file; without any, black and white.
  SColorTable Colors() const noexcept;
  // The next Width() indices, in the order of the file. Throws CDamagedError.
  void ReadLine(std::uint8_t* indices);

 private:
  struct SClose {
    void operator()(GifFileType* gif) const noexcept { DGifCloseFile(gif, nullptr); }
  };
  static int Feed(GifFileType* gif, GifByteType* out, int size);
  void FindFrame();
  void SkipExtension();

  CBufferedInput m_input;
  std::unique_ptr<GifFileType, SClose> m_gif;
};

}  // namespace imageformats
