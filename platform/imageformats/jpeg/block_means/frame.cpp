#include "platform/imageformats/jpeg/block_means/frame.h"

#include <algorithm>

#include "platform/imageformats/jpeg/stream/coding.h"

namespace imageformats {

namespace {

// Of its DC coefficient, and of whether it has others. At most: libjpeg gets by with a few rows.
constexpr std::uint64_t kBytesPerBlock = sizeof(std::int16_t) + 1;

SSourceAxis MeansAxis(std::uint64_t pitch, std::uint64_t extent) {
  return {static_cast<std::uint32_t>((extent + pitch - 1) / pitch), pitch, extent};
}

}  // namespace

SSourceAxis SJpegFrame::MeansAxisX(const SJpegComponent& c, std::uint32_t times) const noexcept {
  return MeansAxis(8 / times * std::uint64_t{maxH}, std::uint64_t{width} * c.h);
}

SSourceAxis SJpegFrame::MeansAxisY(const SJpegComponent& c, std::uint32_t times) const noexcept {
  return MeansAxis(8 / times * std::uint64_t{maxV}, std::uint64_t{height} * c.v);
}

void SJpegComponent::KeepQuantisers(const std::array<std::uint16_t, 64>& table) {
  if (quantisers[0] != 0) return;
  quantisers = table;
  if (details) details->SetQuantisers(quantisers);
}

bool SJpegComponent::IsComplete() const noexcept {
  if (missingBits[0] != 0) return false;
  for (std::size_t k = 1; k <= LastCoefficient(); ++k) {
    if (missingBits[k] < 0 || ((1 << missingBits[k]) - 1) * quantisers[k] / 8.0 > kToleratedGreyLevels) return false;
  }
  return true;
}

bool SJpegFrame::PrepareDetails(SJpegComponent& c, const SMeansRequest& request, CRenderGuard& guard) const {
  const SSourceAxis x = MeansAxisX(c, 1), y = MeansAxisY(c, 1);
  if (!CBlockShares::IsFor(x, request.result.width) || !CBlockShares::IsFor(y, request.result.height)) return false;
  SMeansRequest own = request;
  if (c.h < maxH || c.v < maxV) own.lastCoefficient = request.lastOfLargeBlocks;
  c.details.emplace(CBlockShares(x, request.result.width, c.stride),
                    CBlockShares(y, request.result.height, McusDown() * c.v), own, guard);
  c.hasAc = guard.NewVector<std::uint8_t>(c.dcCoefficients.size());
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
    if (request.HasDetails() && !PrepareDetails(c, request, guard)) return false;
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
