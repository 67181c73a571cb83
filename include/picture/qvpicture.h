#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "picture/qvpicbuf.h"

// Owns a picture's pixels. Movable, not copied; one thread at a time.
class CQvPicture {
 public:
  CQvPicture() noexcept { CQvPicBufAPI::Init(&m_picture); }
  // Takes over the pixels of a record, which is left without.
  explicit CQvPicture(SQvPicBuf&& picture) noexcept : m_picture(picture) { CQvPicBufAPI::Init(&picture); }
  CQvPicture(CQvPicture&& other) noexcept : m_picture(other.Detach()) {}
  CQvPicture& operator=(CQvPicture&& other) noexcept {
    if (this != &other) {
      Free();
      m_picture = other.Detach();
    }
    return *this;
  }
  CQvPicture(const CQvPicture&) = delete;
  CQvPicture& operator=(const CQvPicture&) = delete;
  ~CQvPicture() { Free(); }

  // Gives the picture a shape, as CQvPicBufAPI::Reinit with aligned rows. False, the picture then being empty, for an
  // impossible shape or without memory.
  [[nodiscard]] bool Reinit(std::uint32_t width, std::uint32_t height, std::uint32_t bpc, std::uint32_t components,
                            bool clear) noexcept {
    return CQvPicBufAPI::Reinit(&m_picture, width, height, 0, bpc, components, clear) == 0;
  }
  void Free() noexcept { CQvPicBufAPI::Free(&m_picture); }
  // The pixels become the caller's, to be freed with CQvPicBufAPI::Free.
  [[nodiscard]] SQvPicBuf Detach() noexcept {
    const SQvPicBuf picture = m_picture;
    CQvPicBufAPI::Init(&m_picture);
    return picture;
  }

  bool HasPixels() const noexcept { return CQvPicBufAPI::HasPixels(m_picture); }
  // The record, for the platform's operations. It stays the owner of its pixels.
  SQvPicBuf* Get() noexcept { return &m_picture; }
  const SQvPicBuf& operator*() const noexcept { return m_picture; }
  const SQvPicBuf* operator->() const noexcept { return &m_picture; }
  std::uint8_t* Row(std::uint32_t y) noexcept {
    return static_cast<std::uint8_t*>(m_picture.data) + std::size_t{y} * m_picture.widthBytes;
  }
  const std::uint8_t* Row(std::uint32_t y) const noexcept {
    return static_cast<const std::uint8_t*>(m_picture.data) + std::size_t{y} * m_picture.widthBytes;
  }

 private:
  SQvPicBuf m_picture;
};
