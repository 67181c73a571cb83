#include "platform/imageformats/zarr/array/array_layout.h"

#include <cmath>
#include <cstring>
#include <limits>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/integers.h"
#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/base/small_float.h"

namespace imageformats::zarr {

namespace {

constexpr std::size_t kMostAxes = 16;

double FromBits(std::uint64_t bits, const SStoredSamples& samples) {
  if (samples.kind != SStoredSamples::EKind::kFloat) return static_cast<double>(bits);
  if (samples.bytes == 2) return static_cast<double>(SmallFloat(static_cast<std::uint32_t>(bits), 5, 10));
  if (samples.bytes == 4) {
    float value = 0.0f;
    const auto narrow = static_cast<std::uint32_t>(bits);
    std::memcpy(&value, &narrow, sizeof value);
    return static_cast<double>(value);
  }
  double value = 0.0;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

std::vector<std::uint8_t> FromBase64(const std::string& text) {
  static constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::vector<std::uint8_t> bytes;
  std::uint32_t bits = 0;
  int count = 0;
  for (const char c : text) {
    const char* digit = c == '\0' ? nullptr : std::strchr(kDigits, c);
    if (digit == nullptr) break;
    bits = bits << 6 | static_cast<std::uint32_t>(digit - kDigits);
    count += 6;
    if (count >= 8) {
      count -= 8;
      bytes.push_back(static_cast<std::uint8_t>(bits >> count));
    }
  }
  return bytes;
}

double FillFromText(const std::string& text, const SStoredSamples& samples) {
  if (text == "NaN") return std::numeric_limits<double>::quiet_NaN();
  if (text == "Infinity") return std::numeric_limits<double>::infinity();
  if (text == "-Infinity") return -std::numeric_limits<double>::infinity();
  if (text.rfind("0x", 0) == 0) return FromBits(std::strtoull(text.c_str() + 2, nullptr, 16), samples);
  const std::vector<std::uint8_t> bytes = FromBase64(text);
  Require(bytes.size() == samples.bytes, "The value of missing chunks is damaged");
  return FromBits(IntegerAt(bytes.data(), bytes.size(), samples.bigEndian), samples);
}

}  // namespace

double FillValue(const CJson* value, const SStoredSamples& samples) {
  if (value == nullptr || value->is_null()) return 0.0;
  if (value->is_boolean()) return value->get<bool>() ? 1.0 : 0.0;
  if (value->is_string()) return FillFromText(TextIn(value), samples);
  const std::optional<double> number = NumberIn(value);
  Require(number.has_value(), "The value of missing chunks is damaged");
  return *number;
}

std::uint64_t SArrayLayout::ChunkSamples() const noexcept {
  std::uint64_t count = 1;
  for (const std::uint64_t size : chunk) count = CRenderGuard::Multiply(count, size);
  return count;
}

std::vector<std::uint64_t> StridesInOrder(const std::vector<std::uint64_t>& chunk,
                                          const std::vector<std::uint64_t>& order) {
  std::vector<std::uint64_t> strides(chunk.size(), 0);
  Require(order.size() == chunk.size(), "The order of the axes is damaged");
  std::uint64_t stride = 1;
  for (std::size_t i = order.size(); i-- > 0;) {
    Require(order[i] < chunk.size() && strides[order[i]] == 0, "The order of the axes is damaged");
    strides[order[i]] = stride;
    stride = CRenderGuard::Multiply(stride, chunk[order[i]]);
  }
  return strides;
}

void CheckLayout(const SArrayLayout& layout) {
  constexpr std::uint64_t kMostSamples = std::uint64_t{1} << 48;
  const std::size_t axes = layout.shape.size();
  Require(axes >= 1 && axes <= kMostAxes && layout.chunk.size() == axes && layout.strides.size() == axes,
          "The picture's axes and its chunks do not fit each other");
  Require(layout.ChunkSamples() <= kMostSamples, "The picture's chunks are too large");
  for (std::size_t i = 0; i < axes; ++i) {
    Require(layout.shape[i] != 0 && layout.chunk[i] != 0, "The picture has no pixels");
    Require(layout.shape[i] <= std::numeric_limits<std::uint32_t>::max(), "The picture is too large");
  }
  if (!layout.sharding) return;
  const std::vector<std::uint64_t>& perShard = layout.sharding->chunksPerShard;
  Require(perShard.size() == axes, "The picture's shards are damaged");
  std::uint64_t chunks = 1;
  for (const std::uint64_t count : perShard) chunks = CRenderGuard::Multiply(chunks, count);
  Require(chunks >= 1 && chunks <= 1u << 22, "The picture's shards are damaged");
}

}  // namespace imageformats::zarr
