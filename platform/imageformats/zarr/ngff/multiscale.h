#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/imageformats/render/tone_map.h"
#include "platform/imageformats/zarr/array/array_layout.h"
#include "platform/imageformats/zarr/store/store.h"

// What OME-Zarr (0.1 to 0.5) says about a picture.
namespace imageformats::zarr {

// More are neither described nor shown.
inline constexpr std::uint32_t kMostChannels = 4096;

enum class EAxis : std::uint8_t { kX, kY, kZ, kTime, kChannel, kOther };

struct SAxis {
  EAxis kind = EAxis::kOther;
  std::string unit;
  double scale = 0.0;  // of the full resolution, in the unit; 0 unknown
};

struct SOmeroChannel {
  std::string label;
  std::optional<std::uint32_t> color;  // 0x00RRGGBB
  std::optional<SDisplayRange> window;
  bool isActive = true;
};

// One resolution, the array's folder first.
struct SLevel {
  std::string key;
  SArrayLayout layout;
};

struct SMultiscale {
  std::string name, version;
  std::vector<SAxis> axes;
  std::vector<SLevel> levels;  // as described: the full resolution first
  std::vector<SOmeroChannel> channels;
  bool isLabels = false;

  // The number of the axis; nothing when there is none.
  std::optional<std::size_t> Axis(EAxis kind) const noexcept;
  // Steps along the axis in that level, 1 without such an axis.
  std::uint32_t Size(const SLevel& level, EAxis kind) const noexcept;
};

// The attributes of the group in that folder of the store, as Zarr 2 or 3 keeps them; null when there is none. Throws
// CFormatError.
CJson ReadAttributes(IStore& store, const std::string& key, CRenderGuard& guard);

// The first multiscale picture that `attributes` describes, with its levels. Throws CFormatError.
SMultiscale ReadMultiscale(IStore& store, const std::string& key, const CJson& attributes, CRenderGuard& guard);

}  // namespace imageformats::zarr
