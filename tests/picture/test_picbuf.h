#pragma once

#include <cstdint>
#include <cstring>
#include <random>

#include "picture/qvpicture.h"

// The same numbers on every machine.
class CRandom {
 public:
  explicit CRandom(std::uint32_t seed) : m_engine(seed) {}
  std::uint32_t operator()() { return static_cast<std::uint32_t>(m_engine()); }

 private:
  std::mt19937 m_engine;
};

// A picture whose samples can be read and set, in rows of any length.
class CTestPicBuf {
 public:
  CTestPicBuf() = default;
  CTestPicBuf(std::uint32_t width, std::uint32_t height, std::uint32_t bpc, std::uint32_t components,
              std::uint32_t widthBytes = 0) {
    CQvPicBufAPI::Reinit(Record(), width, height, widthBytes, bpc, components, true);
  }

  SQvPicBuf* Record() { return m_picture.Get(); }
  const SQvPicBuf* Record() const { return &*m_picture; }
  const SQvPicBuf& operator*() const { return *m_picture; }
  const SQvPicBuf* operator->() const { return &*m_picture; }

  std::uint32_t Get(std::uint32_t x, std::uint32_t y, std::uint32_t c = 0) const {
    const std::uint8_t* at = Address(x, y, c);
    if (m_picture->bpc == 8) return *at;
    std::uint16_t value;
    std::memcpy(&value, at, 2);
    return value;
  }
  void Set(std::uint32_t x, std::uint32_t y, std::uint32_t c, std::uint32_t value) {
    const auto wide = static_cast<std::uint16_t>(value);
    const auto narrow = static_cast<std::uint8_t>(value);
    if (m_picture->bpc == 8) {
      *Address(x, y, c) = narrow;
    } else {
      std::memcpy(Address(x, y, c), &wide, 2);
    }
  }
  template <class Function>
  void Fill(Function value) {
    for (std::uint32_t y = 0; y < m_picture->height; ++y) {
      for (std::uint32_t x = 0; x < m_picture->width; ++x) {
        for (std::uint32_t c = 0; c < m_picture->components; ++c) Set(x, y, c, value(x, y, c));
      }
    }
  }
  void FillRandom(CRandom& random) {
    Fill([&](auto, auto, auto) { return random() & (m_picture->bpc == 8 ? 0xFFu : 0xFFFFu); });
  }

 private:
  std::uint8_t* Address(std::uint32_t x, std::uint32_t y, std::uint32_t c) const {
    return static_cast<std::uint8_t*>(m_picture->data) + std::size_t{y} * m_picture->widthBytes +
           (std::size_t{x} * m_picture->components + c) * (m_picture->bpc / 8);
  }

  CQvPicture m_picture;
};
