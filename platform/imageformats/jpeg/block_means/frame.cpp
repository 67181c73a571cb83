#include "platform/imageformats/jpeg/block_means/frame.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "platform/imageformats/jpeg/stream/coding.h"
#include "platform/imageformats/render/reducer_axis.h"

namespace imageformats {

namespace {

// At most: libjpeg gets by with a few rows.
constexpr std::uint64_t kBytesPerBlock = sizeof(std::int16_t) * (1 + kQuarterDetails);

// Mean over the first half of a block of the transform's basis function of that frequency, on a scale where frequency 0
// has 1 (T.81, A.3.3). Over the second half it is the same for frequency 0 and the opposite for odd ones; that of other
// even ones is 0 over both.
double HalfMean(int frequency) {
  if (frequency == 0) return 1.0;
  if (frequency % 2 == 0) return 0.0;
  double sum = 0.0;
  for (int x = 0; x < 4; ++x) sum += std::cos((2 * x + 1) * frequency * std::numbers::pi / 16.0);
  return std::numbers::sqrt2 * sum / 4.0;
}

SSourceAxis MeansAxis(std::uint64_t pitch, std::uint64_t extent) {
  return {static_cast<std::uint32_t>((extent + pitch - 1) / pitch), pitch, extent};
}

// Of `count` blocks along an axis those that the borders of the result's pixels go through; and the picture's own
// border, for what lies behind it does not count.
std::vector<std::uint8_t> CutBlocks(const SSourceAxis& blocks, std::uint32_t result, std::uint32_t count) {
  if (result == 0 || result > MaxResultPixels(blocks)) return std::vector<std::uint8_t>(count, 1);
  std::vector<std::uint8_t> cut(count);
  const CReducerAxis axis(blocks, result);
  for (std::uint32_t i = 0; i < std::min(blocks.pixels, count); ++i) {
    const bool sticksOut = (std::uint64_t{i} + 1) * blocks.pitch > blocks.extent;
    cut[i] = sticksOut || axis.ShareOf(i).nextWeight > 0.0f ? 1 : 0;
  }
  return cut;
}

}  // namespace

SSourceAxis SJpegFrame::MeansAxisX(const SJpegComponent& c, std::uint32_t side) const noexcept {
  return MeansAxis(8 / side * std::uint64_t{maxH}, std::uint64_t{width} * c.h);
}

SSourceAxis SJpegFrame::MeansAxisY(const SJpegComponent& c, std::uint32_t side) const noexcept {
  return MeansAxis(8 / side * std::uint64_t{maxV}, std::uint64_t{height} * c.v);
}

void SJpegComponent::KeepQuantisers(const std::array<std::uint16_t, 64>& table) {
  if (quantisers[0] != 0) return;
  quantisers = table;
  for (std::size_t k = 1; k <= kLastQuarterCoefficient && hasQuarters; ++k) {
    const int column = kNaturalOrder[k] % 8, row = kNaturalOrder[k] / 8;
    const double weight = table[k] * HalfMean(column) * HalfMean(row);
    weights[k] = std::llround(std::ldexp(weight, kWeightBits));
  }
}

bool SJpegComponent::IsComplete() const noexcept {
  if (missingBits[0] != 0) return false;
  for (std::size_t k = 1; k <= kLastQuarterCoefficient && hasQuarters; ++k) {
    if (weights[k] == 0) continue;
    if (missingBits[k] < 0 || ((1 << missingBits[k]) - 1) * quantisers[k] / 8.0 > kToleratedGreyLevels) return false;
  }
  return true;
}

bool SJpegFrame::ParseFrameHeader(std::span<const std::uint8_t> payload, bool isProgressive,
                                  const SMeansRequest& request, CRenderGuard& guard) {
  if (!components.empty() || payload.size() < 6 || payload[0] != 8) return false;
  progressive = isProgressive;
  height = static_cast<std::uint32_t>(payload[1] << 8 | payload[2]);
  width = static_cast<std::uint32_t>(payload[3] << 8 | payload[4]);
  const std::size_t count = payload[5];
  if (width == 0 || height == 0 || (count != 1 && count != 3) || payload.size() != 6 + 3 * count) return false;
  components.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    SJpegComponent& c = components[i];
    c.id = payload[6 + 3 * i];
    c.h = payload[7 + 3 * i] >> 4;
    c.v = payload[7 + 3 * i] & 15;
    c.quantTable = payload[8 + 3 * i];
    if (c.h < 1 || c.h > 4 || c.v < 1 || c.v > 4 || c.quantTable > 3) return false;
    maxH = std::max(maxH, c.h);
    maxV = std::max(maxV, c.v);
  }
  for (SJpegComponent& c : components) {
    const std::uint32_t across = (width * c.h + maxH - 1) / maxH, down = (height * c.v + maxV - 1) / maxV;
    c.blocksAcross = (across + 7) / 8;
    c.blocksDown = (down + 7) / 8;
    c.stride = McusAcross() * c.h;
    const std::uint64_t blocks = std::uint64_t{c.stride} * McusDown() * c.v;
    if (blocks > guard.Available() / kBytesPerBlock / components.size()) return false;
    c.dcCoefficients = guard.NewVector<std::int16_t>(blocks);
    const bool isSampledLess = c.h < maxH || c.v < maxV;
    c.hasQuarters =
        request.detail == EMeansDetail::kQuarters || (request.detail == EMeansDetail::kQuarterChroma && isSampledLess);
    if (!c.hasQuarters) continue;
    c.details = guard.NewVector<std::int16_t>(blocks * kQuarterDetails);
    c.isColumnCut = CutBlocks(MeansAxisX(c, 1), request.result.width, c.stride);
    c.isRowCut = CutBlocks(MeansAxisY(c, 1), request.result.height, McusDown() * c.v);
  }
  return true;
}

bool SJpegFrame::ParseQuantTables(std::span<const std::uint8_t> payload) {
  while (!payload.empty()) {
    const std::size_t width16 = payload[0] >> 4, table = payload[0] & 15;
    const std::size_t size = 1 + 64 * (width16 + 1);
    if (width16 > 1 || table > 3 || payload.size() < size) return false;
    for (std::size_t k = 0; k < 64; ++k) {
      const std::uint8_t* q = payload.data() + 1 + k * (width16 + 1);
      quantTables[table][k] = static_cast<std::uint16_t>(width16 != 0 ? q[0] << 8 | q[1] : q[0]);
    }
    payload = payload.subspan(size);
  }
  return true;
}

bool SJpegFrame::ParseHuffmanTables(std::span<const std::uint8_t> payload) {
  while (!payload.empty()) {
    if (payload.size() < 17) return false;
    const std::size_t isAc = payload[0] >> 4, table = payload[0] & 15;
    std::size_t symbols = 0;
    for (std::size_t i = 1; i <= 16; ++i) symbols += payload[i];
    if (isAc > 1 || table > 3 || symbols > 256 || payload.size() < 17 + symbols) return false;
    // As libjpeg, which these are left to: a DC symbol is nothing but a size (F.1.2.1).
    const auto isSize = [](std::uint8_t symbol) { return symbol < 16; };
    if (isAc == 0 && !std::ranges::all_of(payload.subspan(17, symbols), isSize)) return false;
    CJpegHuffmanTable& huffman = isAc != 0 ? acTables[table] : dcTables[table];
    if (!huffman.Build(payload.subspan<1, 16>(), payload.subspan(17, symbols), isAc != 0)) return false;
    payload = payload.subspan(17 + symbols);
  }
  return true;
}

bool SJpegFrame::IsYCbCr() const noexcept {
  if (components.size() != 3) return false;
  if (hasJfif) return true;
  if (adobeTransform >= 0) return adobeTransform != 0;
  return !(components[0].id == 'R' && components[1].id == 'G' && components[2].id == 'B');
}

}  // namespace imageformats
