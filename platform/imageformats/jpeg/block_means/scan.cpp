#include "platform/imageformats/jpeg/block_means/scan.h"

#include <algorithm>
#include <cstdlib>

namespace imageformats {

namespace {

class CScanDecoder {
 public:
  CScanDecoder(const SJpegFrame& frame, const SJpegScan& scan, CJpegBitReader& bits, CRenderGuard& guard)
      : m_frame(frame), m_scan(scan), m_bits(bits), m_guard(guard) {}

  bool Decode() {
    // A scan of one component consists of the component's own blocks; else of whole MCUs.
    const bool single = m_scan.components.size() == 1;
    const SJpegComponent& only = *m_scan.components[0].component;
    const std::uint32_t across = single ? only.blocksAcross : m_frame.McusAcross();
    const std::uint32_t down = single ? only.blocksDown : m_frame.McusDown();
    for (std::uint32_t y = 0; y < down; ++y) {
      m_guard.CheckTime();
      if (!(m_frame.progressive ? DecodeProgressiveRow(across, y, single) : DecodeSequentialRow(across, y, single))) {
        return false;
      }
      if (m_bits.IsOverrun()) return false;
    }
    return true;
  }

 private:
  // Before each MCU.
  bool IsRestartDue() noexcept {
    if (m_frame.restartInterval == 0) return false;
    if (m_mcusToRestart-- != 0) return false;
    m_mcusToRestart = m_frame.restartInterval - 1;
    return true;
  }
  // Passes the marker, which the first MCU has none before it.
  bool Restart() {
    if (m_started && !m_bits.SkipRestartMarker(m_restartCount++ % 8)) return false;
    for (int& predictor : m_predictors) predictor = 0;
    m_endOfBandRun = 0;
    m_started = true;
    return true;
  }

  // A row of MCUs, or of the blocks of the scan's only component. The bits stay in registers for all of it.
  bool DecodeSequentialRow(std::uint32_t across, std::uint32_t y, bool single) {
    CJpegBitWindow bits(m_bits);
    const auto decode = [&](std::size_t index, std::uint32_t column, std::uint32_t row) {
      return DecodeSequentialBlock(bits, index, column, row);
    };
    for (std::uint32_t x = 0; x < across; ++x) {
      if (IsRestartDue() && !bits.Through([this](CJpegBitReader&) { return Restart(); })) return false;
      if (!(single ? decode(0, x, y) : ForEachBlockOfMcu(x, y, decode))) return false;
    }
    return true;
  }

  bool DecodeProgressiveRow(std::uint32_t across, std::uint32_t y, bool single) {
    const auto decode = [this](std::size_t index, std::uint32_t column, std::uint32_t row) {
      return DecodeProgressiveBlock(index, column, row);
    };
    for (std::uint32_t x = 0; x < across; ++x) {
      if (IsRestartDue() && !Restart()) return false;
      if (!(single ? decode(0, x, y) : ForEachBlockOfMcu(x, y, decode))) return false;
    }
    return true;
  }

  // Calls decode(index of the component, x, y of the block) while that returns true.
  template <class Decode>
  bool ForEachBlockOfMcu(std::uint32_t x, std::uint32_t y, Decode&& decode) const {
    for (std::size_t i = 0; i < m_scan.components.size(); ++i) {
      const std::uint32_t h = m_scan.components[i].component->h, v = m_scan.components[i].component->v;
      for (std::uint32_t row = 0; row < v; ++row) {
        for (std::uint32_t column = 0; column < h; ++column) {
          if (!decode(i, x * h + column, y * v + row)) return false;
        }
      }
    }
    return true;
  }

  bool DecodeProgressiveBlock(std::size_t index, std::uint32_t x, std::uint32_t y) {
    m_bits.Refill();
    if (m_scan.spectralStart != 0) return DecodeAc(index, x, y);
    return m_scan.approximationHigh == 0 ? DecodeFirstDc(index, x, y) : RefineDc(index, x, y);
  }

  std::int16_t& DcCoefficient(std::size_t index, std::uint32_t x, std::uint32_t y) const {
    SJpegComponent& component = *m_scan.components[index].component;
    return component.dcCoefficients[std::size_t{y} * component.stride + x];
  }

  // The DC coefficient (T.81, F.2.2.1) and the AC coefficients (F.2.2.2), of which the first make the quarters.
  bool DecodeSequentialBlock(CJpegBitWindow& bits, std::size_t index, std::uint32_t x, std::uint32_t y) {
    const SJpegScan::SScanComponent& scanned = m_scan.components[index];
    SJpegComponent& component = *scanned.component;
    bits.Refill();
    if (!AddDifference(index, scanned.dc->DecodeCoefficient(bits))) return false;
    DcCoefficient(index, x, y) = static_cast<std::int16_t>(m_predictors[index]);
    const unsigned last = component.LastCoefficientOf(x, y);
    unsigned k = 1;
    while (k <= last) {
      bits.Refill();
      const SJpegCoefficient coefficient = scanned.ac->DecodeCoefficient(bits);
      if (coefficient.bits == 0) return false;
      if (coefficient.advance == 0) return true;
      k += coefficient.advance;
      if (k - 1 <= last) component.SetCoefficient(x, y, k - 1, coefficient.value);
    }
    return scanned.ac->SkipAcCoefficients(bits, k);
  }

  // To the predictor. The table takes a difference of 0 bits for the end of a block.
  bool AddDifference(std::size_t index, const SJpegCoefficient& difference) noexcept {
    constexpr int kMost = (1 << 11) - 1;
    if (difference.bits == 0 || std::abs(difference.value) > kMost) return false;
    m_predictors[index] += difference.value;
    return m_predictors[index] >= -32768 && m_predictors[index] <= 32767;
  }

  // The DC coefficient of a block of a progressive scan (G.1.2.1): its high bits, or one more of a known value.
  bool DecodeFirstDc(std::size_t index, std::uint32_t x, std::uint32_t y) {
    CJpegBitWindow bits(m_bits);
    if (!AddDifference(index, m_scan.components[index].dc->DecodeCoefficient(bits))) return false;
    DcCoefficient(index, x, y) =
        static_cast<std::int16_t>(static_cast<std::uint32_t>(m_predictors[index]) << m_scan.approximationLow);
    return true;
  }
  bool RefineDc(std::size_t index, std::uint32_t x, std::uint32_t y) {
    std::int16_t& coefficient = DcCoefficient(index, x, y);
    coefficient = static_cast<std::int16_t>(coefficient | static_cast<int>(m_bits.Peek(1) << m_scan.approximationLow));
    m_bits.Skip(1);
    return true;
  }

  // The AC coefficients of a block of a progressive scan (G.1.2.2), which make its quarters.
  bool DecodeAc(std::size_t index, std::uint32_t x, std::uint32_t y) {
    SJpegComponent& component = *m_scan.components[index].component;
    const CJpegHuffmanTable& table = *m_scan.components[index].ac;
    const unsigned last = component.LastCoefficientOf(x, y);
    if (m_endOfBandRun > 0) {
      --m_endOfBandRun;
      return true;
    }
    for (unsigned k = m_scan.spectralStart; k <= m_scan.spectralEnd; ++k) {
      m_bits.Refill();
      const int symbol = table.Decode(m_bits);
      if (symbol < 0) return false;
      const unsigned run = static_cast<unsigned>(symbol) >> 4, size = static_cast<unsigned>(symbol) & 15;
      if (size == 0 && run != 15) {
        if (run == 0) return true;
        m_endOfBandRun = (1u << run) - 1 + m_bits.Peek(run);
        m_bits.Skip(run);
        return true;
      }
      k += run;
      if (size == 0) continue;
      if (k > 63) return false;
      const int value = ReceiveExtend(size) * (1 << m_scan.approximationLow);
      if (k <= last) component.SetCoefficient(x, y, k, value);
    }
    return true;
  }

  // A value of `size` bits, which are refilled (F.2.2.1).
  int ReceiveExtend(unsigned size) noexcept {
    if (size == 0) return 0;
    const int value = ExtendJpegValue(m_bits.Peek(size), size);
    m_bits.Skip(size);
    return value;
  }

  const SJpegFrame& m_frame;
  const SJpegScan& m_scan;
  CJpegBitReader& m_bits;
  CRenderGuard& m_guard;
  int m_predictors[4] = {};
  std::uint32_t m_mcusToRestart = 0;
  unsigned m_restartCount = 0;
  bool m_started = false;
  std::uint32_t m_endOfBandRun = 0;  // blocks still to come without coefficients
};

}  // namespace

bool SJpegScan::ParseHeader(std::span<const std::uint8_t> payload, SJpegFrame& frame) {
  if (payload.empty() || frame.components.empty()) return false;
  const std::size_t count = payload[0];
  if (count < 1 || count > frame.components.size() || payload.size() != 4 + 2 * count) return false;
  std::uint32_t blocks = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t id = payload[1 + 2 * i], dc = payload[2 + 2 * i] >> 4, ac = payload[2 + 2 * i] & 15;
    const auto component = std::find_if(frame.components.begin(), frame.components.end(),
                                        [id](const SJpegComponent& c) { return c.id == id; });
    if (component == frame.components.end() || dc > 3 || ac > 3) return false;
    for (const SScanComponent& scanned : components) {
      if (scanned.component == &*component) return false;
    }
    components.push_back({&*component, &frame.dcTables[dc], &frame.acTables[ac]});
    blocks += component->h * component->v;
  }
  spectralStart = payload[1 + 2 * count];
  spectralEnd = payload[2 + 2 * count];
  approximationHigh = payload[3 + 2 * count] >> 4;
  approximationLow = payload[3 + 2 * count] & 15;
  return spectralStart <= spectralEnd && spectralEnd < 64 && approximationLow <= 13 && (count == 1 || blocks <= 10);
}

bool DecodeScan(const SJpegFrame& frame, const SJpegScan& scan, CJpegBitReader& bits, CRenderGuard& guard) {
  for (const SJpegScan::SScanComponent& scanned : scan.components) {
    if (scan.spectralStart == 0 && scan.approximationHigh == 0 && !scanned.dc->IsBuilt()) return false;
    if (scan.spectralEnd != 0 && !scanned.ac->IsBuilt()) return false;
  }
  return CScanDecoder(frame, scan, bits, guard).Decode();
}

}  // namespace imageformats
