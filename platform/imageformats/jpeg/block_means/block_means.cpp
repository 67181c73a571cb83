#include "platform/imageformats/jpeg/block_means/block_means.h"

#include <algorithm>
#include <cstring>

#include "platform/imageformats/jpeg/block_means/scan.h"
#include "platform/imageformats/jpeg/stream/marker_reader.h"

namespace imageformats {

namespace {

constexpr int kMaxScans = 100;

// Walks a file's segments and scans.
class CBlockMeansReader {
 public:
  CBlockMeansReader(const CInput& input, bool fineColor, CRenderGuard& guard, const SJpegFrame* tables)
      : m_input(input), m_fineColor(fineColor), m_guard(guard) {
    if (tables != nullptr) m_frame = *tables;
  }

  bool Run() {
    CMarkerReader reader(m_input, 2);
    for (;;) {
      const auto marker = reader.NextMarker();
      if (!marker) return false;
      if (*marker == kJpegEnd) return IsComplete();
      if (IsLoneJpegMarker(*marker)) continue;
      const auto payload = reader.Payload(65536);
      if (!payload || !TakeSegment(*marker, *payload)) return false;
      if (*marker != kJpegScan) continue;
      std::uint64_t position = reader.Position();
      if (!TakeScan(*payload, position)) return false;
      // A sequential picture is whole with its last component; a progressive one only at its end.
      if (!m_frame.progressive && IsComplete()) return true;
      reader.Seek(position);
    }
  }

  SBlockMeans Picture();

 private:
  bool TakeSegment(std::uint8_t marker, std::span<const std::uint8_t> payload) {
    switch (marker) {
      case 0xC0:
      case 0xC1:
      case 0xC2:
        return m_frame.TakeFrame(payload, marker == 0xC2, m_fineColor, m_guard);
      case 0xC4:
        return m_frame.TakeHuffmanTables(payload);
      case 0xDB:
        return m_frame.TakeQuantTables(payload);
      case 0xDD:
        if (payload.size() != 2) return false;
        m_frame.restartInterval = static_cast<std::uint32_t>(payload[0] << 8 | payload[1]);
        return true;
      case 0xE0:
        if (payload.size() >= 14 && std::memcmp(payload.data(), "JFIF", 5) == 0) m_frame.hasJfif = true;
        return true;
      case 0xEE:
        if (payload.size() >= 12 && std::memcmp(payload.data(), "Adobe", 5) == 0) m_frame.adobeTransform = payload[11];
        return true;
      default:
        return !IsJpegFrame(marker) && marker != 0xCC && marker != 0xDC;
    }
  }

  // `position` is where the scan's data begin, and becomes where the search for the next marker goes on.
  bool TakeScan(std::span<const std::uint8_t> payload, std::uint64_t& position) {
    SJpegScan scan;
    if (++m_scans > kMaxScans || !scan.Take(payload, m_frame)) return false;
    if (!IsConsistent(scan)) return false;
    // Later scans refine coefficients that only add to the quarters: they are fine enough.
    if (scan.first != 0 && (!scan.parts[0].component->fine || scan.highBit != 0)) return true;
    CJpegBitReader bits(m_input, position);
    if (!DecodeDcScan(m_frame, scan, bits, m_guard)) return false;
    position = bits.Position();
    return true;
  }

  // Checks the scan against what was seen before (T.81, G.1.1.1.1), and notes what it brings.
  bool IsConsistent(const SJpegScan& scan) {
    if (m_frame.progressive ? (scan.first == 0) != (scan.last == 0) || (scan.first != 0 && scan.parts.size() != 1)
                            : scan.first != 0 || scan.last != 63 || scan.highBit != 0 || scan.lowBit != 0) {
      return false;
    }
    if (scan.highBit != 0 && scan.highBit != scan.lowBit + 1) return false;
    for (const SJpegScan::SScanComponent& part : scan.parts) {
      SJpegComponent& c = *part.component;
      c.TakeQuantisers(m_frame.quantTables[c.quantTable]);
      if (c.quantisers[0] == 0) return false;
      for (std::size_t k = scan.first; k <= scan.last; ++k) {
        if (c.missingBits[k] != (scan.highBit == 0 ? -1 : static_cast<int>(scan.highBit))) return false;
        c.missingBits[k] = static_cast<int>(scan.lowBit);
      }
    }
    return true;
  }

  bool IsComplete() const {
    const auto whole = [](const SJpegComponent& c) { return c.IsComplete(); };
    return !m_frame.components.empty() && std::all_of(m_frame.components.begin(), m_frame.components.end(), whole);
  }

  const CInput& m_input;
  bool m_fineColor;
  CRenderGuard& m_guard;
  SJpegFrame m_frame;
  int m_scans = 0;
};

constexpr float kMiddle = 8 * 128, kMost = 8 * 255;

std::uint16_t Mean(float value) { return static_cast<std::uint16_t>(std::clamp(value + kMiddle, 0.0f, kMost) + 0.5f); }

SSourceAxis MeansAxis(std::uint64_t pitch, std::uint64_t extent) {
  return {static_cast<std::uint32_t>((extent + pitch - 1) / pitch), pitch, extent};
}

void FillMeans(const SJpegComponent& c, SBlockMeansPlane& plane) {
  const std::size_t side = c.fine ? 2 : 1, rows = c.coefficients.size() / c.stride;
  for (std::size_t y = 0; y < rows; ++y) {
    std::uint16_t* out = plane.means.data() + y * side * plane.stride;
    for (std::size_t x = 0; x < c.stride; ++x, out += side) {
      const std::size_t block = y * c.stride + x;
      const auto first = static_cast<float>(c.coefficients[block] * c.quantisers[0]);
      if (!c.fine) {
        *out = Mean(first);
        continue;
      }
      for (std::size_t q = 0; q < 4; ++q) out[q / 2 * plane.stride + q % 2] = Mean(first + c.quarters[block][q]);
    }
  }
}

SBlockMeans CBlockMeansReader::Picture() {
  SBlockMeans picture;
  picture.isYCbCr = m_frame.IsYCbCr();
  for (SJpegComponent& c : m_frame.components) {
    const std::uint32_t side = c.fine ? 2 : 1;
    SBlockMeansPlane plane;
    plane.stride = c.stride * side;
    plane.x = MeansAxis(8 / side * std::uint64_t{m_frame.maxH}, std::uint64_t{m_frame.width} * c.h);
    plane.y = MeansAxis(8 / side * std::uint64_t{m_frame.maxV}, std::uint64_t{m_frame.height} * c.v);
    plane.means = m_guard.NewVector<std::uint16_t>(c.coefficients.size() * side * side);
    FillMeans(c, plane);
    picture.planes.push_back(std::move(plane));
  }
  return picture;
}

}  // namespace

std::optional<SBlockMeans> ReadJpegDcPicture(const CInput& input, bool fineColor, CRenderGuard& guard,
                                             const SJpegFrame* tables) {
  CBlockMeansReader reader(input, fineColor, guard, tables);
  if (!reader.Run()) return std::nullopt;
  return reader.Picture();
}

std::shared_ptr<const SJpegFrame> ReadJpegDcTables(std::span<const std::uint8_t> stream) {
  if (stream.empty()) return nullptr;
  const std::shared_ptr<const CInput> input = CInput::FromMemory(stream.data(), stream.size());
  auto tables = std::make_shared<SJpegFrame>();
  CMarkerReader reader(*input, 2);
  for (auto marker = reader.NextMarker(); marker && *marker != kJpegEnd; marker = reader.NextMarker()) {
    if (IsLoneJpegMarker(*marker)) continue;
    const auto payload = reader.Payload(65536);
    if (!payload) return nullptr;
    if (*marker == 0xC4 && !tables->TakeHuffmanTables(*payload)) return nullptr;
    if (*marker == 0xDB && !tables->TakeQuantTables(*payload)) return nullptr;
    if (IsJpegFrame(*marker) || *marker == kJpegScan) return nullptr;
  }
  return tables;
}

}  // namespace imageformats
