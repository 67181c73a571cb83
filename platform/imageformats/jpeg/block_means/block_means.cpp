#include "platform/imageformats/jpeg/block_means/block_means.h"

#include <algorithm>
#include <cstring>

#include "platform/imageformats/jpeg/block_means/flat_means.h"
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
    if (scan.spectralStart != 0 && !PrepareAcScan(scan)) return true;
    CJpegBitReader bits(m_input, position);
    if (!DecodeScan(m_frame, scan, bits, m_guard)) return false;
    for (const SJpegScan::SScanComponent& scanned : scan.components) {
      SJpegComponent& c = *scanned.component;
      for (unsigned k = scan.spectralStart; k <= scan.spectralEnd; ++k) {
        c.wasRead.set(k);
        if (!c.history.nonzero.empty()) c.history.known.set(k);
      }
    }
    position = bits.Position();
    return true;
  }

  // Of a progressive file. False for a scan that is stepped over.
  bool PrepareAcScan(const SJpegScan& scan) {
    SJpegComponent& c = *scan.components[0].component;
    if (c.details && IsWanted(scan, c)) {
      const bool isRefined = m_request.allScans || (scan.spectralStart == 1 && scan.spectralEnd == 63);
      if (scan.approximationLow != 0 && isRefined) KeepHistory(c);
      return true;
    }
    for (unsigned k = scan.spectralStart; k <= scan.spectralEnd; ++k) {
      c.wasRead.reset(k);
      c.history.known.reset(k);
    }
    return false;
  }

  bool IsWanted(const SJpegScan& scan, const SJpegComponent& c) const {
    if (scan.approximationHigh == 0) return m_request.allScans || scan.spectralStart <= c.LastCoefficient();
    for (unsigned k = scan.spectralStart; k <= scan.spectralEnd; ++k) {
      if (!c.history.known[k]) return false;
    }
    return true;
  }

  // Where memory allows.
  void KeepHistory(SJpegComponent& c) {
    const std::size_t blocks = c.dcCoefficients.size();
    if (!c.history.nonzero.empty() || blocks > m_guard.Available() / 2 / SJpegHistory::kBytesPerBlock) return;
    c.history.nonzero = m_guard.NewVector<std::uint64_t>(blocks);
    c.history.negative = m_guard.NewVector<std::uint16_t>(blocks);
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

// Times that a mean is to be counted for a result with that many pixels.
std::uint32_t TimesFor(const SSourceAxis& x, const SSourceAxis& y, SSize result) noexcept {
  return result.width > MaxResultPixels(x) || result.height > MaxResultPixels(y) ? 2 : 1;
}

SBlockMeans CBlockMeansReader::Picture() {
  SBlockMeans picture;
  picture.isYCbCr = m_frame.IsYCbCr();
  picture.roundsGreen = picture.isYCbCr && m_request.roundsGreen;
  for (std::size_t i = 0; i < m_frame.components.size(); ++i) {
    SJpegComponent& c = m_frame.components[i];
    SBlockMeansPlane plane;
    plane.stride = c.stride;
    plane.times = TimesFor(m_frame.MeansAxisX(c, 1), m_frame.MeansAxisY(c, 1), m_request.result);
    plane.x = m_frame.MeansAxisX(c, plane.times);
    plane.y = m_frame.MeansAxisY(c, plane.times);
    plane.quantiser = c.quantisers[0];
    plane.dcCoefficients = std::move(c.dcCoefficients);
    if (c.KnowsFlatBlocks()) plane.hasAc = std::move(c.hasAc);
    if (picture.isYCbCr) plane.colorFactor = i == 0 ? kColorOne : i == 1 ? kBlueOfCb : kRedOfCr;
    if (c.details) plane.details = c.details->TakeSums();
    picture.planes.push_back(std::move(plane));
  }
  return picture;
}

}  // namespace

void SBlockMeansPlane::FillRow(std::uint32_t row, std::uint16_t* __restrict out) const noexcept {
  const std::int16_t* const coefficients = dcCoefficients.data() + std::size_t{row} * stride;
  const int scale = quantiser;
  if (hasAc.empty()) {
    for (std::size_t i = 0; i < stride; ++i) {
      out[i] = static_cast<std::uint16_t>(MeanInEighths(coefficients[i], scale) * (kMeanUnits / 8));
    }
  } else {
    const std::uint8_t* const isUneven = hasAc.data() + std::size_t{row} * stride;
    const CFlatMean flatMean(colorFactor);
    for (std::size_t i = 0; i < stride; ++i) {
      const int mean = MeanInEighths(coefficients[i], scale), flat = flatMean(mean);
      out[i] = static_cast<std::uint16_t>(isUneven[i] != 0 ? mean * (kMeanUnits / 8) : flat);
    }
  }
  for (std::size_t i = std::size_t{stride} * times; times != 1 && i-- > 0;) out[i] = out[i / times];
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
