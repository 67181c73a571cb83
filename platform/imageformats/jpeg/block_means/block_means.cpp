#include "platform/imageformats/jpeg/block_means/block_means.h"

#include <algorithm>
#include <cstring>

#include "platform/imageformats/jpeg/block_means/scan.h"
#include "platform/imageformats/jpeg/stream/coding.h"
#include "platform/imageformats/jpeg/stream/marker_reader.h"

namespace imageformats {

namespace {

// Walks a file's segments and scans.
class CBlockMeansReader {
 public:
  CBlockMeansReader(const CInput& input, const SMeansRequest& request, CRenderGuard& guard, const SJpegFrame* tables)
      : m_input(input), m_request(request), m_guard(guard) {
    if (tables != nullptr) m_frame = *tables;
  }

  bool Read() {
    CMarkerReader reader(m_input, 2);
    for (;;) {
      const auto marker = reader.NextMarker();
      if (!marker) return false;
      if (*marker == kMarkerEoi) return IsComplete();
      if (IsStandaloneMarker(*marker)) continue;
      m_guard.CheckTime();
      const auto payload = reader.ReadPayload(kMaxPayload);
      if (!payload || !ParseSegment(*marker, *payload)) return false;
      if (*marker != kMarkerSos) continue;
      std::uint64_t position = reader.Position();
      if (!ReadScan(*payload, position)) return false;
      // A sequential picture is whole with its last component; a progressive one only at its end.
      if (!m_frame.progressive && IsComplete()) return true;
      reader.Seek(position);
    }
  }

  SBlockMeans Picture();

 private:
  bool ParseSegment(std::uint8_t marker, std::span<const std::uint8_t> payload) {
    switch (marker) {
      case kMarkerSof0:
      case kMarkerSof1:
        return m_frame.ParseFrameHeader(payload, false, m_request, m_guard);
      case kMarkerSof2:
        return m_frame.ParseFrameHeader(payload, true, m_request, m_guard);
      case kMarkerDht:
        return m_frame.ParseHuffmanTables(payload);
      case kMarkerDqt:
        return m_frame.ParseQuantTables(payload);
      case kMarkerDri:
        if (payload.size() != 2) return false;
        m_frame.restartInterval = static_cast<std::uint32_t>(payload[0] << 8 | payload[1]);
        return true;
      case kMarkerApp0:
        if (payload.size() >= 14 && std::memcmp(payload.data(), "JFIF", 5) == 0) m_frame.hasJfif = true;
        return true;
      case kMarkerApp14:
        if (payload.size() >= 12 && std::memcmp(payload.data(), "Adobe", 5) == 0) m_frame.adobeTransform = payload[11];
        return true;
      default:
        return !IsFrameMarker(marker) && marker != kMarkerDac && marker != kMarkerDnl;
    }
  }

  // `position` is where the scan's data begin, and becomes where the search for the next marker goes on.
  bool ReadScan(std::span<const std::uint8_t> payload, std::uint64_t& position) {
    SJpegScan scan;
    if (++m_scans > kMaxScans || !scan.ParseHeader(payload, m_frame)) return false;
    if (!IsConsistent(scan)) return false;
    // Later scans refine AC coefficients, whose first bits are exact enough for the quarters.
    const bool isFine = scan.spectralStart > kLastQuarterCoefficient || scan.approximationHigh != 0;
    if (scan.spectralStart != 0 && (!scan.components[0].component->hasQuarters || isFine)) return true;
    CJpegBitReader bits(m_input, position);
    if (!DecodeScan(m_frame, scan, bits, m_guard)) return false;
    position = bits.Position();
    return true;
  }

  // Checks the scan against what was seen before (T.81, G.1.1.1.1), and notes what it brings.
  bool IsConsistent(const SJpegScan& scan) {
    if (m_frame.progressive ? (scan.spectralStart == 0) != (scan.spectralEnd == 0) ||
                                  (scan.spectralStart != 0 && scan.components.size() != 1)
                            : scan.spectralStart != 0 || scan.spectralEnd != 63 || scan.approximationHigh != 0 ||
                                  scan.approximationLow != 0) {
      return false;
    }
    if (scan.approximationHigh != 0 && scan.approximationHigh != scan.approximationLow + 1) return false;
    for (const SJpegScan::SScanComponent& scanned : scan.components) {
      SJpegComponent& c = *scanned.component;
      c.KeepQuantisers(m_frame.quantTables[c.quantTable]);
      if (c.quantisers[0] == 0) return false;
      for (std::size_t k = scan.spectralStart; k <= scan.spectralEnd; ++k) {
        if (c.missingBits[k] != (scan.approximationHigh == 0 ? -1 : static_cast<int>(scan.approximationHigh)))
          return false;
        c.missingBits[k] = static_cast<int>(scan.approximationLow);
      }
    }
    return true;
  }

  bool IsComplete() const {
    const auto whole = [](const SJpegComponent& c) { return c.IsComplete(); };
    return !m_frame.components.empty() && std::all_of(m_frame.components.begin(), m_frame.components.end(), whole);
  }

  const CInput& m_input;
  const SMeansRequest m_request;
  CRenderGuard& m_guard;
  SJpegFrame m_frame;
  int m_scans = 0;
};

constexpr int kMeanOfMidGrey = 8 * 128, kMaxMean = 8 * 255;

std::uint16_t Mean(int value) noexcept {
  return static_cast<std::uint16_t>(std::clamp(value + kMeanOfMidGrey, 0, kMaxMean));
}

int BlockMean(std::int16_t coefficient, int quantiser) noexcept {
  return std::clamp(coefficient * quantiser, -kMaxMean, kMaxMean);
}

SBlockMeans CBlockMeansReader::Picture() {
  SBlockMeans picture;
  picture.isYCbCr = m_frame.IsYCbCr();
  for (SJpegComponent& c : m_frame.components) {
    const std::uint32_t side = c.hasQuarters ? 2 : 1;
    SBlockMeansPlane plane;
    plane.stride = c.stride * side;
    plane.x = m_frame.MeansAxisX(c, side);
    plane.y = m_frame.MeansAxisY(c, side);
    plane.quantiser = c.quantisers[0];
    plane.dcCoefficients = std::move(c.dcCoefficients);
    plane.details = std::move(c.details);
    picture.planes.push_back(std::move(plane));
  }
  return picture;
}

}  // namespace

void SBlockMeansPlane::FillRows(std::uint32_t row, std::uint16_t* __restrict out) const noexcept {
  const std::uint32_t side = RowsAtOnce();
  const std::size_t blocks = stride / side, blockRow = row / side;
  const std::int16_t* const coefficients = dcCoefficients.data() + blockRow * blocks;
  const int scale = quantiser;
  if (details.empty()) {
    for (std::size_t i = 0; i < blocks; ++i) out[i] = Mean(BlockMean(coefficients[i], scale));
    return;
  }
  const std::int16_t* const lefts = details.data() + blockRow * kQuarterDetails * blocks;
  const std::int16_t* const uppers = lefts + blocks * kUpperDetail;
  const std::int16_t* const diagonals = lefts + blocks * kDiagonalDetail;
  std::uint16_t* __restrict below = out + stride;
  for (std::size_t i = 0; i < blocks; ++i) {
    const int mean = BlockMean(coefficients[i], scale);
    const int left = lefts[i], upper = mean + uppers[i], lower = mean - uppers[i], diagonal = diagonals[i];
    out[2 * i] = Mean(upper + left + diagonal);
    out[2 * i + 1] = Mean(upper - left - diagonal);
    below[2 * i] = Mean(lower + left - diagonal);
    below[2 * i + 1] = Mean(lower - left + diagonal);
  }
}

std::optional<SBlockMeans> ReadBlockMeans(const CInput& input, const SMeansRequest& request, CRenderGuard& guard,
                                          const SJpegFrame* tables) {
  CBlockMeansReader reader(input, request, guard, tables);
  if (!reader.Read()) return std::nullopt;
  return reader.Picture();
}

std::shared_ptr<const SJpegFrame> ReadTablesOnlyStream(std::span<const std::uint8_t> stream) {
  if (stream.empty()) return nullptr;
  const std::shared_ptr<const CInput> input = CInput::FromMemory(stream.data(), stream.size());
  auto tables = std::make_shared<SJpegFrame>();
  CMarkerReader reader(*input, 2);
  for (auto marker = reader.NextMarker(); marker && *marker != kMarkerEoi; marker = reader.NextMarker()) {
    if (IsStandaloneMarker(*marker)) continue;
    const auto payload = reader.ReadPayload(kMaxPayload);
    if (!payload) return nullptr;
    if (*marker == kMarkerDht && !tables->ParseHuffmanTables(*payload)) return nullptr;
    if (*marker == kMarkerDqt && !tables->ParseQuantTables(*payload)) return nullptr;
    if (IsFrameMarker(*marker) || *marker == kMarkerSos) return nullptr;
  }
  return tables;
}

}  // namespace imageformats
