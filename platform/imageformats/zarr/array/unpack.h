#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/zarr/array/array_layout.h"

namespace imageformats::zarr {

// Undoes the packing of a chunk's bytes, which must come out as exactly `size` bytes. Reserves what it allocates; what
// it returns is the caller's to reserve. Throws CDamagedError.
std::vector<std::uint8_t> Unpack(const std::vector<EPacking>& packing, std::vector<std::uint8_t> packed,
                                 std::uint64_t size, CRenderGuard& guard);

// CRC-32C (Castagnoli) of the bytes.
std::uint32_t ChecksumOf(std::span<const std::uint8_t> bytes) noexcept;

// The bytes without the checksum at their end. Throws CDamagedError when it is missing or wrong.
std::span<const std::uint8_t> WithoutChecksum(std::span<const std::uint8_t> bytes);

}  // namespace imageformats::zarr
