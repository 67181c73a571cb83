#pragma once

#include <cstdint>

namespace imageformats {

inline constexpr std::uint32_t kAllChannels = 0xFFFFFFFFu;

// The stage position that the file shows by itself: its first, or the opened file's own.
inline constexpr std::uint32_t kOwnPosition = 0xFFFFFFFFu;

// What the overview shows of a picture's z planes. A projection is made of the reduced planes: its pixels are the
// greatest, or the mean, of the planes' averages there.
enum class EPlaneChoice : std::uint32_t { kMiddle, kFirst, kLast, kGiven, kMaximum, kMean };

// What a viewer chooses of a picture that has several planes. A number beyond a picture's last shows its last.
struct SViewChoice {
  EPlaneChoice planes = EPlaneChoice::kMiddle;
  std::uint32_t z = 0;                    // of kGiven, from 0
  std::uint32_t t = 0;                    // time point, from 0
  std::uint32_t position = kOwnPosition;  // stage position, from 0
  std::uint32_t channels = kAllChannels;  // mask, bit n is channel n; channels from 32 on are always shown
  bool stretchTogether = false;           // one range for all channels, so that their intensities compare
  friend bool operator==(const SViewChoice&, const SViewChoice&) = default;
};

// A rendering that a caller wants. Sizes are those of the displayed picture, orientation applied.
struct SRenderRequest {
  std::uint32_t width = 0;   // pixels, > 0
  std::uint32_t height = 0;  // pixels, > 0
  bool fast = false;         // may trade accuracy for speed: at most 1 dB of PSNR, at least 36 dB against the average
  std::uint32_t channels = kAllChannels;  // as in SViewChoice; a channel is shown when both masks name it
  SViewChoice view = {};
};

}  // namespace imageformats
