#pragma once

#include <cstdint>
#include <new>

#include "picture/qvpicbuf.h"

namespace imageformats {

// Owns a picture's pixels.
class PictureBuffer {
 public:
  // Pixels are undefined. Throws std::bad_alloc, also for an impossible shape.
  PictureBuffer(std::uint32_t width, std::uint32_t height, std::uint32_t bpc, std::uint32_t components) {
    CQvPicBufAPI::Init(&m_picture);
    if (CQvPicBufAPI::Reinit(&m_picture, width, height, 0, bpc, components, false) != 0) throw std::bad_alloc();
  }
  PictureBuffer(const PictureBuffer&) = delete;
  PictureBuffer& operator=(const PictureBuffer&) = delete;
  ~PictureBuffer() { CQvPicBufAPI::Free(&m_picture); }

  SQvPicBuf& Get() noexcept { return m_picture; }
  std::uint8_t* Row(std::uint32_t y) noexcept {
    return static_cast<std::uint8_t*>(m_picture.data) + std::size_t{y} * m_picture.widthBytes;
  }

 private:
  SQvPicBuf m_picture;
};

}  // namespace imageformats
