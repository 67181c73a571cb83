#pragma once

#include <atomic>
#include <cstdint>

// A bounding box in pixels, aligned so that it can be read and written as one.
struct alignas(8) SThumbnailBox {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

// How thumbnails are made. Set by the host and read by the threads that make them, without a lock.
struct SThumbnailSettings {
  std::atomic<bool> highQuality{false};
  std::atomic<SThumbnailBox> highQualityBox{};
  std::atomic<SThumbnailBox> standardBox{};

  std::atomic<SThumbnailBox>& Box(bool high) noexcept { return high ? highQualityBox : standardBox; }
  SThumbnailBox Box(bool high) const noexcept { return high ? highQualityBox : standardBox; }
};
