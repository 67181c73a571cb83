#pragma once

#include <algorithm>
#include <filesystem>
#include <memory>

#include "bench/decoders/decoders.h"
#include "platform/imageformats/base/input.h"
#include "platform/imageformats/render/area_reducer.h"

// What the decoders of all formats share.

using InputPtr = std::shared_ptr<const imageformats::CInput>;

inline InputPtr OpenInput(const std::filesystem::path& file) {
  return imageformats::CInput::FromFile(CQvStringW(file.wstring().c_str()));
}

// The largest size of that shape in the box; never enlarged.
inline imageformats::SSize FitInto(const imageformats::SSize& size, const SBox& box) {
  const double scale = std::min({1.0, 1.0 * box.width / size.width, 1.0 * box.height / size.height});
  return {std::max(1u, static_cast<std::uint32_t>(size.width * scale)),
          std::max(1u, static_cast<std::uint32_t>(size.height * scale))};
}

inline SAverages AveragesOf(imageformats::SAveragedPicture&& picture, double most) {
  return {picture.size.width, picture.size.height, most, std::move(picture.samples)};
}
