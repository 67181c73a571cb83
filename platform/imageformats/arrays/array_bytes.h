#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/imageformats/base/input.h"
#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/planes/stored_samples.h"

namespace imageformats {

enum class EArrayEncoding : std::uint8_t { kRaw, kGzip, kBzip2, kHex, kText };

// Where the bytes of an array are.
struct SArraySource {
  std::shared_ptr<const CInput> input;
  EArrayEncoding encoding = EArrayEncoding::kRaw;
  std::uint64_t offset = 0;  // in the file, of the encoded data
  std::uint64_t skip = 0;    // decoded bytes before the array
  std::uint64_t size = 0;    // decoded bytes of the array
};

// The decoded bytes of an array. Used by one thread.
class IArrayBytes {
 public:
  virtual ~IArrayBytes() = default;
  // Exactly `size` bytes from `offset` on. Reading onwards is cheap; of encoded data, going back starts over. Throws
  // CDamagedError when they are not there.
  virtual void Read(std::uint64_t offset, std::uint8_t* out, std::size_t size) = 0;
  // To be called when all that is shown has been read. Throws CDamagedError when data are known to be missing behind.
  virtual void Finish() = 0;
};

// Throws CDamagedError when the file is too short for the array, as far as its size tells. `samples` is for text.
std::unique_ptr<IArrayBytes> OpenArrayBytes(const SArraySource& source, const SStoredSamples& samples,
                                            CRenderGuard& guard);

}  // namespace imageformats
