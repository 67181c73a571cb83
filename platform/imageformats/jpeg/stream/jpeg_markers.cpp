#include "platform/imageformats/jpeg/stream/jpeg_markers.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/jpeg/stream/marker_reader.h"

namespace imageformats {

namespace {

constexpr std::size_t kMaxSegments = 100000;  // a real stream has some dozens
constexpr std::size_t kMaxMarkerProfileBytes = 16u << 20;

void ParseFrameHeader(const std::vector<std::uint8_t>& payload, std::uint8_t marker, SJpegMarkers& markers) {
  if (payload.size() < 6) throw CDamagedError("The JPEG frame header is damaged");
  markers.frameMarker = marker;
  markers.precision = payload[0];
  markers.height = static_cast<std::uint32_t>(payload[1] << 8 | payload[2]);
  markers.width = static_cast<std::uint32_t>(payload[3] << 8 | payload[4]);
  markers.components = payload[5];
  std::uint32_t minX = 16, maxX = 1, minY = 16, maxY = 1;
  for (std::size_t i = 7; i < payload.size(); i += 3) {
    const std::uint32_t x = payload[i] >> 4, y = payload[i] & 15;
    minX = std::min(minX, std::max(x, 1u));
    maxX = std::max(maxX, x);
    minY = std::min(minY, std::max(y, 1u));
    maxY = std::max(maxY, y);
  }
  markers.subsamplingX = maxX / minX + (maxX % minX != 0 ? 1 : 0);
  markers.subsamplingY = maxY / minY + (maxY % minY != 0 ? 1 : 0);
}

// How the free JPEG library derives tables from a quality, turned around on the table's mean: its standard luminance
// table (T.81, K.1) has a sum of 3688.
double EstimateQuality(const std::vector<std::uint8_t>& payload) {
  if (payload.empty()) return 0.0;
  const std::size_t width = payload[0] >> 4 ? 2 : 1;
  if (payload.size() < 1 + 64 * width) return 0.0;
  double sum = 0.0;
  for (std::size_t i = 0; i < 64; ++i) {
    const std::uint8_t* q = payload.data() + 1 + i * width;
    sum += width == 2 ? q[0] * 256 + q[1] : q[0];
  }
  const double percent = 100.0 * sum / 3688.0;
  const double quality = percent < 100.0 ? (200.0 - percent) / 2.0 : 5000.0 / percent;
  return std::clamp(std::round(quality) / 100.0, 0.01, 1.0);
}

// ICC.1, annex B.4: the profile in numbered pieces. Pieces out of order are left out, and with them the profile's use.
void AppendProfileSegment(const std::vector<std::uint8_t>& payload, std::vector<std::uint8_t>& profile) {
  constexpr std::string_view kName{"ICC_PROFILE\0", 12};
  if (payload.size() <= 14 || std::memcmp(payload.data(), kName.data(), kName.size()) != 0) return;
  if (profile.size() + payload.size() > kMaxMarkerProfileBytes) return;
  profile.insert(profile.end(), payload.begin() + 14, payload.end());
}

void ParseExifSegment(const std::vector<std::uint8_t>& payload, std::vector<std::uint8_t>& exif) {
  constexpr std::string_view kName{"Exif\0", 5};
  if (!exif.empty() || payload.size() <= 6 || std::memcmp(payload.data(), kName.data(), kName.size()) != 0) return;
  exif.assign(payload.begin() + 6, payload.end());
}

std::size_t PayloadBytesNeeded(std::uint8_t marker) {
  if (marker == kMarkerApp1 || marker == kMarkerApp2 || marker == kMarkerCom) return kMaxPayload;
  if (marker == kMarkerDqt) return 129;
  if (marker == kMarkerApp14) return 12;
  return IsFrameMarker(marker) ? 6 + 3 * 4 : 0;
}

void ParseSegment(std::uint8_t marker, const std::vector<std::uint8_t>& payload, SJpegMarkers& markers) {
  if (IsFrameMarker(marker)) {
    ParseFrameHeader(payload, marker, markers);
  } else if (marker == kMarkerApp1) {
    ParseExifSegment(payload, markers.exif);
  } else if (marker == kMarkerApp2) {
    AppendProfileSegment(payload, markers.profile);
  } else if (marker == kMarkerApp14) {
    if (payload.size() >= 12 && std::memcmp(payload.data(), "Adobe", 5) == 0) markers.hasAdobe = true;
  } else if (marker == kMarkerCom && markers.comment.empty()) {
    markers.comment.assign(payload.begin(), payload.end());
  } else if (marker == kMarkerDqt && markers.quality == 0.0) {
    markers.quality = EstimateQuality(payload);
  }
}

}  // namespace

SJpegMarkers ReadJpegMarkers(const CInput& input) {
  SJpegMarkers markers;
  const auto head = input.Head();
  if (head.size() < 4 || head[0] != 0xFF || head[1] != kMarkerSoi) throw CDamagedError("The file is not a JPEG file");
  CMarkerReader reader(input, 2);
  for (std::size_t count = 0; count < kMaxSegments; ++count) {
    const auto marker = reader.NextMarker();
    if (!marker || *marker == kMarkerEoi || *marker == kMarkerSos) break;
    if (IsStandaloneMarker(*marker)) continue;
    const auto payload = reader.ReadPayload(PayloadBytesNeeded(*marker));
    if (!payload) break;
    ParseSegment(*marker, *payload, markers);
  }
  if (markers.frameMarker == 0) throw CDamagedError("The JPEG file ends before its picture begins");
  if (markers.width == 0 || markers.height == 0) throw CDamagedError("The JPEG picture has no size");
  return markers;
}

bool HasEndOfImage(const CInput& input, std::uint64_t offset) {
  CMarkerReader reader(input, offset);
  for (std::size_t count = 0; count < kMaxSegments;) {
    const auto marker = reader.NextMarker();
    if (!marker) return false;
    if (*marker == kMarkerEoi) return true;
    if (IsStandaloneMarker(*marker)) continue;
    if (!reader.ReadPayload(0)) return false;
    ++count;
  }
  return false;
}

}  // namespace imageformats
