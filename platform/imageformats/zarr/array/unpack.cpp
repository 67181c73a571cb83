#include "platform/imageformats/zarr/array/unpack.h"

#include <blosc.h>
#include <bzlib.h>
#include <lz4.h>
#include <zstd.h>

#include <array>
#include <limits>
#include <memory>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/inflater.h"
#include "platform/imageformats/base/integers.h"
#include "platform/imageformats/zarr/store/store.h"

namespace imageformats::zarr {

namespace {

constexpr std::size_t kChecksumBytes = 4;
constexpr std::size_t kNothing = std::numeric_limits<std::size_t>::max();

using CBytes = std::span<const std::uint8_t>;

// Each returns how many bytes came out, kNothing when the data are damaged or would be more than `out` holds.
using CUnpacker = std::size_t (*)(CBytes packed, std::vector<std::uint8_t>& out);

template <auto kFunction>
std::size_t Inflate(CBytes packed, std::vector<std::uint8_t>& out) {
  const CInflaterPtr deflate = NewInflater();
  std::size_t size = 0;
  const auto result = kFunction(deflate.get(), packed.data(), packed.size(), out.data(), out.size(), &size);
  return result == LIBDEFLATE_SUCCESS ? size : kNothing;
}

std::size_t UnpackZstd(CBytes packed, std::vector<std::uint8_t>& out) {
  const std::size_t size = ZSTD_decompress(out.data(), out.size(), packed.data(), packed.size());
  return ZSTD_isError(size) ? kNothing : size;
}

// A header says what comes out; it is believed only as far as there is room.
std::size_t UnpackBlosc(CBytes packed, std::vector<std::uint8_t>& out) {
  std::size_t size = 0;
  if (blosc_cbuffer_validate(packed.data(), packed.size(), &size) < 0 || size > out.size()) return kNothing;
  constexpr int kThreads = 1;
  const int done = blosc_decompress_ctx(packed.data(), out.data(), out.size(), kThreads);
  return done < 0 || static_cast<std::size_t>(done) != size ? kNothing : size;
}

// The size of what was packed stands before the block.
std::size_t UnpackLz4(CBytes packed, std::vector<std::uint8_t>& out) {
  constexpr std::size_t kSizeBytes = 4;
  if (packed.size() < kSizeBytes || packed.size() > LZ4_MAX_INPUT_SIZE || out.size() > LZ4_MAX_INPUT_SIZE) {
    return kNothing;
  }
  const int size = LZ4_decompress_safe(reinterpret_cast<const char*>(packed.data() + kSizeBytes),
                                       reinterpret_cast<char*>(out.data()),
                                       static_cast<int>(packed.size() - kSizeBytes), static_cast<int>(out.size()));
  const bool isSound = size >= 0 && IntegerAt(packed.data(), kSizeBytes, false) == static_cast<std::uint64_t>(size);
  return isSound ? static_cast<std::size_t>(size) : kNothing;
}

std::size_t UnpackBzip2(CBytes packed, std::vector<std::uint8_t>& out) {
  constexpr int kMost = std::numeric_limits<int>::max();
  if (packed.size() > kMost || out.size() > kMost) return kNothing;
  auto size = static_cast<unsigned>(out.size());
  // The library does not write to what it reads.
  auto* data = reinterpret_cast<char*>(const_cast<std::uint8_t*>(packed.data()));
  const int result = BZ2_bzBuffToBuffDecompress(reinterpret_cast<char*>(out.data()), &size, data,
                                                static_cast<unsigned>(packed.size()), 0, 0);
  return result == BZ_OK ? size : kNothing;
}

CUnpacker UnpackerOf(EPacking packing) noexcept {
  switch (packing) {
    case EPacking::kGzip:
      return Inflate<libdeflate_gzip_decompress>;
    case EPacking::kZlib:
      return Inflate<libdeflate_zlib_decompress>;
    case EPacking::kZstd:
      return UnpackZstd;
    case EPacking::kBlosc:
      return UnpackBlosc;
    case EPacking::kLz4:
      return UnpackLz4;
    default:
      return UnpackBzip2;
  }
}

// What the libraries hold beside input and output.
std::uint64_t WorkingMemory(EPacking packing, std::uint64_t size) noexcept {
  if (packing == EPacking::kBlosc) return CRenderGuard::Multiply(size, 3);
  return packing == EPacking::kBzip2 ? 8u << 20 : 1u << 20;
}

// `most` bytes may come out.
std::vector<std::uint8_t> UnpackOnce(EPacking packing, CBytes packed, std::uint64_t most, CRenderGuard& guard) {
  const CReservation output(guard, most), work(guard, WorkingMemory(packing, most));
  std::vector<std::uint8_t> out(static_cast<std::size_t>(most));
  const std::size_t size = UnpackerOf(packing)(packed, out);
  Require(size != kNothing, "A chunk of the picture is damaged");
  out.resize(size);
  return out;
}

std::array<std::uint32_t, 256> MakeChecksumTable() noexcept {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t i = 0; i < table.size(); ++i) {
    std::uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit) value = value >> 1 ^ ((value & 1) != 0 ? 0x82F63B78u : 0u);
    table[i] = value;
  }
  return table;
}

}  // namespace

std::uint32_t ChecksumOf(std::span<const std::uint8_t> bytes) noexcept {
  static const std::array<std::uint32_t, 256> table = MakeChecksumTable();
  std::uint32_t value = 0xFFFFFFFFu;
  for (const std::uint8_t byte : bytes) value = value >> 8 ^ table[(value ^ byte) & 0xFF];
  return ~value;
}

std::span<const std::uint8_t> WithoutChecksum(std::span<const std::uint8_t> bytes) {
  Require(bytes.size() >= kChecksumBytes, "A chunk of the picture is cut off");
  const CBytes content = bytes.first(bytes.size() - kChecksumBytes);
  Require(IntegerAt(content.data() + content.size(), kChecksumBytes, false) == ChecksumOf(content),
          "A chunk of the picture is damaged");
  return content;
}

std::vector<std::uint8_t> Unpack(const std::vector<EPacking>& packing, std::vector<std::uint8_t> packed,
                                 std::uint64_t size, CRenderGuard& guard) {
  // Packed data that are packed once more, or have a checksum, may be a little larger than what they hold.
  constexpr std::uint64_t kSlack = 1u << 16;
  std::vector<std::uint8_t> bytes = std::move(packed);
  for (std::size_t i = packing.size(); i-- > 0;) {
    guard.CheckTime();
    if (packing[i] == EPacking::kChecksum) {
      bytes.resize(WithoutChecksum(bytes).size());
    } else {
      const std::uint64_t most = i == 0 ? size : size + size / 8 + kSlack;
      const CReservation input(guard, bytes.size());
      bytes = UnpackOnce(packing[i], bytes, most, guard);
    }
  }
  Require(bytes.size() == size, "A chunk of the picture is cut off");
  return bytes;
}

}  // namespace imageformats::zarr
